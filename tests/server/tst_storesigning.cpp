// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A server that signs its repositories: what it signs and when, which keys it takes, and
// that apt-get accepts it.

#include "base/requestname.h"
#include "server/serverprocess.h"
#include "tests/common/signingkey.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTimeZone>
#include <QtTest>
#include <csignal>

class StoreSigningTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<SigningKey> m_key;
    QString m_store;

    QString path(const char* name) const { return m_dir->filePath(QLatin1String(name)); }
    QString inStore(const char* name) const { return m_store + QLatin1String(name); }
    static QByteArray contents(const QString& name)
    {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    std::unique_ptr<ServerProcess> serve(const QStringList& more = {}) const
    {
        return std::make_unique<ServerProcess>(
            m_store, more + QStringList{ QStringLiteral("--sign"), m_key->secretFile() });
    }
    static QByteArray field(const QByteArray& release, const QByteArray& name)
    {
        for (const QByteArray& line : release.split('\n')) {
            if (line.startsWith(name + ": "))
                return line.mid(name.size() + 2);
        }
        return {};
    }
    static QDateTime date(const QByteArray& text)
    {
        QString plain = QString::fromLatin1(text);
        plain.replace(QLatin1String(" +0000"), QString());
        QDateTime when
            = QLocale::c().toDateTime(plain, QStringLiteral("ddd, dd MMM yyyy HH:mm:ss"));
        return QDateTime(when.date(), when.time(), QTimeZone::utc());
    }
    static QByteArray sum(const QByteArray& bytes)
    {
        return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
    }
    // The text that the store's key has signed for a reply.
    QByteArray statement(const HttpReply& reply) const
    {
        const QList<QByteArray> parts = reply.header("Pakmart-Statement").split(' ');
        if (reply.status != 200 || parts.size() != 2)
            return "there is none";
        const QByteArray text = QByteArray::fromBase64(parts[0]);
        if (!WriteTextFile(path("text"), text)
            || !WriteTextFile(path("signature"), QByteArray::fromBase64(parts[1])))
            return "it cannot be written";
        m_key->gpg({ QStringLiteral("--verify"), path("signature"), path("text") }); // or abort
        return text;
    }
    // Clients that wait for their replies, each with a number in place of "%1".
    using Clients = std::vector<std::unique_ptr<QTcpSocket>>;
    static Clients flood(const ServerProcess& server, const QByteArray& target,
                         const QByteArray& host)
    {
        Clients clients;
        for (int i = 0; i < 100; ++i) {
            const QByteArray number = QByteArray::number(i);
            clients.push_back(server.send(
                ServerProcess::getRequest(QByteArray(target).replace("%1", number),
                                          { "Host: " + QByteArray(host).replace("%1", number) })));
        }
        return clients;
    }
    struct Outcome {
        int statements = 0, refused = 0;
    };
    static Outcome outcomeOf(const Clients& clients)
    {
        Outcome outcome;
        for (const auto& client : clients) {
            const HttpReply reply = ServerProcess::receive(*client);
            outcome.statements
                += reply.status == 200 && !reply.header("Pakmart-Statement").isEmpty();
            outcome.refused += reply.status == 503 && reply.header("Retry-After") == "2";
        }
        return outcome;
    }
    static QByteArray sumLine(const QByteArray& bytes, const char* name)
    {
        return ' ' + sum(bytes) + ' ' + QByteArray::number(bytes.size()) + ' ' + name + '\n';
    }
    // The message of a server that cannot start with this key.
    QByteArray refusalOf(const QString& key) const
    {
        const ServerProcess::Result result
            = ServerProcess::run({ QStringLiteral("--sign"), key, m_store });
        return result.status == 1 && result.out.isEmpty() ? result.err
                                                          : "it ended with another status";
    }

private slots:
    void initTestCase()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_key = std::make_unique<SigningKey>(path("key"));
        m_store = ServerProcess::makeDemoStore(m_dir->path());
        QVERIFY(!m_store.isEmpty());
    }

    void theRepositoryIsSignedWithItsSums()
    {
        const auto server = serve();
        QVERIFY(server->isRunning());
        const QByteArray release = m_key->signedText(server->get("/pool/main/./InRelease").body);
        QVERIFY(!release.isEmpty());
        QCOMPARE(server->get("/pool/main/Release").body, release);
        QVERIFY2(release.contains(sumLine(server->get("/pool/main/Packages").body, "Packages")),
                 release);
        QVERIFY2(
            release.contains(sumLine(server->get("/pool/main/Packages.gz").body, "Packages.gz")),
            release);
        QCOMPARE(field(release, "Origin"), QByteArray("Pakmart"));
        QCOMPARE(field(release, "Suite"), QByteArray("main"));
    }

    void aSignatureHasADateAndAnEnd()
    {
        const auto server = serve({ QStringLiteral("--origin"), QStringLiteral("Corner shop") });
        const QByteArray release = m_key->signedText(server->get("/pool/main/InRelease").body);
        QCOMPARE(field(release, "Origin"), QByteArray("Corner shop"));
        const QDateTime made = date(field(release, "Date"));
        QVERIFY(qAbs(made.secsTo(QDateTime::currentDateTimeUtc())) < 600);
        QCOMPARE(made.daysTo(date(field(release, "Valid-Until"))), qint64(7));
    }

    void aChangedIndexIsSignedAgain()
    {
        const auto server = serve();
        const QByteArray before = server->get("/pool/main/InRelease").body;
        QCOMPARE(server->get("/pool/main/InRelease").body, before);
        const QByteArray old = contents(inStore("/pool/main/Packages"));
        const QByteArray changed = old
            + "Package: more\nVersion: 1\nArchitecture: all\n"
              "Filename: more_1_all.deb\nSize: 1\nSHA256: 00\n\n";
        QVERIFY(WriteTextFile(inStore("/pool/main/Packages"), changed));
        const QByteArray release = m_key->signedText(server->get("/pool/main/InRelease").body);
        QVERIFY2(release.contains(sumLine(changed, "Packages")), release);
        // The compressed form is that of the old text.
        QVERIFY2(!release.contains("Packages.gz"), release);
        QVERIFY(WriteTextFile(inStore("/pool/main/Packages"), old));
    }

    void aPackageWithoutASumIsNotSigned()
    {
        const auto server = serve();
        const QByteArray old = contents(inStore("/pool/main/Packages"));
        QVERIFY(WriteTextFile(inStore("/pool/main/Packages"),
                              old
                                  + "Package: bare\nVersion: 1\nArchitecture: all\n"
                                    "Filename: bare_1_all.deb\nSize: 1\n\n"));
        QCOMPARE(server->get("/pool/main/InRelease").status, 503);
        const QByteArray error = refusalOf(m_key->secretFile());
        QVERIFY2(error.contains("the package 'bare' has no SHA256"), error);
        QVERIFY(WriteTextFile(inStore("/pool/main/Packages"), old));
        QCOMPARE(server->get("/pool/main/InRelease").status, 200);
    }

    void withoutAKeyNothingIsSigned()
    {
        const ServerProcess server(m_store);
        QCOMPARE(server.get("/pool/main/InRelease").status, 404);
    }

    // The signed index has the archives below this server.
    void archivesElsewhereAreReachedThroughTheServer()
    {
        QVERIFY(WriteTextFile(inStore("/pool/far/Location"), "Archives: http://127.0.0.1:9/d\n"));
        QVERIFY(WriteTextFile(inStore("/pool/far/Packages"),
                              "Package: far\nVersion: 1:2\nArchitecture: all\nFilename: "
                              "pool/f/far_1%3a2_all.deb\nSize: 1\nSHA256: 00\n\n"));
        const auto server = serve();
        const HttpReply reply = server->get("/pool/far/./pool/f/far_1%253a2_all.deb");
        QCOMPARE(reply.status, 302);
        QCOMPARE(reply.header("Location"),
                 QByteArray("http://127.0.0.1:9/d/pool/f/far_1%253a2_all.deb"));
        QCOMPARE(server->get("/pool/far/pool/f/other.deb").status, 404);
        const QByteArray info
            = server->get("/agent/CAPIGetPackageInfo?filename[]=far_1%253a2_all.deb").body;
        QVERIFY2(info.contains("/pool/far</package_url>"), info);
        QVERIFY(QDir(inStore("/pool/far")).removeRecursively());
    }

    // -- replies

    void aReplyComesWithAStatement_data()
    {
        QTest::addColumn<QByteArray>("target");
        for (const char* target :
             { "/getagentapi.php", "/agent/CAPIUpdateCatalog", "/agent/CAPIGetAisles",
               "/agent/CAPIGetSourcesList", "/agent/CAPIDownloadAppInfo?app_id[]=1001",
               "/agent/CAPIDownloadAppInfo?app_id[]=999999", "/agent/CAPISetOEMInfo?id=%C3%B6+1" })
            QTest::newRow(target) << QByteArray(target);
    }
    void aReplyComesWithAStatement()
    {
        QFETCH(QByteArray, target);
        const auto server = serve({ QStringLiteral("--origin"), QStringLiteral("Corner shop") });
        const HttpReply reply = server->get(target);
        const QByteArray text = statement(reply);
        QCOMPARE(field(text, "Origin"), QByteArray("Corner shop"));
        const std::string name
            = Agent::RequestName((server->url().toLatin1() + target).toStdString());
        QCOMPARE(field(text, "Request"), sum(QByteArray::fromStdString(name)));
        QCOMPARE(field(text, "Size"), QByteArray::number(reply.body.size()));
        QCOMPARE(field(text, "SHA256"), sum(reply.body));
        const QDateTime made = date(field(text, "Date"));
        QVERIFY(qAbs(made.secsTo(QDateTime::currentDateTimeUtc())) < 600);
        QCOMPARE(made.daysTo(date(field(text, "Valid-Until"))), qint64(7));
    }
    void aStatementNamesTheAddressThatTheClientSees()
    {
        const auto server
            = serve({ QStringLiteral("--public-url"), QStringLiteral("https://shop.example/x") });
        QCOMPARE(field(statement(server->get("/agent/CAPIGetAisles")), "Request"),
                 sum("https://shop.example/x/agent/CAPIGetAisles"));
    }
    void aReplyIsSignedOnce()
    {
        const auto server = serve();
        const char target[] = "/agent/CAPIDownloadAppInfo?app_id[]=1001";
        const QByteArray first = server->get(target).header("Pakmart-Statement");
        QVERIFY(!first.isEmpty());
        QCOMPARE(server->get(target).header("Pakmart-Statement"), first);
        QCOMPARE(
            server->get("/agent/CAPIDownloadAppInfo?app_id%5b%5D=1001").header("Pakmart-Statement"),
            first);
        QCOMPARE(server->get(target, { "Accept-Encoding: gzip" }).header("Pakmart-Statement"),
                 first);
    }
    // So a client that has the reply already learns that it is still the store's.
    void aStatementComesWithoutTheReplyToThoseWhoHaveIt()
    {
        const auto server = serve();
        for (const QByteArray target : { "/agent/CAPIUpdateCatalog", "/getagentapi.php" }) {
            const HttpReply whole = server->get(target);
            const HttpReply same
                = server->get(target, { "If-None-Match: " + whole.header("ETag") });
            QCOMPARE(same.status, 304);
            QCOMPARE(same.header("Pakmart-Statement"), whole.header("Pakmart-Statement"));
        }
        const QByteArray mark = server->get("/pool/main/InRelease").header("ETag");
        QCOMPARE(server->get("/pool/main/InRelease", { "If-None-Match: " + mark }).status, 304);
    }
    // From then on all replies have a later date, also those that have not changed.
    void aChangeOfTheStoreBeginsANewDate()
    {
        const auto server = serve();
        const QByteArray aisles = "/agent/CAPIGetAisles", catalog = "/agent/CAPIUpdateCatalog";
        const QDateTime before = date(field(statement(server->get(catalog)), "Date"));
        const QByteArray unchanged = server->get(aisles).body;
        QCOMPARE(date(field(statement(server->get(aisles)), "Date")), before);
        const QByteArray old = contents(inStore("/products"));
        QVERIFY(
            WriteTextFile(inStore("/products"), QByteArray(old).replace("Name: ", "Name: New ")));
        const QDateTime after = date(field(statement(server->get(catalog)), "Date"));
        QVERIFY(after > before);
        const HttpReply again = server->get(aisles);
        QCOMPARE(again.body, unchanged);
        QCOMPARE(date(field(statement(again), "Date")), after);
        QVERIFY(WriteTextFile(inStore("/products"), old));
    }
    // Anybody can invent requests that need a signature each: some wait, the others are told to
    // come back, and whoever asks for what is signed already is served.
    void aFloodOfNewRequestsHoldsNobodyUp_data()
    {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<QByteArray>("host");
        QTest::newRow("queries") << QByteArray("/agent/CAPIDownloadAppInfo?app_id[]=1001&x=%1")
                                 << QByteArray("a.example");
        QTest::newRow("hosts") << QByteArray("/getagentapi.php") << QByteArray("a%1.example");
    }
    void aFloodOfNewRequestsHoldsNobodyUp()
    {
        QFETCH(QByteArray, target);
        QFETCH(QByteArray, host);
        const auto server = serve();
        QVERIFY(!server->get("/getagentapi.php").header("Pakmart-Statement").isEmpty());
        const auto clients = flood(*server, target, host);
        QVERIFY(!server->get("/getagentapi.php").header("Pakmart-Statement").isEmpty());
        const Outcome outcome = outcomeOf(clients);
        QCOMPARE(outcome.statements + outcome.refused, int(clients.size()));
        QVERIFY(outcome.statements > 0);
        QVERIFY(outcome.refused > 0);
        QVERIFY(!server->get(target.replace("%1", "y"), { "Host: b.example" })
                     .header("Pakmart-Statement")
                     .isEmpty());
    }
    // All want the same few addresses then, however many they are.
    void nobodyIsRefusedWhatAPublicUrlNames()
    {
        const auto server
            = serve({ QStringLiteral("--public-url"), QStringLiteral("https://shop.example") });
        const auto clients = flood(*server, "/getagentapi.php", "a%1.example");
        QCOMPARE(outcomeOf(clients).statements, int(clients.size()));
    }
    void withoutAKeyThereIsNoStatement()
    {
        const ServerProcess server(m_store);
        const HttpReply reply = server.get("/getagentapi.php");
        QCOMPARE(reply.status, 200);
        QCOMPARE(reply.header("Pakmart-Statement"), QByteArray());
    }

    void aMissingKeyIsReported()
    {
        const QByteArray error = refusalOf(path("nothing"));
        QVERIFY2(error.contains("nothing: No such file"), error);
        QVERIFY(refusalOf(m_dir->path()).contains("this is not a file with a key"));
    }
    void aKeyThatOthersCanReadIsRefused()
    {
        const QString file = path("open.key");
        QVERIFY(WriteTextFile(file, contents(m_key->secretFile())));
        QFile::setPermissions(file, QFile::Permissions(0x6044));
        QVERIFY2(refusalOf(file).contains("`chmod 600` it"), refusalOf(file));
    }
    // systemd hands out a file of root's that the group seems to have.
    void aCredentialOfTheServiceIsTaken()
    {
        const QString file = path("handed/sign"), other = path("handed-not");
        for (const QString& name : { file, other }) {
            QVERIFY(WriteTextFile(name, contents(m_key->secretFile())));
            QFile::setPermissions(name, QFile::Permissions(0x4040));
        }
        qputenv("CREDENTIALS_DIRECTORY", path("handed").toLocal8Bit());
        const ServerProcess server(m_store, { QStringLiteral("--sign"), file });
        const QByteArray refusal = refusalOf(other);
        qunsetenv("CREDENTIALS_DIRECTORY");
        QVERIFY(server.isRunning());
        QVERIFY2(refusal.contains("`chmod 600` it"), refusal);
    }
    void aPublicKeyIsRefused()
    {
        const QString file = path("public.key");
        QVERIFY(WriteTextFile(file, contents(m_key->publicFile())));
        QFile::setPermissions(file, QFile::Permissions(0x6000));
        QVERIFY2(refusalOf(file).contains("there is no secret OpenPGP key"), refusalOf(file));
    }
    void severalKeysAreRefused()
    {
        const SigningKey other(path("other"));
        const QString file = path("two.key");
        QVERIFY(WriteTextFile(file, contents(m_key->secretFile()) + contents(other.secretFile())));
        QFile::setPermissions(file, QFile::Permissions(0x6000));
        QVERIFY2(refusalOf(file).contains("several secret keys"), refusalOf(file));
    }
    void aWeakKeyIsRefused()
    {
        const SigningKey weak(path("weak"), QStringLiteral("rsa2048"));
        QVERIFY2(refusalOf(weak.secretFile()).contains("the key is too weak"),
                 refusalOf(weak.secretFile()));
    }
    void anExpiredKeyIsRefused()
    {
        const SigningKey expired(path("expired"), QStringLiteral("ed25519"),
                                 QStringLiteral("seconds=1"));
        QTest::qWait(2100);
        QVERIFY2(refusalOf(expired.secretFile()).contains("the key has expired"),
                 refusalOf(expired.secretFile()));
    }
    void aKeyWithAPassphraseIsRefused()
    {
        const SigningKey locked(path("locked"), QStringLiteral("ed25519"), QStringLiteral("never"),
                                QStringLiteral("secret"));
        QVERIFY2(refusalOf(locked.secretFile()).contains("is there a passphrase?"),
                 refusalOf(locked.secretFile()));
    }
    void anOriginIsOneLine()
    {
        const ServerProcess::Result result = ServerProcess::run(
            { QStringLiteral("--origin"), QStringLiteral("a\nDate: x"), m_store });
        QCOMPARE(result.status, 2);
        QVERIFY2(result.err.contains("one line of ASCII"), result.err);
    }
    void signingLeavesNothingBehind()
    {
        const QString folder = path("tmp");
        QVERIFY(QDir().mkpath(folder));
        const QByteArray usual = qgetenv("TMPDIR");
        qputenv("TMPDIR", folder.toLocal8Bit());
        auto server = serve();
        QVERIFY(server->isRunning());
        QCOMPARE(server->end(SIGTERM), 0);
        usual.isNull() ? qunsetenv("TMPDIR") : qputenv("TMPDIR", usual);
        QCOMPARE(QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    }
};

QTEST_GUILESS_MAIN(StoreSigningTest)
#include "tst_storesigning.moc"
