// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Indexes, case by case: the result of each function, and the shape of the tree
// afterwards.

#include "store/bytes.h"
#include "store/indexfile.h"
#include "store/ownfiles.h"
#include "store/pagecache.h"
#include "store/pagetransfer.h"
#include "tests/store/storeshims.h"
#include "tests/store/storetest.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cstring>
#include <functional>
#include <memory>
#include <numeric>
#include <set>
#include <sys/resource.h>
#include <unistd.h>

// The sanitizer needs its address space.
#ifdef __SANITIZE_ADDRESS__
#define UNDER_ADDRESS_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define UNDER_ADDRESS_SANITIZER
#endif
#endif

using namespace Agent;

namespace
{

struct Close {
    void operator()(IndexFile* index) const { CloseIndex(index); }
};
using Index = std::unique_ptr<IndexFile, Close>;

std::string Key(int number)
{
    char key[16];
    std::snprintf(key, sizeof key, "k%05d", number);
    return key;
}

// The buffers for the functions, and the result of a call.
struct Answer {
    explicit Answer(const std::string& text = "", std::uint32_t number = 0) : record(number)
    {
        std::strcpy(key, text.c_str());
    }

    int result = -2;
    std::uint32_t record;
    char key[400];
};

using Function = int (*)(IndexFile*, std::uint32_t*, char*);

Answer Call(Function function, const Index& index, const std::string& key = "",
            std::uint32_t record = 0)
{
    Answer answer(key, record);
    answer.result = function(index.get(), &answer.record, answer.key);
    return answer;
}

int Add(const Index& index, const std::string& key, std::uint32_t record)
{
    Answer answer(key);
    return AddKey(index.get(), &record, answer.key);
}

int Add(const Index& index, int number)
{
    return Add(index, Key(number), std::uint32_t(number));
}

void AddAll(const Index& index, int first, int last, int step = 1)
{
    for (int number = first; step > 0 ? number <= last : number >= last; number += step)
        QCOMPARE(Add(index, number), 0);
}

int Delete(const Index& index, int number)
{
    return Call(DeleteKey, index, Key(number), std::uint32_t(number)).result;
}

const Page* FetchPage(const Index& index, std::uint32_t number)
{
    Page* page;
    return tagetpage(index.get(), number, &page) == 0 ? page : nullptr;
}

// The numbers of items in the root, and then in its children.
std::vector<int> Shape(const Index& index)
{
    std::vector<int> counts;
    if (index->rootPage == 0)
        return counts;
    const Page& root = *FetchPage(index, index->rootPage);
    counts.push_back(root.Count());
    for (int i = 0; i <= root.Count() && !root.IsLeaf(); ++i)
        counts.push_back(FetchPage(index, root.Child(i))->Count());
    return counts;
}

std::string Item(const Index& index, std::uint32_t page, int position)
{
    return FetchPage(index, page)->Key(position);
}

// The result of a walk from the beginning, as key/record pairs.
std::string Walk(const Index& index)
{
    std::string all;
    ClearKey(index.get());
    for (Answer item = Call(NextKey, index); item.result == 0; item = Call(NextKey, index))
        all += (all.empty() ? "" : " ") + std::string(item.key) + "/" + std::to_string(item.record);
    return all;
}

} // namespace

class IndexTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_descriptors = OpenDescriptors();
        QCOMPARE(InitIndex(), 0);
        SetError(taNoError);
    }
    void cleanup()
    {
        UnInitIndex();
        QCOMPARE(OpenDescriptors(), m_descriptors);
    }

    // ---- pages ----
    void comparisonIgnoresCaseOfAsciiLetters();
    void comparisonOrdersEqualKeysByRecord();
    void pageIsPackedToItsLength_data();
    void pageIsPackedToItsLength();
    void keysOf150CharactersKeepTheirStride();
    void packingInPlace();
    void pageInMemoryIsReadAndWrittenByItsImage();
    void searchForAKeyEndsOnItOrBeforeTheNext();

    // ---- adding ----
    void firstKeyMakesARootOfOneItem();
    void fiftyFirstKeySplitsTheRoot_data();
    void fiftyFirstKeySplitsTheRoot();
    void keysDifferingInCaseOnlyAreEqual();
    void refusedKeyChangesNothing();
    void duplicatesStandInOrderOfRecords();
    void longKeyIsCutInTheTreeAndInTheBuffer();
    void emptyKeyIsAKey();
    void headerWithRoot0IsAnEmptyTree();
    void changesClearTheCursor();

    // ---- cache and file ----
    void rootReachesTheHeaderWhenClosed();
    void openingAgainForgetsChanges();
    void flushingWritesEachChange();
    void pageUsedLongestAgoGivesWay();
    void pagesThatFitInMemoryAreReadOnce();
    void freedPageIsUsedBeforeANewOne();
    void openCountSharesAHandle();
    void closingIsNoFailureAfterAnEarlierOne();
    void closingReportsWhatWasNotWritten();
    void closingTriesOnceMore();
    void halfWrittenChangeIsFinishedFirst_data();
    void halfWrittenChangeIsFinishedFirst();
    void keyLengthsOutsideTheLimitsAreRefused();
    void nullKeysAreRefused();
    void nullPathsAreRefused();
    void pageThatCannotBeReadIsReported();
    void chainLeadingToAPageInUseIsReported();
    void pagesOfAChangeStayWithoutRoom();
    void memoryGrowsWithTheIndexAndIsGivenBack();
    void memoryOfDroppedPagesIsUsedAgain();
    void pagesOfSeveralSizesShareTheMemory();
    void indexGrowsWithoutMemoryForTheRange();

    // ---- deleting ----
    void deletingReturnsTheRecordWithoutDuplicates();
    void deletingNeedsTheRecordWithDuplicates();
    void deletingWhatIsNotThereChangesNothing();
    void deletingAnInnerItemTakesItsPredecessor();
    void borrowingFromTheRight_data();
    void borrowingFromTheRight();
    void borrowingFromTheLeft_data();
    void borrowingFromTheLeft();
    void mergingMakesAFullPage_data();
    void mergingMakesAFullPage();
    void emptiedRootGivesWayToItsChild();
    void lastKeyLeavesAnEmptyIndex();

    // ---- walking and finding ----
    void nextAfterClearIsTheSmallest();
    void nextBeginsAgainAfterTheLargest();
    void previousAfterClearIsTheLargest();
    void endsLeaveTheBuffersAlone();
    void walksOfAnEmptyIndex();
    void walkTurnsAround();
    void searchAboveAllKeysFails();
    void searchCopiesTheKeyUnlessItIsExact();
    void findPreviousAboveAllKeysIsTheLargest();
    void findPreviousOfTheSmallestFails();
    void findPreviousInTheMiddle();
    void findGivesTheLowestRecordOfEqualKeys();
    void findAmongDuplicatesMindsCase();
    void findWithoutDuplicatesIgnoresCase();
    void findSetsTheCursor();
    void lookupsCutTheKey();
    void findSeesTheFileWhenFlushing();

private:
    std::string path() const { return m_folder->filePath("index").toStdString(); }
    Index make(bool duplicates = false, int keyLength = 12) const
    {
        return Index(MakeOwnIndex(&testFiles, path().c_str(), std::int16_t(keyLength), duplicates));
    }
    Index open(bool duplicates = false, int keyLength = 12) const
    {
        return Index(OpenOwnIndex(&testFiles, path().c_str(), std::int16_t(keyLength), duplicates));
    }
    QByteArray bytes() const
    {
        QFile file(QString::fromStdString(path()));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    // Changes a 32-bit field of the header in the file.
    void patch(int offset, std::int32_t value) const
    {
        std::uint8_t bytes[4];
        PutInt32(bytes, value);
        OpenStoreFile file(path().c_str());
        QVERIFY(file.WriteAt(offset, bytes, sizeof bytes));
    }
    std::uint32_t rootOnDisk() const
    {
        return GetUint32(reinterpret_cast<const std::uint8_t*>(bytes().constData()) + 8);
    }
    // Checks that the file is sound and has `items` items.
    void check(const Index& index, std::size_t items)
    {
        QCOMPARE(TaCloseIndex(index.get()), 0);
        std::vector<IndexEntry> entries;
        QCOMPARE(CheckIndex(path(), index->keyLength, index->allowDuplicates, &entries),
                 Findings());
        QCOMPARE(entries.size(), items);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    int m_descriptors = 0;
};

// Before the first cache is made: later the process may have free memory for another.
void IndexTest::initTestCase()
{
    QVERIFY(!HasPageCache());
#ifndef UNDER_ADDRESS_SANITIZER
    rlimit before;
    QCOMPARE(getrlimit(RLIMIT_AS, &before), 0);
    const rlimit little{ 1 << 20, before.rlim_max };
    setrlimit(RLIMIT_AS, &little);
    const int result = InitIndex();
    const std::int32_t error = taerror;
    setrlimit(RLIMIT_AS, &before);
    QCOMPARE(result, -1);
    QCOMPARE(error, 6);
    QVERIFY(!HasPageCache());
#endif
}

// ---- pages ----

void IndexTest::comparisonIgnoresCaseOfAsciiLetters()
{
    QCOMPARE(tacompkeys("abc", "ABC", 1, 2, 0), 0);
    QCOMPARE(tacompkeys("abc", "abd", 1, 1, 0), -1);
    QCOMPARE(tacompkeys("B", "a", 1, 1, 0), 1);
    QCOMPARE(tacompkeys("", "a", 1, 1, 0), -1);
    QCOMPARE(tacompkeys("ab", "a", 1, 1, 0), 1);
    // Letters are compared as small letters, so the characters between the two cases sort
    // before them.
    QCOMPARE(tacompkeys("_", "A", 1, 1, 0), -1);
    // Bytes are unsigned, and letters of other alphabets are not folded.
    QCOMPARE(tacompkeys("\xe4", "z", 1, 1, 0), 1);
    QCOMPARE(tacompkeys("\xc4", "\xe4", 1, 1, 0), -1);
}

void IndexTest::comparisonOrdersEqualKeysByRecord()
{
    QCOMPARE(tacompkeys("a", "A", 3, 7, 1), -1);
    QCOMPARE(tacompkeys("a", "A", 7, 3, 1), 1);
    QCOMPARE(tacompkeys("a", "A", 7, 7, 1), 0);
    QCOMPARE(tacompkeys("a", "b", 7, 3, 1), -1);
    QCOMPARE(tacompkeys("a", "a", 4000000000u, 3, 1), 1);
}

void IndexTest::pageIsPackedToItsLength_data()
{
    QTest::addColumn<int>("keyLength");
    QTest::addColumn<int>("length");
    QTest::newRow("1") << 1 << 508;
    QTest::newRow("9") << 9 << 908;
    QTest::newRow("40") << 40 << 2458;
    QTest::newRow("149") << 149 << 7908;
    QTest::newRow("150") << 150 << 7958;
}

void IndexTest::pageIsPackedToItsLength()
{
    QFETCH(int, keyLength);
    QFETCH(int, length);
    QCOMPARE(PackedLength(keyLength), length);
    const Index index = make(false, keyLength);
    QCOMPARE(Add(index, "x", 7), 0);
    check(index, 1);
    QCOMPARE(bytes().size(), 2 * length);
    QCOMPARE(bytes().mid(length, 18), QByteArray("\1\0\0\0\0\0\0\0\7\0\0\0\0\0\0\0x\0", 18));
    QCOMPARE(bytes().mid(length + 18), QByteArray(length - 18, '\0'));
}

// The last item of a full page keeps 110 of its bytes, 102 of its key.
void IndexTest::keysOf150CharactersKeepTheirStride()
{
    const Index index = make(false, 150);
    for (int i = 1; i <= 50; ++i)
        QCOMPARE(Add(index, Key(i) + std::string(144, 'z'), std::uint32_t(i)), 0);
    QCOMPARE(TaCloseIndex(index.get()), 0);
    const QByteArray page = bytes().mid(7958);
    QCOMPARE(page.size(), 7958);
    for (int i = 1; i <= 50; ++i) {
        QCOMPARE(int(page[8 + (i - 1) * 160]), i);
        QCOMPARE(page.mid(8 + (i - 1) * 160 + 8, 6).toStdString(), Key(i));
    }
    QCOMPARE(TaOpenIndex(index.get()), 0);
    const Answer first = Call(NextKey, index);
    QCOMPARE(std::strlen(first.key), std::size_t(150));
    ClearKey(index.get());
    const Answer last = Call(PrevKey, index);
    QCOMPARE(std::string(last.key), Key(50) + std::string(96, 'z'));
    QCOMPARE(last.record, 50u);
}

void IndexTest::packingInPlace()
{
    for (const int keyLength : { 1, 40, 149, 150 }) {
        const auto page = std::make_unique<IndexPage>();
        page->count = 50;
        for (int i = 1; i <= 50; ++i)
            page->items[i] = MakeItem(i % 2 ? "a" : "b", 1);
        const auto before = std::make_unique<IndexPage>(*page);
        tapack(page.get(), keyLength);
        QCOMPARE(int(reinterpret_cast<std::uint8_t*>(page.get())[0]), 50);
        QVERIFY(taunpack(page.get(), keyLength));
        for (int i = 1; i <= 50; ++i)
            QCOMPARE(std::string(page->items[i].key), std::string(before->items[i].key));
    }
}

// As a program does that repairs an index.
void IndexTest::pageInMemoryIsReadAndWrittenByItsImage()
{
    Index index = make();
    AddAll(index, 1, 60);
    const auto image = std::make_unique<IndexPage>();
    Page* page;
    QCOMPARE(tagetpage(index.get(), index->rootPage, &page), 0);
    ReadPageImage(page, image.get());
    QCOMPARE(int(image->count), 1);
    QCOMPARE(std::string(image->items[1].key), Key(26));
    QCOMPARE(image->items[1].record, 26u);
    const std::uint32_t leaf = image->Child(1);
    QVERIFY(image->leftmost != 0 && leaf != 0 && image->leftmost != leaf);

    image->items[1].child = 0; // a child on one side only
    QCOMPARE(WritePageImage(page, *image), -1);
    image->items[1].child = leaf;
    image->count = 51;
    QCOMPARE(WritePageImage(page, *image), -1);
    QCOMPARE(taerror, std::int32_t(taDamaged));
    QCOMPARE(page->Count(), 1);

    QCOMPARE(tagetpage(index.get(), leaf, &page), 0);
    ReadPageImage(page, image.get());
    QCOMPARE(int(image->count), 34);
    image->count = 30;
    image->items[30] = MakeItem("k99999", 7);
    std::memset(image->items[30].key + 7, 'x', 100); // which is no part of the key
    QCOMPARE(WritePageImage(page, *image), 0);
    taupdatepage(page);
    index.reset();
    QVERIFY(!bytes().contains("xx"));
    index = open();
    QCOMPARE(Call(FindKey, index, "k99999").record, 7u);
    QCOMPARE(Call(FindKey, index, Key(55)).record, 55u);
    QCOMPARE(Call(FindKey, index, Key(56)).result, -1);
}

void IndexTest::searchForAKeyEndsOnItOrBeforeTheNext()
{
    const Index index = make();
    AddAll(index, 2, 200, 2);
    std::uint32_t record = 0;
    QCOMPARE(tafindkey(index.get(), &record, Key(80).c_str()), 0);
    QCOMPARE(record, 80u);
    QCOMPARE(Call(NextKey, index).record, 82u);
    for (int number = 1; number < 200; number += 2) {
        QCOMPARE(tafindkey(index.get(), &record, Key(number).c_str()), -1);
        QCOMPARE(taerror, std::int32_t(taNoError));
        QCOMPARE(Call(NextKey, index).record, std::uint32_t(number) + 1);
    }
}

// ---- adding ----

void IndexTest::firstKeyMakesARootOfOneItem()
{
    const Index index = make();
    QCOMPARE(index->rootPage, 0u);
    QCOMPARE(Add(index, "one", 17), 0);
    QCOMPARE(index->rootPage, 1u);
    const Page* const root = FetchPage(index, 1);
    QCOMPARE(root->Count(), 1);
    QCOMPARE(root->Child(0), 0u);
    QCOMPARE(root->Child(1), 0u);
    QCOMPARE(root->Record(1), 17u);
    QCOMPARE(std::string(root->Key(1)), std::string("one"));
}

void IndexTest::fiftyFirstKeySplitsTheRoot_data()
{
    QTest::addColumn<int>("key");
    QTest::newRow("at the beginning") << 1;
    QTest::newRow("in the lower half") << 13;
    QTest::newRow("below the middle") << 25;
    QTest::newRow("the middle itself") << 26;
    QTest::newRow("above the middle") << 27;
    QTest::newRow("in the upper half") << 40;
    QTest::newRow("at the end") << 51;
}

void IndexTest::fiftyFirstKeySplitsTheRoot()
{
    QFETCH(int, key);
    const Index index = make();
    for (int i = 1; i <= 51; ++i)
        QCOMPARE(i == key ? 0 : Add(index, i), 0);
    QCOMPARE(Shape(index), std::vector<int>{ 50 });
    QCOMPARE(Add(index, key), 0);
    QCOMPARE(Shape(index), (std::vector<int>{ 1, 25, 25 }));
    QCOMPARE(index->rootPage, 3u);
    QCOMPARE(FetchPage(index, 3)->Child(0), 1u);
    QCOMPARE(FetchPage(index, 3)->Child(1), 2u);
    QCOMPARE(Item(index, 3, 1), Key(26));
    for (int i = 1; i <= 25; ++i) {
        QCOMPARE(Item(index, 1, i), Key(i));
        QCOMPARE(Item(index, 2, i), Key(26 + i));
    }
    check(index, 51);
}

void IndexTest::keysDifferingInCaseOnlyAreEqual()
{
    const Index index = make();
    QCOMPARE(Add(index, "Editor", 1), 0);
    QCOMPARE(Add(index, "eDITOR", 2), -1);
    QCOMPARE(taerror, 0);
    QCOMPARE(Walk(index), std::string("Editor/1"));
}

void IndexTest::refusedKeyChangesNothing()
{
    const Index index = make();
    AddAll(index, 1, 50);
    QCOMPARE(TaCloseIndex(index.get()), 0);
    const QByteArray before = bytes();
    QCOMPARE(TaOpenIndex(index.get()), 0);
    CountingFiles files;
    {
        const UsedStoreFiles used(&files);
        QCOMPARE(Add(index, 7), -1);
    }
    QCOMPARE(files.writes, 0);
    QCOMPARE(TaCloseIndex(index.get()), 0);
    QCOMPARE(bytes(), before);
}

void IndexTest::duplicatesStandInOrderOfRecords()
{
    const Index index = make(true);
    QCOMPARE(Add(index, "abc", 7), 0);
    QCOMPARE(Add(index, "abc", 3), 0);
    QCOMPARE(Add(index, "abc", 7), -1);
    QCOMPARE(taerror, 0);
    QCOMPARE(Add(index, "ABC", 3), -1);
    QCOMPARE(Add(index, "ABC", 5), 0);
    QCOMPARE(Walk(index), std::string("abc/3 ABC/5 abc/7"));
}

void IndexTest::longKeyIsCutInTheTreeAndInTheBuffer()
{
    const Index index = make(false, 6);
    Answer hand("abcdefgh");
    const std::uint32_t record = 5;
    QCOMPARE(AddKey(index.get(), &record, hand.key), 0);
    QCOMPARE(std::string(hand.key), std::string("abcdef"));
    QCOMPARE(Walk(index), std::string("abcdef/5"));
    QCOMPARE(Add(index, "abcdefXY", 6), -1);
    check(index, 1);
}

void IndexTest::emptyKeyIsAKey()
{
    const Index index = make();
    QCOMPARE(Add(index, "a", 2), 0);
    QCOMPARE(Add(index, "", 1), 0);
    QCOMPARE(Add(index, "", 3), -1);
    QCOMPARE(Walk(index), std::string("/1 a/2"));
    QCOMPARE(Call(FindKey, index, "").record, 1u);
    QCOMPARE(Call(FindPrevKey, index, "").result, -1);
}

void IndexTest::headerWithRoot0IsAnEmptyTree()
{
    {
        const Index index = make();
        AddAll(index, 1, 60);
    }
    patch(8, 0);
    const Index index = open();
    QVERIFY(index);
    QCOMPARE(index->rootPage, 0u);
    QCOMPARE(Call(NextKey, index).result, -1);
    QCOMPARE(Call(FindKey, index, Key(1)).result, -1);
    QCOMPARE(Delete(index, 1), -1);
    QCOMPARE(taerror, 0);
    QCOMPARE(Add(index, 1), 0);
}

void IndexTest::changesClearTheCursor()
{
    const Index index = make();
    AddAll(index, 1, 5);
    const std::vector<std::function<void()>> changes = {
        [&] { Add(index, 9); },
        [&] { Add(index, 1); },
        [&] { Delete(index, 9); },
        [&] { Delete(index, 9); },
        [&] { ClearKey(index.get()); },
        [&] { TaCloseIndex(index.get()), TaOpenIndex(index.get()); },
    };
    for (const auto& change : changes) {
        QCOMPARE(Call(FindKey, index, Key(3)).result, 0);
        QVERIFY(index->depth > 0);
        change();
        QCOMPARE(int(index->depth), 0);
        QCOMPARE(std::string(Call(NextKey, index).key), Key(1));
    }
}

// ---- cache and file ----

void IndexTest::rootReachesTheHeaderWhenClosed()
{
    Index index = make();
    QCOMPARE(Add(index, 1), 0);
    QCOMPARE(rootOnDisk(), 0u);
    QCOMPARE(bytes().mid(PackedLength(12)), QByteArray(PackedLength(12), '\0'));
    index.reset();
    QCOMPARE(rootOnDisk(), 1u);
    QCOMPARE(Walk(open()), std::string("k00001/1"));
}

void IndexTest::openingAgainForgetsChanges()
{
    const Index index = make();
    QCOMPARE(Add(index, 1), 0);
    QCOMPARE(TaCloseIndex(index.get()), 0);
    QCOMPARE(int(index->dataFile->headerDirty), 0);
    QCOMPARE(Add(index, 2), 0);
    QCOMPARE(TaOpenIndex(index.get()), 0);
    QCOMPARE(Walk(index), std::string("k00001/1"));
}

void IndexTest::flushingWritesEachChange()
{
    const Index index = make();
    AddAll(index, 1, 30);
    ToggleFlushing(index.get(), 1, 1);
    QCOMPARE(taerror, 0);
    std::vector<IndexEntry> entries;
    for (int i = 31; i <= 130; ++i) {
        QCOMPARE(Add(index, i), 0);
        entries.clear();
        QCOMPARE(CheckIndex(path(), 12, false, &entries), Findings());
        QCOMPARE(entries.size(), std::size_t(i));
    }
    for (int i = 1; i <= 130; ++i) {
        QCOMPARE(Delete(index, i), 0);
        entries.clear();
        QCOMPARE(CheckIndex(path(), 12, false, &entries), Findings());
        QCOMPARE(entries.size(), std::size_t(130 - i));
    }
    ToggleFlushing(index.get(), 0, 1);
    QCOMPARE(Add(index, 1), 0);
    QCOMPARE(rootOnDisk(), 0u);
}

void IndexTest::pageUsedLongestAgoGivesWay()
{
    const Index index = make();
    AddAll(index, 1, 26 * (PAGESTACKSIZE + 20));
    QCOMPARE(TaCloseIndex(index.get()), 0);
    QCOMPARE(TaOpenIndex(index.get()), 0);
    QVERIFY(FileLen(index->dataFile) > PAGESTACKSIZE + 5u);
    SetPageRoom(0);
    CountingFiles files;
    const UsedStoreFiles used(&files);
    for (std::uint32_t number = 1; number <= PAGESTACKSIZE; ++number)
        QVERIFY(FetchPage(index, number));
    QCOMPARE(files.reads, int(PAGESTACKSIZE));
    QVERIFY(FetchPage(index, 1));
    QCOMPARE(files.reads, int(PAGESTACKSIZE));
    // Page 1 was used again: pages 2 and 3 give way.
    QVERIFY(FetchPage(index, PAGESTACKSIZE + 1));
    QVERIFY(FetchPage(index, PAGESTACKSIZE + 2));
    QVERIFY(FetchPage(index, 1));
    QCOMPARE(files.reads, PAGESTACKSIZE + 2);
    QVERIFY(FetchPage(index, 2));
    QCOMPARE(files.reads, PAGESTACKSIZE + 3);
    QVERIFY(FetchPage(index, 5));
    QCOMPARE(files.reads, PAGESTACKSIZE + 3);
    SetPageRoom(standardPageRoom);
}

void IndexTest::pagesThatFitInMemoryAreReadOnce()
{
    const Index index = make();
    AddAll(index, 1, 26 * (PAGESTACKSIZE + 100));
    QCOMPARE(TaCloseIndex(index.get()), 0);
    QCOMPARE(TaOpenIndex(index.get()), 0);
    const std::uint32_t pages = FileLen(index->dataFile);
    CountingFiles files;
    const UsedStoreFiles used(&files);
    for (int round = 0; round < 3; ++round)
        for (std::uint32_t number = 1; number < pages; ++number)
            QVERIFY(FetchPage(index, number));
    // The first ones alone, the others with their neighbours.
    QCOMPARE(files.reads, int(fetchesAlone + (pages - fetchesAlone + 15) / neighboursAtOnce));
}

void IndexTest::freedPageIsUsedBeforeANewOne()
{
    const Index index = make();
    AddAll(index, 1, 51);
    QCOMPARE(Delete(index, 51), 0);
    // The right leaf was joined to the left one, and then the root was removed.
    QCOMPARE(index->rootPage, 1u);
    QCOMPARE(FirstRec(index->dataFile), 3u);
    QCOMPARE(Add(index, 51), 0);
    QCOMPARE(FetchPage(index, index->rootPage)->Child(1), 3u);
    QCOMPARE(index->rootPage, 2u);
    QCOMPARE(FileLen(index->dataFile), 4u);
    check(index, 51);
}

void IndexTest::openCountSharesAHandle()
{
    IndexFile* const index = make().release();
    index->dataFile->openCount = 2;
    QCOMPARE(CloseIndex(index), 0);
    Answer hand("a");
    QCOMPARE(AddKey(index, &hand.record, hand.key), 0);
    QCOMPARE(CloseIndex(index), 0);
    QCOMPARE(Walk(open()), std::string("a/0"));
}

void IndexTest::closingIsNoFailureAfterAnEarlierOne()
{
    const Index first = make();
    QCOMPARE(TaCloseIndex(first.get()), 0);
    Index index = open();
    SetError(taReadFailed);
    QCOMPARE(CloseIndex(index.release()), 0);
    QCOMPARE(taerror, 0);
}

void IndexTest::closingReportsWhatWasNotWritten()
{
    Index index = make();
    AddAll(index, 1, 60);
    FailingFiles files(Fault::Write, 0, true);
    const UsedStoreFiles used(&files);
    QCOMPARE(TaCloseIndex(index.get()), -1);
    QCOMPARE(taerror, 3);
    // Nothing is lost before the handle is closed.
    QCOMPARE(Call(FindKey, index, Key(60)).result, 0);
    QCOMPARE(CloseIndex(index.release()), -1);
    QCOMPARE(taerror, 3);
}

void IndexTest::closingTriesOnceMore()
{
    // The pages in two transfers, and the header.
    for (int k = 0; k < 3; ++k) {
        Index index = make();
        AddAll(index, 1, 600);
        {
            FailingFiles files(Fault::ShortWrite, k, false);
            const UsedStoreFiles used(&files);
            QCOMPARE(CloseIndex(index.release()), 0);
            QVERIFY(files.hasFailed());
        }
        std::vector<IndexEntry> entries;
        QCOMPARE(CheckIndex(path(), 12, false, &entries), Findings());
        QCOMPARE(entries.size(), std::size_t(600));
    }
}

void IndexTest::halfWrittenChangeIsFinishedFirst_data()
{
    QTest::addColumn<QString>("next");
    for (const char* next : { "add", "delete", "find", "search", "close" })
        QTest::newRow(next) << next;
}

// A full page is split; one of the necessary writes writes only half a page.
void IndexTest::halfWrittenChangeIsFinishedFirst()
{
    QFETCH(QString, next);
    for (int k = 0; k < 8; ++k) {
        Index index = make();
        AddAll(index, 1, 99, 2);
        ToggleFlushing(index.get(), 1, 1);
        {
            FailingFiles files(Fault::ShortWrite, k, false);
            const UsedStoreFiles used(&files);
            const int added = Add(index, 2);
            QCOMPARE(added, files.hasFailed() ? -1 : 0);
            QCOMPARE(taerror, files.hasFailed() ? 3 : 0);
        }
        if (next == "add")
            QCOMPARE(Add(index, 200), 0);
        else if (next == "delete")
            QCOMPARE(Delete(index, 51), 0);
        else if (next == "find")
            QCOMPARE(Call(FindKey, index, Key(99)).result, 0);
        else if (next == "search")
            QCOMPARE(Call(SearchKey, index, Key(98)).record, 99u);
        else
            index.reset();
        std::vector<IndexEntry> entries;
        const Findings findings = CheckIndex(path(), 12, false, &entries);
        // A page allocated before the fault may remain unused.
        QVERIFY2(findings.empty() || findings.front().find("neither") != std::string::npos
                     || findings.front().find("not deleted") != std::string::npos,
                 findings.empty() ? "" : findings.front().c_str());
        std::set<std::uint32_t> records;
        for (const IndexEntry& entry : entries)
            records.insert(entry.record);
        for (std::uint32_t i = 1; i <= 99; i += 2)
            QVERIFY(records.count(i) > 0 || (next == "delete" && i == 51));
        QCOMPARE(entries.size(), records.size());
    }
}

void IndexTest::keyLengthsOutsideTheLimitsAreRefused()
{
    for (const int keyLength : { -1, 0, 151, 32767 }) {
        QVERIFY(!make(false, keyLength));
        QCOMPARE(taerror, 7);
    }
    QVERIFY(make(false, 1));
    QVERIFY(!open(false, 151));
    QCOMPARE(taerror, 8);
    QVERIFY(QFile::remove(QString::fromStdString(path())));
    QVERIFY(!open());
    QCOMPARE(taerror, 8);
}

void IndexTest::nullKeysAreRefused()
{
    const Index index = make();
    AddAll(index, 1, 60);
    const std::string before = Walk(index);
    const Function functions[] = { DeleteKey, FindKey, SearchKey, FindPrevKey, NextKey, PrevKey };
    for (const Function function : functions) {
        std::uint32_t record = 7;
        QCOMPARE(function(index.get(), &record, nullptr), -1);
        QCOMPARE(taerror, int(taNullHandle));
        QCOMPARE(record, 7u);
    }
    const std::uint32_t record = 99;
    QCOMPARE(AddKey(index.get(), &record, nullptr), -1);
    QCOMPARE(taerror, int(taNullHandle));
    QCOMPARE(Walk(index), before);
}

void IndexTest::nullPathsAreRefused()
{
    QVERIFY(!MakeOwnIndex(&testFiles, nullptr, 12, 0));
    QCOMPARE(taerror, int(taNotCreated));
    QVERIFY(!OpenOwnIndex(&testFiles, nullptr, 12, 0));
    QCOMPARE(taerror, int(taNotOpened));
    QVERIFY(!DoesFileExist(0, nullptr));
}

void IndexTest::pageThatCannotBeReadIsReported()
{
    {
        const Index index = make();
        AddAll(index, 1, 200);
    }
    const QByteArray before = bytes();
    for (const Fault fault : { Fault::Open, Fault::Seek, Fault::Read, Fault::ShortRead }) {
        const int error = fault == Fault::Open ? 1 : fault == Fault::Seek ? 2 : 5;
        const Index index = open();
        QVERIFY(index);
        {
            FailingFiles files(fault, 0, true);
            const UsedStoreFiles used(&files);
            for (const Function function :
                 { FindKey, SearchKey, FindPrevKey, NextKey, PrevKey, DeleteKey }) {
                QCOMPARE(Call(function, index, Key(7), 7).result, -1);
                QCOMPARE(taerror, error);
            }
            QCOMPARE(Add(index, 1000), -1);
            QCOMPARE(taerror, error);
        }
        QCOMPARE(Call(FindKey, index, Key(7)).result, 0);
    }
    QCOMPARE(bytes(), before);
}

// A damaged header: pages in use would be allocated and overwritten.
void IndexTest::chainLeadingToAPageInUseIsReported()
{
    {
        const Index index = make();
        AddAll(index, 1, 50);
    }
    patch(0, 1);
    const Index index = open();
    QCOMPARE(Add(index, 51), -1);
    QCOMPARE(taerror, int(taDamaged));
    for (int i = 1; i <= 50; ++i)
        QCOMPARE(Call(FindKey, index, Key(i)).result, 0);
}

// As the system sees it; the address sanitizer keeps what is freed.
void IndexTest::memoryGrowsWithTheIndexAndIsGivenBack()
{
#ifdef __SANITIZE_ADDRESS__
    QSKIP("freed memory is kept");
#endif
    const auto resident = [] {
        QFile status("/proc/self/statm");
        return status.open(QIODevice::ReadOnly)
            ? status.readAll().split(' ').value(1).toLongLong() * sysconf(_SC_PAGESIZE)
            : -1;
    };
    const qint64 before = resident();
    {
        const Index index = make(false, 40);
        AddAll(index, 1, 150000);
        const qint64 full = qint64(FileLen(index->dataFile)) * index->dataFile->recordLength;
        QVERIFY(full > 12 * 1024 * 1024);
        QVERIFY(resident() > before + full / 2);
        QVERIFY(resident() < before + qint64(standardPageRoom));
    }
    QVERIFY(resident() < before + 3 * 1024 * 1024);
}

// Memory that is new to the process causes a fault for every 4 KiB, unless the system has
// huge pages.
void IndexTest::memoryOfDroppedPagesIsUsedAgain()
{
#ifdef UNDER_ADDRESS_SANITIZER
    QSKIP("freed memory is kept");
#endif
    const auto faults = [] {
        rusage usage;
        return getrusage(RUSAGE_SELF, &usage) == 0 ? usage.ru_minflt : -1;
    };
    const Index index = make(false, 40);
    AddAll(index, 1, 100000);
    QCOMPARE(TaCloseIndex(index.get()), 0);
    const long pages = long(FileLen(index->dataFile));
    QVERIFY(pages > 3000);
    const long before = faults();
    int items = 0;
    for (Answer item; (item = Call(NextKey, index)).result == 0;)
        ++items;
    QCOMPARE(items, 100000);
    QVERIFY2(faults() - before < pages / 2, qPrintable(QString::number(faults() - before)));
}

// Some leave memory, and the others take their places.
void IndexTest::pagesOfSeveralSizesShareTheMemory()
{
    constexpr int count = 30000;
    Index wide = make(false, 150);
    const Index narrow(MakeOwnIndex(&testFiles, (path() + "2").c_str(), 9, 1));
    for (int i = 1; i <= count; ++i) {
        QCOMPARE(Add(wide, i), 0);
        QCOMPARE(Add(narrow, Key(i % 100), std::uint32_t(i)), 0);
        if (i % 7000 == 0)
            QCOMPARE(TaCloseIndex((i % 2000 == 0 ? wide : narrow).get()), 0);
        if (i % 3 == 0)
            QCOMPARE(Delete(wide, i), 0);
    }
    check(wide, count - count / 3);
    wide.reset();
    ClearKey(narrow.get());
    int items = 0;
    for (Answer item; (item = Call(NextKey, narrow)).result == 0; ++items)
        QCOMPARE(std::string(item.key), Key(int(item.record) % 100));
    QCOMPARE(items, count);
}

void IndexTest::indexGrowsWithoutMemoryForTheRange()
{
#ifdef UNDER_ADDRESS_SANITIZER
    QSKIP("the sanitizer needs its address space");
#endif
    QFile status("/proc/self/statm");
    QVERIFY(status.open(QIODevice::ReadOnly));
    const auto size
        = rlim_t(status.readAll().split(' ').value(0).toLongLong()) * rlim_t(sysconf(_SC_PAGESIZE));
    const Index index = make(false, 40);
    rlimit before;
    QCOMPARE(getrlimit(RLIMIT_AS, &before), 0);
    const rlimit little{ size + (40 << 20), before.rlim_max };
    QCOMPARE(setrlimit(RLIMIT_AS, &little), 0);
    AddAll(index, 1, 40000);
    setrlimit(RLIMIT_AS, &before);
    check(index, 40000);
}

// What an operation needs is never taken from it.
void IndexTest::pagesOfAChangeStayWithoutRoom()
{
    SetPageRoom(0);
    const Index index = make();
    AddAll(index, 1, 75);
    {
        FailingFiles files(Fault::Read, 0, true);
        const UsedStoreFiles used(&files);
        AddAll(index, 76, 150);
        QVERIFY(!files.hasFailed());
    }
    AddAll(index, 151, 26 * (PAGESTACKSIZE + 20));
    check(index, 26 * (PAGESTACKSIZE + 20));
    SetPageRoom(standardPageRoom);
}

// ---- deleting ----

void IndexTest::deletingReturnsTheRecordWithoutDuplicates()
{
    const Index index = make();
    QCOMPARE(Add(index, "Editor", 17), 0);
    const Answer deleted = Call(DeleteKey, index, "eDitor", 99);
    QCOMPARE(deleted.result, 0);
    QCOMPARE(deleted.record, 17u);
}

void IndexTest::deletingNeedsTheRecordWithDuplicates()
{
    const Index index = make(true);
    QCOMPARE(Add(index, "a", 1), 0);
    QCOMPARE(Add(index, "a", 2), 0);
    QCOMPARE(Call(DeleteKey, index, "a", 3).result, -1);
    QCOMPARE(Call(DeleteKey, index, "A", 2).result, 0);
    QCOMPARE(Walk(index), std::string("a/1"));
}

void IndexTest::deletingWhatIsNotThereChangesNothing()
{
    const Index index = make();
    AddAll(index, 1, 200, 2);
    check(index, 100);
    const QByteArray before = bytes();
    for (int i = 0; i <= 202; i += 2) {
        QCOMPARE(Delete(index, i), -1);
        QCOMPARE(taerror, 0);
    }
    check(index, 100);
    QCOMPARE(bytes(), before);
}

void IndexTest::deletingAnInnerItemTakesItsPredecessor()
{
    const Index index = make();
    AddAll(index, 1, 51);
    QCOMPARE(Add(index, 0), 0);
    QCOMPARE(Shape(index), (std::vector<int>{ 1, 26, 25 }));
    const Answer deleted = Call(DeleteKey, index, Key(26), 0);
    QCOMPARE(deleted.record, 26u);
    QCOMPARE(Shape(index), (std::vector<int>{ 1, 25, 25 }));
    QCOMPARE(Item(index, index->rootPage, 1), Key(25));
    check(index, 51);
}

namespace
{

void SiblingCounts()
{
    QTest::addColumn<int>("sibling");
    for (const int sibling : { 26, 27, 28, 29, 40, 49, 50 })
        QTest::addRow("%d items", sibling) << sibling;
}

} // namespace

void IndexTest::borrowingFromTheRight_data()
{
    SiblingCounts();
}

// Leaves with 25 items and with more: with one less, the left one borrows.
void IndexTest::borrowingFromTheRight()
{
    QFETCH(int, sibling);
    const Index index = make();
    AddAll(index, 1, 26 + sibling);
    QCOMPARE(Shape(index), (std::vector<int>{ 1, 25, sibling }));
    QCOMPARE(Delete(index, 3), 0);
    const int moved = (sibling - 25 + 1) / 2;
    QCOMPARE(Shape(index), (std::vector<int>{ 1, 24 + moved, sibling - moved }));
    QCOMPARE(Item(index, index->rootPage, 1), Key(26 + moved));
    check(index, std::size_t(25 + sibling));
}

void IndexTest::borrowingFromTheLeft_data()
{
    SiblingCounts();
}

void IndexTest::borrowingFromTheLeft()
{
    QFETCH(int, sibling);
    const Index index = make();
    AddAll(index, 100, 50, -1);
    AddAll(index, 49, 50 - sibling + 25, -1);
    QCOMPARE(Shape(index), (std::vector<int>{ 1, sibling, 25 }));
    QCOMPARE(Delete(index, 100), 0);
    const int moved = (sibling + 1 - 25) / 2;
    QCOMPARE(Shape(index), (std::vector<int>{ 1, sibling - moved, 24 + moved }));
    QCOMPARE(Item(index, index->rootPage, 1), Key(75 - moved));
    check(index, std::size_t(25 + sibling));
}

void IndexTest::mergingMakesAFullPage_data()
{
    QTest::addColumn<int>("deleted");
    QTest::newRow("with the right sibling") << 1;
    QTest::newRow("into the left sibling") << 70;
}

void IndexTest::mergingMakesAFullPage()
{
    QFETCH(int, deleted);
    const Index index = make();
    AddAll(index, 1, 77);
    QCOMPARE(Shape(index), (std::vector<int>{ 2, 25, 25, 25 }));
    const std::uint32_t lastLeaf = FetchPage(index, index->rootPage)->Child(2);
    const std::uint32_t middleLeaf = FetchPage(index, index->rootPage)->Child(1);
    QCOMPARE(Delete(index, deleted), 0);
    const bool first = deleted == 1;
    QCOMPARE(Shape(index), (first ? std::vector<int>{ 1, 50, 25 } : std::vector<int>{ 1, 25, 50 }));
    QCOMPARE(FirstRec(index->dataFile), first ? middleLeaf : lastLeaf);
    QCOMPARE(index->dataFile->header.deletedCount, 1);
    check(index, 76);
}

void IndexTest::emptiedRootGivesWayToItsChild()
{
    const Index index = make();
    AddAll(index, 1, 51);
    QCOMPARE(index->rootPage, 3u);
    QCOMPARE(Delete(index, 10), 0);
    QCOMPARE(index->rootPage, 1u);
    QCOMPARE(Shape(index), std::vector<int>{ 50 });
    QCOMPARE(UsedRecs(index->dataFile), 1u);
    check(index, 50);
    QCOMPARE(rootOnDisk(), 1u);
}

void IndexTest::lastKeyLeavesAnEmptyIndex()
{
    const Index index = make();
    AddAll(index, 1, 51);
    for (int i = 1; i <= 51; ++i)
        QCOMPARE(Delete(index, i), 0);
    QCOMPARE(index->rootPage, 0u);
    QCOMPARE(UsedRecs(index->dataFile), 0u);
    check(index, 0);
    QCOMPARE(rootOnDisk(), 0u);
    QCOMPARE(Call(NextKey, index).result, -1);
    QCOMPARE(Add(index, 1), 0);
}

// ---- walking and finding ----

void IndexTest::nextAfterClearIsTheSmallest()
{
    const Index index = make();
    AddAll(index, 1, 200);
    QCOMPARE(Call(FindKey, index, Key(150)).result, 0);
    ClearKey(index.get());
    QCOMPARE(std::string(Call(NextKey, index).key), Key(1));
}

void IndexTest::nextBeginsAgainAfterTheLargest()
{
    const Index index = make();
    AddAll(index, 1, 200);
    QCOMPARE(Call(FindKey, index, Key(200)).result, 0);
    QCOMPARE(Call(NextKey, index).result, -1);
    QCOMPARE(taerror, 0);
    QCOMPARE(std::string(Call(NextKey, index).key), Key(1));
}

void IndexTest::previousAfterClearIsTheLargest()
{
    const Index index = make();
    AddAll(index, 1, 200);
    QCOMPARE(Call(FindKey, index, Key(2)).result, 0);
    ClearKey(index.get());
    QCOMPARE(std::string(Call(PrevKey, index).key), Key(200));
    QCOMPARE(Call(FindKey, index, Key(1)).result, 0);
    QCOMPARE(Call(PrevKey, index).result, -1);
    QCOMPARE(std::string(Call(PrevKey, index).key), Key(200));
}

void IndexTest::endsLeaveTheBuffersAlone()
{
    const Index index = make();
    AddAll(index, 1, 60);
    for (const Function step : { NextKey, PrevKey }) {
        QCOMPARE(Call(FindKey, index, Key(step == PrevKey ? 1 : 60)).result, 0);
        const Answer end = Call(step, index, "as it was", 1234);
        QCOMPARE(end.result, -1);
        QCOMPARE(std::string(end.key), std::string("as it was"));
        QCOMPARE(end.record, 1234u);
    }
}

void IndexTest::walksOfAnEmptyIndex()
{
    const Index index = make();
    for (const Function function : { FindKey, SearchKey, FindPrevKey, NextKey, PrevKey }) {
        QCOMPARE(Call(function, index, "a").result, -1);
        QCOMPARE(taerror, 0);
    }
}

void IndexTest::walkTurnsAround()
{
    const Index index = make();
    AddAll(index, 1, 3000);
    for (const int turn : { 1, 2, 25, 26, 27, 650, 651, 1299, 3000 }) {
        ClearKey(index.get());
        for (int i = 1; i <= turn; ++i)
            QCOMPARE(std::string(Call(NextKey, index).key), Key(i));
        for (int i = turn - 1; i >= 1; --i)
            QCOMPARE(std::string(Call(PrevKey, index).key), Key(i));
        QCOMPARE(Call(PrevKey, index).result, -1);
    }
}

void IndexTest::searchAboveAllKeysFails()
{
    const Index index = make();
    AddAll(index, 1, 200);
    QCOMPARE(Call(SearchKey, index, "z").result, -1);
    QCOMPARE(taerror, 0);
}

void IndexTest::searchCopiesTheKeyUnlessItIsExact()
{
    const Index index = make();
    AddAll(index, 10, 200, 10);
    Answer found = Call(SearchKey, index, Key(55));
    QCOMPARE(found.result, 0);
    QCOMPARE(found.record, 60u);
    QCOMPARE(std::string(found.key), Key(60));
    found = Call(SearchKey, index, "K00060");
    QCOMPARE(found.record, 60u);
    QCOMPARE(std::string(found.key), std::string("K00060"));
    QCOMPARE(Call(SearchKey, index, "").record, 10u);
}

void IndexTest::findPreviousAboveAllKeysIsTheLargest()
{
    const Index index = make();
    AddAll(index, 1, 200);
    const Answer found = Call(FindPrevKey, index, "z");
    QCOMPARE(found.result, 0);
    QCOMPARE(std::string(found.key), Key(200));
    QCOMPARE(found.record, 200u);
    QCOMPARE(std::string(Call(PrevKey, index).key), Key(199));
}

void IndexTest::findPreviousOfTheSmallestFails()
{
    const Index index = make();
    AddAll(index, 1, 200);
    QCOMPARE(Call(FindPrevKey, index, Key(1)).result, -1);
    QCOMPARE(taerror, 0);
    QCOMPARE(Call(FindPrevKey, index, "a").result, -1);
}

void IndexTest::findPreviousInTheMiddle()
{
    const Index index = make();
    AddAll(index, 10, 2000, 10);
    QCOMPARE(std::string(Call(FindPrevKey, index, Key(500)).key), Key(490));
    QCOMPARE(std::string(Call(FindPrevKey, index, Key(501)).key), Key(500));
    QCOMPARE(std::string(Call(FindPrevKey, index, Key(11)).key), Key(10));
}

void IndexTest::findGivesTheLowestRecordOfEqualKeys()
{
    const Index index = make(true);
    QCOMPARE(Add(index, "a", 1), 0);
    QCOMPARE(Add(index, "key", 7), 0);
    QCOMPARE(Add(index, "key", 3), 0);
    QCOMPARE(Add(index, "z", 2), 0);
    QCOMPARE(Call(FindKey, index, "key").record, 3u);
    const Answer next = Call(NextKey, index);
    QCOMPARE(next.record, 7u);
    QCOMPARE(std::string(next.key), std::string("key"));
    QCOMPARE(Call(NextKey, index).record, 2u);
}

void IndexTest::findAmongDuplicatesMindsCase()
{
    const Index index = make(true);
    QCOMPARE(Add(index, "Editor", 3), 0);
    QCOMPARE(Call(FindKey, index, "editor").result, -1);
    QCOMPARE(taerror, 0);
    const Answer found = Call(SearchKey, index, "editor");
    QCOMPARE(found.result, 0);
    QCOMPARE(std::string(found.key), std::string("Editor"));
    QCOMPARE(Call(FindKey, index, "Editor").result, 0);
}

void IndexTest::findWithoutDuplicatesIgnoresCase()
{
    const Index index = make();
    QCOMPARE(Add(index, "Editor", 3), 0);
    QCOMPARE(Call(FindKey, index, "eDITOR").record, 3u);
}

void IndexTest::findSetsTheCursor()
{
    const Index index = make();
    AddAll(index, 1, 3000);
    for (int i = 1; i < 3000; i += 7) {
        QCOMPARE(Call(FindKey, index, Key(i)).result, 0);
        QCOMPARE(std::string(Call(NextKey, index).key), Key(i + 1));
    }
    // Not found: the cursor is before the first item above.
    QCOMPARE(Call(FindKey, index, Key(100) + "x").result, -1);
    QCOMPARE(std::string(Call(NextKey, index).key), Key(101));
}

void IndexTest::lookupsCutTheKey()
{
    const Index index = make(false, 6);
    AddAll(index, 1, 9);
    for (const Function function : { FindKey, SearchKey }) {
        const Answer found = Call(function, index, Key(5) + "tail");
        QCOMPARE(found.record, 5u);
        QCOMPARE(std::string(found.key), Key(5));
    }
    QCOMPARE(Call(FindPrevKey, index, Key(5) + "tail").record, 4u);
    QCOMPARE(std::string(Call(DeleteKey, index, Key(5) + "tail").key), Key(5));
}

void IndexTest::findSeesTheFileWhenFlushing()
{
    const Index one = make();
    const Index other = open();
    ToggleFlushing(one.get(), 1, 1);
    ToggleFlushing(other.get(), 1, 1);
    for (int i = 1; i <= 120; ++i) {
        QCOMPARE(Add(i % 2 ? one : other, i), 0);
        QCOMPARE(Call(FindKey, i % 2 ? other : one, Key(i)).record, std::uint32_t(i));
    }
    QCOMPARE(Call(SearchKey, one, Key(120)).result, 0);
    QCOMPARE(Delete(other, 120), 0);
    QCOMPARE(Call(SearchKey, one, Key(120)).result, -1);
}

QTEST_GUILESS_MAIN(IndexTest)
#include "tst_index.moc"
