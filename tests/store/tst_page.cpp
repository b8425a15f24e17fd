// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What a page does, beside a list of items that are handled one by one: searches, which
// read keys eight bytes at a time, changes, parts of pages that go into others, and the way to
// the file and back. PAKMART_TEST_SEED repeats a run.

#include "store/page.h"
#include "tests/store/storetest.h"

#include <QtTest>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

using namespace Agent;

namespace
{

using Items = std::vector<IndexItem>;

// What begins like other keys, in either case, with bytes around the letters.
std::string RandomKey(Random& random, const std::string& begin, int longest)
{
    static const std::string bytes = "aAzZbY@[`{_ 09\x01\x7f\x80\xc1\xda\xe1\xff";
    std::string key = begin.substr(0, random.below(std::uint32_t(begin.size()) + 1));
    const std::uint32_t more = random.below(std::uint32_t(longest) + 1);
    while (key.size() < more)
        key += bytes[random.below(std::uint32_t(bytes.size()))];
    for (char& c : key)
        if (c == 'p' && random.below(4) == 0)
            c = 'P';
    return key;
}

int Compare(const IndexItem& a, const IndexItem& b, int duplicates)
{
    return tacompkeys(a.key, b.key, a.record, b.record, duplicates);
}

// What searching is to come to.
PagePosition Scan(const Items& items, std::uint32_t leftmost, const IndexItem& wanted,
                  int duplicates)
{
    int position = 0;
    for (std::size_t i = 0; i < items.size(); ++i) {
        const int order = Compare(wanted, items[i], duplicates);
        if (order == 0)
            return { true, int(i) + 1, items[i].record, items[i].child };
        if (order > 0)
            position = int(i) + 1;
    }
    return { false, position, 0,
             position == 0 ? leftmost : items[std::size_t(position - 1)].child };
}

bool operator==(const PagePosition& a, const PagePosition& b)
{
    return a.found == b.found && a.position == b.position && a.child == b.child
        && (!a.found || a.record == b.record);
}

// Up to that many different items in order, of an inner page or a leaf.
Items RandomItems(Random& random, const std::string& begin, int longest, int duplicates, int most,
                  bool inner)
{
    Items items;
    for (std::uint32_t n = random.below(most) + 1; n-- > 0;)
        items.push_back(MakeItem(RandomKey(random, begin, longest).c_str(), random.below(4)));
    std::sort(items.begin(), items.end(),
              [&](const auto& a, const auto& b) { return Compare(a, b, duplicates) < 0; });
    items.erase(
        std::unique(items.begin(), items.end(),
                    [&](const auto& a, const auto& b) { return Compare(a, b, duplicates) == 0; }),
        items.end());
    for (std::size_t i = 0; i < items.size(); ++i)
        items[i].child = inner ? std::uint32_t(1001 + i) : 0;
    return items;
}

// A key of the list, with letters of either case, or another.
IndexItem RandomWanted(Random& random, const Items& items, const std::string& begin, int longest)
{
    if (items.empty() || random.below(2) == 0)
        return MakeItem(RandomKey(random, begin, longest).c_str(), random.below(4));
    const IndexItem& item = items[random.below(items.size())];
    std::string key = item.key;
    for (char& c : key)
        if (c >= 'a' && c <= 'z' && random.below(2) == 0)
            c = char(c - 'a' + 'A');
    return MakeItem(key.c_str(), random.below(2) == 0 ? item.record : random.below(4));
}

// The page of a list.
Page PageOf(const Items& items, int keyLength, std::uint32_t leftmost)
{
    Page page(keyLength, leftmost);
    for (const IndexItem& item : items)
        page.Insert(page.Count(), item);
    return page;
}

// What is different, or nothing.
QString Difference(const Page& page, std::uint32_t leftmost, const Items& items)
{
    if (page.Count() != int(items.size()) || page.Child(0) != leftmost)
        return QString("%1 items for %2").arg(page.Count()).arg(items.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
        const IndexItem item = page.Item(int(i) + 1);
        if (std::memcmp(&item, &items[i], sizeof item) != 0)
            return QString("item %1: %2 for %3").arg(i + 1).arg(item.key, items[i].key);
    }
    return QString();
}

Items Part(const Items& items, int first, int last)
{
    return last < first ? Items() : Items(items.begin() + first - 1, items.begin() + last);
}

Items operator+(Items a, const Items& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

QByteArray Packed(const Page& page)
{
    QByteArray bytes(PackedLength(page.KeyLength()), 'x');
    page.Pack(reinterpret_cast<std::uint8_t*>(bytes.data()));
    return bytes;
}

} // namespace

class PageTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_random = Random::announced(); }

    void searchFindsWhatAScanFinds_data() { keys(); }
    void searchFindsWhatAScanFinds();
    void itemsComeAndGo_data() { keys(); }
    void itemsComeAndGo();
    void searchFollowsEveryChange();
    void searchStaysWithinKeysOfFullLength();
    void itemsAreAppendedAndCutOff_data() { keys(); }
    void itemsAreAppendedAndCutOff();
    void itemIsReplacedUnderItsChild_data() { keys(); }
    void itemIsReplacedUnderItsChild();
    void copyStaysAsThePageWas();
    void packingIsThatOfTheFormat_data() { keys(); }
    void packingIsThatOfTheFormat();
    void unusedBytesOfOthersAreNotWritten();
    void searchOfItemsInNoOrderStaysInThePage();
    void keyThatOnlyEndsAlikeIsNotFound();
    void wordsAreFoldedAsBytesAre();

private:
    void keys();

    Random m_random{ 0 };
};

void PageTest::keys()
{
    QTest::addColumn<QByteArray>("begin");
    QTest::addColumn<int>("keyLength");
    QTest::addColumn<int>("duplicates");
    for (const int duplicates : { 0, 1 }) {
        const char* const which = duplicates ? ", duplicates" : "";
        QTest::addRow("short keys%s", which) << QByteArray() << 3 << duplicates;
        QTest::addRow("words%s", which) << QByteArray("package p") << 20 << duplicates;
        QTest::addRow("keys of 149%s", which) << QByteArray(145, 'p') << 149 << duplicates;
        QTest::addRow("keys of 150%s", which) << QByteArray(145, 'p') << 150 << duplicates;
    }
}

// A page is searched in another way the first time than after that.
void PageTest::searchFindsWhatAScanFinds()
{
    QFETCH(const QByteArray, begin);
    QFETCH(const int, keyLength);
    QFETCH(const int, duplicates);
    int found = 0;
    for (int round = 0; round < 2000; ++round) {
        const std::uint32_t leftmost = round % 2 == 0 ? 0 : 1000;
        const Items items = RandomItems(m_random, begin.toStdString(), keyLength, duplicates,
                                        pageItems, leftmost != 0);
        Page page = PageOf(items, keyLength, leftmost);
        for (int i = 0; i < 10; ++i) {
            const IndexItem wanted = RandomWanted(m_random, items, begin.toStdString(), keyLength);
            const PagePosition expected = Scan(items, leftmost, wanted, duplicates);
            QVERIFY2(page.Search(SoughtItem(wanted.key, wanted.record), duplicates) == expected,
                     wanted.key);
            found += expected.found ? 1 : 0;
        }
    }
    QVERIFY(found > 1000);
}

void PageTest::itemsComeAndGo()
{
    QFETCH(const QByteArray, begin);
    QFETCH(const int, keyLength);
    QFETCH(const int, duplicates);
    int added = 0;
    int removed = 0;
    for (int round = 0; round < 500; ++round) {
        Items items = RandomItems(m_random, begin.toStdString(), keyLength, duplicates, 50, false);
        Page page = PageOf(items, keyLength, 0);
        for (int i = 0; i < 40; ++i) {
            const IndexItem item = RandomWanted(m_random, items, begin.toStdString(), keyLength);
            const PagePosition at = page.Search(SoughtItem(item.key, item.record), duplicates);
            QVERIFY2(at == Scan(items, 0, item, duplicates), item.key);
            if (!at.found && !page.IsFull()) {
                page.Insert(at.position, item);
                items.insert(items.begin() + at.position, item);
                ++added;
            } else if (at.found) {
                page.Remove(at.position);
                items.erase(items.begin() + at.position - 1);
                ++removed;
            }
            QCOMPARE(Difference(page, 0, items), QString());
        }
    }
    QVERIFY(added > 1000);
    QVERIFY(removed > 1000);
}

void PageTest::searchFollowsEveryChange()
{
    Page page = PageOf({ MakeItem("monkey", 1), MakeItem("monkfish", 1) }, 10, 0);
    const auto position = [&page](const char* key) { return page.Search({ key, 0 }, 0).position; };
    for (int i = 0; i < 3; ++i)
        QCOMPARE(position("monkeys"), 1);
    page.Insert(0, MakeItem("Monitor", 1));
    QCOMPARE(position("monkeys"), 2);
    QCOMPARE(position("mole"), 0);
    page.Insert(3, MakeItem("zebra", 1));
    QCOMPARE(position("monkeys"), 2);
    QCOMPARE(position("yak"), 3);
    page.Remove(1);
    QCOMPARE(position("monkeys"), 1);
    QCOMPARE(position("zebu"), 3);
    page = PageOf({ MakeItem("lynx", 1), MakeItem("yak", 1), MakeItem("zebra", 1) }, 10, 0);
    QCOMPARE(position("monkeys"), 1);
    page.Remove(3);
    page.Remove(2);
    page.Remove(1);
    QCOMPARE(position("monkeys"), 0);
}

// The last key of a full page ends where the page does.
void PageTest::searchStaysWithinKeysOfFullLength()
{
    const std::string key(longestKey, 'p');
    Page page(longestKey);
    for (int i = 0; i < pageItems; ++i)
        page.Insert(i, MakeItem(key.c_str(), std::uint32_t(2 * i)));
    for (int i = 0; i < pageItems; ++i) {
        const PagePosition there = page.Search({ key.c_str(), std::uint32_t(2 * i) }, 1);
        QVERIFY(there.found);
        QCOMPARE(there.position, i + 1);
        const PagePosition between = page.Search({ key.c_str(), std::uint32_t(2 * i + 1) }, 1);
        QVERIFY(!between.found);
        QCOMPARE(between.position, i + 1);
    }
}

// Parts of one page after those of another, as for a split and for pages that are joined. The
// pages were changed and searched before, so that their items are in no order in memory.
void PageTest::itemsAreAppendedAndCutOff()
{
    QFETCH(const QByteArray, begin);
    QFETCH(const int, keyLength);
    QFETCH(const int, duplicates);
    for (int round = 0; round < 1000; ++round) {
        Items items
            = RandomItems(m_random, begin.toStdString(), keyLength, duplicates, pageItems, true);
        Page page(keyLength, 1000);
        Items mixed = items;
        for (std::size_t i = mixed.size(); i > 1; --i)
            std::swap(mixed[i - 1], mixed[m_random.below(std::uint32_t(i))]);
        for (const IndexItem& item : mixed)
            page.Insert(page.Search({ item.key, item.record }, duplicates).position, item);
        const int count = int(items.size());
        const int kept = int(m_random.below(count)) + 1;
        const int first = int(m_random.below(count - kept + 1)) + kept;
        Page upper(keyLength, 7);
        upper.Append(page, first, count);
        QCOMPARE(Difference(upper, 7, Part(items, first, count)), QString());
        page.Truncate(kept);
        QCOMPARE(Difference(page, 1000, Part(items, 1, kept)), QString());
        const int last = std::min(upper.Count(), pageItems - kept);
        page.Append(upper, 1, last);
        const Items all = Part(items, 1, kept) + Part(items, first, first + last - 1);
        QCOMPARE(Difference(page, 1000, all), QString());
        for (int i = 0; i < 5 && first > kept; ++i) {
            const IndexItem wanted = RandomWanted(m_random, all, begin.toStdString(), keyLength);
            QVERIFY(page.Search({ wanted.key, wanted.record }, duplicates)
                    == Scan(all, 1000, wanted, duplicates));
        }
    }
}

void PageTest::itemIsReplacedUnderItsChild()
{
    QFETCH(const QByteArray, begin);
    QFETCH(const int, keyLength);
    QFETCH(const int, duplicates);
    for (int round = 0; round < 300; ++round) {
        Items items
            = RandomItems(m_random, begin.toStdString(), keyLength, duplicates, pageItems, true);
        Page page = PageOf(items, keyLength, 1000);
        for (int i = 0; i < 3; ++i) {
            IndexItem& item = items[m_random.below(items.size())];
            const IndexItem by = RandomWanted(m_random, items, begin.toStdString(), keyLength);
            const std::uint32_t child = item.child;
            const auto place = int(&item - items.data()) + 1;
            item = by;
            item.child = child;
            page.Replace(place, by);
            QCOMPARE(Difference(page, 1000, items), QString());
            page.Search({ by.key, by.record }, duplicates);
        }
    }
}

void PageTest::copyStaysAsThePageWas()
{
    const Items items{ MakeItem("ant", 1), MakeItem("bee", 2), MakeItem("cat", 3) };
    Page page = PageOf(items, 10, 0);
    const Page copy = page.Copy();
    page.Remove(2);
    page.Insert(0, MakeItem("aardvark", 4));
    QCOMPARE(Difference(copy, 0, items), QString());
}

void PageTest::packingIsThatOfTheFormat()
{
    QFETCH(const QByteArray, begin);
    QFETCH(const int, keyLength);
    QFETCH(const int, duplicates);
    for (int round = 0; round < 1000; ++round) {
        const std::uint32_t leftmost = round % 2 == 0 ? 0 : 1000;
        Items items = RandomItems(m_random, begin.toStdString(), keyLength, duplicates, pageItems,
                                  leftmost != 0);
        const Page page = PageOf(items, keyLength, leftmost);
        IndexPage plain{};
        plain.count = std::uint8_t(items.size());
        plain.leftmost = leftmost;
        std::copy(items.begin(), items.end(), plain.items + 1);
        QByteArray expected(PackedLength(keyLength), 'y');
        PackPage(plain, keyLength, reinterpret_cast<std::uint8_t*>(expected.data()));
        const QByteArray packed = Packed(page);
        QVERIFY(packed == expected);
        const auto* const record = reinterpret_cast<const std::uint8_t*>(packed.constData());
        QVERIFY(CanBePage(record, keyLength, 2000));
        if (keyLength == longestKey && items.size() == pageItems)
            std::memset(items.back().key + keptKeyBytes, 0, sizeof items.back().key - keptKeyBytes);
        QCOMPARE(Difference(Page(keyLength, record), leftmost, items), QString());
    }
}

void PageTest::unusedBytesOfOthersAreNotWritten()
{
    for (const int keyLength : { 3, 10, 149, 150 }) {
        Items items;
        for (int i = 0; i < pageItems; ++i)
            items.push_back(MakeItem(std::to_string(100 + i).c_str(), std::uint32_t(i)));
        for (const int count : { 1, 49, 50 }) {
            const Page page = PageOf(Part(items, 1, count), keyLength, 0);
            const QByteArray clean = Packed(page);
            QByteArray bytes = clean;
            bytes.replace(1, 3, "xyz");
            const PageLayout layout(keyLength);
            for (int item = 1; item <= count; ++item)
                for (std::size_t i = 4; i < layout.KeyBytes(item); ++i)
                    bytes[int(layout.Offset(item) + 8 + i)] = 'x';
            for (int i = int(layout.Offset(count + 1)); i < bytes.size(); ++i)
                bytes[i] = 'y';
            Page read(keyLength, reinterpret_cast<const std::uint8_t*>(bytes.constData()));
            QVERIFY(Packed(read) == clean);
            Page part(keyLength);
            part.Append(read, 1, count);
            QVERIFY(Packed(part) == clean);
            read.Remove(count);
            QVERIFY(Packed(read) == Packed(PageOf(Part(items, 1, count - 1), keyLength, 0)));
        }
    }
}

void PageTest::searchOfItemsInNoOrderStaysInThePage()
{
    for (int round = 0; round < 2000; ++round) {
        Items items = RandomItems(m_random, "package p", 20, 1, pageItems, false);
        m_random.shuffle(&items);
        Page page = PageOf(items, 20, 0);
        for (int i = 0; i < 10; ++i) {
            const IndexItem wanted = RandomWanted(m_random, items, "package p", 20);
            const PagePosition at = page.Search({ wanted.key, wanted.record }, 1);
            QVERIFY(at.position >= (at.found ? 1 : 0) && at.position <= page.Count());
            if (at.found)
                QCOMPARE(Compare(items[std::size_t(at.position - 1)], wanted, 1), 0);
        }
    }
}

// In a page in no order, keys between the first and the last may begin in another way.
void PageTest::keyThatOnlyEndsAlikeIsNotFound()
{
    Page page = PageOf({ MakeItem("abc-a", 1), MakeItem("xyz-m", 2), MakeItem("abc-z", 3) }, 10, 0);
    for (int i = 0; i < 3; ++i)
        QVERIFY(!page.Search({ "abc-m", 0 }, 0).found);
}

void PageTest::wordsAreFoldedAsBytesAre()
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

QTEST_APPLESS_MAIN(PageTest)
#include "tst_page.moc"
