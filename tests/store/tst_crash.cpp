// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A process dies at each of its writes in turn, in sequences of calls for data files,
// flushing indexes and notes. Everything it had reported until then is in the files.

#include "tests/store/storescenarios.h"
#include "tests/store/storeshims.h"
#include "tests/store/storetest.h"

#include <QTemporaryDir>

#include <functional>

class CrashTest : public QObject
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
    void crashAtEach(const Make& make);
};

void CrashTest::crashAtEach(const Make& make)
{
    bool killed = true;
    int k = 0;
    for (; killed && !QTest::currentTestFailed(); ++k) {
        const QTemporaryDir folder;
        const std::unique_ptr<Scenario> scenario = make(folder.filePath("store").toStdString());
        scenario->prepare();
        killed = KilledAt(k, [&scenario] { scenario->run(); });
        scenario->verify();
        scenario->runLater();
        scenario->verify();
        if (QTest::currentTestFailed())
            qWarning("killed at write %d", k);
    }
    qInfo("killed at %d writes", k - 1);
    QVERIFY(k > 10);
}

void CrashTest::dataFile()
{
    crashAtEach(
        [](const std::string& path) { return std::make_unique<DataFileScenario>(path, false); });
}

void CrashTest::flushingDataFile()
{
    crashAtEach(
        [](const std::string& path) { return std::make_unique<DataFileScenario>(path, true); });
}

void CrashTest::flushingIndex()
{
    crashAtEach(
        [](const std::string& path) { return std::make_unique<IndexScenario>(path, true); });
}

void CrashTest::flushingIndexAtRandom_data()
{
    QTest::addColumn<int>("keyLength");
    QTest::newRow("short keys") << 12;
    QTest::newRow("the longest keys") << 150;
}

void CrashTest::flushingIndexAtRandom()
{
    QFETCH(int, keyLength);
    Random random = Random::announced();
    int kills = 0;
    const int rounds = keyLength == 150 ? 80 : 200;
    for (int i = 0; i < rounds && !QTest::currentTestFailed(); ++i) {
        const QTemporaryDir folder;
        RandomIndexScenario scenario(folder.filePath("store").toStdString(), true,
                                     std::int16_t(keyLength), random.below(1000000));
        scenario.prepare();
        kills += KilledAt(int(random.below(500)), [&scenario] { scenario.run(); });
        scenario.verify();
        scenario.runLater();
        scenario.verify();
    }
    QVERIFY(kills > rounds / 4);
}

void CrashTest::notes()
{
    crashAtEach([](const std::string& path) { return std::make_unique<NotesScenario>(path); });
}

QTEST_GUILESS_MAIN(CrashTest)
#include "tst_crash.moc"
