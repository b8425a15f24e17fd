// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Compares indexes with ordered sets in long random sequences: every result is compared,
// and the file is checked at intervals. PAKMART_TEST_SEED repeats a run.

#include "store/indexfile.h"
#include "store/pagecache.h"
#include "store/storecheck.h"
#include "tests/store/storefixture.h"

#include <QtTest>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <set>

using namespace Agent;

namespace
{

struct Item {
    std::string key;
    std::uint32_t record;
};

// The order of an index, implemented independently of the store.
struct InOrder {
    bool byRecord;

    bool operator()(const Item& a, const Item& b) const
    {
        const auto fold = [](unsigned char c) {
            return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
        };
        const auto less = [fold](unsigned char x, unsigned char y) { return fold(x) < fold(y); };
        if (std::lexicographical_compare(a.key.begin(), a.key.end(), b.key.begin(), b.key.end(),
                                         less))
            return true;
        if (std::lexicographical_compare(b.key.begin(), b.key.end(), a.key.begin(), a.key.end(),
                                         less))
            return false;
        return byRecord && a.record < b.record;
    }
};

using Model = std::set<Item, InOrder>;

// An index and its model, with the same operations on both.
class Pair
{
public:
    Pair(const std::string& path, std::int16_t keyLength, bool duplicates)
        : m_path(path), m_keyLength(keyLength), m_duplicates(duplicates),
          m_model(InOrder{ duplicates }), m_index(MakeIndex(0, path.c_str(), keyLength, duplicates))
    {
        QVERIFY(m_index);
    }
    ~Pair() { CloseIndex(m_index); }

    const Model& model() const { return m_model; }
    IndexFile* index() const { return m_index; }

    void add(const Item& item)
    {
        const Item cut = this->cut(item);
        Hand hand(item);
        QCOMPARE(AddKey(m_index, &item.record, hand.key) == 0, m_model.insert(cut).second);
        QCOMPARE(std::string(hand.key), cut.key);
    }

    void erase(const Item& item)
    {
        Hand hand(item);
        const auto at = m_model.find(cut(item));
        QCOMPARE(DeleteKey(m_index, &hand.record, hand.key) == 0, at != m_model.end());
        if (at == m_model.end())
            return;
        QCOMPARE(hand.record, at->record);
        m_model.erase(at);
    }

    void find(const Item& item)
    {
        Hand hand(item);
        const Item cut = this->cut({ item.key, 0 });
        const auto at = m_model.lower_bound(cut);
        const bool same = at != m_model.end()
            && (m_duplicates ? at->key == cut.key : !m_model.key_comp()(cut, *at));
        QCOMPARE(FindKey(m_index, &hand.record, hand.key) == 0, same);
        if (same)
            QCOMPARE(hand.record, at->record);
    }

    void search(const Item& item, int steps)
    {
        Hand hand(item);
        auto at = m_model.lower_bound(cut({ item.key, 0 }));
        QCOMPARE(SearchKey(m_index, &hand.record, hand.key) == 0, at != m_model.end());
        for (; at != m_model.end() && steps > 0; --steps) {
            QCOMPARE(hand.record, at->record);
            ++at;
            QCOMPARE(NextKey(m_index, &hand.record, hand.key) == 0, at != m_model.end());
            if (at != m_model.end())
                QCOMPARE(std::string(hand.key), at->key);
        }
    }

    void findPrevious(const Item& item, int steps)
    {
        Hand hand(item);
        auto at = m_model.lower_bound(cut({ item.key, 0 }));
        QCOMPARE(FindPrevKey(m_index, &hand.record, hand.key) == 0, at != m_model.begin());
        for (; at != m_model.begin() && steps > 0; --steps) {
            --at;
            QCOMPARE(std::string(hand.key), at->key);
            QCOMPARE(hand.record, at->record);
            QCOMPARE(PrevKey(m_index, &hand.record, hand.key) == 0, at != m_model.begin());
        }
    }

    // Writes everything, and reads the file.
    void check()
    {
        QCOMPARE(TaCloseIndex(m_index), 0);
        std::vector<IndexEntry> entries;
        QCOMPARE(CheckIndex(m_path, m_keyLength, m_duplicates, &entries), Findings());
        QCOMPARE(entries.size(), m_model.size());
        const auto same = [](const Item& item, const IndexEntry& entry) {
            return item.key == entry.key && item.record == entry.record;
        };
        QVERIFY(std::equal(m_model.begin(), m_model.end(), entries.begin(), same));
        QCOMPARE(TaOpenIndex(m_index), 0);
    }

private:
    // The buffers that a caller passes.
    struct Hand {
        explicit Hand(const Item& item) : record(item.record)
        {
            std::strcpy(key, item.key.c_str());
        }
        char key[400];
        std::uint32_t record;
    };

    Item cut(const Item& item) const
    {
        return { item.key.substr(0, std::size_t(m_keyLength)), item.record };
    }

    const std::string m_path;
    const std::int16_t m_keyLength;
    const bool m_duplicates;
    Model m_model;
    IndexFile* m_index;
};

// Keys from a small alphabet in both cases, so that many are equal.
Item RandomItem(Random& random, int longest, int spread)
{
    Item item{ std::string(random.below(longest) + 1, 'a'), random.below(5) + 1 };
    for (char& c : item.key)
        c = "aAbBcCzZ _\xc3\xa4"[random.below(spread)];
    return item;
}

void RunRandomly(Pair& pair, Random& random, int operations, int longest, int spread)
{
    // The tree grows and shrinks alternately.
    for (int i = 0; i < operations && !QTest::currentTestFailed(); ++i) {
        const bool grows = i / 20000 % 2 == 0;
        const Item item = RandomItem(random, longest, spread);
        const std::uint32_t what = random.below(100);
        if (what < (grows ? 50u : 20u))
            pair.add(item);
        else if (what < 70)
            pair.erase(item);
        else if (what < 80)
            pair.find(item);
        else if (what < 90)
            pair.search(item, int(random.below(8)));
        else
            pair.findPrevious(item, int(random.below(8)));
        if (i % 25000 == 0)
            pair.check();
    }
    pair.check();
}

std::vector<std::uint32_t> Sequence(std::uint32_t count, const QString& order, Random& random)
{
    std::vector<std::uint32_t> numbers(count);
    std::iota(numbers.begin(), numbers.end(), 0u);
    if (order == "descending")
        std::reverse(numbers.begin(), numbers.end());
    else if (order == "random")
        random.shuffle(&numbers);
    return numbers;
}

Item Numbered(std::uint32_t number)
{
    char key[16];
    std::snprintf(key, sizeof key, "Key%08u", number);
    return { key, number + 1 };
}

} // namespace

class IndexModelTest : public StoreTest
{
    Q_OBJECT

private slots:

    void randomOperations_data();
    void randomOperations();
    void severalIndexesShareTheCache();
    void largeTrees_data();
    void largeTrees();
    void deepTreesGrowAndVanish_data();
    void deepTreesGrowAndVanish();

private:
};

void IndexModelTest::randomOperations_data()
{
    QTest::addColumn<int>("keyLength");
    QTest::addColumn<bool>("duplicates");
    QTest::addColumn<int>("longest");
    QTest::addColumn<int>("spread");
    QTest::addColumn<int>("operations");

    QTest::newRow("one character") << 1 << false << 3 << 11 << 100000;
    QTest::newRow("one character, duplicates") << 1 << true << 3 << 11 << 100000;
    QTest::newRow("two letters") << 9 << false << 12 << 4 << 400000;
    QTest::newRow("two letters, duplicates") << 9 << true << 12 << 4 << 400000;
    QTest::newRow("short keys") << 6 << false << 6 << 8 << 500000;
    QTest::newRow("short keys, duplicates") << 6 << true << 6 << 8 << 500000;
    QTest::newRow("long keys") << 60 << true << 90 << 12 << 300000;
    QTest::newRow("149 characters") << 149 << false << 200 << 12 << 150000;
    // The last item of a full page keeps 102 characters of its key.
    QTest::newRow("150 characters") << 150 << true << 102 << 12 << 150000;
}

void IndexModelTest::randomOperations()
{
    QFETCH(int, keyLength);
    QFETCH(bool, duplicates);
    QFETCH(int, longest);
    QFETCH(int, spread);
    QFETCH(int, operations);

    Pair pair(path("random"), std::int16_t(keyLength), duplicates);
    RunRandomly(pair, m_random, operations, longest, spread);
}

void IndexModelTest::severalIndexesShareTheCache()
{
    Pair numbers(path("numbers"), 12, false);
    Pair letters(path("letters"), 30, true);
    Pair longs(path("longs"), 150, true);
    for (std::uint32_t i = 0; i < 60000 && !QTest::currentTestFailed(); ++i) {
        numbers.add(Numbered(m_random.below(1000000)));
        letters.add(RandomItem(m_random, 20, 12));
        longs.add(RandomItem(m_random, 80, 12));
        if (i % 3 == 0)
            letters.erase(RandomItem(m_random, 3, 12));
    }
    numbers.check();
    letters.check();
    longs.check();
}

void IndexModelTest::largeTrees_data()
{
    QTest::addColumn<int>("room");
    QTest::newRow("all in memory") << int(standardPageRoom);
    QTest::newRow("some in memory") << 1800000;
    QTest::newRow("as few as may be") << 0;
}

// More pages than are kept in any case, so that some leave memory.
void IndexModelTest::largeTrees()
{
    QFETCH(int, room);
    SetPageRoom(std::size_t(room));
    Pair pair(path("large"), 24, true);
    while (pair.model().size() < 40000 && !QTest::currentTestFailed())
        pair.add(RandomItem(m_random, 24, 11));
    QVERIFY(FileLen(pair.index()->dataFile) > 2 * PAGESTACKSIZE);
    RunRandomly(pair, m_random, 60000, 24, 11);
    SetPageRoom(standardPageRoom);
}

void IndexModelTest::deepTreesGrowAndVanish_data()
{
    QTest::addColumn<QString>("growing");
    QTest::addColumn<QString>("shrinking");
    QTest::addColumn<int>("items");
    QTest::addColumn<int>("depth");
    for (const char* growing : { "ascending", "descending", "random" })
        for (const char* shrinking : { "ascending", "descending", "random" })
            QTest::addRow("%s, then %s", growing, shrinking) << growing << shrinking << 20000 << 3;
    QTest::newRow("four levels") << "ascending"
                                 << "random" << 80000 << 4;
}

void IndexModelTest::deepTreesGrowAndVanish()
{
    QFETCH(QString, growing);
    QFETCH(QString, shrinking);
    QFETCH(int, items);
    QFETCH(int, depth);

    Pair pair(path("deep"), 11, false);
    for (const std::uint32_t number : Sequence(std::uint32_t(items), growing, m_random))
        pair.add(Numbered(number));
    pair.check();
    pair.find(Numbered(7));
    QVERIFY(pair.index()->depth <= depth);
    Item first = *pair.model().begin();
    char key[16];
    std::uint32_t record;
    ClearKey(pair.index());
    QCOMPARE(NextKey(pair.index(), &record, key), 0);
    QCOMPARE(record, first.record);
    QCOMPARE(int(pair.index()->depth), depth);

    int left = items;
    for (const std::uint32_t number : Sequence(std::uint32_t(items), shrinking, m_random)) {
        pair.erase(Numbered(number));
        if (--left % 4001 == 0)
            pair.check();
    }
    pair.check();
    QCOMPARE(pair.index()->rootPage, 0u);
    QCOMPARE(UsedRecs(pair.index()->dataFile), 0u);
}

QTEST_GUILESS_MAIN(IndexModelTest)
#include "tst_indexmodel.moc"
