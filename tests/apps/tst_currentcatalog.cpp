// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// An update when the store still has the same catalog: one small request, which is believed only
// where nothing speaks against it.

#include "tests/apps/demomachine.h"
#include "tests/common/nginx.h"
#include "tests/common/signingkey.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>

class CurrentCatalogTest : public QObject
{
    Q_OBJECT

private:
    DemoMachine m_machine;
    std::unique_ptr<SigningKey> m_key;
    std::unique_ptr<ServerProcess> m_server;
    int m_settled = 0;

    QString data(const char* name) const
    {
        return m_machine.root + QLatin1String("/usr/share/apps/vantrelagent/")
            + QLatin1String(name);
    }
    QString logFile() const { return m_machine.dir + QStringLiteral("/access.log"); }
    static QByteArray contents(const QString& name)
    {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    void serve(const QStringList& options = {})
    {
        m_server.reset();
        m_server = std::make_unique<ServerProcess>(
            m_machine.store(), QStringList{ QStringLiteral("--access-log"), logFile() } + options);
        QVERIFY(m_server->isRunning());
        QVERIFY(m_machine.useServer(m_server->url()));
    }
    QStringList signing()
    {
        if (!m_key)
            m_key = std::make_unique<SigningKey>(m_machine.dir + QStringLiteral("/key"));
        return { QStringLiteral("--sign"), m_key->secretFile() };
    }
    // A line is written after the end of its reply.
    void settleLog()
    {
        const QByteArray mark = "/settle" + QByteArray::number(++m_settled);
        const bool isThere = m_server->isRunning() && m_server->get(mark).status != 0;
        for (int tries = 0; isThere && tries < 3000; ++tries) {
            if (contents(logFile()).contains(mark + ' '))
                break;
            QTest::qWait(10);
        }
        QTest::qWait(200);
    }
    // The requests of an update that comes after others: "HEAD /agent/CAPIUpdateCatalog 304".
    QStringList requestsOf(const QStringList& words, QString& out, int status = 0)
    {
        settleLog();
        const auto begin = contents(logFile()).size();
        const DemoMachine::Result result = DemoMachine::pakmart(words);
        out = result.out + result.err;
        if (result.status != status)
            qWarning("%s", qPrintable(out));
        settleLog();
        QStringList requests;
        for (const QByteArray& line : contents(logFile()).mid(begin).split('\n')) {
            const QList<QByteArray> parts = line.split('"');
            if (parts.size() == 3 && !parts[1].contains("/settle"))
                requests << QString::fromLatin1(parts[1].left(parts[1].lastIndexOf(' '))
                                                + parts[2].left(4));
        }
        return requests;
    }
    QStringList requestsOfUpdate(int status = 0)
    {
        QString out;
        return requestsOf({ QStringLiteral("update") }, out, status);
    }
    static QString check(const char* status)
    {
        return QLatin1String("HEAD /agent/CAPIUpdateCatalog ") + QLatin1String(status);
    }
    static QString fetch() { return QStringLiteral("GET /agent/CAPIUpdateCatalog 200"); }

private slots:
    void initTestCase() { QVERIFY(m_machine.setUp()); }
    void init()
    {
        serve();
        QVERIFY(requestsOfUpdate().contains(fetch()));
    }

    void oneRequestSaysThatNothingHasChanged()
    {
        const QByteArray before = contents(data(".catalog"));
        const QDateTime made = QFileInfo(data(".catalog")).lastModified();
        QTest::qWait(50);
        const timespec longAgo[] = { { 1000000000, 0 }, { 1000000000, 0 } };
        QString out;
        QCOMPARE(requestsOf({ QStringLiteral("update") }, out), QStringList{ check("304") });
        QVERIFY2(out.contains(QLatin1String("The catalog has 14 products in 4 categories.\n"
                                            "Nothing has changed since the last update.\n")),
                 qPrintable(out));
        QCOMPARE(contents(data(".catalog")), before);
        // And again, with the date of the file that the first one has set.
        QCOMPARE(requestsOfUpdate(), QStringList{ check("304") });
        QVERIFY(QFileInfo(data(".catalog")).lastModified() > made);
        QCOMPARE(utimensat(AT_FDCWD, qPrintable(data(".catalog")), longAgo, 0), 0);
        QVERIFY(requestsOfUpdate().contains(fetch()));
    }

    void whatWasSentIsTold()
    {
        QString out;
        requestsOf({ QStringLiteral("update"), QStringLiteral("--json") }, out);
        const QJsonObject same = QJsonDocument::fromJson(out.toUtf8()).object();
        const int small = same[QLatin1String("transferred")].toInt();
        QVERIFY2(small > 50 && small < 500, qPrintable(out));
        QVERIFY(QFile::remove(data(".catalogmark")));
        requestsOf({ QStringLiteral("update"), QStringLiteral("--json") }, out);
        const QJsonObject whole = QJsonDocument::fromJson(out.toUtf8()).object();
        const int large = whole[QLatin1String("transferred")].toInt();
        const bool isUnpacked = whole[QLatin1String("transferredUnpacked")].toBool();
        QVERIFY(!same[QLatin1String("transferredUnpacked")].toBool());
        const int catalog = m_server
                                ->get("/agent/CAPIUpdateCatalog",
                                      { isUnpacked ? "X: y" : "Accept-Encoding: gzip" })
                                .header("Content-Length")
                                .toInt();
        // The directory comes as well, and the heads of both.
        QVERIFY2(large > catalog && large < catalog + 2500, qPrintable(out));
    }

    void aChangeIsFetched()
    {
        const QString products = m_machine.store() + QStringLiteral("/products");
        const QByteArray text = contents(products);
        QVERIFY(WriteTextFile(products, QByteArray(text).replace("Maze Runner", "Mazes")));
        QString out;
        QStringList requests = requestsOf({ QStringLiteral("update") }, out);
        QVERIFY(WriteTextFile(products, text));
        // Qt may send one again if the server has just closed the connection.
        requests.removeDuplicates();
        QCOMPARE(requests.join(QLatin1Char('\n')),
                 check("200") + QLatin1String("\nGET /getagentapi.php 200\n") + fetch());
        QVERIFY2(out.contains(QLatin1String("Changed, 1: Mazes (1002)")), qPrintable(out));
    }

    // Each makes the mark one of other files, or none.
    void aMarkIsGoodForItsFilesOnly_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to"); // with both empty, a byte is added to the file
        const auto row = [](const char* name, const char* file, const char* from, const char* to) {
            QTest::newRow(name) << QString::fromLatin1(file) << QByteArray(from) << QByteArray(to);
        };
        row("no mark", ".catalogmark", "vantrelagent", "");
        row("another version", ".catalogmark", "vantrelagent 0", "vantrelagent 9");
        row("another store", ".catalogmark", "/getagentapi.php", "/other.php");
        row("a line less", ".catalogmark", "/getagentapi.php\n", "");
        row("a line more", ".catalogmark", "\n", "\n\n");
        row("a mark that ends the header", ".catalogmark", "W/\"", "W/\"\rX: y");
        row("a mark without its sign", ".catalogmark", "W/\"", "W/");
        row("not an address", ".catalogmark", "/agent/CAPIUpdateCatalog", " /agent");
        row("another catalog", ".catalog", "", "");
        for (const char* name :
             { ".VACatalog.fil", ".VACatalog.k1", ".VACatalogNotes.fil", ".VADepends.fil" })
            row(name, name, "", "");
    }
    void aMarkIsGoodForItsFilesOnly()
    {
        QFETCH(QString, file);
        QFETCH(QByteArray, from);
        QFETCH(QByteArray, to);
        const QString path = data(qPrintable(file));
        const QByteArray before = contents(path);
        QVERIFY2(!before.isEmpty(), qPrintable(path));
        if (from.isEmpty()) {
            QFile changed(path);
            QVERIFY(changed.open(QIODevice::Append) && changed.putChar('\n'));
        } else {
            QVERIFY(before.contains(from));
            QVERIFY(WriteTextFile(path, QByteArray(before).replace(from, to)));
        }
        // It is not even asked with.
        const QStringList requests = requestsOfUpdate();
        QVERIFY2(requests.contains(fetch()) && requests.filter(QStringLiteral("HEAD ")).isEmpty(),
                 qPrintable(requests.join(QLatin1Char('\n'))));
        QCOMPARE(requestsOfUpdate(), QStringList{ check("304") });
    }
    void aMissingFileIsMadeAgain()
    {
        for (const char* name : { ".catalog", ".VACatalog.fil", ".catalogmark" }) {
            QVERIFY(QFile::remove(data(name)));
            QVERIFY2(requestsOfUpdate().contains(fetch()), name);
            QVERIFY(QFile::exists(data(name)));
        }
    }
    void theAddressOfTheStoreCounts()
    {
        QVERIFY(m_machine.useServer(
            m_server->url().replace(QLatin1String("127.0.0.1"), QLatin1String("localhost"))));
        const QStringList requests = requestsOfUpdate();
        QVERIFY(requests.contains(fetch()) && !requests.contains(check("304")));
    }
    void aStoreThatIsAwayIsSaid()
    {
        const QByteArray before = contents(data(".catalog"));
        m_server->end(SIGKILL);
        QCOMPARE(DemoMachine::pakmart({ QStringLiteral("update") }).status, 1);
        QCOMPARE(contents(data(".catalog")), before);
    }

    // -- signed stores

    // nginx answers the small request, and the store the others.
    void aSignedStoreHasToSignIt_data()
    {
        QTest::addColumn<QByteArray>("answer"); // to the small request
        QTest::addColumn<bool>("isBelieved");
        QTest::newRow("the store") << QByteArray() << true;
        QTest::newRow("nobody signs") << QByteArray("return 304;") << false;
        QTest::newRow("of another request")
            << QByteArray("add_header Pakmart-Statement \"@DIRECTORY@\" always; return 304;")
            << false;
        QTest::newRow("not a statement")
            << QByteArray("add_header Pakmart-Statement \"x y\" always; return 304;") << false;
        QTest::newRow("the present one")
            << QByteArray("add_header Pakmart-Statement \"@CATALOG@\" always; return 304;") << true;
        QTest::newRow("of another state")
            << QByteArray("add_header Pakmart-Statement \"@OLD@\" always; return 304;") << false;
    }
    void aSignedStoreHasToSignIt()
    {
        if (!Nginx::isThere())
            return QTest::qSkip("nginx is not there; tools/unpack-nginx fetches it", __FILE__,
                                __LINE__);
        QFETCH(QByteArray, answer);
        QFETCH(bool, isBelieved);
        const quint16 port = Nginx::freePort();
        const QByteArray url = "http://127.0.0.1:" + QByteArray::number(port);
        serve(QStringList{ QStringLiteral("--public-url"), QString::fromLatin1(url),
                           QStringLiteral("--proxy"), QStringLiteral("127.0.0.1") }
              + signing());
        const auto statement = [this](const char* target) {
            return m_server->get(target).header("Pakmart-Statement");
        };
        answer.replace("@DIRECTORY@", statement("/getagentapi.php"));
        if (answer.contains("@OLD@")) { // the store has changed, and the answer has not
            answer.replace("@OLD@", statement("/agent/CAPIUpdateCatalog"));
            QFile products(m_machine.store() + QStringLiteral("/products"));
            QVERIFY(products.open(QIODevice::Append) && products.write("\n# changed\n") > 0);
            QFile aisles(m_machine.store() + QStringLiteral("/products"));
            QVERIFY(WriteTextFile(
                products.fileName(),
                contents(products.fileName()).replace("Description: ", "Description: New ")));
            QTest::qWait(1100); // statements have a date of seconds
            statement("/agent/CAPIUpdateCatalog");
        }
        answer.replace("@CATALOG@", statement("/agent/CAPIUpdateCatalog"));
        const QString sizes = m_machine.dir + QStringLiteral("/sizes");
        Nginx nginx(m_machine.dir + QStringLiteral("/nginx"),
                    "large_client_header_buffers 4 16k; proxy_buffer_size 16k; proxy_buffers 8 16k;"
                    "log_format sizes '$request_length $bytes_sent'; server { access_log "
                        + QFile::encodeName(sizes)
                        + " sizes; listen 127.0.0.1:" + QByteArray::number(port)
                        + "; location / {\nif ($request_method = HEAD) {\n"
                        + (answer.isEmpty() ? "break;" : answer) + "\n}\nproxy_pass "
                        + m_server->url().toLatin1() + ";\n} }");
        QVERIFY2(nginx.start(port), nginx.log());
        QVERIFY(m_machine.trustStore(m_key->publicFile(), url));
        QVERIFY(m_machine.useServer(QString::fromLatin1(url)));
        QVERIFY(requestsOfUpdate().contains(fetch()));
        const QStringList requests = requestsOfUpdate();
        QVERIFY(QFile::remove(m_machine.root + QStringLiteral("/etc/pakmart/settings")));
        QVERIFY2(requests.contains(fetch()) != isBelieved,
                 qPrintable(requests.join(QLatin1Char('\n'))));
        if (isBelieved) { // both ways, with the heads
            const QList<QByteArray> lengths
                = contents(sizes).trimmed().split('\n').last().split(' ');
            QVERIFY2(lengths[0].toInt() > 100 && lengths[1].toInt() > 400
                         && lengths[0].toInt() + lengths[1].toInt() < 1024,
                     lengths.join(' '));
        }
    }
};

QTEST_GUILESS_MAIN(CurrentCatalogTest)
#include "tst_currentcatalog.moc"
