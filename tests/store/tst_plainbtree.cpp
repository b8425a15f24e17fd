// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Compares large random trees with a second, simple implementation: every result, every
// position and, at intervals, every byte of the file must be the same, including the
// numbers of the pages. PAKMART_TEST_SEED repeats a run.

#include "store/indexfile.h"
#include "store/pagecache.h"
#include "tests/store/plainbtree.h"
#include "tests/store/storefixture.h"

#include <QFile>
#include <QtTest>

#include <cstring>

using namespace Agent;

namespace
{

// An index and the simple tree, with the same operations on both.
class Both
{
public:
    Both(const std::string& path, int keyLength, bool duplicates)
        : m_path(path), m_plain(keyLength, duplicates),
          m_index(MakeIndex(0, path.c_str(), std::int16_t(keyLength), duplicates))
    {
    }
    ~Both() { CloseIndex(m_index); }
    Both(const Both&) = delete;
    Both& operator=(const Both&) = delete;

    const PlainBTree& plain() const { return m_plain; }
    IndexFile* index() const { return m_index; }

    void add(const std::string& key, std::uint32_t record)
    {
        Hand hand(key, record);
        QCOMPARE(AddKey(m_index, &record, hand.key) == 0, m_plain.add(record, key));
        QCOMPARE(taerror, 0);
    }
    void erase(const std::string& key, std::uint32_t record)
    {
        Hand hand(key, record);
        const bool deleted = m_plain.erase(&record, key);
        QCOMPARE(DeleteKey(m_index, &hand.record, hand.key) == 0, deleted);
        QCOMPARE(taerror, 0);
        QCOMPARE(hand.record, record);
    }
    void find(const std::string& key) { look(FindKey, &PlainBTree::find, key); }
    void search(const std::string& key) { look(SearchKey, &PlainBTree::search, key); }
    void findPrevious(const std::string& key) { look(FindPrevKey, &PlainBTree::findPrevious, key); }
    void next() { look(NextKey, &PlainBTree::next, ""); }
    void previous() { look(PrevKey, &PlainBTree::previous, ""); }

    // Writes everything, and compares the file.
    void compare()
    {
        QCOMPARE(TaCloseIndex(m_index), 0);
        QFile file(QString::fromStdString(m_path));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        const std::string expected = m_plain.bytes();
        QCOMPARE(std::size_t(bytes.size()), expected.size());
        for (std::size_t at = 0; at < expected.size(); ++at)
            if (bytes[int(at)] != expected[at])
                QFAIL(qPrintable(QString("byte %1 differs").arg(at)));
        QCOMPARE(m_index->rootPage, m_plain.root());
    }

private:
    struct Hand {
        Hand(const std::string& text, std::uint32_t number) : record(number)
        {
            std::strcpy(key, text.c_str());
        }
        char key[400];
        std::uint32_t record;
    };

    using Function = int (*)(IndexFile*, std::uint32_t*, char*);
    using Plain = bool (PlainBTree::*)(std::uint32_t*, std::string*);

    void look(Function function, Plain question, const std::string& key)
    {
        Hand hand(key, 77);
        std::uint32_t record = 77;
        std::string found = key;
        const bool there = (m_plain.*question)(&record, &found);
        QCOMPARE(function(m_index, &hand.record, hand.key) == 0, there);
        QCOMPARE(taerror, 0);
        if (!there)
            return;
        QCOMPARE(std::string(hand.key), found);
        QCOMPARE(hand.record, record);
    }

    const std::string m_path;
    PlainBTree m_plain;
    IndexFile* const m_index;
};

std::string RandomKey(Random& random, int longest, int letters)
{
    std::string key(random.below(longest + 1), ' ');
    for (char& c : key)
        c = "aBbAxXYzZ_1\xc4\xe4"[random.below(letters)];
    return key;
}

} // namespace

class PlainBTreeTest : public StoreTest
{
    Q_OBJECT

private slots:
    void cleanup()
    {
        SetPageRoom(standardPageRoom);
        StoreTest::cleanup();
    }

    void randomTrees_data();
    void randomTrees();
    void numberedTrees_data();
    void numberedTrees();
    void flushingTrees();

private:
    void ask(Both& both, const std::string& key);
};

// Makes a random call that changes nothing.
void PlainBTreeTest::ask(Both& both, const std::string& key)
{
    switch (m_random.below(6)) {
    case 0:
        return both.find(key);
    case 1:
        return both.search(key);
    case 2:
        return both.findPrevious(key);
    default:
        for (std::uint32_t steps = m_random.below(70); steps > 0; --steps)
            m_random.below(3) == 0 ? both.previous() : both.next();
    }
}

void PlainBTreeTest::randomTrees_data()
{
    QTest::addColumn<int>("keyLength");
    QTest::addColumn<bool>("duplicates");
    QTest::addColumn<int>("letters");
    QTest::addColumn<int>("room");
    for (const bool duplicates : { false, true }) {
        const char* const which = duplicates ? "equal keys" : "different keys";
        QTest::addRow("1 character, %s", which) << 1 << duplicates << 13 << 200000;
        QTest::addRow("3 characters, %s", which) << 3 << duplicates << 13 << 200000;
        QTest::addRow("9 characters, %s", which) << 9 << duplicates << 5 << 0;
        QTest::addRow("40 characters, %s", which) << 40 << duplicates << 2 << 9000000;
        QTest::addRow("149 characters, %s", which) << 149 << duplicates << 13 << 200000;
        QTest::addRow("150 characters, %s", which) << 150 << duplicates << 13 << 9000000;
    }
}

// Keys of 150 characters are cut to 102 in some places, at times that depend on when a
// page is written.
void PlainBTreeTest::randomTrees()
{
    QFETCH(int, keyLength);
    QFETCH(bool, duplicates);
    QFETCH(int, letters);
    QFETCH(int, room);
    SetPageRoom(std::size_t(room));
    Both both(path(), keyLength, duplicates);
    const int longest = keyLength == 150 ? 102 : keyLength + 3;
    constexpr int rounds = 40000;
    std::vector<std::pair<std::string, std::uint32_t>> added;
    for (int i = 0; i < rounds && !QTest::currentTestFailed(); ++i) {
        // It grows, is nearly emptied, and grows again.
        const bool grows = i % (rounds / 2) < rounds / 4;
        const std::string key = RandomKey(m_random, longest, letters);
        const std::uint32_t what = m_random.below(100);
        if (what < (grows ? 70u : 25u)) {
            const std::uint32_t record = m_random.below(9) + 1;
            both.add(key, record);
            added.emplace_back(key, record);
        } else if (what < 95 && !added.empty()) {
            std::swap(added[m_random.below(std::uint32_t(added.size()))], added.back());
            both.erase(added.back().first, added.back().second);
            added.pop_back();
        } else {
            ask(both, key);
        }
        if (i % 2500 == 0)
            both.compare();
    }
    both.compare();
}

void PlainBTreeTest::numberedTrees_data()
{
    QTest::addColumn<int>("order");
    QTest::newRow("upwards") << 0;
    QTest::newRow("downwards") << 1;
    QTest::newRow("at random") << 2;
}

// Trees of three and four levels, filled in order and emptied at random, and filled
// again from the free pages.
void PlainBTreeTest::numberedTrees()
{
    QFETCH(int, order);
    constexpr std::uint32_t items = 40000;
    std::vector<std::uint32_t> numbers(items);
    for (std::uint32_t i = 0; i < items; ++i)
        numbers[i] = order == 1 ? items - i : i + 1;
    if (order == 2)
        m_random.shuffle(&numbers);
    const auto key = [](std::uint32_t number) {
        char text[16];
        std::snprintf(text, sizeof text, "%07u", number);
        return std::string(text);
    };
    Both both(path(), 7, false);
    for (const std::uint32_t number : numbers)
        both.add(key(number), number);
    both.compare();
    QVERIFY(both.plain().depth() == (order == 2 ? 3u : 4u));
    m_random.shuffle(&numbers);
    for (std::uint32_t i = 0; i < items && !QTest::currentTestFailed(); ++i) {
        both.erase(key(numbers[i]), numbers[i]);
        if (i % 5000 == 0)
            both.compare();
        if (i % 100 == 0)
            ask(both, key(numbers[i]));
    }
    both.compare();
    QCOMPARE(both.plain().root(), 0u);
    QCOMPARE(UsedRecs(both.index()->dataFile), 0u);
    for (std::uint32_t i = 0; i < items / 4; ++i)
        both.add(key(numbers[i]), numbers[i]);
    QVERIFY(both.plain().freePages() > 0);
    both.compare();
}

void PlainBTreeTest::flushingTrees()
{
    Both both(path(), 4, true);
    ToggleFlushing(both.index(), 1, 1);
    for (int i = 0; i < 6000 && !QTest::currentTestFailed(); ++i) {
        const std::string key = RandomKey(m_random, 4, 6);
        const std::uint32_t record = m_random.below(3) + 1;
        const bool grows = i % 3000 < 1500;
        if (m_random.below(100) < (grows ? 85u : 25u))
            both.add(key, record);
        else
            both.erase(key, record);
        if (i % 3 == 0)
            ask(both, key);
        if (i % 50 == 0)
            both.compare();
    }
    both.compare();
}

QTEST_GUILESS_MAIN(PlainBTreeTest)
#include "tst_plainbtree.moc"
