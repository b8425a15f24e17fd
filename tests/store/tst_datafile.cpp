// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Data files, function by function: the results, the bytes in the file, and the errors
// when the file fails.

#include "store/bytes.h"
#include "store/datafile.h"
#include "store/indexfile.h"
#include "store/ownfiles.h"
#include "store/storecheck.h"
#include "tests/store/storefixture.h"
#include "tests/store/storeshims.h"

#include <QFile>
#include <QFileInfo>
#include <QtTest>

#include <functional>
#include <memory>
#include <new>
#include <sys/stat.h>
#include <vector>

using namespace Agent;

namespace
{

bool memoryIsOut = false;

} // namespace

// The allocation of handles, which may fail.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return memoryIsOut ? nullptr : ::operator new(size);
}

namespace
{

constexpr std::int16_t length = 40;

struct CloseFile {
    void operator()(DataFile* file) const { CloseDataFile(file); }
};
using File = std::unique_ptr<DataFile, CloseFile>;

QByteArray Record(char fill, int size = length)
{
    return QByteArray(4, '\0') + QByteArray(size - 4, fill);
}

std::uint32_t Add(const File& file, char fill)
{
    std::uint32_t number = 0;
    if (AddRec(file.get(), &number, Record(fill, file->recordLength).constData()) != 0)
        qFatal("a record cannot be added");
    return number;
}

QByteArray Get(const File& file, std::uint32_t number)
{
    QByteArray record(file->recordLength, '?');
    return GetRec(file.get(), number, record.data()) == 0 ? record : QByteArray();
}

} // namespace

class DataFileTest : public StoreTest
{
    Q_OBJECT

private slots:
    void init()
    {
        StoreTest::init();
        SetError(taNoError);
    }

    // ---- making and opening ----
    void newFileHoldsExactlyTheHeader();
    void headerWrittenAtCreationCountsNoRecord();
    void creationReplacesWhatWasThere();
    void creationMode();
    void shortRecordLengthIsRaised_data();
    void shortRecordLengthIsRaised();
    void longestRecordLength();
    void recordLengthBeyondTheScratchRecordIsRefused();
    void openCountsWholeRecordsOnly();
    void openTrustsNoStoredCount();
    void openRewritesAnotherVersion();
    void openKeepsVersionInOtherCase();
    void openLeavesTheRestOfTheHeaderRecordAlone();
    void oldestDateIsTheSmallestSeen();

    // ---- records ----
    void deletedRecordsAreUsedAgainLastFirst();
    void chainIsInTheRecordsFirstWords();
    void headerIsWrittenAfterEachChange();
    void everyTransferOpensThePathAnew();
    void bulkReadPastTheEnd();
    void bulkReadTakesAtMostWhatIsThere();
    void bulkWriteGrowsTheFileNotTheCount();
    void bulkAddIsAsManyAddsInARow();
    void bulkAddThatIsCutOffStoresNothing();
    void bulkWriteOfAllNoticesAShortOne();
    void deletingTwiceIsNotNoticed();
    void chainHeadThatIsLiveIsNotHandedOut_data();
    void chainHeadThatIsLiveIsNotHandedOut();
    void damagedDeletedCountDoesNotOverflow();

    // ---- counts, repair, flushing ----
    void countsAnswerFromTheHandle();
    void countsAnswerFromTheFileWhenFlushing();
    void flushingSeesRecordsOfAnotherHandle();
    void fixHeaderRebuildsTheChain();
    void fixHeaderServesShortRecordsOnly();
    void toggleFlushingWritesAndReadsTheHeader();
    void failedRefreshLeavesTheCountsAlone();
    void lastWriteTime();
    void fileSize();
    void existence();
    void openCountSharesAHandle();

    // ---- error codes ----
    void error0IsSetByEveryEntryPoint();
    void error1WhereTheFileDoesNotOpen();
    void error2WhereASeekFails();
    void error3WhereAWriteFailsOrIsShort();
    void error4WhereABulkWriteFails();
    void error5WhereAReadFailsOrIsShort();
    void error5OfARecordPastTheEnd();
    void error6WhereMemoryIsOut();
    void error7WhereAFileIsNotCreated();
    void error8WhereAFileIsNotOpened();
    void error9OfANullHandle();
    void errorMinus1WhereTheStatusIsNotRead();
    void failedTransfersLeaveNoDescriptor();
    void failedAddStoresNothing();

private:
    File make(std::int16_t recordLength = length) const
    {
        return File(MakeOwnDataFile(&testFiles, path().c_str(), recordLength));
    }
    File open(std::int16_t recordLength = length) const
    {
        return File(OpenOwnDataFile(&testFiles, path().c_str(), recordLength));
    }
    DataFileHeader headerOnDisk() const
    {
        const QByteArray bytes = load();
        return ReadDataFileHeader(reinterpret_cast<const std::uint8_t*>(bytes.constData()));
    }
    // Changes a 32-bit field of the header in the file.
    void patch(int offset, std::int32_t value) const
    {
        QByteArray bytes = load();
        PutInt32(reinterpret_cast<std::uint8_t*>(bytes.data()) + offset, value);
        store(bytes);
    }
};

// ---- making and opening ----

void DataFileTest::newFileHoldsExactlyTheHeader()
{
    const File file = make();
    QVERIFY(file);
    QCOMPARE(taerror, 0);
    QCOMPARE(FileLen(file.get()), 1u);
    QCOMPARE(UsedRecs(file.get()), 0u);
    QCOMPARE(FirstRec(file.get()), 1u);
    QCOMPARE(load().size(), int(length));
    QCOMPARE(int(file->isOpen), 1);
    QCOMPARE(int(file->openCount), 1);
    QCOMPARE(int(file->headerDirty), 1);
    QCOMPARE(int(file->isIndexFile | file->held | file->flushing), 0);
    QCOMPARE(std::string(file->fileName), path());
}

void DataFileTest::headerWrittenAtCreationCountsNoRecord()
{
    const File file = make();
    QCOMPARE(headerOnDisk().recordCount, 0);
    QCOMPARE(headerOnDisk().storedCount, 0);
    QCOMPARE(headerOnDisk().firstFree, -1);
    QCOMPARE(file->header.recordCount, 1);
    TaCloseFile(file.get());
    QCOMPARE(headerOnDisk().recordCount, 1);
    QCOMPARE(headerOnDisk().storedCount, 1);
    QCOMPARE(std::string(headerOnDisk().version), std::string("4.2a"));
}

void DataFileTest::creationReplacesWhatWasThere()
{
    {
        const File file = make();
        Add(file, 'a');
        Add(file, 'b');
    }
    const File file = make();
    QCOMPARE(FileLen(file.get()), 1u);
    QCOMPARE(load().size(), int(length));
}

void DataFileTest::creationMode()
{
    const mode_t before = umask(0);
    const File file = make();
    umask(before);
    struct stat status;
    QCOMPARE(stat(path().c_str(), &status), 0);
    QCOMPARE(int(status.st_mode & 07777), 0777);
}

void DataFileTest::shortRecordLengthIsRaised_data()
{
    QTest::addColumn<int>("asked");
    QTest::addColumn<int>("used");
    QTest::newRow("negative") << -3 << 31;
    QTest::newRow("none") << 0 << 31;
    QTest::newRow("below") << 30 << 31;
    QTest::newRow("the header's own") << 31 << 31;
    QTest::newRow("above") << 32 << 32;
}

void DataFileTest::shortRecordLengthIsRaised()
{
    QFETCH(int, asked);
    QFETCH(int, used);
    {
        const File file = make(std::int16_t(asked));
        QCOMPARE(file->recordLength, used);
        Add(file, 'a');
        QCOMPARE(load().size(), 2 * used);
    }
    const File file = open(std::int16_t(asked));
    QVERIFY(file);
    QCOMPARE(file->recordLength, used);
    QCOMPARE(FileLen(file.get()), 2u);
    QCOMPARE(Get(file, 1), Record('a', used));
}

void DataFileTest::longestRecordLength()
{
    const File file = make(maxRecordLength);
    QVERIFY(file);
    QCOMPARE(Add(file, 'a'), 1u);
    QCOMPARE(Add(file, 'b'), 2u);
    QCOMPARE(DeleteRec(file.get(), 1), 0);
    QCOMPARE(Get(file, 2), Record('b', maxRecordLength));
    QCOMPARE(CheckDataFile(path(), maxRecordLength), Findings());
}

void DataFileTest::recordLengthBeyondTheScratchRecordIsRefused()
{
    QVERIFY(!make(maxRecordLength + 1));
    QCOMPARE(taerror, 7);
    QVERIFY(!DoesFileExist(0, path().c_str()));
    make();
    QVERIFY(!open(maxRecordLength + 1));
    QCOMPARE(taerror, 8);
}

void DataFileTest::openCountsWholeRecordsOnly()
{
    Add(make(), 'a');
    store(load() + QByteArray(length - 1, 'x'));
    const File file = open();
    QCOMPARE(FileLen(file.get()), 2u);
    QCOMPARE(Add(file, 'b'), 2u);
    QCOMPARE(load().size(), 3 * length);
    QCOMPARE(Get(file, 2), Record('b'));
}

void DataFileTest::openTrustsNoStoredCount()
{
    Add(make(), 'a');
    patch(12, 77);
    patch(16, 99);
    const File file = open();
    QCOMPARE(FileLen(file.get()), 2u);
    QCOMPARE(UsedRecs(file.get()), 1u);
}

void DataFileTest::openRewritesAnotherVersion()
{
    Add(make(), 'a');
    store(load().replace(20, 8, "3.10beta"));
    const File file = open();
    QVERIFY(file);
    QCOMPARE(load().mid(20, 8), QByteArray("4.2a\0\0\0\0", 8));
    QCOMPARE(std::string(file->header.version), std::string("4.2a"));
}

void DataFileTest::openKeepsVersionInOtherCase()
{
    Add(make(), 'a');
    store(load().replace(20, 4, "4.2A"));
    const QByteArray before = load();
    const File file = open();
    QVERIFY(file);
    QCOMPARE(load(), before);
}

void DataFileTest::openLeavesTheRestOfTheHeaderRecordAlone()
{
    Add(make(), 'a');
    store(load().replace(20, 4, "9.99").replace(31, 5, "extra"));
    QVERIFY(open());
    QCOMPARE(load().mid(31, 5), QByteArray("extra"));
}

void DataFileTest::oldestDateIsTheSmallestSeen()
{
    lOldestDate = 0;
    make();
    QCOMPARE(lOldestDate, 0);
    // Three bytes of the date are in the header; the fourth is not.
    patch(28, 0x7f000000 | 500);
    QCOMPARE(open()->header.oldestDate, 500);
    QCOMPARE(lOldestDate, 500);
    patch(28, 700);
    open();
    QCOMPARE(lOldestDate, 500);
    patch(28, 3);
    open();
    QCOMPARE(lOldestDate, 3);
    lOldestDate = 0;
}

// ---- records ----

void DataFileTest::deletedRecordsAreUsedAgainLastFirst()
{
    const File file = make();
    for (std::uint32_t i = 1; i <= 10; ++i)
        QCOMPARE(Add(file, char('a' + i)), i);
    QCOMPARE(DeleteRec(file.get(), 5), 0);
    QCOMPARE(DeleteRec(file.get(), 9), 0);
    QCOMPARE(UsedRecs(file.get()), 8u);
    QCOMPARE(FileLen(file.get()), 11u);
    QCOMPARE(FirstRec(file.get()), 9u);
    QCOMPARE(Add(file, 'X'), 9u);
    QCOMPARE(FirstRec(file.get()), 5u);
    QCOMPARE(Add(file, 'Y'), 5u);
    QCOMPARE(FirstRec(file.get()), 11u);
    QCOMPARE(Add(file, 'Z'), 11u);
    QCOMPARE(CheckDataFile(path(), length), Findings());
}

void DataFileTest::chainIsInTheRecordsFirstWords()
{
    const File file = make();
    Add(file, 'a');
    Add(file, 'b');
    Add(file, 'c');
    DeleteRec(file.get(), 1);
    DeleteRec(file.get(), 3);
    QCOMPARE(headerOnDisk().firstFree, 3);
    QCOMPARE(headerOnDisk().deletedCount, 2);
    QCOMPARE(load().mid(3 * length, length), QByteArray("\x01\0\0\0", 4) + QByteArray(36, '\0'));
    QCOMPARE(load().mid(1 * length, length), QByteArray(4, '\xff') + QByteArray(36, '\0'));
}

void DataFileTest::headerIsWrittenAfterEachChange()
{
    const File file = make();
    Add(file, 'a');
    QCOMPARE(headerOnDisk().recordCount, 2);
    QCOMPARE(headerOnDisk().storedCount, 2);
    QCOMPARE(int(file->headerDirty), 0);
    DeleteRec(file.get(), 1);
    QCOMPARE(headerOnDisk().firstFree, 1);
    QCOMPARE(PutRec(file.get(), 1, Record('b').constData()), 0);
    QCOMPARE(int(file->headerDirty), 1);
}

void DataFileTest::everyTransferOpensThePathAnew()
{
    const File file = make();
    Add(file, 'a');
    const QByteArray bytes = load();
    QVERIFY(QFile::remove(QString::fromStdString(path())));
    store(bytes.left(length) + Record('z'));
    QCOMPARE(Get(file, 1), Record('z'));
}

void DataFileTest::bulkReadPastTheEnd()
{
    const File file = make();
    QByteArray room(10 * length, '?');
    QCOMPARE(GetBigRec(file.get(), 1, room.data(), 10), 0u);
    QCOMPARE(taerror, 0);
    Add(file, 'a');
    Add(file, 'b');
    QCOMPARE(GetBigRec(file.get(), 1, room.data(), 10), 2u);
    QCOMPARE(taerror, 0);
    QCOMPARE(room.left(2 * length), Record('a') + Record('b'));
    QCOMPARE(GetBigRec(file.get(), 1000, room.data(), 10), 0u);
}

void DataFileTest::bulkReadTakesAtMostWhatIsThere()
{
    const File file = make();
    Add(file, 'a');
    store(load() + QByteArray(length - 1, 'x'));
    QByteArray room(10 * length, '?');
    QCOMPARE(GetBigRec(file.get(), 1, room.data(), 10), 1u);
    QCOMPARE(GetBigRec(file.get(), 0, room.data(), 1), 1u);
}

void DataFileTest::bulkWriteGrowsTheFileNotTheCount()
{
    const File file = make();
    const QByteArray three = Record('a') + Record('b') + Record('c');
    QCOMPARE(PutBigRec(file.get(), 1, three.constData(), 3), 0);
    QCOMPARE(int(file->headerDirty), 1);
    QCOMPARE(load().mid(length), three);
    QCOMPARE(FileLen(file.get()), 1u);
    QCOMPARE(TaOpenFile(file.get()), 0);
    QCOMPARE(FileLen(file.get()), 4u);
}

void DataFileTest::bulkAddIsAsManyAddsInARow()
{
    const QByteArray three = Record('a') + Record('b') + Record('c');
    QByteArray expected;
    {
        const File file = make();
        for (const char letter : { 'x', 'a', 'b', 'c' })
            Add(file, letter);
        expected = load();
    }
    const File file = make();
    Add(file, 'x');
    std::uint32_t first = 0;
    QCOMPARE(AddBigRec(file.get(), &first, three.constData(), 3), 0);
    QCOMPARE(first, 2u);
    QCOMPARE(load(), expected);
    QCOMPARE(FileLen(file.get()), 5u);
    // After the last one, even if a number is free.
    QCOMPARE(DeleteRec(file.get(), 3), 0);
    QCOMPARE(AddBigRec(file.get(), &first, three.constData(), 1), 0);
    QCOMPARE(first, 5u);
    QCOMPARE(FirstRec(file.get()), 3u);
    QCOMPARE(CheckDataFile(path(), length), Findings());
}

void DataFileTest::bulkAddThatIsCutOffStoresNothing()
{
    const QByteArray three = Record('a') + Record('b') + Record('c');
    for (const Fault fault : { Fault::Open, Fault::Seek, Fault::Write, Fault::ShortWrite }) {
        const File file = make();
        Add(file, 'x');
        std::uint32_t first = 0;
        {
            FailingFiles files(fault, 0, false);
            const UsedStoreFiles used(&files);
            QCOMPARE(AddBigRec(file.get(), &first, three.constData(), 3), -1);
            QVERIFY(taerror != 0);
        }
        QCOMPARE(FileLen(file.get()), 2u);
        QCOMPARE(AddBigRec(file.get(), &first, three.constData(), 3), 0);
        QCOMPARE(first, 2u);
        QCOMPARE(load().mid(2 * length), three);
    }
}

void DataFileTest::bulkWriteOfAllNoticesAShortOne()
{
    const QByteArray two = Record('a') + Record('b');
    const File file = make();
    Add(file, 'x');
    Add(file, 'y');
    for (const Fault fault : { Fault::Open, Fault::Seek, Fault::Write, Fault::ShortWrite }) {
        FailingFiles files(fault, 0, false);
        const UsedStoreFiles used(&files);
        QCOMPARE(PutAllRecs(file.get(), 1, two.constData(), 2), -1);
        QCOMPARE(taerror, fault == Fault::Open ? 1 : fault == Fault::Seek ? 2 : 3);
    }
    QCOMPARE(PutAllRecs(file.get(), 1, two.constData(), 2), 0);
    QCOMPARE(load().mid(length), two);
}

void DataFileTest::deletingTwiceIsNotNoticed()
{
    const File file = make();
    Add(file, 'a');
    QCOMPARE(DeleteRec(file.get(), 1), 0);
    QCOMPARE(DeleteRec(file.get(), 1), 0);
    QCOMPARE(file->header.deletedCount, 2);
    QVERIFY(!CheckDataFile(path(), length).empty());
}

void DataFileTest::chainHeadThatIsLiveIsNotHandedOut_data()
{
    QTest::addColumn<int>("head");
    QTest::newRow("a live record") << 1;
    QTest::newRow("the header") << 0;
    QTest::newRow("past the end") << 3;
    QTest::newRow("far past the end") << 1000000;
    QTest::newRow("negative") << -7;
    QTest::newRow("the smallest number") << int(INT32_MIN);
}

void DataFileTest::chainHeadThatIsLiveIsNotHandedOut()
{
    QFETCH(int, head);
    {
        const File file = make();
        Add(file, 'a');
        Add(file, 'b');
    }
    patch(0, head);
    patch(4, 1);
    const File file = open();
    QCOMPARE(Add(file, 'c'), 3u);
    QCOMPARE(Get(file, 1), Record('a'));
    QCOMPARE(Get(file, 2), Record('b'));
    QCOMPARE(CheckDataFile(path(), length), Findings());
}

void DataFileTest::damagedDeletedCountDoesNotOverflow()
{
    {
        const File file = make();
        Add(file, 'a');
        DeleteRec(file.get(), 1);
    }
    patch(4, INT32_MIN);
    Add(open(), 'b');
    QCOMPARE(headerOnDisk().deletedCount, 0);
    patch(4, INT32_MAX);
    QCOMPARE(DeleteRec(open().get(), 1), 0);
    QVERIFY(headerOnDisk().deletedCount > 0);
}

// ---- counts, repair, flushing ----

void DataFileTest::countsAnswerFromTheHandle()
{
    const File file = make();
    Add(file, 'a');
    CountingFiles files;
    const UsedStoreFiles used(&files);
    QCOMPARE(FileLen(file.get()), 2u);
    QCOMPARE(UsedRecs(file.get()), 1u);
    QCOMPARE(FirstRec(file.get()), 2u);
    QCOMPARE(files.opens, 0);
}

void DataFileTest::countsAnswerFromTheFileWhenFlushing()
{
    const File file = make();
    ToggleFlushing(file.get(), 1, 0);
    store(load() + Record('a') + Record('b'));
    QCOMPARE(FileLen(file.get()), 3u);
    QCOMPARE(UsedRecs(file.get()), 2u);
    QVERIFY(QFile::remove(QString::fromStdString(path())));
    QCOMPARE(FileLen(file.get()), 0u);
    QCOMPARE(taerror, 1);
    QCOMPARE(UsedRecs(file.get()), 0u);
    QCOMPARE(taerror, 1);
}

void DataFileTest::flushingSeesRecordsOfAnotherHandle()
{
    const File one = make();
    const File other = open();
    ToggleFlushing(one.get(), 1, 0);
    ToggleFlushing(other.get(), 1, 0);
    QCOMPARE(Add(one, 'a'), 1u);
    QCOMPARE(Add(other, 'b'), 2u);
    QCOMPARE(DeleteRec(other.get(), 1), 0);
    QCOMPARE(Add(one, 'c'), 1u);
    QCOMPARE(Add(other, 'd'), 3u);
    QCOMPARE(Get(one, 1), Record('c'));
    QCOMPARE(CheckDataFile(path(), length), Findings());
}

void DataFileTest::fixHeaderRebuildsTheChain()
{
    const File file = make();
    for (int i = 0; i < 6; ++i)
        Add(file, char('a' + i));
    DeleteRec(file.get(), 4);
    DeleteRec(file.get(), 2);
    DeleteRec(file.get(), 5);
    patch(0, -1);
    patch(4, 9);
    patch(8, 1234);
    QCOMPARE(TaOpenFile(file.get()), 0);
    QVERIFY(FixHeader(file.get()));
    QCOMPARE(headerOnDisk().firstFree, 5);
    QCOMPARE(headerOnDisk().deletedCount, 3);
    QCOMPARE(headerOnDisk().rootPage, 0);
    QCOMPARE(headerOnDisk().recordCount, 7);
    QCOMPARE(CheckDataFile(path(), length), Findings());
    QCOMPARE(Add(file, 'X'), 5u);
    QCOMPARE(Add(file, 'X'), 4u);
    QCOMPARE(Add(file, 'X'), 2u);
    QCOMPARE(Get(file, 1), Record('a'));
    QCOMPARE(Get(file, 3), Record('c'));
    QCOMPARE(Get(file, 6), Record('f'));
}

void DataFileTest::fixHeaderServesShortRecordsOnly()
{
    for (const std::int16_t size : { std::int16_t(2508), std::int16_t(2509) }) {
        const File file = make(size);
        Add(file, 'a');
        DeleteRec(file.get(), 1);
        patch(0, -1);
        patch(4, 0);
        TaOpenFile(file.get());
        const QByteArray before = load();
        QVERIFY(FixHeader(file.get()));
        QCOMPARE(load() == before, size == 2509);
    }
}

void DataFileTest::toggleFlushingWritesAndReadsTheHeader()
{
    const File file = make();
    QCOMPARE(headerOnDisk().recordCount, 0);
    ToggleFlushing(file.get(), 1, 0);
    QCOMPARE(taerror, 0);
    QCOMPARE(int(file->flushing), 1);
    QCOMPARE(headerOnDisk().recordCount, 1);
    store(load() + Record('a'));
    ToggleFlushing(file.get(), 0, 0);
    QCOMPARE(int(file->flushing), 0);
    QCOMPARE(FileLen(file.get()), 2u);
}

// The header in the file may count fewer records than there are, so its counts must not
// be used while the number of records is unknown.
void DataFileTest::failedRefreshLeavesTheCountsAlone()
{
    const File file = make();
    Add(file, 'a');
    Add(file, 'b');
    patch(16, 0);
    {
        FailingFiles files(Fault::Status, 0, true);
        const UsedStoreFiles used(&files);
        QCOMPARE(TaOpenFile(file.get()), -1);
    }
    QCOMPARE(FileLen(file.get()), 3u);
    QCOMPARE(Add(file, 'c'), 3u);
    QCOMPARE(Get(file, 1), Record('a'));
}

void DataFileTest::lastWriteTime()
{
    const File file = make();
    const timespec times[] = { { 12, 0 }, { 1234567, 0 } };
    QCOMPARE(utimensat(AT_FDCWD, path().c_str(), times, 0), 0);
    QCOMPARE(GetLastWriteTime(file.get()), std::time_t(1234567));
    QCOMPARE(taerror, 0);
    QVERIFY(QFile::remove(QString::fromStdString(path())));
    QCOMPARE(GetLastWriteTime(file.get()), std::time_t(0));
    QCOMPARE(taerror, 1);
}

void DataFileTest::fileSize()
{
    make();
    const int descriptor = ::open(path().c_str(), O_RDONLY);
    QCOMPARE(GetFileSize(descriptor, nullptr), std::int64_t(length));
    ::close(descriptor);
    QCOMPARE(GetFileSize(descriptor, nullptr), std::int64_t(-1));
}

void DataFileTest::existence()
{
    QVERIFY(!DoesFileExist(0, path().c_str()));
    make();
    QVERIFY(DoesFileExist(0, path().c_str()));
    // Permissions are not checked.
    QCOMPARE(chmod(path().c_str(), 0), 0);
    QVERIFY(DoesFileExist(0, path().c_str()));
    QVERIFY(DoesFileExist(0, m_folder->path().toUtf8().constData()));
    QVERIFY(!DoesFileExist(0, std::string(5000, 'x').c_str()));
}

void DataFileTest::openCountSharesAHandle()
{
    DataFile* const file = make().release();
    file->openCount = 2;
    QCOMPARE(CloseDataFile(file), 0);
    QCOMPARE(int(file->isOpen), 1);
    std::uint32_t number;
    QCOMPARE(AddRec(file, &number, Record('a').constData()), 0);
    file->openCount = 0;
    QCOMPARE(CloseDataFile(file), 0);
    QCOMPARE(FileLen(open().get()), 2u);
}

// ---- error codes ----

void DataFileTest::error0IsSetByEveryEntryPoint()
{
    const File file = make();
    QByteArray room(length, '\0');
    std::uint32_t number;
    const std::vector<std::function<void()>> calls = {
        [&] { AddRec(file.get(), &number, room.constData()); },
        [&] { DeleteRec(file.get(), number); },
        [&] { newrec(file.get(), &number); },
        [&] { PutRec(file.get(), 1, room.constData()); },
        [&] { GetRec(file.get(), 1, room.data()); },
        [&] { PutBigRec(file.get(), 1, room.constData(), 1); },
        [&] { GetBigRec(file.get(), 1, room.data(), 1); },
        [&] { FileLen(file.get()); },
        [&] { UsedRecs(file.get()); },
        [&] { FixHeader(file.get()); },
        [&] { ToggleFlushing(file.get(), 0, 0); },
        [&] { TaOpenFile(file.get()); },
        [&] { TaCloseFile(file.get()); },
        [&] { GetLastWriteTime(file.get()); },
        [&] { open(); },
        [&] {
            QVERIFY(MakeOwnDataFile(&testFiles, path("other").c_str(), length)->openCount == 1);
        },
        [&] { CloseDataFile(OpenOwnDataFile(&testFiles, path("other").c_str(), length)); },
    };
    for (std::size_t i = 0; i < calls.size(); ++i) {
        SetError(taNullHandle);
        calls[i]();
        QVERIFY2(GetAccessError() == 0, qPrintable(QString("call %1").arg(i)));
    }
    QCOMPARE(SetError(0), 0);
    QCOMPARE(SetError(3), -1);
    QCOMPARE(GetAccessError(), 3);
}

void DataFileTest::error1WhereTheFileDoesNotOpen()
{
    const File file = make();
    Add(file, 'a');
    QVERIFY(QFile::remove(QString::fromStdString(path())));
    QByteArray room(length, '\0');
    std::uint32_t number;
    QCOMPARE(GetRec(file.get(), 1, room.data()), -1);
    QCOMPARE(taerror, 1);
    QCOMPARE(PutRec(file.get(), 1, room.data()), -1);
    QCOMPARE(taerror, 1);
    QCOMPARE(GetBigRec(file.get(), 1, room.data(), 1), 65535u);
    QCOMPARE(taerror, 1);
    QCOMPARE(PutBigRec(file.get(), 1, room.data(), 1), -1);
    QCOMPARE(taerror, 1);
    QCOMPARE(TaOpenFile(file.get()), -1);
    QCOMPARE(taerror, 1);
    QCOMPARE(GetLastWriteTime(file.get()), std::time_t(0));
    QCOMPARE(taerror, 1);
    QCOMPARE(AddRec(file.get(), &number, room.data()), -1);
    QCOMPARE(taerror, 1);
    QCOMPARE(DeleteRec(file.get(), 1), -1);
    QCOMPARE(taerror, 1);
}

void DataFileTest::error2WhereASeekFails()
{
    const File file = make();
    FailingFiles files(Fault::Seek, 0, true);
    const UsedStoreFiles used(&files);
    QByteArray room(length, '\0');
    QCOMPARE(GetRec(file.get(), 0, room.data()), -1);
    QCOMPARE(taerror, 2);
    QCOMPARE(PutRec(file.get(), 0, room.data()), -1);
    QCOMPARE(taerror, 2);
    QCOMPARE(GetBigRec(file.get(), 0, room.data(), 1), 65535u);
    QCOMPARE(taerror, 2);
    QCOMPARE(PutBigRec(file.get(), 0, room.data(), 1), -1);
    QCOMPARE(taerror, 2);
}

void DataFileTest::error3WhereAWriteFailsOrIsShort()
{
    const File file = make();
    for (const Fault fault : { Fault::Write, Fault::ShortWrite, Fault::FullDisk }) {
        FailingFiles files(fault, 0, true);
        const UsedStoreFiles used(&files);
        QCOMPARE(PutRec(file.get(), 1, Record('a').constData()), -1);
        QCOMPARE(taerror, 3);
        QVERIFY(!MakeOwnDataFile(&testFiles, path("new").c_str(), length));
        QCOMPARE(taerror, 3);
    }
}

void DataFileTest::error4WhereABulkWriteFails()
{
    const File file = make();
    const QByteArray two = Record('a') + Record('b');
    {
        FailingFiles files(Fault::Write, 0, true);
        const UsedStoreFiles used(&files);
        QCOMPARE(PutBigRec(file.get(), 1, two.constData(), 2), -1);
        QCOMPARE(taerror, 4);
    }
    // A short transfer is not noticed.
    FailingFiles files(Fault::ShortWrite, 0, true);
    const UsedStoreFiles used(&files);
    QCOMPARE(PutBigRec(file.get(), 1, two.constData(), 2), 0);
    QCOMPARE(taerror, 0);
    QCOMPARE(load().size(), 2 * length);
}

void DataFileTest::error5WhereAReadFailsOrIsShort()
{
    const File file = make();
    QByteArray room(2 * length, '\0');
    {
        FailingFiles files(Fault::Read, 0, true);
        const UsedStoreFiles used(&files);
        QCOMPARE(GetRec(file.get(), 0, room.data()), -1);
        QCOMPARE(taerror, 5);
        QCOMPARE(GetBigRec(file.get(), 0, room.data(), 2), 65535u);
        QCOMPARE(taerror, 5);
        QVERIFY(!open());
        QCOMPARE(taerror, 5);
    }
    FailingFiles files(Fault::ShortRead, 0, true);
    const UsedStoreFiles used(&files);
    QCOMPARE(GetRec(file.get(), 0, room.data()), -1);
    QCOMPARE(taerror, 5);
    QCOMPARE(GetBigRec(file.get(), 0, room.data(), 2), 1u);
    QCOMPARE(taerror, 0);
}

void DataFileTest::error5OfARecordPastTheEnd()
{
    const File file = make();
    QByteArray room(length, '\0');
    QCOMPARE(GetRec(file.get(), 1, room.data()), -1);
    QCOMPARE(taerror, 5);
    QCOMPARE(GetRec(file.get(), 4000000000u, room.data()), -1);
    QCOMPARE(taerror, 5);
    store(load().left(12));
    QVERIFY(!open());
    QCOMPARE(taerror, 5);
}

void DataFileTest::error6WhereMemoryIsOut()
{
    make();
    memoryIsOut = true;
    const bool made = bool(make());
    const std::int32_t whenMaking = taerror;
    const bool opened = bool(open());
    memoryIsOut = false;
    QVERIFY(!made && !opened);
    QCOMPARE(whenMaking, 6);
    QCOMPARE(taerror, 6);
    // Without the page cache there is no memory for an index.
    UnInitIndex();
    QVERIFY(!MakeOwnIndex(&testFiles, path().c_str(), 10, 0));
    QCOMPARE(taerror, 6);
    QVERIFY(!OpenOwnIndex(&testFiles, path().c_str(), 10, 0));
    QCOMPARE(taerror, 6);
    QCOMPARE(InitIndex(), 0);
}

void DataFileTest::error7WhereAFileIsNotCreated()
{
    QVERIFY(!MakeOwnDataFile(&testFiles, path("no/such/folder").c_str(), length));
    QCOMPARE(taerror, 7);
    QVERIFY(!MakeOwnDataFile(&testFiles, m_folder->path().toUtf8().constData(), length));
    QCOMPARE(taerror, 7);
    QVERIFY(!MakeOwnDataFile(&testFiles, std::string(PATH_MAX, 'x').c_str(), length));
    QCOMPARE(taerror, 7);
}

void DataFileTest::error8WhereAFileIsNotOpened()
{
    QVERIFY(!open());
    QCOMPARE(taerror, 8);
    QVERIFY(!OpenOwnDataFile(&testFiles, m_folder->path().toUtf8().constData(), length));
    QCOMPARE(taerror, 8);
    QVERIFY(!OpenOwnDataFile(&testFiles, "/dev/zero", length));
    QCOMPARE(taerror, 8);
    QVERIFY(!OpenOwnDataFile(&testFiles, std::string(PATH_MAX, 'x').c_str(), length));
    QCOMPARE(taerror, 8);
}

void DataFileTest::error9OfANullHandle()
{
    QCOMPARE(CloseDataFile(nullptr), -1);
    QCOMPARE(taerror, 9);
    QCOMPARE(CloseIndex(nullptr), -1);
    QCOMPARE(taerror, 9);
}

void DataFileTest::errorMinus1WhereTheStatusIsNotRead()
{
    const File file = make();
    FailingFiles files(Fault::Status, 0, true);
    const UsedStoreFiles used(&files);
    QCOMPARE(GetLastWriteTime(file.get()), std::time_t(0));
    QCOMPARE(taerror, -1);
}

void DataFileTest::failedTransfersLeaveNoDescriptor()
{
    const File file = make();
    Add(file, 'a');
    QByteArray room(length, '\0');
    std::uint32_t number;
    for (const Fault fault : { Fault::Seek, Fault::Read, Fault::ShortRead, Fault::Write,
                               Fault::ShortWrite, Fault::Status }) {
        FailingFiles files(fault, 0, true);
        const UsedStoreFiles used(&files);
        GetRec(file.get(), 1, room.data());
        PutRec(file.get(), 1, room.data());
        GetBigRec(file.get(), 1, room.data(), 1);
        PutBigRec(file.get(), 1, room.data(), 1);
        AddRec(file.get(), &number, room.data());
        DeleteRec(file.get(), 1);
        TaOpenFile(file.get());
        GetLastWriteTime(file.get());
        QCOMPARE(OpenDescriptors(), m_descriptors);
    }
}

void DataFileTest::failedAddStoresNothing()
{
    const File file = make();
    Add(file, 'a');
    {
        FailingFiles files(Fault::FullDisk, 0, true);
        const UsedStoreFiles used(&files);
        std::uint32_t number;
        QCOMPARE(AddRec(file.get(), &number, Record('b').constData()), -1);
        QCOMPARE(taerror, 3);
    }
    QCOMPARE(FileLen(file.get()), 2u);
    QCOMPARE(Add(file, 'c'), 2u);
    QCOMPARE(CheckDataFile(path(), length), Findings());
}

QTEST_GUILESS_MAIN(DataFileTest)
#include "tst_datafile.moc"
