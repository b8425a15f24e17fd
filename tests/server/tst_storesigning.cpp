// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A server that signs its repositories: what it signs and when, which keys it takes, and
// that apt-get accepts it.

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
    static QByteArray sumLine(const QByteArray& bytes, const char* name)
    {
        return ' ' + QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex() + ' '
            + QByteArray::number(bytes.size()) + ' ' + name + '\n';
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
