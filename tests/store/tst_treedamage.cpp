// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Trees of pages that are each sound, but do not fit together: a change that would make
// an overfull page, or join pages that do not belong together, fails before a byte is
// written, and leaves all pages unchanged. First each sort of damage, then random pages;
// PAKMART_TEST_SEED repeats a run.

#include "store/cnote.h"
#include "store/indexfile.h"
#include "store/notesheap.h"
#include "store/pagecache.h"
#include "tests/store/damage.h"
#include "tests/store/storefixture.h"

#include <QFile>
#include <QtTest>

#include <cstdlib>
#include <functional>

using namespace Agent;

namespace
{

using Damage = std::function<void(TreeFile&)>;

// Three levels of pages with the minimum of items: 52 leaves, pages 53 and 54 above them,
// and the root. Leaf n has the keys after 26 * (n - 1), and is followed by the key 26 *
// n.
constexpr std::uint32_t leaves = 52;
constexpr std::uint32_t lower = leaves + 1;
constexpr std::uint32_t upper = leaves + 2;
constexpr std::uint32_t root = leaves + 3;

TreeFile SmallestTreeOfThreeLevels()
{
    TreeFile tree;
    std::vector<std::uint32_t> children[2], keys[2];
    for (std::uint32_t leaf = 1; leaf <= leaves; ++leaf) {
        const int half = leaf <= leaves / 2 ? 0 : 1;
        tree.addLeaf(26 * (leaf - 1) + 1, 25);
        children[half].push_back(leaf);
        if (leaf % (leaves / 2) != 0)
            keys[half].push_back(26 * leaf);
    }
    tree.addInner(children[0], keys[0]);
    tree.addInner(children[1], keys[1]);
    tree.addInner({ lower, upper }, { 26 * leaves / 2 });
    return tree;
}

Damage Child(std::uint32_t page, int position, std::uint32_t child)
{
    return [=](TreeFile& tree) { tree[page].items[position].child = child; };
}

} // namespace

Q_DECLARE_METATYPE(Damage)

class TreeDamageTest : public StoreTest
{
    Q_OBJECT

private slots:
    void theTreeIsSoundUndamaged();
    void joiningPagesThatDoNotFitTogetherFails_data();
    void joiningPagesThatDoNotFitTogetherFails();
    void pageThatIsItsOwnSiblingFailsADeletion();
    void pageTwiceBelowItsParentFailsADeletion_data();
    void pageTwiceBelowItsParentFailsADeletion();
    void copyOfAPageFailsADeletionWithTheLongestKeys();
    void longestKeysThatWereCutAlikeStay();
    void itemsInNoOrderFailAnAdditionToAFullLeaf();
    void freeChainIntoTheTreeFailsASplit_data();
    void freeChainIntoTheTreeFailsASplit();
    void freePageThatLooksLikeAnotherIsUsed_data();
    void freePageThatLooksLikeAnotherIsUsed();
    void fullTreeOf16LevelsDoesNotGrow();
    void failedChangeLeavesNothingOut();
    void additionLeavesCopiesOutOfItsLeafOnly();
    void pagesMixedAtRandom_data();
    void pagesMixedAtRandom();
    void notesWithPagesMixedAtRandom();

private:
    using Change = std::function<int(IndexFile*)>;

    IndexFile* open(bool flushing = false, int length = keyLength) const
    {
        IndexFile* const index = OpenIndex(0, path().c_str(), std::int16_t(length), 0);
        if (index && flushing)
            ToggleFlushing(index, 1, 1);
        return index;
    }
    void failsAndChangesNothing(const QByteArray& bytes, const Change& change,
                                int length = keyLength) const;
    void mixPages(QByteArray* bytes, int length);
    void use(IndexFile* index, const std::string& path, int steps);
};

namespace
{

int Delete(IndexFile* index, std::uint32_t number)
{
    return DeleteKey(index, &number, KeyBuffer(Key(number), index->keyLength));
}

int Add(IndexFile* index, std::uint32_t number)
{
    return AddKey(index, &number, KeyBuffer(Key(number), index->keyLength));
}

bool Find(IndexFile* index, std::uint32_t number)
{
    std::uint32_t record = 0;
    return FindKey(index, &record, KeyBuffer(Key(number), index->keyLength)) == 0
        && record == number;
}

} // namespace

void TreeDamageTest::failsAndChangesNothing(const QByteArray& bytes, const Change& change,
                                            int length) const
{
    for (const bool flushing : { false, true }) {
        store(bytes);
        IndexFile* const index = open(flushing, length);
        QVERIFY(index);
        for (int i = 0; i < 2; ++i) {
            QCOMPARE(change(index), -1);
            QCOMPARE(taerror, int(taDamaged));
            QVERIFY(NoPageIsOverfull(index));
        }
        QCOMPARE(CloseIndex(index), 0);
        QVERIFY(load() == bytes);
    }
}

void TreeDamageTest::theTreeIsSoundUndamaged()
{
    store(SmallestTreeOfThreeLevels().bytes(root));
    QCOMPARE(CheckIndex(path(), keyLength, false), Findings());
    IndexFile* const index = open();
    QCOMPARE(Delete(index, 1), 0);
    QCOMPARE(index->rootPage, lower);
    QCOMPARE(CloseIndex(index), 0);
    QCOMPARE(CheckIndex(path(), keyLength, false), Findings());
}

void TreeDamageTest::joiningPagesThatDoNotFitTogetherFails_data()
{
    QTest::addColumn<Damage>("damage");
    QTest::newRow("the sibling is above the root") << Child(upper, 4, root);
    QTest::newRow("the page is above the root") << Child(lower, 4, root);
    QTest::newRow("the sibling is below itself") << Child(upper, 4, upper);
    QTest::newRow("the page is below itself") << Child(lower, 4, lower);
    QTest::newRow("the page is below its sibling") << Child(upper, 4, lower);
    QTest::newRow("the sibling is below the page") << Child(lower, 4, upper);
    QTest::newRow("a page is below both") << Child(upper, 4, 5);
    QTest::newRow("the leaf is below its sibling's parent") << Child(upper, 4, 1);
    QTest::newRow("the sibling is the page") << Child(root, 1, lower);
    QTest::newRow("the sibling is a leaf") << Child(root, 1, 30);
    QTest::newRow("the sibling is of another place")
        << Damage([](TreeFile& tree) { tree[upper] = tree[lower]; });
    QTest::newRow("the sibling has too few items")
        << Damage([](TreeFile& tree) { tree[upper].count = 23; });
    QTest::newRow("the leaf's sibling is of another place") << Child(lower, 1, 30);
    QTest::newRow("the leaf's sibling is an inner page") << Child(lower, 1, upper);
}

// An item of the first leaf is deleted: that leaf, and the page above it, would be joined
// with their siblings.
void TreeDamageTest::joiningPagesThatDoNotFitTogetherFails()
{
    QFETCH(Damage, damage);
    TreeFile tree = SmallestTreeOfThreeLevels();
    damage(tree);
    failsAndChangesNothing(tree.bytes(root), [](IndexFile* index) { return Delete(index, 1); });
}

void TreeDamageTest::pageThatIsItsOwnSiblingFailsADeletion()
{
    TreeFile tree;
    tree.addLeaf(1, 25);
    tree.addInner({ 1, 1 }, { 26 });
    failsAndChangesNothing(tree.bytes(2), [](IndexFile* index) { return Delete(index, 5); });
}

void TreeDamageTest::pageTwiceBelowItsParentFailsADeletion_data()
{
    QTest::addColumn<Damage>("damage");
    QTest::newRow("the sibling") << Child(4, 2, 2);
    QTest::newRow("the page") << Child(4, 2, 1);
}

// The freed page would stay below its parent.
void TreeDamageTest::pageTwiceBelowItsParentFailsADeletion()
{
    QFETCH(Damage, damage);
    TreeFile tree;
    tree.addLeaf(1, 25);
    tree.addLeaf(27, 25);
    tree.addLeaf(53, 25);
    tree.addInner({ 1, 2, 3 }, { 26, 52 });
    damage(tree);
    failsAndChangesNothing(tree.bytes(4), [](IndexFile* index) { return Delete(index, 5); });
}

void TreeDamageTest::copyOfAPageFailsADeletionWithTheLongestKeys()
{
    TreeFile tree(longestKey);
    tree.addLeaf(1, 25);
    tree.addLeaf(1, 25);
    tree.addInner({ 1, 2 }, { 26 });
    failsAndChangesNothing(
        tree.bytes(3), [](IndexFile* index) { return Delete(index, 5); }, longestKey);
}

// In the file both are the same, but they are not copies of one item.
void TreeDamageTest::longestKeysThatWereCutAlikeStay()
{
    TreeFile tree(longestKey);
    tree.addLeaf(1, 25);
    tree.addLeaf(100027, 25);
    tree.addInner({ 1, 2 }, { 26 });
    const std::string cut(keptKeyBytes, '0');
    tree[1].items[25] = MakeItem((Key(25) + cut).substr(0, keptKeyBytes).c_str(), 25);
    tree[3].items[1] = MakeItem((Key(25) + cut).substr(0, keptKeyBytes).c_str(), 26);
    tree[3].items[1].child = 2;
    store(tree.bytes(3));
    IndexFile* const index = open(false, longestKey);
    QCOMPARE(Delete(index, 3), 0);
    QCOMPARE(CloseIndex(index), 0);
    std::vector<IndexEntry> entries;
    CheckIndex(path(), longestKey, false, &entries);
    QCOMPARE(entries.size(), std::size_t(50));
}

// A search for the bound ends in the middle of the leaf, but its first and last items are
// inside: there is nothing to leave out.
void TreeDamageTest::itemsInNoOrderFailAnAdditionToAFullLeaf()
{
    TreeFile tree;
    tree.addLeaf(1, 25);
    tree.addLeaf(27, 50);
    tree.addInner({ 1, 2 }, { 26 });
    tree[2].items[25] = MakeItem(Key(0).c_str(), 0);
    failsAndChangesNothing(tree.bytes(3), [](IndexFile* index) { return Add(index, 77); });
}

void TreeDamageTest::freeChainIntoTheTreeFailsASplit_data()
{
    QTest::addColumn<int>("page");
    QTest::addColumn<bool>("inMemory");
    for (const bool inMemory : { false, true }) {
        const char* const where = inMemory ? "in memory" : "not in memory";
        QTest::addRow("a leaf, %s", where) << 30 << inMemory;
        QTest::addRow("an inner page, %s", where) << int(upper) << inMemory;
    }
    QTest::addRow("the leaf itself") << 1 << true;
    QTest::addRow("the root") << int(root) << true;
}

// The count of a page looks like a link to the next free one.
void TreeDamageTest::freeChainIntoTheTreeFailsASplit()
{
    QFETCH(int, page);
    QFETCH(bool, inMemory);
    TreeFile tree = SmallestTreeOfThreeLevels();
    tree[1].count = 50;
    for (int i = 1; i <= 50; ++i)
        tree[1].items[i] = MakeItem((Key(1) + char('0' + i)).c_str(), std::uint32_t(i));
    tree.free(page);
    failsAndChangesNothing(tree.bytes(root), [inMemory](IndexFile* index) {
        if (inMemory && !Find(index, 29 * 26 + 1))
            return 0;
        return Add(index, 2);
    });
    IndexFile* const index = open();
    for (std::uint32_t number = 26; number < 26 * leaves; ++number)
        QVERIFY(Find(index, number));
    CloseIndex(index);
}

void TreeDamageTest::freePageThatLooksLikeAnotherIsUsed_data()
{
    QTest::addColumn<Damage>("content");
    QTest::newRow("zeros") << Damage([](TreeFile& tree) { tree.addLeaf(0, 0); });
    QTest::newRow("one empty key") << Damage([](TreeFile& tree) {
        tree.addLeaf(0, 1);
        tree[root + 1].items[1] = IndexItem{};
    });
    QTest::newRow("what it was") << Damage([](TreeFile& tree) { tree.addLeaf(100, 25); });
    QTest::newRow("what it was: an inner page") << Damage([](TreeFile& tree) {
        tree.addInner({ 3, 4 }, { 78 });
    });
}

// Other programs leave the old content in a freed page.
void TreeDamageTest::freePageThatLooksLikeAnotherIsUsed()
{
    QFETCH(Damage, content);
    TreeFile tree = SmallestTreeOfThreeLevels();
    tree[1].count = 50;
    for (int i = 1; i <= 50; ++i)
        tree[1].items[i] = MakeItem((Key(1) + char('0' + i)).c_str(), std::uint32_t(i));
    content(tree);
    tree.free(int(root) + 1);
    QByteArray bytes = tree.bytes(root);
    const int link = bytes.size() - pageLength;
    if (Get32(bytes, link) == 0)
        Put32(&bytes, link, 0xffffffff);
    store(bytes);
    IndexFile* const index = open();
    QCOMPARE(Add(index, 2), 0);
    QCOMPARE(FileLen(index->dataFile), root + 2);
    QVERIFY(Find(index, 2));
    QCOMPARE(CloseIndex(index), 0);
    QCOMPARE(int(load().at(link)), pageOrder);
}

void TreeDamageTest::fullTreeOf16LevelsDoesNotGrow()
{
    TreeFile tree;
    for (std::uint32_t page = 1; page < deepestTree; ++page) {
        std::vector<std::uint32_t> keys;
        for (std::uint32_t i = 0; i < pageItems; ++i)
            keys.push_back(1000 * (deepestTree - page) + i);
        tree.addInner(std::vector<std::uint32_t>(pageItems + 1, page + 1), keys);
    }
    tree.addLeaf(10, pageItems);
    failsAndChangesNothing(tree.bytes(1), [](IndexFile* index) { return Add(index, 1); });
}

// A page with items outside its bounds is used for a change without these; if the change
// fails, they are still there.
void TreeDamageTest::failedChangeLeavesNothingOut()
{
    TreeFile tree;
    tree.addLeaf(1, 25);
    tree.addLeaf(101, 24);
    tree.addLeaf(201, 3);
    tree.addInner({ 1, 2, 3 }, { 100, 200 });
    tree[2].count = 25;
    tree[2].items[25] = MakeItem(Key(300).c_str(), 300);
    store(tree.bytes(4));
    IndexFile* const index = open();
    QCOMPARE(Delete(index, 101), -1);
    QCOMPARE(taerror, int(taDamaged));
    QCOMPARE(Add(index, 130), 0);
    QCOMPARE(CloseIndex(index), 0);
    tree[2].items[26] = tree[2].items[25];
    tree[2].items[25] = MakeItem(Key(130).c_str(), 130);
    ++tree[2].count;
    QVERIFY(load() == tree.bytes(4));
}

// The pages above the leaf do not change, so they keep in memory what they have in the file.
void TreeDamageTest::additionLeavesCopiesOutOfItsLeafOnly()
{
    TreeFile tree = SmallestTreeOfThreeLevels();
    IndexItem copy = MakeItem(Key(26 * (upper - 1)).c_str(), 1);
    copy.child = leaves;
    tree[lower].items[++tree[lower].count] = copy;
    for (std::uint32_t i = 1; i <= pageOrder; ++i)
        tree[1].items[++tree[1].count] = MakeItem(Key(26 * leaves + i).c_str(), i);
    store(tree.bytes(root));
    IndexFile* const index = open();
    QCOMPARE(Add(index, 0), 0);
    Page* page;
    QCOMPARE(tagetpage(index, 1, &page), 0);
    QCOMPARE(page->Count(), pageOrder + 1);
    QCOMPARE(tagetpage(index, lower, &page), 0);
    QCOMPARE(page->Count(), pageOrder + 1);
    QCOMPARE(CloseIndex(index), 0);
    tree[1] = IndexPage{};
    for (int i = 0; i <= pageOrder; ++i)
        tree[1].items[++tree[1].count] = MakeItem(Key(std::uint32_t(i)).c_str(), std::uint32_t(i));
    QVERIFY(load() == tree.bytes(root));
}

// ---- at random ----

// Copies pages over others, and changes children, the chain of free pages and counts.
void TreeDamageTest::mixPages(QByteArray* bytes, int length)
{
    const int size = PackedLength(length);
    const int pages = bytes->size() / size;
    const int stride = length == longestKey ? int(sizeof(IndexItem)) : length + 9;
    const auto page = [&] { return int(m_random.below(pages - 1)) + 1; };
    const int times = int(m_random.below(4)) + 1;
    for (int i = 0; i < times; ++i) {
        const int at = page() * size;
        // Half of the children are changed in the root.
        const int inner
            = m_random.below(2) == 0 ? int(Get32(*bytes, 8) % std::uint32_t(pages)) * size : at;
        const int item = inner + 8 + int(m_random.below(20)) * stride;
        switch (m_random.below(8)) {
        case 0:
        case 1:
            bytes->replace(at, size, bytes->mid(page() * size, size));
            break;
        case 2:
        case 3:
            if (Get32(*bytes, inner + 4) != 0)
                Put32(bytes, m_random.below(8) == 0 ? inner + 4 : item + 4, std::uint32_t(page()));
            break;
        case 4:
            Put32(bytes, 0, std::uint32_t(page()));
            break;
        case 5:
            Put32(bytes, at, std::uint32_t(page()));
            break;
        case 6:
            (*bytes)[at] = char(m_random.below(pageItems) + 1);
            break;
        default:
            bytes->replace(item + 8, length, bytes->mid(page() * size + 16, length));
        }
    }
}

// Makes changes and lookups, until one fails for another reason than damage.
void TreeDamageTest::use(IndexFile* index, const std::string& name, int steps)
{
    const bool flushing = index->dataFile->flushing != 0;
    for (int i = 0; i < steps; ++i) {
        std::uint32_t record = m_random.below(1500);
        const std::uint32_t number = record;
        KeyBuffer key(Key(number), index->keyLength);
        const std::uint32_t what = m_random.below(10);
        if (what < 5) {
            // A deletion that meets damage has written nothing.
            const QByteArray before = flushing && what == 0 ? load(name) : QByteArray();
            if (DeleteKey(index, &record, key) != 0 && taerror == taDamaged && !before.isEmpty())
                QVERIFY(load(name) == before);
        } else if (what < 8) {
            AddKey(index, &record, KeyBuffer(Key(number) + "x", index->keyLength));
        } else if (what == 8) {
            SearchKey(index, &record, key);
        } else {
            PrevKey(index, &record, key);
        }
        QVERIFY(taerror == taNoError || taerror == taDamaged);
        QVERIFY(NoPageIsOverfull(index));
    }
}

void TreeDamageTest::pagesMixedAtRandom_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<bool>("duplicates");
    QTest::newRow("10 characters") << 10 << false;
    QTest::newRow("4 characters, equal keys") << 4 << true;
    QTest::newRow("150 characters") << longestKey << false;
    QTest::newRow("150 characters, equal keys") << longestKey << true;
}

// Two damaged indexes at a time.
void TreeDamageTest::pagesMixedAtRandom()
{
    QFETCH(int, length);
    QFETCH(bool, duplicates);
    const auto open = [&](bool make, const std::string& name) {
        return (make ? MakeIndex : OpenIndex)(0, path(name).c_str(), std::int16_t(length),
                                              duplicates);
    };
    IndexFile* index = open(true, "sound");
    for (std::uint32_t i = 0; i < 1500; ++i)
        QCOMPARE(Add(index, i), 0);
    for (std::uint32_t i = 0; i < 500; i += 1 + i % 3)
        QCOMPARE(Delete(index, 1490 - 2 * i), 0);
    QCOMPARE(CloseIndex(index), 0);
    const QByteArray sound = load("sound");
    for (int round = 0; round < 300 && !QTest::currentTestFailed(); ++round) {
        IndexFile* both[2];
        const std::string names[] = { "one", "two" };
        for (int i = 0; i < 2; ++i) {
            QByteArray bytes = sound;
            mixPages(&bytes, length);
            store(bytes, names[i]);
            CheckIndex(path(names[i]), length, duplicates);
            both[i] = open(false, names[i]);
            QVERIFY(both[i]);
            if (m_random.below(3) == 0)
                ToggleFlushing(both[i], 1, 1);
        }
        for (int i = 0; i < 8 && !QTest::currentTestFailed(); ++i)
            use(both[i % 2], names[i % 2], 12);
        for (int i = 0; i < 2; ++i) {
            QCOMPARE(CloseIndex(both[i]), 0);
            CheckIndex(path(names[i]), length, duplicates);
        }
    }
}

// The heap and the list of its free blocks are both damaged.
void TreeDamageTest::notesWithPagesMixedAtRandom()
{
    const std::string text(300, 't');
    std::vector<std::int32_t> offsets;
    CNote notes;
    QVERIFY(notes.Create(path("notes").c_str()));
    for (int i = 0; i < 1200; ++i)
        offsets.push_back(notes.SaveNote(text.data(), 5 + i * 37 % 200));
    for (std::size_t i = 0; i < offsets.size(); i += 2)
        QCOMPARE(notes.DeleteNote(offsets[i]), 0);
    notes.Close();
    const QByteArray soundHeap = load("notes.fil");
    const QByteArray soundIndex = load("notes.k1");
    for (int round = 0; round < 150 && !QTest::currentTestFailed(); ++round) {
        QByteArray heap = soundHeap;
        for (std::uint32_t i = m_random.below(20); i > 0; --i) {
            const auto offset = int(offsets[m_random.below(std::uint32_t(offsets.size()))]);
            heap.replace(offset, 8, heap.mid(int(offsets[m_random.below(1000)]), 8));
        }
        QByteArray index = soundIndex;
        mixPages(&index, freeKeyLength);
        store(heap, "notes.fil");
        store(index, "notes.k1");
        QVERIFY(notes.Open(path("notes").c_str()));
        for (int i = 0; i < 25; ++i) {
            const std::int32_t offset = offsets[m_random.below(std::uint32_t(offsets.size()))];
            const auto length = std::int32_t(m_random.below(250));
            const std::int32_t saved = notes.SaveNote(text.data(), length);
            QVERIFY(saved < 0 || notes.NoteLength(saved) == length);
            notes.DeleteNote(offset);
            std::free(notes.ReadNote(offset));
        }
        notes.Reindex();
        notes.Close();
    }
}

QTEST_GUILESS_MAIN(TreeDamageTest)
#include "tst_treedamage.moc"
