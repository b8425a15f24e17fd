// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Personal data is the same wherever it is kept: each function runs on every engine.

#include "common/answercutter.h"
#include "common/postgresql.h"
#include "personalfiles.h"
#include "server/serverprocess.h"
#include "sqlpersonaldata.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>
#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace
{

const Profile twoApplications{ { 7, "Dice & Cards", "dicecards" }, { 9, "Poker", "poker" } };

bool operator==(const Application& a, const Application& b)
{
    return a.serial == b.serial && a.name == b.name && a.package == b.package;
}

bool IsSame(const Profile& a, const Profile& b)
{
    return a.size() == b.size()
        && std::equal(a.begin(), a.end(), b.begin(), [](auto& x, auto& y) { return x == y; });
}

QByteArray Text(const PersonalFault& fault)
{
    return QByteArray::fromStdString(fault.text);
}

} // namespace

class PersonalDataTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<PostgreSql> m_postgresql;
    int m_number = 0; // of the test's database

    // One for each function: PostgreSQL's is made here.
    SqlSource source(const QString& engine) const
    {
        if (engine == QLatin1String("sqlite"))
            return { SqlSource::Engine::Sqlite, path("personal.sqlite") };
        const QByteArray name = "test" + QByteArray::number(m_number);
        m_postgresql->makeDatabase(name.constData()); // unless it is there
        return { SqlSource::Engine::PostgreSql,
                 m_postgresql->place(name.constData()).toStdString() };
    }
    std::string path(const char* name) const
    {
        return m_dir->filePath(QLatin1String(name)).toStdString();
    }
    // Opens what `engine` keeps, which is empty the first time in a test.
    std::unique_ptr<PersonalData> open(const QString& engine) const
    {
        if (engine == QLatin1String("files")) {
            QFile file(QString::fromStdString(path("registrations")));
            if (!file.open(QIODevice::Append))
                qFatal("cannot make a file");
            return std::make_unique<PersonalFiles>(m_dir->path().toStdString());
        }
        auto data = std::make_unique<SqlPersonalData>(source(engine));
        if (const PersonalFault fault = data->Prepare())
            qWarning("%s", fault.text.c_str());
        return data;
    }
    // That of PostgreSQL, through a proxy.
    SqlSource source(const AnswerCutter& cutter) const
    {
        SqlSource through = source(QStringLiteral("postgresql"));
        through.place = QByteArray::fromStdString(through.place)
                            .replace(m_postgresql->folder().toLocal8Bit(), cutter.folder())
                            .toStdString();
        return through;
    }
    struct Outcome {
        int faults = 0, cuts = 0, forgotten = 0;
        bool isAddedTwice = false;
    };
    // Fills an empty database. Each call loses its answers to some requests, and is made again
    // until it is known to have been done.
    static Outcome doAll(SqlPersonalData& data, AnswerCutter& cutter, const QByteArray& request,
                         int times)
    {
        Outcome outcome;
        const PersonalImport import{ "sum", twoApplications, "sum", { { 1, "a" }, { 2, "b" } } };
        const std::vector<std::function<PersonalFault()>> calls{
            [&] { return data.Prepare(); },
            [&] { return data.Import(import); },
            [&] { return data.WriteProfile(theAccount, twoApplications); },
            [&] { return data.ForgetRegistrations(2, outcome.forgotten); },
            [&] {
                return data.AddRegistration({ 3, "A builder" });
            },
        };
        for (const auto& call : calls) {
            cutter.cut(request, times);
            for (PersonalFault fault = call(); fault && outcome.faults < 9; fault = call()) {
                outcome.faults += fault.kind == PersonalFault::Kind::Away ? 1 : 100;
                outcome.isAddedTwice = &call == &calls.back();
            }
            outcome.cuts += times - cutter.left();
        }
        return outcome;
    }
    static void addEngines()
    {
        QTest::addColumn<QString>("engine");
        for (const char* engine : { "files", "sqlite", "postgresql" })
            QTest::newRow(engine) << QString::fromLatin1(engine);
    }
    static void addDatabases()
    {
        QTest::addColumn<QString>("engine");
        for (const char* engine : { "sqlite", "postgresql" })
            QTest::newRow(engine) << QString::fromLatin1(engine);
    }
    static Profile profile(PersonalData& data, const std::string& account = theAccount)
    {
        Profile read{ { 1, "left over", "before" } };
        if (const PersonalFault fault = data.ReadProfile(account, read))
            qWarning("%s", fault.text.c_str());
        return read;
    }
    static QStringList registrations(PersonalData& data)
    {
        QStringList lines;
        const PersonalFault fault = data.ReadRegistrations(
            [&lines](const Registration& one) { lines << QString::fromStdString(LineOf(one)); });
        if (fault)
            qWarning("%s", fault.text.c_str());
        return lines;
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
    }
    void cleanup() { m_dir.reset(); }

    void nothingIsThereAtFirst_data() { addEngines(); }
    void nothingIsThereAtFirst()
    {
        QFETCH(QString, engine);
        const auto data = open(engine);
        QCOMPARE(Text(data->Check()), QByteArray());
        QVERIFY(profile(*data).empty());
        QVERIFY(profile(*data, "somebody else").empty());
        QCOMPARE(registrations(*data), QStringList());
    }

    void profileIsReplacedAsAWhole_data() { addEngines(); }
    void profileIsReplacedAsAWhole()
    {
        QFETCH(QString, engine);
        const Profile other{ { 2147483647, "Möbius' \\ \"band\"; DROP TABLE account --", "p+1" },
                             { 1, "\xF0\x9F\x8E\xB2 100% ?", "a" },
                             { 1, "again, before others", "a" } };
        const auto data = open(engine);
        for (const Profile& next : { twoApplications, other, Profile(), twoApplications }) {
            QCOMPARE(Text(data->WriteProfile(theAccount, next)), QByteArray());
            QVERIFY(IsSame(profile(*data), next));
            QVERIFY(IsSame(profile(*open(engine)), next));
        }
    }

    void registrationsKeepTheirOrder_data() { addEngines(); }
    void registrationsKeepTheirOrder()
    {
        QFETCH(QString, engine);
        const auto data = open(engine);
        QCOMPARE(Text(data->AddRegistration({ 1769860800, "0000000042" })), QByteArray());
        QCOMPARE(Text(data->AddRegistration({ 0, "Möbius' & \\Sons" })), QByteArray());
        QCOMPARE(Text(data->AddRegistration({ 1769860800, "0000000042" })), QByteArray());
        const QStringList expected{ QStringLiteral("2026-01-31T12:00:00Z 0000000042"),
                                    QStringLiteral("1970-01-01T00:00:00Z Möbius' & \\Sons"),
                                    QStringLiteral("2026-01-31T12:00:00Z 0000000042") };
        QCOMPARE(registrations(*data), expected);
        QCOMPARE(registrations(*open(engine)), expected);
    }

    void manyThreadsLoseNothing_data() { addEngines(); }
    void manyThreadsLoseNothing()
    {
        QFETCH(QString, engine);
        const auto data = open(engine);
        std::atomic<int> faults{ 0 };
        std::vector<std::thread> threads;
        for (int number = 0; number < 8; ++number) {
            threads.emplace_back([&data, &faults, number] {
                for (int i = 0; i < 5; ++i) {
                    Profile read;
                    faults += data->AddRegistration({ number, std::to_string(i) }) ? 1 : 0;
                    faults += data->WriteProfile(theAccount, twoApplications) ? 1 : 0;
                    faults += data->ReadProfile(theAccount, read) ? 1 : 0;
                    faults += IsSame(read, twoApplications) ? 0 : 1;
                }
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(faults.load(), 0);
        const QStringList lines = registrations(*data);
        QCOMPARE(lines.size(), 40);
        QCOMPARE(QSet<QString>(lines.begin(), lines.end()).size(), 40);
    }

    void serversThatStartAtOnceMakeTheTablesOnce_data() { addDatabases(); }
    void serversThatStartAtOnceMakeTheTablesOnce()
    {
        QFETCH(QString, engine);
        const SqlSource place = source(engine);
        std::array<QByteArray, 6> faults;
        std::vector<std::thread> servers;
        for (QByteArray& fault : faults)
            servers.emplace_back([&] { fault = Text(SqlPersonalData(place).Prepare()); });
        for (std::thread& server : servers)
            server.join();
        for (const QByteArray& fault : faults)
            QCOMPARE(fault, QByteArray());
        QCOMPARE(Text(SqlPersonalData(place).Check()), QByteArray());
    }

    void tablesOfALaterServerAreLeftAlone_data() { addDatabases(); }
    void tablesOfALaterServerAreLeftAlone()
    {
        QFETCH(QString, engine);
        const SqlSource place = source(engine);
        QCOMPARE(Text(open(engine)->WriteProfile(theAccount, twoApplications)), QByteArray());
        SqlConnection(place).Do("INSERT INTO schema_version (version) VALUES (99)");
        const PersonalFault fault = SqlPersonalData(place).Prepare();
        QCOMPARE(int(fault.kind), int(PersonalFault::Kind::Broken));
        QVERIFY2(
            Text(fault).contains("the database has tables of version 99, and this server knows "
                                 "those up to version "),
            Text(fault));
        SqlPersonalData data(place);
        QVERIFY(IsSame(profile(data), twoApplications));
    }

    void registrationsHaveALimit_data() { addDatabases(); }
    void registrationsHaveALimit()
    {
        QFETCH(QString, engine);
        open(engine);
        SqlPersonalData data(source(engine), 3);
        for (int time = 100; time < 103; ++time)
            QCOMPARE(Text(data.AddRegistration({ time, "a" })), QByteArray());
        const PersonalFault fault = data.AddRegistration({ 103, "b" });
        QCOMPARE(int(fault.kind), int(PersonalFault::Kind::Broken));
        QVERIFY(Text(fault).contains("has 3 registrations and takes no more"));
        int count = 0;
        QCOMPARE(Text(data.ForgetRegistrations(102, count)), QByteArray());
        QCOMPARE(count, 2);
        QCOMPARE(Text(data.AddRegistration({ 104, "c" })), QByteArray());
        QCOMPARE(registrations(data),
                 (QStringList{ QStringLiteral("1970-01-01T00:01:42Z a"),
                               QStringLiteral("1970-01-01T00:01:44Z c") }));
    }

    void moreRegistrationsThanFitIntoAPart_data() { addDatabases(); }
    void moreRegistrationsThanFitIntoAPart()
    {
        QFETCH(QString, engine);
        const auto data = open(engine);
        SqlConnection connection(source(engine));
        connection.InTransaction([&connection] {
            for (int i = 0; i < 2001; ++i)
                connection.Do("INSERT INTO registration (request, time, builder) "
                              "VALUES (?, ?, 'a')",
                              { QString::number(i), i });
        });
        const QStringList lines = registrations(*data);
        QCOMPARE(lines.size(), 2001);
        QCOMPARE(lines.last(), QStringLiteral("1970-01-01T00:33:20Z a"));
    }

    void whatFailsInTheMiddleChangesNothing_data() { addDatabases(); }
    void whatFailsInTheMiddleChangesNothing()
    {
        QFETCH(QString, engine);
        const auto data = open(engine);
        QCOMPARE(Text(data->WriteProfile(theAccount, twoApplications)), QByteArray());
        SqlConnection connection(source(engine));
        bool hasFailed = false;
        try {
            connection.InTransaction([&connection] {
                connection.Do("DELETE FROM account");
                connection.Do("INSERT INTO account (id, name) VALUES (1, NULL)");
            });
        } catch (const SqlError&) {
            hasFailed = true;
        }
        QVERIFY(hasFailed);
        QVERIFY(IsSame(profile(*data), twoApplications));
    }

    void applicationsGoWithTheirAccount_data() { addDatabases(); }
    void applicationsGoWithTheirAccount()
    {
        QFETCH(QString, engine);
        QCOMPARE(Text(open(engine)->WriteProfile(theAccount, twoApplications)), QByteArray());
        SqlConnection connection(source(engine));
        QCOMPARE(connection.ReadOne("SELECT count(*) FROM application").toInt(), 2);
        connection.Do("DELETE FROM account");
        QCOMPARE(connection.ReadOne("SELECT count(*) FROM application").toInt(), 0);
    }

    void databaseThatIsHeldByAnotherIsAway()
    {
        const auto data = open(QStringLiteral("sqlite"));
        SqlConnection other(source(QStringLiteral("sqlite")));
        other.InTransaction([&data] {
            const PersonalFault fault = data->AddRegistration({ 1, "a" });
            QCOMPARE(int(fault.kind), int(PersonalFault::Kind::Away));
            QVERIFY(profile(*data).empty()); // readers are not held up
        });
        QCOMPARE(Text(data->AddRegistration({ 2, "b" })), QByteArray());
        QCOMPARE(registrations(*data), QStringList{ QStringLiteral("1970-01-01T00:00:02Z b") });
    }

    void fileThatIsNoDatabaseIsLeftAlone()
    {
        const QByteArray text(8192, 'x');
        QVERIFY(WriteTextFile(QString::fromStdString(path("personal.sqlite")), text));
        const PersonalFault fault = SqlPersonalData(source(QStringLiteral("sqlite"))).Prepare();
        QCOMPARE(int(fault.kind), int(PersonalFault::Kind::Broken));
        QVERIFY2(Text(fault).contains("personal.sqlite: file is not a database"), Text(fault));
        QFile file(QString::fromStdString(path("personal.sqlite")));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), text);
    }

    void restartedDatabaseIsConnectedToAgain_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("postgresql") << SIGINT;
        QTest::newRow("postgresql, killed") << SIGQUIT;
    }
    void restartedDatabaseIsConnectedToAgain()
    {
        QFETCH(int, signal);
        const auto data = open(QStringLiteral("postgresql"));
        QCOMPARE(Text(data->WriteProfile(theAccount, twoApplications)), QByteArray());
        QCOMPARE(Text(data->AddRegistration({ 1, "a" })), QByteArray());
        QVERIFY(m_postgresql->stop(signal));
        Profile read;
        QCOMPARE(int(data->ReadProfile(theAccount, read).kind), int(PersonalFault::Kind::Away));
        QCOMPARE(int(data->AddRegistration({ 2, "b" }).kind), int(PersonalFault::Kind::Away));
        QVERIFY2(m_postgresql->start(), m_postgresql->log());
        QVERIFY(IsSame(profile(*data), twoApplications));
        // Each connection is used before and after, and so is lost in between.
        for (int i = 0; i < 64; ++i)
            QCOMPARE(Text(data->ReadProfile(theAccount, read)), QByteArray());
        QVERIFY(m_postgresql->stop(signal));
        QVERIFY2(m_postgresql->start(), m_postgresql->log());
        QCOMPARE(Text(data->AddRegistration({ 3, "c" })), QByteArray());
        for (int i = 0; i < 64; ++i)
            QCOMPARE(Text(data->ReadProfile(theAccount, read)), QByteArray());
        QCOMPARE(registrations(*data),
                 (QStringList{ QStringLiteral("1970-01-01T00:00:01Z a"),
                               QStringLiteral("1970-01-01T00:00:03Z c") }));
    }

    // The database has done it, but the answer does not come.
    void aLostAnswerLosesAndDoublesNothing_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<int>("times");
        for (const char* request : { "COMMIT", "'A builder'", "CREATE TABLE imported", "(2)" }) {
            QTest::addRow("postgresql, %s", request) << QByteArray(request) << 1;
            QTest::addRow("postgresql, %s twice", request) << QByteArray(request) << 2;
        }
    }
    void aLostAnswerLosesAndDoublesNothing()
    {
        QFETCH(QByteArray, request);
        QFETCH(int, times);
        AnswerCutter cutter(m_dir->filePath(QStringLiteral("cut")), m_postgresql->folder());
        SqlPersonalData data(source(cutter));
        const Outcome outcome = doAll(data, cutter, request, times);
        QVERIFY(outcome.cuts > 0);
        QCOMPARE(outcome.faults > 0, times == 2);
        QVERIFY(outcome.faults < 9);
        const bool isSecondCut = request == "COMMIT" && times == 2;
        QCOMPARE(outcome.forgotten, isSecondCut ? 0 : 1); // those of the last call
        QVERIFY(IsSame(profile(data), twoApplications));
        QStringList expected{ QStringLiteral("1970-01-01T00:00:02Z b"),
                              QStringLiteral("1970-01-01T00:00:03Z A builder") };
        if (outcome.isAddedTwice) // a client that was told to come back has two
            expected << expected.last();
        QCOMPARE(registrations(data), expected);
    }

    void databaseThatIsNotThereIsAway()
    {
        const PersonalFault fault
            = SqlPersonalData({ SqlSource::Engine::PostgreSql, "host=" + path("nowhere") })
                  .Prepare();
        QCOMPARE(int(fault.kind), int(PersonalFault::Kind::Away));
        QVERIFY(Text(fault).startsWith("PostgreSQL: "));
    }

    void linesThatAreNoRegistrationAreRefused_data()
    {
        QTest::addColumn<QByteArray>("line");
        for (const char* line :
             { "", "2026-01-31T12:00:00Z", "2026-01-31T12:00:00Z ", "2026-02-30T12:00:00Z a",
               "2026-01-31T24:00:00Z a", "2026-01-31 12:00:00Z a", "2026-01-31T12:00:0Z  a",
               "02026-1-31T12:00:00Z a", "2026-01-31T12:00:00Zab" })
            QTest::newRow(line) << QByteArray(line);
    }
    void linesThatAreNoRegistrationAreRefused()
    {
        QFETCH(QByteArray, line);
        QVERIFY(WriteTextFile(QString::fromStdString(path("registrations")),
                              "2026-01-31T12:00:00Z a\n" + line + "\n"));
        const PersonalFault fault
            = open(QStringLiteral("files"))->ReadRegistrations([](const Registration&) {});
        QCOMPARE(int(fault.kind), int(PersonalFault::Kind::Broken));
        QCOMPARE(Text(fault),
                 QByteArray::fromStdString(path("registrations"))
                     + ":2: this is not a time and a system builder: '" + line + '\'');
    }

    void filesAreForOneAccount()
    {
        const PersonalFault fault
            = open(QStringLiteral("files"))->WriteProfile("somebody", twoApplications);
        QCOMPARE(int(fault.kind), int(PersonalFault::Kind::Broken));
        QVERIFY(Text(fault).contains("for one account, not for 'somebody'"));
    }
};

QTEST_GUILESS_MAIN(PersonalDataTest)
#include "tst_personaldata.moc"
