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

class TestFaults : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QCOMPARE(InitIndex(), 0); }
    void cleanupTestCase() { UnInitIndex(); }

    void dataFile_data() { Rows(); }
    void dataFile();
    void flushingDataFile_data() { Rows(); }
    void flushingDataFile();
    void index_data() { Rows(); }
    void index();
    void flushingIndex_data() { Rows(); }
    void flushingIndex();
    void notes_data() { Rows(); }
    void notes();

private:
    using Make = std::function<std::unique_ptr<Scenario>(const std::string&)>;

    void Rows();
    // Runs a scenario with the k-th call failing, for every k. If the failure `mayLose`
    // stored items, the check must report that.
    void FailEach(const Make& make, bool mayLose = false);
};

void TestFaults::Rows()
{
    QTest::addColumn<int>("fault");
    QTest::addColumn<bool>("forGood");
    for (const FaultName& fault : faults) {
        QTest::addRow("%s, once", fault.name) << int(fault.fault) << false;
        QTest::addRow("%s, for good", fault.name) << int(fault.fault) << true;
    }
}

void TestFaults::FailEach(const Make& make, bool mayLose)
{
    QFETCH(int, fault);
    QFETCH(bool, forGood);
    bool hasFailed = true;
    int k = 0;
    for (; hasFailed && !QTest::currentTestFailed(); ++k) {
        const QTemporaryDir folder;
        const std::unique_ptr<Scenario> scenario = make(folder.filePath("store").toStdString());
        scenario->Prepare();
        const int descriptors = OpenDescriptors();
        {
            FailingFiles files(Fault(fault), k, forGood);
            const UsedStoreFiles used(&files);
            scenario->Run();
            hasFailed = files.hasFailed();
        }
        QCOMPARE(OpenDescriptors(), descriptors);
        if (hasFailed && mayLose && !scenario->Check().empty())
            continue;
        scenario->Verify();
        scenario->RunLater();
        scenario->Verify();
        if (QTest::currentTestFailed())
            qWarning("call %d failed", k);
    }
    QVERIFY(k > 1);
}

void TestFaults::dataFile()
{
    FailEach(
        [](const std::string& path) { return std::make_unique<DataFileScenario>(path, false); });
}

void TestFaults::flushingDataFile()
{
    FailEach(
        [](const std::string& path) { return std::make_unique<DataFileScenario>(path, true); });
}

// Without flushing, the file is complete when the index is closed. If it cannot be
// written then, nor at a second attempt, closing reports it.
void TestFaults::index()
{
    QFETCH(bool, forGood);
    FailEach([](const std::string& path) { return std::make_unique<IndexScenario>(path, false); },
             forGood);
}

// A page is lost if only half of it can ever be written again.
void TestFaults::flushingIndex()
{
    QFETCH(int, fault);
    QFETCH(bool, forGood);
    FailEach([](const std::string& path) { return std::make_unique<IndexScenario>(path, true); },
             forGood && Fault(fault) == Fault::ShortWrite);
}

void TestFaults::notes()
{
    FailEach([](const std::string& path) { return std::make_unique<NotesScenario>(path); });
}

QTEST_GUILESS_MAIN(TestFaults)
#include "tst_faults.moc"
