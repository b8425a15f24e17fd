// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The store server with its personal data in a database: what clients get, what becomes of the
// files, and the commands for the keeper.

#include "common/cutrun.h"
#include "common/plainuser.h"
#include "common/postgresql.h"
#include "personalplace.h"
#include "server/serverprocess.h"
#include "sqlpersonaldata.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>
#include <csignal>
#include <memory>

namespace
{

const char profileText[]
    = "Serial: 7\nName: Dice & Cards\nPackage: dicecards\n\nSerial: 9\nName: Poker\nPackage: p\n";
const char lines[] = "2026-01-31T12:00:00Z 0000000042\n2026-01-31T12:00:00Z Acme é\n";

} // namespace

class PersonalServerTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<PostgreSql> m_postgresql;
    int m_number = 0;

    QString path(const char* name) const { return m_dir->filePath(QLatin1String(name)); }
    void write(const char* name, const QByteArray& text) const
    {
        if (!WriteTextFile(path(name), text))
            qFatal("cannot write a file of the store");
    }
    QByteArray read(const char* name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<none>");
    }
    static void addDatabases()
    {
        QTest::addColumn<QString>("engine");
        for (const char* engine : { "sqlite", "postgresql" })
            QTest::newRow(engine) << QString::fromLatin1(engine);
    }
    // The options for an engine, with a database of the test's own.
    QStringList database(const QString& engine) const
    {
        if (engine == QLatin1String("sqlite"))
            return { QStringLiteral("--state"), path("state") };
        const QByteArray name = "test" + QByteArray::number(m_number);
        m_postgresql->makeDatabase(name.constData()); // unless it is there
        return { QStringLiteral("--postgresql"),
                 QString::fromLocal8Bit(m_postgresql->place(name.constData())) };
    }
    static ServerProcess::Result personal(const QStringList& options, const QStringList& action)
    {
        return ServerProcess::run(QStringList{ QStringLiteral("personal") } + options + action);
    }
    static QByteArray registrations(const QStringList& options)
    {
        return personal(options, { QStringLiteral("registrations") }).out;
    }
    static HttpReply profile(const ServerProcess& server)
    {
        return server.get("/agent/CAPISyncMyMachine");
    }
    static HttpReply report(const ServerProcess& server, const QByteArray& id)
    {
        return server.get("/agent/CAPISetOEMInfo?id=" + id);
    }
    // A start that must fail.
    QByteArray startError(const QStringList& options) const
    {
        const auto result = ServerProcess::run(
            options + QStringList{ QStringLiteral("--port"), QStringLiteral("0"), path("store") });
        return result.status == 1 ? result.err
                                  : QByteArray("status ") + QByteArray::number(result.status);
    }

private slots:
    void initTestCase()
    {
        m_postgresql = std::make_unique<PostgreSql>(QString::fromLocal8Bit(qgetenv("TEST_DIR"))
                                                    + QLatin1String("/postgresql"));
        if (PostgreSql::isThere())
            QVERIFY2(m_postgresql->start(), m_postgresql->log());
    }
    void cleanupTestCase() { m_postgresql.reset(); }
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        ++m_number;
        if (QByteArray(QTest::currentDataTag()).startsWith("postgresql")
            && !PostgreSql::isThere()) {
            QTest::qSkip("PostgreSQL is not there", __FILE__, __LINE__);
            return;
        }
        write("store/products", "Serial: 7\nName: A\nCategory: B\nPackage: c\nDescription: d\n");
        write("store/sources", "Type: dep\nEntry: deb @SERVER@/pool/main ./\nTimestamp: 5\n");
        write("store/pool/main/Packages", "Package: p\nVersion: 1\nFilename: p_1_all.deb\n");
    }
    void cleanup() { m_dir.reset(); }

    void repliesAreThoseOfTheFiles_data() { addDatabases(); }
    void repliesAreThoseOfTheFiles()
    {
        QFETCH(QString, engine);
        write("store/profile", profileText);
        write("store/registrations", lines);
        const ServerProcess files(path("store"));
        const QByteArray expected = profile(files).body;
        const QByteArray recorded = report(files, "x").body;
        write("store/registrations", lines);
        const ServerProcess server(path("store"), database(engine));
        QCOMPARE(profile(server).body, expected);
        QVERIFY(expected.contains("<name>Dice+%26+Cards</name>"));
        QCOMPARE(report(server, "Acme%20%C3%A9").body, recorded);
        const QByteArray listed = registrations(database(engine));
        QVERIFY2(listed.startsWith(lines), listed.constData());
        QVERIFY2(listed.mid(int(sizeof lines) - 1).endsWith("Z Acme é\n"), listed.constData());
        QCOMPARE(listed.count('\n'), 3);
    }

    void filesAreTakenOverOnce_data() { addDatabases(); }
    void filesAreTakenOverOnce()
    {
        QFETCH(QString, engine);
        write("store/profile", profileText);
        write("store/registrations", lines);
        for (int start = 0; start < 2; ++start) {
            const ServerProcess server(path("store"), database(engine));
            QVERIFY(server.isRunning());
            QCOMPARE(read("store/profile"), QByteArray("<none>"));
            QCOMPARE(read("store/profile.imported"), QByteArray(profileText));
            QCOMPARE(read("store/registrations.imported"), QByteArray(lines));
        }
        // Those of another server come later, and the same profile too.
        write("store/profile", profileText);
        write("store/registrations", "2026-02-01T12:00:00Z b\n");
        QVERIFY(ServerProcess(path("store"), database(engine)).isRunning());
        QCOMPARE(read("store/profile"), QByteArray("<none>"));
        QCOMPARE(read("store/profile.imported-2"), QByteArray(profileText));
        QCOMPARE(registrations(database(engine)), QByteArray(lines) + "2026-02-01T12:00:00Z b\n");
        QCOMPARE(personal(database(engine), { QStringLiteral("profile") }).out,
                 QByteArray(profileText));
    }

    void filesThatCannotBeTakenOverEndTheStart_data()
    {
        QTest::addColumn<QString>("engine");
        QTest::addColumn<QByteArray>("profile");
        QTest::addColumn<QByteArray>("registrations");
        QTest::addColumn<QByteArray>("message");
        for (const QByteArray engine : { "sqlite", "postgresql" }) {
            const auto row = [&engine](const char* name, const QByteArray& profile,
                                       const QByteArray& registrations, const QByteArray& message) {
                QTest::newRow(engine + ", " + name)
                    << QString::fromLatin1(engine) << profile << registrations << message;
            };
            row("another profile", "Serial: 1\nName: a\nPackage: b\n", "2026-01-31T12:00:00Z a\n",
                "/store: the file `profile` is not that of the database: ");
            row("malformed profile", "Serial: x\n", "2026-01-31T12:00:00Z a\n",
                "/store/profile:1: a serial number is ");
            row("malformed registrations", profileText, "2026-01-31T12:00:00Z a\nyesterday\n",
                "/store/registrations:2: this is not a time and a system builder: 'yesterday'\n");
        }
    }
    void filesThatCannotBeTakenOverEndTheStart()
    {
        QFETCH(QString, engine);
        QFETCH(QByteArray, profile);
        QFETCH(QByteArray, registrations);
        QFETCH(QByteArray, message);
        write("first", "Serial: 2\nName: first\nPackage: b\n");
        QCOMPARE(
            personal(database(engine), { QStringLiteral("set-profile"), path("first") }).status, 0);
        write("store/profile", profile);
        write("store/registrations", registrations);
        const QByteArray error = startError(database(engine));
        QVERIFY2(error.contains(message), error.constData());
        QCOMPARE(read("store/profile"), profile);
        QCOMPARE(read("store/registrations"), registrations);
        QCOMPARE(PersonalServerTest::registrations(database(engine)), QByteArray());
        QVERIFY(personal(database(engine), { QStringLiteral("profile") }).out.contains("first"));
    }

    // The server takes the files over before it finds that it cannot listen.
    void importIsRepeatedOrComplete()
    {
        const QStringList words{
            QStringLiteral(STORESERVER), QStringLiteral("--state"),   path("state"),
            QStringLiteral("--listen"),  QStringLiteral("192.0.2.1"), path("store")
        };
        const QStringList options{ QStringLiteral("--state"), path("state") };
        int cuts = 0;
        for (bool isCut = true; isCut; ++cuts) {
            QDir(path("state")).removeRecursively();
            for (const char* name : { "store/profile.imported", "store/registrations.imported" })
                QFile::remove(path(name));
            write("store/profile", profileText);
            write("store/registrations", lines);
            const CutRun run = RunCutAt(cuts, Killed::All, words, path("output"));
            if (!run.traced) {
                QTest::qSkip("this system does not allow tracing", __FILE__, __LINE__);
                return;
            }
            QVERIFY(!run.hung);
            isCut = run.cut;
            const CutRun again = RunCutAt(-1, Killed::All, words, path("output"));
            QCOMPARE(again.status, 1);
            QCOMPARE(personal(options, { QStringLiteral("profile") }).out, QByteArray(profileText));
            QVERIFY2(registrations(options) == lines, run.last);
            QCOMPARE(read("store/profile.imported"), QByteArray(profileText));
            QCOMPARE(read("store/registrations.imported"), QByteArray(lines));
            QCOMPARE(read("store/profile"), QByteArray("<none>"));
        }
        QVERIFY2(cuts > 20, QByteArray::number(cuts));
    }

    void storeThatCannotBeWrittenKeepsItsFiles()
    {
        if (geteuid() != 0) {
            QTest::qSkip("only root can give files away", __FILE__, __LINE__);
            return;
        }
        write("store/profile", profileText);
        QVERIFY(QDir().mkdir(path("state")));
        QCOMPARE(chown(qPrintable(path("state")), PlainUser::nobody, PlainUser::nobody), 0);
        QCOMPARE(chmod(qPrintable(m_dir->path()), 0711), 0);
        const PlainUser user;
        for (int start = 0; start < 2; ++start) {
            ServerProcess server(path("store"), database(QStringLiteral("sqlite")));
            QVERIFY(profile(server).body.contains("<name>Poker</name>"));
            QCOMPARE(server.end(SIGTERM), 0);
            QVERIFY(server.standardError().contains("/profile is in the database now, but cannot "
                                                    "be renamed: Permission denied\n"));
        }
        QCOMPARE(read("store/profile"), QByteArray(profileText));
    }

    void rootMakesNothingThatTheServerCannotUse()
    {
        if (geteuid() != 0) {
            QTest::qSkip("only root can give files away", __FILE__, __LINE__);
            return;
        }
        const QStringList options = database(QStringLiteral("sqlite"));
        QVERIFY(QDir().mkdir(path("state")));
        QCOMPARE(chown(qPrintable(path("state")), PlainUser::nobody, PlainUser::nobody), 0);
        QCOMPARE(chmod(qPrintable(m_dir->path()), 0711), 0);
        write("new", profileText);
        QCOMPARE(personal(options, { QStringLiteral("set-profile"), path("new") }).status, 0);
        std::unique_ptr<ServerProcess> server;
        {
            const PlainUser user;
            server = std::make_unique<ServerProcess>(path("store"), options);
            QVERIFY(profile(*server).body.contains("<name>Poker</name>"));
        }
        QCOMPARE(report(*server, "1").status, 200);
        QVERIFY(registrations(options).endsWith("Z 1\n"));
        QVERIFY(report(*server, "2").body.contains("\"OK\""));
        QVERIFY(registrations(options).endsWith("Z 2\n"));
    }

    void fileOfTheDatabaseIsForItsOwner()
    {
        const QStringList options = database(QStringLiteral("sqlite"));
        QCOMPARE(registrations(options), QByteArray());
        const QByteArray file = path("state/personal.sqlite").toLocal8Bit();
        struct stat info = {};
        QCOMPARE(stat(file.constData(), &info), 0);
        QCOMPARE(int(info.st_mode & 0777), 0600);
        QCOMPARE(stat(qPrintable(path("state")), &info), 0);
        QCOMPARE(int(info.st_mode & 0777), 0700);
        QCOMPARE(chmod(file.constData(), 0640), 0);
        QVERIFY(startError(options).contains("others than its owner may use this file"));
        QVERIFY(QFile::rename(path("state/personal.sqlite"), path("elsewhere")));
        QVERIFY(QFile::link(path("elsewhere"), path("state/personal.sqlite")));
        QVERIFY(
            startError(options).contains("/state/personal.sqlite: Too many levels of symbolic"));
    }

    void laterTablesEndTheStart_data() { addDatabases(); }
    void laterTablesEndTheStart()
    {
        QFETCH(QString, engine);
        QVERIFY(ServerProcess(path("store"), database(engine)).isRunning());
        const bool isSqlite = engine == QLatin1String("sqlite");
        const SqlSource source{
            isSqlite ? SqlSource::Engine::Sqlite : SqlSource::Engine::PostgreSql,
            (isSqlite ? path("state/personal.sqlite") : database(engine).last()).toStdString()
        };
        SqlConnection(source).Do("INSERT INTO schema_version (version) VALUES (99)");
        const QByteArray error = startError(database(engine));
        QVERIFY2(error.contains("the database has tables of version 99"), error.constData());
    }

    void stoppedDatabaseIsWaitedForByClients()
    {
        if (!PostgreSql::isThere()) {
            QTest::qSkip("PostgreSQL is not there", __FILE__, __LINE__);
            return;
        }
        const QStringList options = database(QStringLiteral("postgresql"));
        write("store/profile", profileText);
        ServerProcess one(path("store"), options), other(path("store"), options);
        const QByteArray expected = profile(one).body;
        QVERIFY(expected.contains("<name>Poker</name>"));
        QCOMPARE(profile(other).body, expected);
        QVERIFY(m_postgresql->stop());
        for (const ServerProcess* server : { &one, &other }) {
            for (const HttpReply& reply : { profile(*server), report(*server, "1") }) {
                QCOMPARE(reply.status, 503);
                QCOMPARE(reply.header("Retry-After"), QByteArray("2"));
            }
            QVERIFY(server->get("/agent/CAPIUpdateCatalog").body.contains("\"OK\""));
        }
        QVERIFY2(m_postgresql->start(), m_postgresql->log());
        QCOMPARE(profile(one).body, expected);
        QVERIFY(m_postgresql->stop());
        QVERIFY2(m_postgresql->start(), m_postgresql->log());
        QCOMPARE(profile(other).body, expected);
        QCOMPARE(report(one, "2").status, 200);
        QVERIFY(registrations(options).endsWith("Z 2\n"));
        QCOMPARE(registrations(options).count('\n'), 1);
        QCOMPARE(one.end(SIGTERM), 0);
        QVERIFY(one.standardError().contains("pakmart-storeserver: PostgreSQL: "));
    }

    void keeperChangesWhatIsThere_data() { addDatabases(); }
    void keeperChangesWhatIsThere()
    {
        QFETCH(QString, engine);
        const QStringList options = database(engine);
        write("store/registrations", lines);
        const ServerProcess server(path("store"), options);
        write("new", profileText);
        const auto set = personal(options, { QStringLiteral("set-profile"), path("new") });
        QCOMPARE(set.out, QByteArray("applications: 2\n"));
        QVERIFY(profile(server).body.contains("<name>Poker</name>"));
        QCOMPARE(personal(options, { QStringLiteral("profile") }).out, QByteArray(profileText));
        const QString time = QStringLiteral("2026-01-31T12:00:01Z");
        QCOMPARE(personal(options, { QStringLiteral("forget"), time }).out,
                 QByteArray("removed: 2\n"));
        QCOMPARE(registrations(options), QByteArray());
    }

    void wrongWordsAreRefused_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("message");
        const auto row = [](const char* words, int status, const char* message) {
            QTest::newRow(words) << QString::fromLatin1(words).split(QLatin1Char(' ')) << status
                                 << QByteArray(message);
        };
        row("profile", 2, "--state or --postgresql is needed");
        row("--state= profile", 2, "--state or --postgresql is needed");
        row("--state x", 2, "there is no such action, or a word is missing");
        row("--state x forget", 2, "there is no such action, or a word is missing");
        row("--state x profile it", 2, "there is no such action, or a word is missing");
        row("--state x show", 2, "there is no such action, or a word is missing");
        row("--sqlite x profile", 2, "unknown option, or its value is missing");
        row("--state STATE forget yesterday", 1, "a time is written as 2026-01-31T12:00:00Z, not");
        row("--state STATE set-profile nowhere", 1, "nowhere: ");
        row("--state /nowhere/x profile", 1, "/nowhere/x: No such file or directory");
        row("--postgresql host=/nowhere profile", 1, "PostgreSQL: ");
    }
    void wrongWordsAreRefused()
    {
        QFETCH(QStringList, words);
        QFETCH(int, status);
        QFETCH(QByteArray, message);
        words.replaceInStrings(QStringLiteral("STATE"), path("state"));
        const auto result = personal({}, words);
        QCOMPARE(result.status, status);
        QVERIFY2(result.err.contains(message), result.err.constData());
        QVERIFY(!QFile::exists(QStringLiteral("x")));
    }

    // -- as docs/personal-data.md says

    void sqliteIsBackedUpAndRestored()
    {
        const QStringList options = database(QStringLiteral("sqlite"));
        write("store/profile", profileText);
        auto server = std::make_unique<ServerProcess>(path("store"), options);
        const QByteArray expected = profile(*server).body;
        QCOMPARE(report(*server, "before").status, 200);
        QProcess backup; // while the server runs
        backup.start(
            QStringLiteral("sqlite3"),
            { path("state/personal.sqlite"), QStringLiteral(".backup '%1'").arg(path("backup")) });
        QVERIFY(backup.waitForFinished(60000));
        QCOMPARE(backup.exitCode(), 0);
        QCOMPARE(report(*server, "after").status, 200);
        server.reset();
        QVERIFY(QDir(path("state")).removeRecursively());
        QVERIFY(QDir().mkdir(path("state")));
        QVERIFY(QFile::rename(path("backup"), path("state/personal.sqlite")));
        QCOMPARE(chmod(qPrintable(path("state/personal.sqlite")), 0600), 0);
        server = std::make_unique<ServerProcess>(path("store"), options);
        QCOMPARE(profile(*server).body, expected);
        QVERIFY(registrations(options).endsWith("Z before\n"));
        QCOMPARE(registrations(options).count('\n'), 1);
    }

    void postgreSqlIsBackedUpAndRestored()
    {
        if (!PostgreSql::isThere()) {
            QTest::qSkip("PostgreSQL is not there", __FILE__, __LINE__);
            return;
        }
        const QStringList options = database(QStringLiteral("postgresql"));
        write("store/profile", profileText);
        auto server = std::make_unique<ServerProcess>(path("store"), options);
        const QByteArray expected = profile(*server).body;
        QCOMPARE(report(*server, "before").status, 200);
        QVERIFY2(m_postgresql->run("pg_dump",
                                   { QStringLiteral("--format=custom"),
                                     QStringLiteral("--file=") + path("backup"),
                                     QStringLiteral("--dbname=") + options.last() }),
                 m_postgresql->said());
        QCOMPARE(report(*server, "after").status, 200);
        server.reset();
        QVERIFY(m_postgresql->makeDatabase("restored"));
        QVERIFY2(m_postgresql->run("pg_restore",
                                   { QStringLiteral("--exit-on-error"),
                                     QStringLiteral("--single-transaction"),
                                     m_postgresql->arguments("restored"), path("backup") }),
                 m_postgresql->said());
        const QStringList restored{ QStringLiteral("--postgresql"),
                                    QString::fromLocal8Bit(m_postgresql->place("restored")) };
        server = std::make_unique<ServerProcess>(path("store"), restored);
        QCOMPARE(profile(*server).body, expected);
        QCOMPARE(registrations(restored).count('\n'), 1);
        QCOMPARE(report(*server, "new").status, 200); // under a number of its own
        QCOMPARE(registrations(restored).count('\n'), 2);
    }
};

QTEST_GUILESS_MAIN(PersonalServerTest)
#include "tst_personalserver.moc"
