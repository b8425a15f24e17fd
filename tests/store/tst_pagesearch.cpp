// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Compares the searches of pages, which read keys eight bytes at a time, with a simple
// scan that uses tacompkeys, and compact pages with the pages that they were made from.
// PAKMART_TEST_SEED repeats a run.

#include "store/compactpage.h"
#include "store/keyword.h"
#include "store/pageheads.h"
#include "store/soughtitem.h"
#include "tests/store/storetest.h"

#include <QtTest>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

using namespace Agent;

namespace
{

// A key that begins like other keys, in either case, with bytes around the letters.
std::string RandomKey(Random& random, const std::string& begin, int longest)
{
    static const std::string bytes = "aAzZbY@[`{_ 09\x01\x7f\x80\xc1\xda\xe1\xff";
    std::string key = begin.substr(0, random.Below(std::uint32_t(begin.size()) + 1));
    const std::uint32_t more = random.Below(std::uint32_t(longest) + 1);
    while (key.size() < more)
        key += bytes[random.Below(std::uint32_t(bytes.size()))];
    for (char& c : key)
        if (c == 'p' && random.Below(4) == 0)
            c = 'P';
    return key;
}

// The expected result of a search.
PagePosition Scan(const IndexPage& page, const IndexItem& wanted, int duplicates)
{
    int position = 0;
    for (int i = 1; i <= page.count; ++i) {
        const IndexItem& item = page.items[i];
        const int order = tacompkeys(wanted.key, item.key, wanted.record, item.record, duplicates);
        if (order == 0)
            return { true, i, item.record, item.child };
        if (order > 0)
            position = i;
    }
    return { false, position, 0, page.Child(position) };
}

bool operator==(const PagePosition& a, const PagePosition& b)
{
    return a.found == b.found && a.position == b.position && a.child == b.child
        && (!a.found || a.record == b.record);
}

// A page of up to 50 different items in order, an inner page or a leaf. The rest is
// filled with bytes that would disturb a reader that goes too far.
std::unique_ptr<IndexPage> RandomPage(Random& random, const std::string& begin, int longest,
                                      int duplicates)
{
    std::vector<IndexItem> items;
    for (std::uint32_t n = random.Below(pageItems) + 1; n-- > 0;)
        items.push_back(MakeItem(RandomKey(random, begin, longest).c_str(), random.Below(4)));
    const auto order = [duplicates](const IndexItem& a, const IndexItem& b) {
        return tacompkeys(a.key, b.key, a.record, b.record, duplicates);
    };
    std::sort(items.begin(), items.end(),
              [&](const auto& a, const auto& b) { return order(a, b) < 0; });
    items.erase(std::unique(items.begin(), items.end(),
                            [&](const auto& a, const auto& b) { return order(a, b) == 0; }),
                items.end());
    auto page = std::make_unique<IndexPage>();
    page->count = std::uint8_t(items.size());
    const bool inner = random.Below(2) == 0;
    page->leftmost = inner ? 1000 : 0;
    for (std::size_t i = 0; i < items.size(); ++i) {
        IndexItem& item = page->items[i + 1] = items[i];
        item.child = inner ? std::uint32_t(1001 + i) : 0;
        const std::size_t behind = std::strlen(item.key) + 1;
        std::memset(item.key + behind, int(random.Below(256)), sizeof item.key - behind);
    }
    return page;
}

// A key of the page, or a different one.
IndexItem RandomWanted(Random& random, const IndexPage& page, const std::string& begin, int longest)
{
    const IndexItem& item = page.items[random.Below(page.count) + 1];
    if (random.Below(2) == 0)
        return MakeItem(RandomKey(random, begin, longest).c_str(), random.Below(4));
    std::string key = item.key;
    for (char& c : key)
        if (c >= 'a' && c <= 'z' && random.Below(2) == 0)
            c = char(c - 'a' + 'A');
    return MakeItem(key.c_str(), random.Below(2) == 0 ? item.record : random.Below(4));
}

std::unique_ptr<IndexPage> MakeLeaf(const IndexItem* items, int count)
{
    auto page = std::make_unique<IndexPage>();
    page->count = std::uint8_t(count);
    std::copy(items, items + count, page->items + 1);
    return page;
}

std::unique_ptr<IndexPage> RandomFullLeaf(Random& random, const std::string& begin, int longest,
                                          int duplicates)
{
    auto page = MakeLeaf(nullptr, 0);
    while (page->count < pageItems) {
        const std::string key = RandomKey(random, begin, longest);
        const IndexItem item = MakeItem(key.c_str(), random.Below(4));
        const PagePosition at = Scan(*page, item, duplicates);
        if (!at.found)
            InsertItem(page.get(), at.position, item);
    }
    return page;
}

// Describes the difference, with an empty text for equal results.
QString Difference(const CompactPage& compact, const IndexPage& page)
{
    const auto expanded = std::make_unique<IndexPage>();
    compact.Expand(expanded.get());
    if (expanded->count != page.count || compact.count() != page.count)
        return QString("%1 items for %2").arg(expanded->count).arg(page.count);
    for (int i = 0; i <= page.count; ++i)
        if (expanded->Child(i) != page.Child(i))
            return QString("child %1").arg(i);
    for (int i = 1; i <= page.count; ++i) {
        const IndexItem& item = expanded->items[i];
        if (item.record != page.items[i].record || std::strcmp(item.key, page.items[i].key) != 0)
            return QString("item %1: %2 for %3").arg(i).arg(item.key, page.items[i].key);
    }
    return QString();
}

// A description of the difference when a full leaf is split for an item that belongs
// after the one at `position`: of 51 items in order the lower 25 stay, and the upper 25
// move.
QString DifferenceOfHalves(const IndexPage& leaf, int position, const IndexItem& item,
                           int duplicates)
{
    std::vector<IndexItem> all(leaf.items + 1, leaf.items + pageItems + 1);
    all.insert(all.begin() + position, item);
    const CompactPage compact(leaf);
    CompactPage lower;
    CompactPage upper;
    IndexItem middle;
    if (!compact.SplitLeaf(position, SoughtItem(item), duplicates, &lower, &upper, &middle))
        return "no halves";
    const IndexItem& expected = all[pageOrder];
    if (middle.record != expected.record || std::strcmp(middle.key, expected.key) != 0)
        return QString("middle %1 for %2").arg(middle.key, expected.key);
    return Difference(lower, *MakeLeaf(all.data(), pageOrder))
        + Difference(upper, *MakeLeaf(&all[pageOrder + 1], pageOrder)) + Difference(compact, leaf);
}

} // namespace

class TestPageSearch : public QObject
{
    Q_OBJECT

private slots:
    void everySearchFindsWhatAScanFinds_data();
    void everySearchFindsWhatAScanFinds();
    void compactPagesExpandToWhatTheyWere_data() { everySearchFindsWhatAScanFinds_data(); }
    void compactPagesExpandToWhatTheyWere();
    void compactLeavesChangeAsPagesDo_data() { everySearchFindsWhatAScanFinds_data(); }
    void compactLeavesChangeAsPagesDo();
    void compactLeavesSplitAsTheyWouldInOrder_data() { everySearchFindsWhatAScanFinds_data(); }
    void compactLeavesSplitAsTheyWouldInOrder();
    void compactLeavesSplitAtEveryPlace();
    void lettersOfEitherCaseSurviveInACompactLeaf();
    void wordsAreFoldedAsBytesAre();
    void headsFollowThePage();
    void headsStayWithinKeysOfFullLength();
};

void TestPageSearch::everySearchFindsWhatAScanFinds_data()
{
    QTest::addColumn<QByteArray>("begin");
    QTest::addColumn<int>("longest");
    QTest::addColumn<int>("duplicates");
    QTest::newRow("short keys") << QByteArray() << 3 << 0;
    QTest::newRow("short keys, duplicates") << QByteArray() << 3 << 1;
    QTest::newRow("words") << QByteArray("package p") << 20 << 0;
    QTest::newRow("words, duplicates") << QByteArray("package p") << 20 << 1;
    QTest::newRow("keys of 150") << QByteArray(145, 'p') << longestKey << 0;
    QTest::newRow("keys of 150, duplicates") << QByteArray(145, 'p') << longestKey << 1;
}

void TestPageSearch::everySearchFindsWhatAScanFinds()
{
    QFETCH(const QByteArray, begin);
    QFETCH(const int, longest);
    QFETCH(const int, duplicates);
    Random random = Random::Announced();
    int found = 0;
    for (int round = 0; round < 3000; ++round) {
        const auto page = RandomPage(random, begin.toStdString(), longest, duplicates);
        const CompactPage compact(*page);
        PageHeads heads;
        for (int i = 0; i < 10; ++i) {
            const IndexItem wanted = RandomWanted(random, *page, begin.toStdString(), longest);
            const SoughtItem sought(wanted);
            const PagePosition expected = Scan(*page, wanted, duplicates);
            QVERIFY2(SearchPage(*page, sought, duplicates) == expected, wanted.key);
            QVERIFY2(heads.Search(*page, sought, duplicates) == expected, wanted.key);
            QVERIFY2(compact.Search(sought, duplicates) == expected, wanted.key);
            found += expected.found ? 1 : 0;
        }
    }
    QVERIFY(found > 1000);
}

void TestPageSearch::compactPagesExpandToWhatTheyWere()
{
    QFETCH(const QByteArray, begin);
    QFETCH(const int, longest);
    QFETCH(const int, duplicates);
    Random random = Random::Announced();
    for (int round = 0; round < 3000; ++round) {
        const auto page = RandomPage(random, begin.toStdString(), longest, duplicates);
        QCOMPARE(Difference(CompactPage(*page), *page), QString());
    }
}

void TestPageSearch::compactLeavesChangeAsPagesDo()
{
    QFETCH(const QByteArray, begin);
    QFETCH(const int, longest);
    QFETCH(const int, duplicates);
    Random random = Random::Announced();
    int added = 0;
    int removed = 0;
    for (int round = 0; round < 1000; ++round) {
        const auto page = RandomPage(random, begin.toStdString(), longest, duplicates);
        page->leftmost = 0;
        for (IndexItem& item : page->items)
            item.child = 0;
        CompactPage compact(*page);
        for (int i = 0; i < 40; ++i) {
            const IndexItem item = RandomWanted(random, *page, begin.toStdString(), longest);
            const PagePosition at = compact.Search(SoughtItem(item), duplicates);
            if (!at.found && page->count < pageItems) {
                QVERIFY(compact.InsertInLeaf(at, SoughtItem(item)));
                InsertItem(page.get(), at.position, item);
                ++added;
            } else if (at.found && page->count > 1) {
                compact.RemoveFromLeaf(at.position);
                RemoveItem(page.get(), at.position);
                ++removed;
            }
            QCOMPARE(Difference(compact, *page), QString());
            const IndexItem wanted = RandomWanted(random, *page, begin.toStdString(), longest);
            QVERIFY2(compact.Search(SoughtItem(wanted), duplicates)
                         == Scan(*page, wanted, duplicates),
                     wanted.key);
        }
    }
    QVERIFY(added > 1000);
    QVERIFY(removed > 1000);
}

void TestPageSearch::compactLeavesSplitAsTheyWouldInOrder()
{
    QFETCH(const QByteArray, begin);
    QFETCH(const int, longest);
    QFETCH(const int, duplicates);
    Random random = Random::Announced();
    int splits = 0;
    for (int round = 0; round < 2000; ++round) {
        const auto page = RandomFullLeaf(random, begin.toStdString(), longest, duplicates);
        for (int i = 0; i < 5; ++i) {
            const IndexItem item = RandomWanted(random, *page, begin.toStdString(), longest);
            const PagePosition at = Scan(*page, item, duplicates);
            if (at.found)
                continue;
            QCOMPARE(DifferenceOfHalves(*page, at.position, item, duplicates), QString());
            ++splits;
        }
    }
    QVERIFY(splits > 1000);
}

void TestPageSearch::compactLeavesSplitAtEveryPlace()
{
    const auto key = [](int number) { return "lynx " + std::to_string(1000 + number); };
    for (int place = 0; place <= pageItems; ++place) {
        const auto page = std::make_unique<IndexPage>();
        for (int i = 0; i <= pageItems; ++i)
            if (i != place)
                InsertItem(page.get(), page->count, MakeItem(key(i).c_str(), std::uint32_t(i)));
        const IndexItem item = MakeItem(key(place).c_str(), std::uint32_t(place));
        QCOMPARE(DifferenceOfHalves(*page, place, item, 0), QString());
    }
}

// The keys on both sides of the new one share more with each other than with it: their
// first letter.
void TestPageSearch::lettersOfEitherCaseSurviveInACompactLeaf()
{
    const auto page = std::make_unique<IndexPage>();
    InsertItem(page.get(), 0, MakeItem("Aab", 1));
    InsertItem(page.get(), 1, MakeItem("Aab", 3));
    InsertItem(page.get(), 2, MakeItem("aabc", 1));
    CompactPage compact(*page);
    const SoughtItem between("aab", 2);
    QVERIFY(compact.InsertInLeaf(compact.Search(between, 1), between));
    InsertItem(page.get(), 1, between.Item());
    QCOMPARE(Difference(compact, *page), QString());
    compact.RemoveFromLeaf(2);
    RemoveItem(page.get(), 2);
    QCOMPARE(Difference(compact, *page), QString());
}

void TestPageSearch::wordsAreFoldedAsBytesAre()
{
    for (unsigned byte = 0; byte < 256; ++byte) {
        for (unsigned place = 0; place < wordSize; ++place) {
            for (const unsigned other : { 0u, 'A' - 1u, unsigned('M'), 'Z' + 1u, 0xffu }) {
                std::uint64_t word = 0;
                std::uint64_t folded = 0;
                for (unsigned i = 0; i < wordSize; ++i) {
                    const unsigned value = i == place ? byte : other;
                    word |= std::uint64_t(value) << 8 * i;
                    folded |= std::uint64_t(FoldCase(char(value))) << 8 * i;
                }
                QCOMPARE(FoldWord(word), folded);
            }
        }
    }
}

void TestPageSearch::headsFollowThePage()
{
    IndexPage page{};
    page.leftmost = 1;
    InsertItem(&page, 0, MakeItem("mole", 1));
    PageHeads heads;
    QCOMPARE(heads.Search(page, SoughtItem("lynx", 0), 0).position, 0);
    InsertItem(&page, 0, MakeItem("lion", 1));
    QCOMPARE(heads.Search(page, SoughtItem("lynx", 0), 0).position, 1);
    page.items[1] = MakeItem("mink", 1); // as many as before
    heads.Forget();
    QCOMPARE(heads.Search(page, SoughtItem("lynx", 0), 0).position, 0);
}

// The last key of a full page ends at the end of the page.
void TestPageSearch::headsStayWithinKeysOfFullLength()
{
    const auto page = std::make_unique<IndexPage>();
    page->leftmost = 1;
    const std::string key(longestKey, 'p');
    for (int i = 0; i < pageItems; ++i)
        InsertItem(page.get(), i, MakeItem(key.c_str(), std::uint32_t(2 * i)));
    PageHeads heads;
    for (int i = 0; i < pageItems; ++i) {
        const SoughtItem there(key.c_str(), std::uint32_t(2 * i));
        QVERIFY(heads.Search(*page, there, 1).found);
        QCOMPARE(heads.Search(*page, there, 1).position, i + 1);
        const SoughtItem between(key.c_str(), std::uint32_t(2 * i + 1));
        QVERIFY(!heads.Search(*page, between, 1).found);
        QCOMPARE(heads.Search(*page, between, 1).position, i + 1);
    }
}

QTEST_GUILESS_MAIN(TestPageSearch)
#include "tst_pagesearch.moc"
