// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// `pakmart install`, `sync` and `update` are killed with everything they started, at any
// time and before each change of a file; or only the process that makes the change is
// killed. Earlier data is kept, nothing incomplete is taken for complete, and the same
// command does its work the next time. PAKMART_TEST_SEED repeats a run. Only a sample of
// the changes is tested; all of them take half an hour:
//
//     PAKMART_TEST_ROUNDS=all QTEST_FUNCTION_TIMEOUT=7200000 tests/in-sandbox .../tst_killed
//
// PAKMART_TEST_CHANGE is the number of the change to begin with.

#include "demomachine.h"

#include "base/dpkgstatus.h"
#include "db/crufile.h"
#include "db/dbcheck.h"
#include "db/dbshared.h"
#include "tests/common/cutrun.h"
#include "tests/common/datafolder.h"
#include "tests/common/processes.h"
#include "tests/common/statusfile.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QtTest>
#include <csignal>

using namespace Agent;

namespace
{

constexpr int kills = 20;
constexpr int fewestKills = 5; // on a busy machine
constexpr qint64 mostTime = 30000; // of one test, in milliseconds
constexpr int roundsAtChanges = 3;

// The children of a family's processes that are not in the family yet.
QList<int> NewChildren(const QList<int>& family)
{
    QList<int> found;
    const QStringList all = QDir(QStringLiteral("/proc")).entryList({ QStringLiteral("[0-9]*") });
    for (const QString& pid : all) {
        if (family.contains(ProcessFields(pid).value(1).toInt()) && !family.contains(pid.toInt()))
            found << pid.toInt();
    }
    return found;
}

// Kills a process and all its descendants. They are stopped first, so that none of them
// starts another one meanwhile. Every process that was stopped once is killed, even if
// its parent ended earlier and it now descends from init: if it stayed stopped, it would
// hold the files and locks that it inherited.
void KillFamily(int first)
{
    QList<int> family;
    for (QList<int> found{ first }; !found.isEmpty(); found = NewChildren(family)) {
        for (const int pid : found)
            kill(pid, SIGSTOP);
        family += found;
    }
    for (const int pid : family)
        kill(pid, SIGKILL);
    for (const int pid : family)
        QTRY_VERIFY_WITH_TIMEOUT(!IsRunning(pid), 30000);
}

QByteArray ReadFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList ListFiles()
{
    QStringList names;
    for (const std::string& name :
         { CRUFile::RUDATAFILE, CRUFile::RUDATAIDX1, CRUFile::RUDATAIDX2, CRUFile::RUDATAIDX3 })
        names << QFile::decodeName(name.c_str());
    return names;
}

bool IsInList(int serial)
{
    const IndexLayer layer;
    CRUFile list;
    return list.Open() && list.FindServerSerialNumber(serial);
}

} // namespace

class KilledTest : public QObject
{
    Q_OBJECT

private:
    using Result = DemoMachine::Result;

    DemoMachine m_machine;
    QRandomGenerator m_random;
    QString m_copy; // of the machine with product 1003 installed
    QList<QByteArray> m_list; // the files of the list with that product

    static Result pakmart(const char* words)
    {
        return DemoMachine::pakmart(QString::fromUtf8(words).split(QLatin1Char(' ')));
    }

    // Restores the machine with product 1003; the list contains it, or there is no list.
    void restore(bool withList = true) const
    {
        QVERIFY(QDir(m_machine.root).removeRecursively());
        copyMachine(m_copy, m_machine.root);
        for (int i = 0; i < m_list.size(); ++i) {
            QFile file(ListFiles()[i]);
            QVERIFY(withList ? file.open(QIODevice::WriteOnly | QIODevice::Truncate)
                            && file.write(m_list[i]) == m_list[i].size()
                             : !file.exists() || file.remove());
        }
    }
    static void copyMachine(const QString& from, const QString& to)
    {
        QCOMPARE(QProcess::execute(QStringLiteral("cp"), { QStringLiteral("-a"), from, to }), 0);
    }

    bool isInstalled(const char* package) const
    {
        const DpkgStatus dpkg(m_machine.root.toStdString() + "/var/lib/dpkg");
        return !dpkg.WasInterrupted() && dpkg.Of(package).IsInstalled();
    }
    // Checks that it is recorded and installed, with its program and its library.
    void verifyInstalled() const
    {
        for (const char* package : { "starlander", "libpixel" })
            QVERIFY2(isInstalled(package), m_machine.dpkgStatus().constData());
        QVERIFY(QFile::exists(m_machine.root + QStringLiteral("/usr/games/starlander")));
        QVERIFY(IsInList(1001));
        QCOMPARE(CheckRecent(RecentFolder()).faults, Findings());
        QCOMPARE(CheckRecent(RecentFolder()).remarks, Findings());
        QCOMPARE(m_machine.leftInTree(), QStringList());
    }

    // A command, with its preparation, and with checks for after a kill and after
    // success.
    struct Work {
        const char* words;
        std::function<void(int)> prepare;
        std::function<void(int)> left;
        std::function<void(int)> done;
    };
    static void finish(const Work& work, int i)
    {
        work.left(i);
        const Result next = pakmart(work.words);
        QVERIFY2(next.status == 0, qPrintable(next.out + next.err));
        work.done(i);
    }

    static void addWays()
    {
        QTest::addColumn<bool>("atChanges");
        QTest::addColumn<bool>("one");
        QTest::newRow("at any time") << false << false;
        QTest::newRow("at changes of files") << true << false;
        QTest::newRow("the one that changes a file") << true << true;
    }
    void killEach(const Work& work)
    {
        QFETCH(bool, atChanges);
        atChanges ? killAtChanges(work) : killAtTimes(work);
    }

    // Kills runs at different times, up to slightly more than the length of a run.
    void killAtTimes(const Work& work)
    {
        QElapsedTimer clock;
        work.prepare(0);
        clock.start();
        QCOMPARE(pakmart(work.words).status, 0);
        const double whole = 1.1 * double(clock.restart());
        int i = 0, cut = 0;
        for (; i < kills && (i < fewestKills || clock.elapsed() < mostTime); ++i) {
            work.prepare(i);
            QProcess process;
            process.start(QStringLiteral(PAKMART),
                          QString::fromUtf8(work.words).split(QLatin1Char(' ')));
            QVERIFY(process.waitForStarted());
            // In an order that covers all parts of the run early.
            const double part = (m_random.generateDouble() + 7 * i % kills) / kills;
            if (!process.waitForFinished(1 + int(part * whole))) {
                KillFamily(int(process.processId()));
                ++cut;
            }
            QTRY_COMPARE_WITH_TIMEOUT(process.state(), QProcess::NotRunning, 30000);
            finish(work, i);
            if (QTest::currentTestFailed()) {
                qWarning("kill %d, after %d ms", i, int(part * whole));
                return;
            }
        }
        qInfo("%d runs, %d of them killed, in %d s", i, cut, int(clock.elapsed() / 1000));
        QVERIFY(cut > 0);
    }

    // Kills runs before changes of files, at equal distances.
    void killAtChanges(const Work& work)
    {
        work.prepare(0);
        QFETCH(bool, one);
        const Killed killed = one ? Killed::One : Killed::All;
        const CutRun whole = cutAt(-1, killed, work);
        if (!whole.traced) {
            QTest::qSkip("processes cannot be traced here", __FILE__, __LINE__);
            return;
        }
        QCOMPARE(whole.status, 0);
        QVERIFY(whole.changes > 10);
        const QString given = qEnvironmentVariable("PAKMART_TEST_ROUNDS");
        const bool all = given == QLatin1String("all");
        const int rounds = all ? whole.changes : given.isEmpty() ? roundsAtChanges : given.toInt();
        bool isChosen = false;
        const int chosen = qEnvironmentVariable("PAKMART_TEST_CHANGE").toInt(&isChosen);
        const int step = std::max(1, whole.changes / std::max(1, rounds));
        const int first = isChosen ? chosen : int(m_random.bounded(quint32(step)));
        int i = 0, cut = 0;
        bool wasCut = true; // the number of changes varies a little
        for (int k = first; k < whole.changes || (all && wasCut); k += step, ++i) {
            work.prepare(i);
            const CutRun run = cutAt(k, killed, work);
            QVERIFY2(!run.hung && (run.cut || run.status == 0), run.last);
            wasCut = run.cut;
            cut += run.cut;
            // A run that reports success has succeeded.
            if (run.status == 0)
                work.done(i);
            finish(work, i);
            if (QTest::currentTestFailed()) {
                qWarning("run %d, killed before change %d of %d: %s", i, k, whole.changes,
                         run.last);
                return;
            }
        }
        qInfo("%d changes; %d runs, %d of them killed", whole.changes, i, cut);
        QVERIFY(cut > 0);
    }
    CutRun cutAt(int k, Killed killed, const Work& work) const
    {
        const QString words
            = QStringLiteral(PAKMART) + QLatin1Char(' ') + QString::fromUtf8(work.words);
        return RunCutAt(k, killed, words.split(QLatin1Char(' ')),
                        m_machine.dir + QStringLiteral("/out"));
    }

private slots:
    void initTestCase()
    {
        bool given = false;
        quint32 seed = qEnvironmentVariable("PAKMART_TEST_SEED").toUInt(&given);
        if (!given)
            seed = QRandomGenerator::global()->generate();
        m_random.seed(seed);
        qInfo("PAKMART_TEST_SEED=%u", seed);
        QVERIFY(m_machine.setUp());
        // Waiting for a killed process takes a while.
        CConfigFile(DataPath(QStringLiteral(".vauf")).toStdString(), true)
            .SetValue("response timeout", "10", true);
        QCOMPARE(pakmart("install --yes 1003").status, 0);
        QVERIFY(IsInList(1003));
        for (const QString& name : ListFiles())
            m_list << ReadFile(name);
        m_copy = m_machine.dir + QStringLiteral("/copy");
        copyMachine(m_machine.root, m_copy);
    }

    void anInstallThatIsKilledLosesNothingAndTheNextOneInstalls_data() { addWays(); }
    void anInstallThatIsKilledLosesNothingAndTheNextOneInstalls()
    {
        const auto hasList = [](int i) { return i % 4 != 3; };
        killEach({ "install --yes 1001", [&](int i) { restore(hasList(i)); },
                   // Also before anything has repaired it.
                   [&](int i) { QVERIFY(IsInList(1003) || !hasList(i)); },
                   [&](int i) {
                       verifyInstalled();
                       QCOMPARE(IsInList(1003), hasList(i));
                   } });
    }

    // Killed after dpkg's work and before the recording.
    void aProductThatIsInstalledAndNotRecordedIsRecorded()
    {
        restore();
        QCOMPARE(pakmart("install --yes 1001").status, 0);
        for (int i = 0; i < m_list.size(); ++i)
            WriteTextFile(ListFiles()[i], m_list[i]);
        QVERIFY(!IsInList(1001));
        const Result next = pakmart("install --yes 1001");
        QCOMPARE(next.status, 0);
        QVERIFY(next.out.contains(QLatin1String("installed already")));
        verifyInstalled();
        QVERIFY(IsInList(1003));
        // An application in the list keeps its time.
        const QByteArray list = ReadFile(ListFiles()[0]);
        QTest::qWait(1100);
        QCOMPARE(pakmart("install --yes 1001").status, 0);
        QCOMPARE(ReadFile(ListFiles()[0]), list);
    }

    // No file is needed for this, so it is done before the files are listed.
    void aProductThatIsUnpackedIsSetUpAndRecorded_data()
    {
        QTest::addColumn<QByteArray>("state");
        QTest::addColumn<bool>("clears");
        for (const char* state : { "unpacked", "half-configured" }) {
            QTest::newRow(state) << QByteArray(state) << true;
            QTest::addRow("%s, archives are kept", state) << QByteArray(state) << false;
        }
    }
    void aProductThatIsUnpackedIsSetUpAndRecorded()
    {
        QFETCH(QByteArray, state);
        QFETCH(bool, clears);
        restore();
        QCOMPARE(pakmart("install --yes 1001").status, 0);
        QByteArray status = m_machine.dpkgStatus();
        status.replace("Package: starlander\nStatus: install ok installed",
                       "Package: starlander\nStatus: install ok " + state);
        WriteStatusFile(status);
        QVERIFY(!isInstalled("starlander"));
        for (int i = 0; i < m_list.size(); ++i)
            WriteTextFile(ListFiles()[i], m_list[i]);
        CConfigFile(DataPath(QStringLiteral(".vauf")).toStdString(), true)
            .SetValue("clear apt archive", clears ? "1" : "0", true);
        QCOMPARE(pakmart("install --yes 1001").status, 0);
        verifyInstalled();
    }

    // apt-get changes nothing while dpkg's journal has entries.
    void whatDpkgHasInItsJournalIsTakenOver()
    {
        restore();
        CConfigFile(DataPath(QStringLiteral(".vauf")).toStdString(), true)
            .SetValue("clear apt archive", "0", true);
        WriteTextFile(m_machine.root + QStringLiteral("/var/lib/dpkg/updates/0000"),
                      "Package: libpixel\nStatus: install reinstreq half-installed\n"
                      "Architecture: all\nVersion: 1.2-3\n");
        QCOMPARE(pakmart("install --yes 1001").status, 0);
        verifyInstalled();
    }

    void aSyncThatIsKilledLeavesAWholeProfile_data() { addWays(); }
    void aSyncThatIsKilledLeavesAWholeProfile()
    {
        restore();
        const QByteArray statuses[]
            = { "Package: starlander\nStatus: install ok installed\nVersion: 1.0-1\n\n", "" };
        QByteArray profiles[2];
        for (const int i : { 1, 0 }) {
            WriteStatusFile(statuses[i]);
            QCOMPARE(pakmart("sync").status, 0);
            profiles[i] = ReadDataFile(QStringLiteral(".profile"));
        }
        QVERIFY(profiles[0] != profiles[1] && profiles[0].endsWith("</profile>\n"));
        killEach({ "sync", [&](int i) { WriteStatusFile(statuses[(i + 1) % 2]); },
                   [&](int) {
                       const QByteArray left = ReadDataFile(QStringLiteral(".profile"));
                       QVERIFY2(left == profiles[0] || left == profiles[1], left.constData());
                   },
                   [&](int i) {
                       QCOMPARE(ReadDataFile(QStringLiteral(".profile")), profiles[(i + 1) % 2]);
                   } });
    }

    void anUpdateThatIsKilledLeavesAWholeCatalogAndTheNextOneUpdates_data() { addWays(); }
    void anUpdateThatIsKilledLeavesAWholeCatalogAndTheNextOneUpdates()
    {
        restore();
        const QString file = m_machine.store() + QStringLiteral("/products");
        const QByteArray less = ReadFile(file);
        const QByteArray more = less
            + "\nSerial: 7002\nName: Maze Runner\nCategory: Games\nPackage: maze\n"
              "Description: x\n\n";
        // Some runs are the first on the machine.
        const auto isFirst = [](int i) { return i % 3 == 2; };
        killEach({ "update",
                   [&](int i) {
                       if (isFirst(i))
                           restore();
                       QVERIFY(WriteTextFile(file, i % 2 ? less : more));
                   },
                   [&](int i) {
                       if (isFirst(i) && !QFile::exists(DataPath(QStringLiteral(".VACatalog.fil"))))
                           return;
                       QCOMPARE(CheckCatalog(DataFolder().toStdString() + '/').faults, Findings());
                       QCOMPARE(pakmart("show 1001").status, 0);
                   },
                   [&](int i) { QCOMPARE(pakmart("show 7002").status == 0, i % 2 == 0); } });
        QVERIFY(WriteTextFile(file, less));
    }
};

QTEST_GUILESS_MAIN(KilledTest)
#include "tst_killed.moc"
