// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Compares the recently-used list and the dependency database with plain containers in
// long random sequences. PAKMART_TEST_SEED repeats a run.

#include "db/cdependency.h"
#include "db/crufile.h"
#include "db/dbcheck.h"
#include "db/dbshared.h"
#include "tests/db/dbmodel.h"
#include "tests/store/storefixture.h"

#include <QtTest>
#include <set>

using namespace Agent;

namespace
{

struct Item {
    int serial = 0;
    int time = 0;
    std::string description;

    std::string key(int which) const
    {
        if (which == 0)
            return Formatted("%12d", time) + description;
        return which == 1 ? description : Formatted("%020d", serial);
    }
};

// The list and its expected content.
class RecentPair
{
public:
    RecentPair() { QVERIFY(m_list.Create()); }

    void add(const Item& item)
    {
        m_list.AddNew();
        set(item);
        const int number = m_free.empty() ? ++m_last : m_free.back();
        if (!m_free.empty())
            m_free.pop_back();
        m_items[number] = item;
        bool stored = true;
        for (int which = 0; stored && which < 3; ++which)
            stored = m_indexes[which].add(item.key(which), number);
        QCOMPARE(m_list.Update(), stored);
        QCOMPARE(m_list.RecordNumber(), number);
    }

    // Loads a record and stores it with other fields.
    void change(int number, const Item& item)
    {
        const auto at = m_items.find(number);
        QCOMPARE(m_list.GetRecord(number), number >= 1 && number <= m_last);
        if (at == m_items.end())
            return;
        compare(at->second);
        set(item);
        const Item before = at->second;
        at->second = item;
        bool stored = true;
        for (int which = 0; stored && which < 3; ++which) {
            const std::string old = before.key(which);
            const std::string key = item.key(which);
            if (Folded(old) != Folded(key))
                stored = m_indexes[which].erase(old, number) && m_indexes[which].add(key, number);
        }
        QCOMPARE(m_list.Update(), stored);
    }

    void erase(int serial)
    {
        const int number = serial > 0 ? find(serial) : 0;
        QCOMPARE(m_list.DeleteRecord(serial), number != 0);
        if (number == 0)
            return;
        for (int which = 0; which < 3; ++which)
            m_indexes[which].erase(m_items[number].key(which), number);
        m_items.erase(number);
        m_free.push_back(number);
    }

    void findSerial(int serial)
    {
        const int number = find(serial);
        QCOMPARE(m_list.FindServerSerialNumber(serial), number != 0);
        if (number != 0)
            compare(m_items[number]);
    }

    void findDescription(const std::string& description)
    {
        int number = 0;
        for (const auto& [key, record] : m_indexes[1].all())
            if (Folded(key) == Folded(description))
                number = record;
        const bool found = m_items.count(number) > 0;
        QCOMPARE(m_list.FindItem(description.c_str()), found);
        if (found)
            compare(m_items[number]);
    }

    // Compares both walks with the model's indexes.
    void walk()
    {
        const Items byTime = m_indexes[0].all();
        bool more = m_list.FindLastAccessedItem();
        for (auto at = byTime.rbegin(); at != byTime.rend() && more; ++at) {
            compare(m_items[at->second]);
            more = m_list.FindPrevAccessedItem();
            QCOMPARE(more, std::next(at) != byTime.rend());
        }
        bool found = m_list.FindFirstByDescription();
        for (const auto& item : m_indexes[1].all()) {
            const auto at = m_items.find(item.second);
            QCOMPARE(found, at != m_items.end());
            if (found)
                compare(at->second);
            found = m_list.FindNextByDescription();
        }
        QVERIFY(!found);
    }

    // Compares every record and every key, read from the files.
    void compareFiles()
    {
        m_list.Close();
        const std::string paths[]
            = { CRUFile::RUDATAIDX1, CRUFile::RUDATAIDX2, CRUFile::RUDATAIDX3 };
        for (int which = 0; which < 3; ++which)
            QCOMPARE(m_indexes[which].inFile(paths[which]), m_indexes[which].all());
        QCOMPARE(CheckDataFile(CRUFile::RUDATAFILE, 792), Findings());
        QVERIFY(m_list.Open());
        QCOMPARE(m_list.UsedRecs(), int(m_items.size()));
        for (const auto& [number, item] : m_items) {
            QVERIFY(m_list.GetRecord(number));
            compare(item);
        }
    }

    CRUFile& list() { return m_list; }
    int last() const { return m_last; }
    bool hasSerial(int serial) const { return find(serial) != 0; }

private:
    int find(int serial) const
    {
        const int number = m_indexes[2].search(Formatted("%020d", serial));
        const auto at = m_items.find(number);
        return at != m_items.end() && at->second.serial == serial ? number : 0;
    }
    void set(const Item& item)
    {
        m_list.SetServerSerialNumber(item.serial);
        m_list.SetLastAccessed(item.time);
        m_list.SetDescription(item.description.c_str());
        m_list.SetExecutablePath(("/bin/" + item.description).c_str());
    }
    void compare(const Item& item)
    {
        QCOMPARE(m_list.ServerSerialNumber(), item.serial);
        QCOMPARE(m_list.LastAccessed(), item.time);
        QCOMPARE(std::string(m_list.Description()), item.description);
        QCOMPARE(std::string(m_list.ExecutablePath()), "/bin/" + item.description);
    }

    CRUFile m_list;
    std::map<int, Item> m_items;
    ModelIndex m_indexes[3] = { { 72, false }, { 60, false }, { 20, false } };
    std::vector<int> m_free;
    int m_last = 0;
};

// An item that is likely to equal others, or one determined by its serial number.
Item RandomItem(Random& random, bool alike)
{
    Item item;
    item.serial = int(random.below(alike ? 60 : 100000));
    item.time = int(alike ? random.below(40) : random.below(2000000000u));
    item.description = alike ? std::string(1 + random.below(2u), "abcABC"[random.below(6)])
                             : "Item " + std::to_string(item.serial);
    return item;
}

} // namespace

class RecentModelTest : public StoreTest
{
    Q_OBJECT

private slots:
    // Most updates are refused halfway here.
    void itemsThatTakeEachOthersKeys()
    {
        RecentPair pair;
        for (int i = 0; i < 6000 && !QTest::currentTestFailed(); ++i) {
            const std::uint32_t what = m_random.below(100);
            if (what < 25)
                pair.add(RandomItem(m_random, true));
            else if (what < 55)
                pair.change(int(m_random.below(pair.last() + 2)), RandomItem(m_random, true));
            else if (what < 80)
                pair.erase(int(m_random.below(60)));
            else if (what < 90)
                pair.findSerial(int(m_random.below(60)));
            else
                pair.findDescription(RandomItem(m_random, true).description);
            if (i % 500 == 0)
                pair.compareFiles();
        }
        pair.compareFiles();
    }

    void itemsOfTheirOwn()
    {
        RecentPair pair;
        std::vector<int> serials;
        for (int i = 0; i < 6000 && !QTest::currentTestFailed(); ++i) {
            const std::uint32_t what = m_random.below(100);
            Item item = RandomItem(m_random, false);
            const bool known = pair.hasSerial(item.serial);
            if (serials.empty() || (what < 30 && !known)) {
                pair.add(item);
                serials.push_back(item.serial);
                continue;
            }
            const std::size_t which = m_random.below(std::uint32_t(serials.size()));
            const int serial = serials[which];
            pair.findSerial(serial);
            if (what < 60 && !known) {
                pair.change(pair.list().RecordNumber(), item);
                serials[which] = item.serial;
            } else if (what < 85) {
                pair.erase(serial);
                serials.erase(serials.begin() + std::ptrdiff_t(which));
            } else {
                pair.findDescription(item.description);
            }
            if (i % 1000 == 0)
                pair.walk();
        }
        pair.walk();
        pair.compareFiles();
        pair.list().Close();
        QCOMPARE(CheckRecent(RecentFolder()).faults, Findings());
        QCOMPARE(CheckRecent(RecentFolder()).remarks, Findings());
    }

    void dependencies()
    {
        CDependency database;
        QVERIFY(database.Create());
        ModelIndex first(58, false);
        ModelIndex second(58, false);
        std::map<int, std::set<std::string>> names; // by parent
        const auto secondKey = [](int parent, const std::string& name) {
            return name + std::string(50 - name.size(), ' ') + Formatted("%8d", parent);
        };
        const auto stored
            = [&](int parent, const std::string& name) { return names[parent].count(name) > 0; };
        for (int i = 0; i < 8000 && !QTest::currentTestFailed(); ++i) {
            const int parent = int(m_random.below(50)) + 1;
            const std::string name = "lib" + std::to_string(m_random.below(20));
            const std::uint32_t what = m_random.below(100);
            if (what < 3) {
                database.RemoveAllDependencies(parent);
                names.erase(parent);
                continue;
            }
            database.AddNew();
            database.setParent(parent);
            database.setName(name.c_str());
            const bool fresh = !stored(parent, name);
            QCOMPARE(database.SaveRecord(), fresh);
            names[parent].insert(name);
            // One in three is renamed or given to another parent, unless the key is
            // taken.
            const int other = int(m_random.below(50)) + 1;
            const std::string next = "lib" + std::to_string(m_random.below(20));
            if (what < 33 && fresh && !stored(other, next)) {
                database.setParent(other);
                database.setName(next.c_str());
                QVERIFY(database.SaveRecord());
                names[parent].erase(name);
                names[other].insert(next);
            }
            if (i % 20 == 0)
                compareLists(database, names, parent);
        }
        database.Close();
        Items inFirst = ItemsOf(CDependency::DEPENDENCYIDXNAME1, 58, false);
        Items inSecond = ItemsOf(CDependency::DEPENDENCYIDXNAME2, 58, false);
        for (const auto& [parent, list] : names)
            for (const std::string& name : list) {
                first.add(Formatted("%8d", parent) + name, 0);
                second.add(secondKey(parent, name), 0);
            }
        QCOMPARE(withoutRecords(inFirst), first.all());
        QCOMPARE(withoutRecords(inSecond), second.all());
        QCOMPARE(CheckDataFile(CDependency::DEPENDENCYDFNAME, 60), Findings());
    }

private:
    static Items withoutRecords(Items items)
    {
        for (auto& item : items)
            item.second = 0;
        return items;
    }

    static void compareLists(CDependency& database,
                             const std::map<int, std::set<std::string>>& names, int parent)
    {
        QByteArrayList own;
        QByteArrayList all;
        for (auto at = names.lower_bound(parent); at != names.end(); ++at)
            for (const std::string& name : at->second)
                (at->first == parent ? own : all) << QByteArray::fromStdString(name);
        QByteArrayList read;
        database.LoadOwnDepends(parent, read);
        QCOMPARE(read, own);
        database.LoadDepends(parent, read);
        QCOMPARE(read, own.isEmpty() ? own : own + all);
    }
};

QTEST_GUILESS_MAIN(RecentModelTest)
#include "tst_recentmodel.moc"
