// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The databases while the file system fails, memory runs out and the process dies:
// everything reported as stored is there, untouched items stay, and the list can be
// repaired.

#include "db/ccatalogfile.h"
#include "db/cdependency.h"
#include "db/crufile.h"
#include "db/dbcheck.h"
#include "db/dbshared.h"
#include "tests/db/dbtest.h"
#include "tests/db/memoryfaults.h"

#include <QtTest>

using namespace Agent;

namespace
{

std::vector<std::string> ListFiles()
{
    return { CRUFile::RUDATAFILE, CRUFile::RUDATAIDX1, CRUFile::RUDATAIDX2, CRUFile::RUDATAIDX3 };
}

bool Add(CRUFile& list, int serial, const char* description, int time)
{
    list.AddNew();
    list.SetServerSerialNumber(serial);
    list.SetDescription(description);
    list.SetLastAccessed(time);
    return list.Update();
}

QByteArrayList OwnNames(CDependency& database, int parent)
{
    QByteArrayList names;
    database.LoadOwnDepends(parent, names);
    return names;
}

} // namespace

class DatabaseFaultsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QCOMPARE(InitIndex(), 0); }
    void cleanupTestCase() { UnInitIndex(); }

    void list_data() { FaultRows(); }
    void list() { FailEach(listWork()); }
    void listWithoutMemory_data() { AllocationRows(); }
    void listWithoutMemory() { FailEachAllocation(listWork()); }
    void listOfAProcessThatDies() { DieAtEach(listWork()); }
    void firstList_data() { FaultRowsOfNewFiles(); }
    void firstList() { FailEach(firstListWork()); }
    void firstListWithoutMemory_data() { AllocationRows(); }
    void firstListWithoutMemory() { FailEachAllocation(firstListWork()); }
    void firstListOfAProcessThatDies() { DieAtEach(firstListWork()); }
    void dependencies_data() { FaultRows(); }
    void dependencies() { FailEach(dependencyWork()); }
    void dependenciesWithoutMemory_data() { AllocationRows(); }
    void dependenciesWithoutMemory() { FailEachAllocation(dependencyWork()); }
    void catalog_data() { FaultRows(); }
    void catalog() { FailEach(catalogWork()); }
    void catalogWithoutMemory_data() { AllocationRows(); }
    void catalogWithoutMemory() { FailEachAllocation(catalogWork()); }
    void dependenciesOfAProcessThatDies() { DieAtEach(dependencyWork(false)); }
    void catalogOfAProcessThatDies()
    {
        DieAtEach({ [this] { prepareCatalog(); }, [this](StoreFiles& files) { useCatalog(files); },
                    [this] { verifyCatalogOfADeadProcess(); } });
    }

private:
    static constexpr int items = 12;

    FaultyWork listWork()
    {
        return { [this] { prepareList(); }, [this](StoreFiles& files) { useList(files); },
                 [this] { verifyList(); } };
    }
    void prepareList()
    {
        m_ledger = std::make_unique<Ledger>();
        CRUFile list;
        QVERIFY(list.Create());
        for (int serial = 1; serial <= items; ++serial) {
            QVERIFY(Add(list, serial, "item" + QByteArray::number(serial), serial));
            m_ledger->stored(std::uint32_t(serial), serial);
        }
    }
    void useList(StoreFiles& files)
    {
        const auto made
            = MadeCalmly([&files] { return std::make_unique<CRUFile>(OnFiles(files)); });
        CRUFile& list = *made;
        if (!list.Open())
            return;
        report(101, 101, [&] { return Add(list, 101, "new", 101); });
        report(5, 500, [&] { return list.FindServerSerialNumber(5) && update(list, 500); });
        report(6, 600, [&] {
            const bool found = list.FindServerSerialNumber(6);
            list.SetDescription("renamed");
            return found && update(list, 600);
        });
        m_ledger->doubt(7);
        if (list.DeleteRecord(7))
            m_ledger->gone(7);
        report(102, 102, [&] { return Add(list, 102, "in its place", 102); });
    }
    static bool update(CRUFile& list, int time)
    {
        list.SetLastAccessed(time);
        return list.Update();
    }
    void report(std::uint32_t serial, int time, const std::function<bool()>& work)
    {
        m_ledger->doubt(serial);
        if (work())
            m_ledger->stored(serial, time);
    }
    void verifyList()
    {
        CRUFile list;
        QVERIFY(list.Open());
        QVERIFY(list.Repair());
        for (const auto& [serial, time] : m_ledger->stored()) {
            QVERIFY(list.FindServerSerialNumber(int(serial)));
            QCOMPARE(list.LastAccessed(), time);
        }
        for (const std::uint32_t serial : m_ledger->gone())
            QVERIFY(!list.FindServerSerialNumber(int(serial)));
        // An item that could not be changed is still there.
        for (const int serial : { 5, 6 })
            QVERIFY(list.FindServerSerialNumber(serial));
        list.Close();
        QCOMPARE(CheckRecent(RecentFolder()).faults, Findings());
        QCOMPARE(CheckRecent(RecentFolder()).remarks, Findings());
    }

    // Begins without files, so that they are made.
    FaultyWork firstListWork()
    {
        const auto remove = [this] {
            m_ledger = std::make_unique<Ledger>();
            for (const std::string& file : ListFiles())
                unlink(file.c_str());
        };
        const auto use = [this](StoreFiles& files) {
            const auto list
                = MadeCalmly([&files] { return std::make_unique<CRUFile>(OnFiles(files)); });
            if (list->Open())
                report(1, 10, [&] { return Add(*list, 1, "one", 10); });
        };
        const auto verify = [this] {
            CRUFile list;
            QVERIFY(list.Open());
            QVERIFY(list.Repair());
            for (const auto& [serial, time] : m_ledger->stored())
                QVERIFY(list.FindServerSerialNumber(int(serial)));
            QVERIFY(Add(list, 2, "two", time(nullptr)));
            list.Close();
            QCOMPARE(CheckRecent(RecentFolder()).faults, Findings());
        };
        return { remove, use, verify };
    }

    // Without `promises`, for a process that dies with pages of an index in memory, the
    // database only has to be usable.
    FaultyWork dependencyWork(bool promises = true)
    {
        return { [this] { prepareDependencies(); },
                 [this](StoreFiles& files) { useDependencies(files); },
                 [this, promises] { verifyDependencies(promises); } };
    }
    void prepareDependencies()
    {
        m_ledger = std::make_unique<Ledger>();
        CDependency database;
        QVERIFY(database.Create());
        for (int parent = 1; parent <= 30; ++parent) {
            database.SaveDepends(parent, { "a", "b" });
            m_ledger->stored(std::uint32_t(parent), 2);
        }
        QVERIFY(database.Close());
    }
    void useDependencies(StoreFiles& files)
    {
        const auto made
            = MadeCalmly([&files] { return std::make_unique<CDependency>(OnFiles(files)); });
        CDependency& database = *made;
        if (!database.Open())
            return;
        for (const int parent : { 31, 32 }) {
            database.AddNew();
            database.setParent(parent);
            database.setName("new");
            report(std::uint32_t(parent), 1, [&] { return database.SaveRecord(); });
        }
        m_ledger->doubt(3);
        database.RemoveAllDependencies(3);
        m_ledger->doubt(40);
        database.SaveDepends(40, { "x", "y", "z" });
        if (!database.Close())
            m_ledger->gone(closed);
    }
    void verifyDependencies(bool promises)
    {
        CDependency database;
        QVERIFY(database.Open());
        const bool isClosed = m_ledger->gone().count(closed) == 0;
        for (const auto& [parent, count] : m_ledger->stored()) {
            const int names = OwnNames(database, int(parent)).size();
            QVERIFY(names <= count);
            if (promises && isClosed)
                QCOMPARE(names, count);
        }
        QByteArrayList all;
        database.LoadDepends(1, all);
        QVERIFY(all.size() <= 70);
        for (const int parent : { 3, 40, 1 })
            database.RemoveAllDependencies(parent);
        database.SaveDepends(50, { "p", "q" });
        QVERIFY(database.Close());
        QVERIFY(database.Open());
        QCOMPARE(OwnNames(database, 50), (QByteArrayList{ "p", "q" }));
    }

    // Everything saved is complete, unless the catalog reports that it is not whole.
    FaultyWork catalogWork()
    {
        return { [this] { prepareCatalog(); }, [this](StoreFiles& files) { useCatalog(files); },
                 [this] { verifyCatalog(); } };
    }
    void prepareCatalog()
    {
        m_ledger = std::make_unique<Ledger>();
        UnsyncedFiles files;
        CCatalogFile catalog(OnFiles(files));
        QVERIFY(catalog.Create());
        for (int serial = 1; serial <= items; ++serial) {
            catalog.AddNew();
            fill(catalog, serial, serial);
            QVERIFY(catalog.SaveRecord());
            m_ledger->stored(std::uint32_t(serial), serial);
        }
        catalog.Close();
        QVERIFY(catalog.IsWhole());
    }
    void useCatalog(StoreFiles& files)
    {
        const auto made
            = MadeCalmly([&files] { return std::make_unique<CCatalogFile>(OnFiles(files)); });
        CCatalogFile& catalog = *made;
        if (!catalog.Open())
            return;
        const auto save = [&catalog](int serial, int tag) {
            const Memory::Pause pause;
            fill(catalog, serial, tag);
        };
        catalog.AddNew();
        save(101, 500);
        report(101, 500, [&] { return catalog.SaveRecord(); });
        for (const int serial : { 5, 12 }) {
            if (!catalog.FindServerSerialNumber(serial))
                continue;
            save(serial, 600 + serial);
            report(std::uint32_t(serial), 600 + serial, [&] { return catalog.SaveRecord(); });
        }
        catalog.Close();
        if (!catalog.IsWhole())
            m_ledger->gone(closed);
    }
    // Fills in names, texts and dependencies that identify the save by its tag.
    static void fill(CCatalogFile& catalog, int serial, int tag)
    {
        const QByteArray text = QByteArray::number(tag);
        catalog.setServerSerialNumber(serial);
        catalog.setPackageName("p" + text);
        catalog.setName("n" + text);
        catalog.setCategory("Games");
        catalog.setDescription(QString::fromLatin1(text.repeated(20)));
        catalog.setDependencies({ "a" + text, "b" + text });
    }
    void verifyCatalog()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Open());
        if (m_ledger->gone().count(closed) > 0)
            return;
        for (const auto& [serial, tag] : m_ledger->stored()) {
            const QByteArray text = QByteArray::number(tag);
            QVERIFY(catalog.FindServerSerialNumber(int(serial)));
            QCOMPARE(QByteArray(catalog.Name()), "n" + text);
            QCOMPARE(catalog.Description(), QString::fromLatin1(text.repeated(20)));
            QCOMPARE(catalog.OwnDependencies(), (QByteArrayList{ "a" + text, "b" + text }));
        }
        int found = 0;
        for (bool more = catalog.FindFirstForCategory("Games"); more;
             more = catalog.FindNextForCategory("Games"))
            ++found;
        QVERIFY(found >= items && found <= items + 1);
    }

    // Unchanged products are in their records, with their texts. Indexes may be half
    // written: walks end, changes succeed or fail, and the database can be rebuilt.
    void verifyCatalogOfADeadProcess()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Open());
        for (int serial = 1; serial <= items; ++serial) {
            if (serial == 5 || serial == 12)
                continue;
            const QByteArray text = QByteArray::number(serial);
            QVERIFY(catalog.GetRecord(serial));
            QCOMPARE(QByteArray(catalog.Name()), "n" + text);
            QCOMPARE(catalog.Description(), QString::fromLatin1(text.repeated(20)));
            const QByteArrayList own = catalog.OwnDependencies();
            QVERIFY(own.isEmpty() || own.first().endsWith(text));
        }
        int steps = 0;
        for (bool more = catalog.FindFirstForCategory(nullptr); more;
             more = catalog.FindNextForCategory(nullptr))
            QVERIFY(++steps < 100);
        catalog.AddNew();
        fill(catalog, 700, 700);
        catalog.SaveRecord();
        catalog.Close();
        prepareCatalog();
        verifyCatalog();
    }

    static constexpr std::uint32_t closed = 1000; // in the ledger: closing failed
    std::unique_ptr<Ledger> m_ledger;
};

QTEST_GUILESS_MAIN(DatabaseFaultsTest)
#include "tst_dbfaults.moc"
