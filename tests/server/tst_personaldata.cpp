// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Personal data is the same wherever it is kept: each function runs on every engine.

#include "personalfiles.h"
#include "server/serverprocess.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>
#include <algorithm>
#include <atomic>
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
        qFatal("no such engine");
    }
    static void addEngines()
    {
        QTest::addColumn<QString>("engine");
        for (const char* engine : { "files" })
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
    void init() { m_dir = std::make_unique<QTemporaryDir>(); }
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
