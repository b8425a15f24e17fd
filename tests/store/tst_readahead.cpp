// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Pages that are read together with another one: when this happens, and that it only
// changes the number of transfers.

#include "store/indexfile.h"
#include "store/ownfiles.h"
#include "store/pagecache.h"
#include "store/pagetransfer.h"
#include "store/storecheck.h"
#include "tests/store/storefixture.h"
#include "tests/store/storeshims.h"

#include <QtTest>

using namespace Agent;

namespace
{

constexpr int keyLength = 12;
constexpr int items = 2600; // in 103 pages, with the even numbers
constexpr int last = 2 * items;

class TestIndexFile
{
public:
    explicit TestIndexFile(IndexFile* index) : m_index(index) { }
    ~TestIndexFile() { CloseIndex(m_index); }
    TestIndexFile(const TestIndexFile&) = delete;
    TestIndexFile& operator=(const TestIndexFile&) = delete;

    IndexFile* get() const { return m_index; }
    int add(int number) { return call(AddKey, number); }
    int erase(int number) { return call(DeleteKey, number); }
    int find(int number) { return call(FindKey, number); }
    bool hasPage(std::uint32_t number)
    {
        Page* page;
        return tagetpage(m_index, number, &page) == 0;
    }

private:
    template <typename Function> int call(Function function, int number)
    {
        char key[keyLength + 1];
        std::snprintf(key, sizeof key, "k%05d", number);
        auto record = std::uint32_t(number);
        return function(m_index, &record, key);
    }

    IndexFile* const m_index;
};

// Transfers that bring the pages up to the last one into memory, or -1.
int ReadsOfPages(TestIndexFile& index, std::uint32_t lastPage)
{
    CountingFiles files;
    const UsedStoreFiles used(&files);
    for (std::uint32_t number = 1; number <= lastPage; ++number)
        if (!index.hasPage(number))
            return -1;
    return files.reads;
}

} // namespace

class ReadAheadTest : public StoreTest
{
    Q_OBJECT

private slots:
    void init()
    {
        StoreTest::init();
        TestIndexFile index(MakeOwnIndex(&testFiles, path().c_str(), keyLength, 0));
        for (int i = 2; i <= last; i += 2)
            QCOMPARE(index.add(i), 0);
        QVERIFY(FileLen(index.get()->dataFile) > 6 * neighboursAtOnce);
    }
    void cleanup()
    {
        SetPageRoom(standardPageRoom);
        StoreTest::cleanup();
    }

    void neighboursComeWithAPage();
    void fewPagesComeAlone();
    void pagesComeAloneWithFlushing();
    void pagesComeAloneWhereNotAllHaveRoom();
    void changedPagesStayAsTheyAre();
    void freePagesAreUsedAgain();
    void freePageIsNotReadAheadWhileItIsTaken();
    void failureIsThatOfThePageAskedFor();
    void shortBlockHoldsWhatItHolds();
    void damageIsThatOfThePageAskedFor();

private:
    IndexFile* open() const { return OpenOwnIndex(&testFiles, path().c_str(), keyLength, 0); }
};

void ReadAheadTest::neighboursComeWithAPage()
{
    TestIndexFile index(open());
    QCOMPARE(ReadsOfPages(index, fetchesAlone), int(fetchesAlone));
    CountingFiles files;
    const UsedStoreFiles used(&files);
    QVERIFY(index.hasPage(72));
    for (std::uint32_t number = 64; number < 80; ++number)
        QVERIFY(index.hasPage(number));
    QCOMPARE(files.reads, 1);
    QVERIFY(index.hasPage(80));
    QCOMPARE(files.reads, 2);
    for (int i = 2; i <= last; i += 2)
        QCOMPARE(index.find(i), 0);
}

void ReadAheadTest::fewPagesComeAlone()
{
    TestIndexFile index(open());
    CountingFiles files;
    const UsedStoreFiles used(&files);
    for (std::uint32_t number = 1; number <= fetchesAlone; ++number)
        QVERIFY(index.hasPage(3 * number));
    QCOMPARE(files.reads, int(fetchesAlone));
    // After its pages are dropped, an index starts over.
    QCOMPARE(TaOpenIndex(index.get()), 0);
    files.reads = 0;
    QVERIFY(index.hasPage(64));
    QVERIFY(index.hasPage(65));
    QCOMPARE(files.reads, 2);
}

void ReadAheadTest::pagesComeAloneWithFlushing()
{
    TestIndexFile index(open());
    ToggleFlushing(index.get(), 1, 1);
    QCOMPARE(ReadsOfPages(index, 100), 100);
}

void ReadAheadTest::pagesComeAloneWhereNotAllHaveRoom()
{
    TestIndexFile index(open());
    const DataFile* const file = index.get()->dataFile;
    SetPageRoom(FileLen(index.get()->dataFile) * std::size_t(file->recordLength) - 1);
    QCOMPARE(ReadsOfPages(index, 100), 100);
}

// A block contains pages that are in memory already, and differ from the file.
void ReadAheadTest::changedPagesStayAsTheyAre()
{
    TestIndexFile index(open());
    for (int i = 1; i <= last; i += 200)
        QCOMPARE(index.add(i), 0);
    QVERIFY(ReadsOfPages(index, 100) > 0);
    for (int i = 1; i <= last; ++i)
        QCOMPARE(index.find(i), i % 2 == 0 || i % 200 == 1 ? 0 : -1);
}

void ReadAheadTest::freePagesAreUsedAgain()
{
    std::uint32_t pages;
    {
        TestIndexFile index(open());
        for (int i = 2000; i <= 4000; i += 2)
            QCOMPARE(index.erase(i), 0);
        pages = FileLen(index.get()->dataFile);
        QVERIFY(pages - UsedRecs(index.get()->dataFile) > 2 * neighboursAtOnce);
    }
    {
        TestIndexFile index(open());
        QCOMPARE(ReadsOfPages(index, fetchesAlone), int(fetchesAlone));
        for (int i = 4002; i <= last; i += 2)
            QCOMPARE(index.find(i), 0);
        for (int i = 2000; i <= 4000; i += 2)
            QCOMPARE(index.add(i), 0);
        QCOMPARE(FileLen(index.get()->dataFile), pages);
    }
    std::vector<IndexEntry> entries;
    QCOMPARE(CheckIndex(path(), keyLength, false, &entries), Findings());
    QCOMPARE(entries.size(), std::size_t(items));
}

// If another program left items in a free page, the path to the first of them is
// followed, and the pages read for that may bring the free page along.
void ReadAheadTest::freePageIsNotReadAheadWhileItIsTaken()
{
    std::uint32_t taken;
    {
        TestIndexFile index(open());
        for (int i = 2; i <= 1200; i += 2)
            QCOMPARE(index.erase(i), 0);
        taken = std::uint32_t(index.get()->dataFile->header.firstFree);
    }
    QVERIFY(taken != 0 && taken < fetchesAlone);
    {
        OpenStoreFile file(path().c_str());
        const off_t length = PackedLength(keyLength);
        // A page in use in the same block, and a link that looks like its count.
        std::vector<std::uint8_t> page(length), link(4);
        QVERIFY(file.ReadAt(off_t(taken) * length, link.data(), link.size()));
        QVERIFY(link[0] >= 1 && link[0] <= pageItems);
        std::uint32_t other = taken - taken % neighboursAtOnce;
        bool found = false;
        for (; !found && other < taken - taken % neighboursAtOnce + neighboursAtOnce;) {
            QVERIFY(file.ReadAt(off_t(other) * length, page.data(), page.size()));
            found = other != 0 && page[0] >= pageOrder && page[0] <= pageItems && page[4] == 0
                && page[16] == 'k';
            other += !found;
        }
        QVERIFY(found);
        std::copy(link.begin(), link.end(), page.begin());
        QVERIFY(file.WriteAt(off_t(taken) * length, page.data(), page.size()));
    }
    TestIndexFile index(open());
    for (std::uint32_t number = 50; number < 50 + fetchesAlone + 1; ++number)
        index.hasPage(number);
    for (int i = 5001; index.get()->dataFile->header.firstFree == std::int32_t(taken); i += 2)
        QCOMPARE(index.add(i), 0);
    int there = 0;
    for (const CachedPage* page = index.get()->firstPage; page; page = page->nextOfOwner)
        there += page->number == taken;
    QCOMPARE(there, 1);
}

void ReadAheadTest::failureIsThatOfThePageAskedFor()
{
    for (const Fault fault : { Fault::Open, Fault::Seek, Fault::Read }) {
        TestIndexFile index(open());
        QCOMPARE(ReadsOfPages(index, fetchesAlone), int(fetchesAlone));
        {
            FailingFiles files(fault, 0, false);
            const UsedStoreFiles used(&files);
            QVERIFY(!index.hasPage(64));
            QCOMPARE(taerror, fault == Fault::Open ? 1 : fault == Fault::Seek ? 2 : 5);
        }
        QVERIFY(index.hasPage(64));
        QVERIFY(index.hasPage(65));
    }
}

void ReadAheadTest::shortBlockHoldsWhatItHolds()
{
    TestIndexFile index(open());
    QCOMPARE(ReadsOfPages(index, fetchesAlone), int(fetchesAlone));
    {
        FailingFiles files(Fault::ShortRead, 0, false);
        const UsedStoreFiles used(&files);
        QVERIFY(!index.hasPage(72)); // the first after the half
        QCOMPARE(taerror, 5);
    }
    {
        FailingFiles files(Fault::ShortRead, 0, false);
        const UsedStoreFiles used(&files);
        QVERIFY(index.hasPage(71));
    }
    for (int i = 2; i <= last; i += 2)
        QCOMPARE(index.find(i), 0);
}

void ReadAheadTest::damageIsThatOfThePageAskedFor()
{
    TestIndexFile index(open());
    {
        const std::uint8_t count = 51;
        OpenStoreFile file(path().c_str());
        QVERIFY(file.WriteAt(70 * off_t(index.get()->dataFile->recordLength), &count, 1));
    }
    QCOMPARE(ReadsOfPages(index, fetchesAlone), int(fetchesAlone));
    QVERIFY(index.hasPage(69));
    QVERIFY(index.hasPage(71));
    QVERIFY(!index.hasPage(70));
    QCOMPARE(taerror, int(taDamaged));
}

QTEST_GUILESS_MAIN(ReadAheadTest)
#include "tst_readahead.moc"
