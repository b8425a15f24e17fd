// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Applications are recorded while the file system fails and the process dies. Everything
// reported as done is in the list and in all of its indexes, and the next recording
// repairs the rest.

#include "catalog/cappinfo.h"
#include "db/crufile.h"
#include "db/dbcheck.h"
#include "db/dblayouts.h"
#include "db/dbshared.h"
#include "tests/db/dbtest.h"
#include "tests/db/memoryfaults.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace Agent;

class RecordingFaultsTest : public QObject
{
    Q_OBJECT

private slots:
    void faults_data() { FaultRows(); }
    void faults() { FailEach(work()); }
    void withoutMemory_data() { AllocationRows(); }
    void withoutMemory() { FailEachAllocation(work()); }
    void aProcessThatDies() { DieAtEach(work()); }

    // The next recording rebuilds indexes that lack items or cannot be opened.
    void faultsOfAHealing_data() { FaultRowsOfNewFiles(); }
    void faultsOfAHealing() { FailEach(healing()); }
    void healingWithoutMemory_data() { AllocationRows(); }
    void healingWithoutMemory() { FailEachAllocation(healing()); }
    void aProcessThatDiesHealing() { DieAtEach(healing()); }

    void aRecordingInAnotherListLeavesTheUsersAlone()
    {
        const QTemporaryDir other;
        const DbOptions there{ other.path().toStdString() + '/' };
        CAppInfo info = application(5, "there");
        QVERIFY(info.AddAppToDatabase(there));
        const auto isIn = [](const DbOptions& options) {
            const IndexLayer layer;
            CRUFile list(options);
            return list.Open() && list.FindServerSerialNumber(5);
        };
        QVERIFY(isIn(there) && !isIn(DbOptions()));
        QVERIFY(info.RemoveAppFromDatabase()); // which does not have it
        QVERIFY(isIn(there));
        QVERIFY(info.RemoveAppFromDatabase(there));
        QVERIFY(!isIn(there));
    }

private:
    CAppInfo application(std::uint32_t serial, const QByteArray& name) const
    {
        QFile file(m_dir.filePath(QStringLiteral("reply.xml")));
        const QByteArray text = "<agentfunction resultcode=\"OK\"><package><serialnumber>"
            + QByteArray::number(serial) + "</serialnumber><binary><name>" + name
            + "</name><path>/p</path></binary></package></agentfunction>";
        CAppInfo info;
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
            qFatal("cannot write a reply");
        file.close();
        if (!info.BuildApplicationInformation(file.fileName()))
            qFatal("an unreadable reply");
        return info;
    }

    FaultyWork work()
    {
        return { [this] { prepare(); }, [this](StoreFiles& files) { run(files); },
                 [this] { verify(); } };
    }
    FaultyWork healing()
    {
        const auto damage = [this] {
            prepare();
            const IndexLayer layer;
            CloseIndex(
                MakeIndex(0, CRUFile::RUDATAIDX1.c_str(), Recent::layout.indexes[0].keyLength, 0));
            CloseIndex(
                MakeIndex(0, CRUFile::RUDATAIDX3.c_str(), Recent::layout.indexes[2].keyLength, 0));
            QVERIFY(truncate(CRUFile::RUDATAIDX2.c_str(), 100) == 0);
        };
        return { damage, [this](StoreFiles& files) { run(files); }, [this] { verify(); } };
    }
    void prepare()
    {
        m_ledger = std::make_unique<Ledger>();
        for (const std::uint32_t serial : { 1, 2, 3 }) {
            if (!m_prepared)
                QVERIFY(application(serial, "n" + QByteArray::number(serial)).AddAppToDatabase());
            m_ledger->stored(serial, 0);
        }
        if (!m_prepared)
            m_prepared = std::make_unique<Damage>(
                std::vector<std::string>{ CRUFile::RUDATAFILE, CRUFile::RUDATAIDX1,
                                          CRUFile::RUDATAIDX2, CRUFile::RUDATAIDX3 });
        m_prepared->restore();
    }
    void run(StoreFiles& files)
    {
        const bool first = record(files, 6, "six");
        const bool second = record(files, 7, "SIX");
        m_ledger->doubt(2);
        const bool removed = calmly(2, "n2")->RemoveAppFromDatabase(OnFiles(files));
        if (removed)
            m_ledger->gone(2);
        if (first && second && removed)
            m_ledger->gone(allWell);
    }
    bool record(StoreFiles& files, std::uint32_t serial, const char* name)
    {
        m_ledger->doubt(serial);
        const bool recorded = calmly(serial, name)->AddAppToDatabase(OnFiles(files));
        if (recorded) {
            m_ledger->stored(serial, 0);
            const Memory::Pause pause;
            const DbFindings findings = CheckRecent(RecentFolder());
            m_sound = m_sound && findings.faults.empty() && findings.remarks.empty();
        }
        return recorded;
    }
    std::unique_ptr<CAppInfo> calmly(std::uint32_t serial, const char* name) const
    {
        return MadeCalmly([&] { return std::make_unique<CAppInfo>(application(serial, name)); });
    }
    void verify()
    {
        // If nothing was reported, there is nothing to repair.
        if (m_ledger->gone().count(allWell) > 0)
            verifySoundness();
        QVERIFY(m_sound);
        QVERIFY(application(9, "last").AddAppToDatabase());
        const IndexLayer layer;
        CRUFile list;
        QVERIFY(list.Open());
        for (const auto& [serial, content] : m_ledger->stored())
            QVERIFY(list.FindServerSerialNumber(int(serial)));
        for (const std::uint32_t serial : m_ledger->gone())
            QVERIFY(!list.FindServerSerialNumber(int(serial)));
        // Items that were not to be removed are there.
        for (const int serial : { 1, 3, 9 })
            QVERIFY(list.FindServerSerialNumber(serial));
        QVERIFY(list.UsedRecs() <= 6);
        list.Close();
        verifySoundness();
    }
    static void verifySoundness()
    {
        QCOMPARE(CheckRecent(RecentFolder()).faults, Findings());
        QCOMPARE(CheckRecent(RecentFolder()).remarks, Findings());
    }

    bool m_sound = true; // after each successful recording
    static constexpr std::uint32_t allWell = 1000; // in the ledger

    QTemporaryDir m_dir;
    std::unique_ptr<Ledger> m_ledger;
    std::unique_ptr<Damage> m_prepared; // the files at the beginning of each run
};

QTEST_GUILESS_MAIN(RecordingFaultsTest)
#include "tst_recordingfaults.moc"
