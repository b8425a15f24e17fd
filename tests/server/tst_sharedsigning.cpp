// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Two servers that sign the same store: a machine takes what either says, in any order, and still
// refuses an older state.

#include "common/postgresql.h"
#include "common/signingkey.h"
#include "platform/replycheck.h"
#include "server/serverprocess.h"
#include "shareddate.h"

#include <QCryptographicHash>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>
#include <memory>
#include <utime.h>

namespace
{

const std::time_t hour = 60 * 60;
const char catalog[] = "/agent/CAPIUpdateCatalog";
const char* const targets[] = { "/getagentapi.php",         catalog,
                                "/agent/CAPIGetAisles",     "/agent/CAPIDownloadAppInfo?app_id[]=7",
                                "/agent/CAPISyncMyMachine", "/agent/CAPISetOEMInfo?id=42" };
// What the date is that of.
const char* const datedFiles[] = { "products",
                                   "sources",
                                   "updates",
                                   "categories",
                                   "aisles",
                                   "icons",
                                   "pool/main/Packages",
                                   "pool/main/Packages.gz",
                                   "pool/far/Location" };

QByteArray ProductText(const char* name)
{
    return "Serial: 7\nName: " + QByteArray(name)
        + "\nCategory: B\nPackage: p\nDescription: d\nProgram: A\nPath: a\n";
}

} // namespace

class SharedSigningTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<PostgreSql> m_postgresql;
    std::unique_ptr<SigningKey> m_key;

    QString path(const QByteArray& name) const
    {
        return m_dir->filePath(QString::fromLatin1(name));
    }
    void write(const QByteArray& name, const QByteArray& text, std::time_t time) const
    {
        const utimbuf times{ time, time };
        if (!WriteTextFile(path(name), text)
            || utime(path(name).toLocal8Bit().constData(), &times) != 0)
            qFatal("cannot write a file of the store");
    }
    // The store as two machines have it, last changed an hour ago.
    void makeStores() const
    {
        const std::time_t before = std::time(nullptr) - hour;
        for (const QByteArray store : { "one/", "other/" }) {
            write(store + "products", ProductText("A"), before);
            write(store + "sources", "Type: dep\nEntry: deb @SERVER@/pool/main ./\nTimestamp: 5\n",
                  before);
            write(store + "aisles", "Name: Play\nCategory: B\n", before);
            write(store + "pool/main/Packages",
                  "Package: p\nVersion: 1\nArchitecture: all\nFilename: p_1_all.deb\nSize: 1\n"
                  "SHA256: 00\n",
                  before);
        }
    }
    std::unique_ptr<ServerProcess> serve(const QByteArray& store) const
    {
        return std::make_unique<ServerProcess>(
            path(store),
            QStringList{ QStringLiteral("--postgresql"),
                         QString::fromLocal8Bit(m_postgresql->place("shared")),
                         QStringLiteral("--sign"), m_key->secretFile(),
                         QStringLiteral("--public-url"), QStringLiteral("http://store.example") });
    }
    // The later server starts in another second than the first.
    static void waitForTheNextSecond()
    {
        const std::time_t now = std::time(nullptr);
        while (std::time(nullptr) == now)
            QThread::msleep(20);
    }
    // What a machine that keeps its notes in the test's folder says of a server's reply: the code
    // of the refusal. All that it has noted counts.
    std::string refusal(const ServerProcess& server, const QByteArray& target) const
    {
        const HttpReply got = server.get(target);
        StorePolicy policy;
        TrustedStore store;
        store.keyFile = m_key->publicFile().toStdString();
        store.replies = "http://store.example";
        store.expected.origin = "Pakmart";
        policy.stores.push_back(store);
        ReceivedReply reply;
        reply.request = "http://store.example" + target.toStdString();
        reply.statement = got.header("Pakmart-Statement").toStdString();
        reply.sha256
            = QCryptographicHash::hash(got.body, QCryptographicHash::Sha256).toHex().toStdString();
        reply.size = std::size_t(got.body.size());
        reply.started = std::time(nullptr) + 1;
        reply.seenFolders.push_back(path("notes").toStdString());
        return CheckReply(reply, policy).code;
    }
    QByteArray repositoryDate(const ServerProcess& server) const
    {
        const QByteArray text = m_key->signedText(server.get("/pool/main/InRelease").body);
        const auto at = text.indexOf("\nDate: ");
        return at < 0 ? QByteArray() : text.mid(at, text.indexOf('\n', at + 1) - at);
    }

private slots:
    void initTestCase()
    {
        const QString folder = QString::fromLocal8Bit(qgetenv("TEST_DIR"));
        m_postgresql = std::make_unique<PostgreSql>(folder + QLatin1String("/postgresql"));
        m_key = std::make_unique<SigningKey>(folder + QLatin1String("/key"));
        if (PostgreSql::isThere())
            QVERIFY2(m_postgresql->start() && m_postgresql->makeDatabase("shared"),
                     m_postgresql->log());
    }
    void cleanupTestCase()
    {
        m_postgresql.reset();
        m_key.reset();
    }
    void init() { m_dir = std::make_unique<QTemporaryDir>(); }

    void theDateIsThatOfTheNewestFile_data()
    {
        QTest::addColumn<QByteArray>("file");
        for (const char* file : datedFiles)
            QTest::newRow(file) << QByteArray(file);
    }
    void theDateIsThatOfTheNewestFile()
    {
        QFETCH(QByteArray, file);
        const std::time_t midnight = 1700006400, now = midnight + 10 * hour;
        for (const char* name : datedFiles)
            write(QByteArray("one/") + name, "x", midnight - hour);
        const std::string store = path("one").toStdString();
        QCOMPARE(SharedDate(store, now), midnight);
        write("one/" + file, "x", now - hour);
        QCOMPARE(SharedDate(store, now), now - hour);
        write("one/" + file, "x", now);
        QCOMPARE(SharedDate(store, now), now);
        write("one/" + file, "x", now + 1);
        QCOMPARE(SharedDate(store, now), midnight);
        QCOMPARE(SharedDate(store, now + 1), now + 1);
        QCOMPARE(SharedDate(store, midnight + 24 * hour), midnight + 24 * hour);
    }
    void withoutAStoreTheDateIsThatOfTheDay()
    {
        QCOMPARE(SharedDate(path("nothing").toStdString(), 1700006400 + 5),
                 std::time_t(1700006400));
    }

    void aMachineTakesWhatEitherServerSays()
    {
        if (!PostgreSql::isThere())
            return QTest::qSkip("PostgreSQL is not there", __FILE__, __LINE__);
        makeStores();
        const auto one = serve("one");
        for (const char* target : targets)
            QCOMPARE(refusal(*one, target), std::string());
        const QByteArray date = repositoryDate(*one);
        QVERIFY(!date.isEmpty());
        waitForTheNextSecond();
        const auto other = serve("other");
        for (const char* target : targets) {
            QCOMPARE(refusal(*other, target), std::string());
            QCOMPARE(refusal(*one, target), std::string());
        }
        QCOMPARE(repositoryDate(*other), date);
    }
    // While one server has the new state, a machine that has seen it does not go back to the other.
    void anOlderStateIsRefused()
    {
        if (!PostgreSql::isThere())
            return QTest::qSkip("PostgreSQL is not there", __FILE__, __LINE__);
        makeStores();
        const auto one = serve("one"), other = serve("other");
        QCOMPARE(refusal(*one, catalog), std::string());
        const QByteArray before = repositoryDate(*one);
        const std::time_t now = std::time(nullptr);
        write("one/products", ProductText("New"), now);
        QCOMPARE(refusal(*one, catalog), std::string());
        QCOMPARE(refusal(*other, catalog), std::string("older"));
        QCOMPARE(refusal(*other, "/getagentapi.php"), std::string("older"));
        write("other/products", ProductText("New"), now);
        for (const char* target : targets) {
            QCOMPARE(refusal(*other, target), std::string());
            QCOMPARE(refusal(*one, target), std::string());
        }
        QVERIFY(repositoryDate(*one) != before);
        QCOMPARE(repositoryDate(*one), repositoryDate(*other));
        write("one/products", ProductText("A"), now - hour); // the old file again
        QCOMPARE(refusal(*one, catalog), std::string("older"));
    }
    void aChangeWithoutANewDateIsReportedOnce()
    {
        if (!PostgreSql::isThere())
            return QTest::qSkip("PostgreSQL is not there", __FILE__, __LINE__);
        makeStores();
        const auto one = serve("one");
        const std::time_t before = std::time(nullptr) - hour;
        QCOMPARE(refusal(*one, catalog), std::string());
        for (const char* name : { "Longer", "Even longer" }) {
            write("one/products", ProductText(name), before);
            QCOMPARE(refusal(*one, catalog), std::string());
        }
        QCOMPARE(one->end(SIGTERM), 0);
        const QByteArray said = one->standardError();
        QVERIFY2(said.contains("`touch products` in the store"), said);
        QCOMPARE(said.count('\n'), 1);
    }
};

QTEST_GUILESS_MAIN(SharedSigningTest)
#include "tst_sharedsigning.moc"
