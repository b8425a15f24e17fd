// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Pages that are read together with another one: when this happens, and that it only
// changes the number of transfers.

#include "store/indexfile.h"
#include "store/ownfiles.h"
#include "store/pagecache.h"
#include "store/pagetransfer.h"
#include "store/storecheck.h"
#include "tests/store/storeshims.h"
#include "tests/store/storetest.h"

#include <QTemporaryDir>
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
    int Add(int number) { return Call(AddKey, number); }
    int Delete(int number) { return Call(DeleteKey, number); }
    int Find(int number) { return Call(FindKey, number); }
    bool HasPage(std::uint32_t number)
    {
        Page* page;
        return tagetpage(m_index, number, &page) == 0;
    }

private:
    template <typename Function> int Call(Function function, int number)
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
        if (!index.HasPage(number))
            return -1;
    return files.reads;
}

} // namespace

class TestReadAhead : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QCOMPARE(InitIndex(), 0); }
    void cleanupTestCase() { UnInitIndex(); }
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        TestIndexFile index(MakeOwnIndex(&testFiles, Path().c_str(), keyLength, 0));
        for (int i = 2; i <= last; i += 2)
            QCOMPARE(index.Add(i), 0);
        QVERIFY(FileLen(index.get()->dataFile) > 6 * neighboursAtOnce);
    }
    void cleanup() { SetPageRoom(standardPageRoom); }

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
    std::string Path() const { return m_folder->filePath("index").toStdString(); }
    IndexFile* Open() const { return OpenOwnIndex(&testFiles, Path().c_str(), keyLength, 0); }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void TestReadAhead::neighboursComeWithAPage()
{
    TestIndexFile index(Open());
    QCOMPARE(ReadsOfPages(index, fetchesAlone), int(fetchesAlone));
    CountingFiles files;
    const UsedStoreFiles used(&files);
    QVERIFY(index.HasPage(72));
    for (std::uint32_t number = 64; number < 80; ++number)
        QVERIFY(index.HasPage(number));
    QCOMPARE(files.reads, 1);
    QVERIFY(index.HasPage(80));
    QCOMPARE(files.reads, 2);
    for (int i = 2; i <= last; i += 2)
        QCOMPARE(index.Find(i), 0);
}

void TestReadAhead::fewPagesComeAlone()
{
    TestIndexFile index(Open());
    CountingFiles files;
    const UsedStoreFiles used(&files);
    for (std::uint32_t number = 1; number <= fetchesAlone; ++number)
        QVERIFY(index.HasPage(3 * number));
    QCOMPARE(files.reads, int(fetchesAlone));
    // After its pages are dropped, an index starts over.
    QCOMPARE(TaOpenIndex(index.get()), 0);
    files.reads = 0;
    QVERIFY(index.HasPage(64));
    QVERIFY(index.HasPage(65));
    QCOMPARE(files.reads, 2);
}

void TestReadAhead::pagesComeAloneWithFlushing()
{
    TestIndexFile index(Open());
    ToggleFlushing(index.get(), 1, 1);
    QCOMPARE(ReadsOfPages(index, 100), 100);
}

void TestReadAhead::pagesComeAloneWhereNotAllHaveRoom()
{
    TestIndexFile index(Open());
    const DataFile* const file = index.get()->dataFile;
    SetPageRoom(FileLen(index.get()->dataFile) * std::size_t(file->recordLength) - 1);
    QCOMPARE(ReadsOfPages(index, 100), 100);
}

// A block contains pages that are in memory already, and differ from the file.
void TestReadAhead::changedPagesStayAsTheyAre()
{
    TestIndexFile index(Open());
    for (int i = 1; i <= last; i += 200)
        QCOMPARE(index.Add(i), 0);
    QVERIFY(ReadsOfPages(index, 100) > 0);
    for (int i = 1; i <= last; ++i)
        QCOMPARE(index.Find(i), i % 2 == 0 || i % 200 == 1 ? 0 : -1);
}

void TestReadAhead::freePagesAreUsedAgain()
{
    std::uint32_t pages;
    {
        TestIndexFile index(Open());
        for (int i = 2000; i <= 4000; i += 2)
            QCOMPARE(index.Delete(i), 0);
        pages = FileLen(index.get()->dataFile);
        QVERIFY(pages - UsedRecs(index.get()->dataFile) > 2 * neighboursAtOnce);
    }
    {
        TestIndexFile index(Open());
        QCOMPARE(ReadsOfPages(index, fetchesAlone), int(fetchesAlone));
        for (int i = 4002; i <= last; i += 2)
            QCOMPARE(index.Find(i), 0);
        for (int i = 2000; i <= 4000; i += 2)
            QCOMPARE(index.Add(i), 0);
        QCOMPARE(FileLen(index.get()->dataFile), pages);
    }
    std::vector<IndexEntry> entries;
    QCOMPARE(CheckIndex(Path(), keyLength, false, &entries), Findings());
    QCOMPARE(entries.size(), std::size_t(items));
}

// If another program left items in a free page, the path to the first of them is
// followed, and the pages read for that may bring the free page along.
void TestReadAhead::freePageIsNotReadAheadWhileItIsTaken()
{
    std::uint32_t taken;
    {
        TestIndexFile index(Open());
        for (int i = 2; i <= 1200; i += 2)
            QCOMPARE(index.Delete(i), 0);
        taken = std::uint32_t(index.get()->dataFile->header.firstFree);
    }
    QVERIFY(taken != 0 && taken < fetchesAlone);
    {
        OpenStoreFile file(Path().c_str());
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
    TestIndexFile index(Open());
    for (std::uint32_t number = 50; number < 50 + fetchesAlone + 1; ++number)
        index.HasPage(number);
    for (int i = 5001; index.get()->dataFile->header.firstFree == std::int32_t(taken); i += 2)
        QCOMPARE(index.Add(i), 0);
    int there = 0;
    for (const CachedPage* page = index.get()->firstPage; page; page = page->nextOfOwner)
        there += page->number == taken;
    QCOMPARE(there, 1);
}

void TestReadAhead::failureIsThatOfThePageAskedFor()
{
    for (const Fault fault : { Fault::Open, Fault::Seek, Fault::Read }) {
        TestIndexFile index(Open());
        QCOMPARE(ReadsOfPages(index, fetchesAlone), int(fetchesAlone));
        {
            FailingFiles files(fault, 0, false);
            const UsedStoreFiles used(&files);
            QVERIFY(!index.HasPage(64));
            QCOMPARE(taerror, fault == Fault::Open ? 1 : fault == Fault::Seek ? 2 : 5);
        }
        QVERIFY(index.HasPage(64));
        QVERIFY(index.HasPage(65));
    }
}

void TestReadAhead::shortBlockHoldsWhatItHolds()
{
    TestIndexFile index(Open());
    QCOMPARE(ReadsOfPages(index, fetchesAlone), int(fetchesAlone));
    {
        FailingFiles files(Fault::ShortRead, 0, false);
        const UsedStoreFiles used(&files);
        QVERIFY(!index.HasPage(72)); // the first after the half
        QCOMPARE(taerror, 5);
    }
    {
        FailingFiles files(Fault::ShortRead, 0, false);
        const UsedStoreFiles used(&files);
        QVERIFY(index.HasPage(71));
    }
    for (int i = 2; i <= last; i += 2)
        QCOMPARE(index.Find(i), 0);
}

void TestReadAhead::damageIsThatOfThePageAskedFor()
{
    TestIndexFile index(Open());
    {
        const std::uint8_t count = 51;
        OpenStoreFile file(Path().c_str());
        QVERIFY(file.WriteAt(70 * off_t(index.get()->dataFile->recordLength), &count, 1));
    }
    QCOMPARE(ReadsOfPages(index, fetchesAlone), int(fetchesAlone));
    QVERIFY(index.HasPage(69));
    QVERIFY(index.HasPage(71));
    QVERIFY(!index.HasPage(70));
    QCOMPARE(taerror, int(taDamaged));
}

QTEST_GUILESS_MAIN(TestReadAhead)
#include "tst_readahead.moc"
