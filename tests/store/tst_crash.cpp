// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A process dies at each of its writes in turn, in sequences of calls for data files,
// flushing indexes and notes. Everything it had reported until then is in the files.

#include "tests/store/storescenarios.h"
#include "tests/store/storeshims.h"
#include "tests/store/storetest.h"

#include <QTemporaryDir>

#include <functional>

class TestCrash : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QCOMPARE(InitIndex(), 0); }
    void cleanupTestCase() { UnInitIndex(); }

    void dataFile();
    void flushingDataFile();
    void flushingIndex();
    void flushingIndexAtRandom_data();
    void flushingIndexAtRandom();
    void notes();

private:
    using Make = std::function<std::unique_ptr<Scenario>(const std::string&)>;

    // Runs a scenario in a process that is killed at the k-th write, for every k.
    void CrashAtEach(const Make& make);
};

void TestCrash::CrashAtEach(const Make& make)
{
    bool killed = true;
    int k = 0;
    for (; killed && !QTest::currentTestFailed(); ++k) {
        const QTemporaryDir folder;
        const std::unique_ptr<Scenario> scenario = make(folder.filePath("store").toStdString());
        scenario->Prepare();
        killed = KilledAt(k, [&scenario] { scenario->Run(); });
        scenario->Verify();
        scenario->RunLater();
        scenario->Verify();
        if (QTest::currentTestFailed())
            qWarning("killed at write %d", k);
    }
    qInfo("killed at %d writes", k - 1);
    QVERIFY(k > 10);
}

void TestCrash::dataFile()
{
    CrashAtEach(
        [](const std::string& path) { return std::make_unique<DataFileScenario>(path, false); });
}

void TestCrash::flushingDataFile()
{
    CrashAtEach(
        [](const std::string& path) { return std::make_unique<DataFileScenario>(path, true); });
}

void TestCrash::flushingIndex()
{
    CrashAtEach(
        [](const std::string& path) { return std::make_unique<IndexScenario>(path, true); });
}

void TestCrash::flushingIndexAtRandom_data()
{
    QTest::addColumn<int>("keyLength");
    QTest::newRow("short keys") << 12;
    QTest::newRow("the longest keys") << 150;
}

void TestCrash::flushingIndexAtRandom()
{
    QFETCH(int, keyLength);
    Random random = Random::Announced();
    int kills = 0;
    const int rounds = keyLength == 150 ? 80 : 200;
    for (int i = 0; i < rounds && !QTest::currentTestFailed(); ++i) {
        const QTemporaryDir folder;
        RandomIndexScenario scenario(folder.filePath("store").toStdString(), true,
                                     std::int16_t(keyLength), random.Below(1000000));
        scenario.Prepare();
        kills += KilledAt(int(random.Below(500)), [&scenario] { scenario.Run(); });
        scenario.Verify();
        scenario.RunLater();
        scenario.Verify();
    }
    QVERIFY(kills > rounds / 4);
}

void TestCrash::notes()
{
    CrashAtEach([](const std::string& path) { return std::make_unique<NotesScenario>(path); });
}

QTEST_GUILESS_MAIN(TestCrash)
#include "tst_crash.moc"
