// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Compares large random trees with a second, simple implementation: every result, every
// position and, at intervals, every byte of the file must be the same, including the
// numbers of the pages. PAKMART_TEST_SEED repeats a run.

#include "store/indexfile.h"
#include "store/pagecache.h"
#include "tests/store/plainbtree.h"
#include "tests/store/storetest.h"

#include <QFile>
#include <QTemporaryDir>
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

    void Add(const std::string& key, std::uint32_t record)
    {
        Hand hand(key, record);
        QCOMPARE(AddKey(m_index, &record, hand.key) == 0, m_plain.Add(record, key));
        QCOMPARE(taerror, 0);
    }
    void Delete(const std::string& key, std::uint32_t record)
    {
        Hand hand(key, record);
        const bool deleted = m_plain.Delete(&record, key);
        QCOMPARE(DeleteKey(m_index, &hand.record, hand.key) == 0, deleted);
        QCOMPARE(taerror, 0);
        QCOMPARE(hand.record, record);
    }
    void Find(const std::string& key) { Look(FindKey, &PlainBTree::Find, key); }
    void Search(const std::string& key) { Look(SearchKey, &PlainBTree::Search, key); }
    void FindPrevious(const std::string& key) { Look(FindPrevKey, &PlainBTree::FindPrevious, key); }
    void Next() { Look(NextKey, &PlainBTree::Next, ""); }
    void Previous() { Look(PrevKey, &PlainBTree::Previous, ""); }

    // Writes everything, and compares the file.
    void Compare()
    {
        QCOMPARE(TaCloseIndex(m_index), 0);
        QFile file(QString::fromStdString(m_path));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        const std::string expected = m_plain.Bytes();
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

    void Look(Function function, Plain question, const std::string& key)
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
    std::string key(random.Below(longest + 1), ' ');
    for (char& c : key)
        c = "aBbAxXYzZ_1\xc4\xe4"[random.Below(letters)];
    return key;
}

} // namespace

class TestPlainBTree : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QCOMPARE(InitIndex(), 0);
        m_random = Random::Announced();
    }
    void cleanupTestCase() { UnInitIndex(); }
    void cleanup() { SetPageRoom(standardPageRoom); }

    void randomTrees_data();
    void randomTrees();
    void numberedTrees_data();
    void numberedTrees();
    void flushingTrees();

private:
    std::string Path() const { return m_folder.filePath("tree").toStdString(); }
    void Ask(Both& both, const std::string& key);

    QTemporaryDir m_folder;
    Random m_random{ 0 };
};

// Makes a random call that changes nothing.
void TestPlainBTree::Ask(Both& both, const std::string& key)
{
    switch (m_random.Below(6)) {
    case 0:
        return both.Find(key);
    case 1:
        return both.Search(key);
    case 2:
        return both.FindPrevious(key);
    default:
        for (std::uint32_t steps = m_random.Below(70); steps > 0; --steps)
            m_random.Below(3) == 0 ? both.Previous() : both.Next();
    }
}

void TestPlainBTree::randomTrees_data()
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
void TestPlainBTree::randomTrees()
{
    QFETCH(int, keyLength);
    QFETCH(bool, duplicates);
    QFETCH(int, letters);
    QFETCH(int, room);
    SetPageRoom(std::size_t(room));
    Both both(Path(), keyLength, duplicates);
    const int longest = keyLength == 150 ? 102 : keyLength + 3;
    constexpr int rounds = 40000;
    std::vector<std::pair<std::string, std::uint32_t>> added;
    for (int i = 0; i < rounds && !QTest::currentTestFailed(); ++i) {
        // It grows, is nearly emptied, and grows again.
        const bool grows = i % (rounds / 2) < rounds / 4;
        const std::string key = RandomKey(m_random, longest, letters);
        const std::uint32_t what = m_random.Below(100);
        if (what < (grows ? 70u : 25u)) {
            const std::uint32_t record = m_random.Below(9) + 1;
            both.Add(key, record);
            added.emplace_back(key, record);
        } else if (what < 95 && !added.empty()) {
            std::swap(added[m_random.Below(std::uint32_t(added.size()))], added.back());
            both.Delete(added.back().first, added.back().second);
            added.pop_back();
        } else {
            Ask(both, key);
        }
        if (i % 2500 == 0)
            both.Compare();
    }
    both.Compare();
}

void TestPlainBTree::numberedTrees_data()
{
    QTest::addColumn<int>("order");
    QTest::newRow("upwards") << 0;
    QTest::newRow("downwards") << 1;
    QTest::newRow("at random") << 2;
}

// Trees of three and four levels, filled in order and emptied at random, and filled
// again from the free pages.
void TestPlainBTree::numberedTrees()
{
    QFETCH(int, order);
    constexpr std::uint32_t items = 40000;
    std::vector<std::uint32_t> numbers(items);
    for (std::uint32_t i = 0; i < items; ++i)
        numbers[i] = order == 1 ? items - i : i + 1;
    if (order == 2)
        m_random.Shuffle(&numbers);
    const auto key = [](std::uint32_t number) {
        char text[16];
        std::snprintf(text, sizeof text, "%07u", number);
        return std::string(text);
    };
    Both both(Path(), 7, false);
    for (const std::uint32_t number : numbers)
        both.Add(key(number), number);
    both.Compare();
    QVERIFY(both.plain().depth() == (order == 2 ? 3u : 4u));
    m_random.Shuffle(&numbers);
    for (std::uint32_t i = 0; i < items && !QTest::currentTestFailed(); ++i) {
        both.Delete(key(numbers[i]), numbers[i]);
        if (i % 5000 == 0)
            both.Compare();
        if (i % 100 == 0)
            Ask(both, key(numbers[i]));
    }
    both.Compare();
    QCOMPARE(both.plain().root(), 0u);
    QCOMPARE(UsedRecs(both.index()->dataFile), 0u);
    for (std::uint32_t i = 0; i < items / 4; ++i)
        both.Add(key(numbers[i]), numbers[i]);
    QVERIFY(both.plain().freePages() > 0);
    both.Compare();
}

void TestPlainBTree::flushingTrees()
{
    Both both(Path(), 4, true);
    ToggleFlushing(both.index(), 1, 1);
    for (int i = 0; i < 6000 && !QTest::currentTestFailed(); ++i) {
        const std::string key = RandomKey(m_random, 4, 6);
        const std::uint32_t record = m_random.Below(3) + 1;
        const bool grows = i % 3000 < 1500;
        if (m_random.Below(100) < (grows ? 85u : 25u))
            both.Add(key, record);
        else
            both.Delete(key, record);
        if (i % 3 == 0)
            Ask(both, key);
        if (i % 50 == 0)
            both.Compare();
    }
    both.Compare();
}

QTEST_GUILESS_MAIN(TestPlainBTree)
#include "tst_plainbtree.moc"
