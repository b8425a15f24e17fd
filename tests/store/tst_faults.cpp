// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Every call of the store to its file system fails in turn, once or permanently, in
// sequences of calls for data files, indexes and notes. The process survives, nothing
// stays open, and everything reported as stored is there.

#include "tests/store/storescenarios.h"
#include "tests/store/storeshims.h"
#include "tests/store/storetest.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <functional>

namespace
{

struct FaultName {
    const char* name;
    Fault fault;
};

constexpr FaultName faults[] = {
    { "open", Fault::Open },          { "seek", Fault::Seek },
    { "read", Fault::Read },          { "short read", Fault::ShortRead },
    { "write", Fault::Write },        { "short write", Fault::ShortWrite },
    { "full disk", Fault::FullDisk }, { "status", Fault::Status },
};

} // namespace

class FaultsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QCOMPARE(InitIndex(), 0); }
    void cleanupTestCase() { UnInitIndex(); }

    void dataFile_data() { rows(); }
    void dataFile();
    void flushingDataFile_data() { rows(); }
    void flushingDataFile();
    void index_data() { rows(); }
    void index();
    void flushingIndex_data() { rows(); }
    void flushingIndex();
    void notes_data() { rows(); }
    void notes();

private:
    using Make = std::function<std::unique_ptr<Scenario>(const std::string&)>;

    void rows();
    // Runs a scenario with the k-th call failing, for every k. If the failure `mayLose`
    // stored items, the check must report that.
    void failEach(const Make& make, bool mayLose = false);
};

void FaultsTest::rows()
{
    QTest::addColumn<int>("fault");
    QTest::addColumn<bool>("forGood");
    for (const FaultName& fault : faults) {
        QTest::addRow("%s, once", fault.name) << int(fault.fault) << false;
        QTest::addRow("%s, for good", fault.name) << int(fault.fault) << true;
    }
}

void FaultsTest::failEach(const Make& make, bool mayLose)
{
    QFETCH(int, fault);
    QFETCH(bool, forGood);
    bool hasFailed = true;
    int k = 0;
    for (; hasFailed && !QTest::currentTestFailed(); ++k) {
        const QTemporaryDir folder;
        const std::unique_ptr<Scenario> scenario = make(folder.filePath("store").toStdString());
        scenario->prepare();
        const int descriptors = OpenDescriptors();
        {
            FailingFiles files(Fault(fault), k, forGood);
            const UsedStoreFiles used(&files);
            scenario->run();
            hasFailed = files.hasFailed();
        }
        QCOMPARE(OpenDescriptors(), descriptors);
        if (hasFailed && mayLose && !scenario->check().empty())
            continue;
        scenario->verify();
        scenario->runLater();
        scenario->verify();
        if (QTest::currentTestFailed())
            qWarning("call %d failed", k);
    }
    QVERIFY(k > 1);
}

void FaultsTest::dataFile()
{
    failEach(
        [](const std::string& path) { return std::make_unique<DataFileScenario>(path, false); });
}

void FaultsTest::flushingDataFile()
{
    failEach(
        [](const std::string& path) { return std::make_unique<DataFileScenario>(path, true); });
}

// Without flushing, the file is complete when the index is closed. If it cannot be
// written then, nor at a second attempt, closing reports it.
void FaultsTest::index()
{
    QFETCH(bool, forGood);
    failEach([](const std::string& path) { return std::make_unique<IndexScenario>(path, false); },
             forGood);
}

// A page is lost if only half of it can ever be written again.
void FaultsTest::flushingIndex()
{
    QFETCH(int, fault);
    QFETCH(bool, forGood);
    failEach([](const std::string& path) { return std::make_unique<IndexScenario>(path, true); },
             forGood && Fault(fault) == Fault::ShortWrite);
}

void FaultsTest::notes()
{
    failEach([](const std::string& path) { return std::make_unique<NotesScenario>(path); });
}

QTEST_GUILESS_MAIN(FaultsTest)
#include "tst_faults.moc"
