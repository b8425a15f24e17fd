// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Notes, case by case: where texts are put, how freed blocks are reused, and what damaged
// blocks cause.

#include "store/bytes.h"
#include "store/cnote.h"
#include "store/notesheap.h"
#include "store/ownfiles.h"
#include "tests/store/storeshims.h"
#include "tests/store/storetest.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <sys/stat.h>

using namespace Agent;

namespace
{

QByteArray Text(int length, char fill = 'x')
{
    QByteArray text(length, fill);
    for (int i = 0; i < length; i += 997)
        text[i] = char('0' + i / 997 % 10);
    return text;
}

QByteArray Header(int status, int slack, std::int32_t length)
{
    std::uint8_t bytes[blockHeaderLength];
    PackBlockHeader({ std::uint8_t(status), std::uint8_t(slack), 0, length }, bytes);
    return QByteArray(reinterpret_cast<const char*>(bytes), sizeof bytes);
}

} // namespace

class TestNotes : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QCOMPARE(InitIndex(), 0); }
    void cleanupTestCase() { UnInitIndex(); }
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_descriptors = OpenDescriptors();
        m_notes = std::make_unique<CNote>(&testFiles);
        QVERIFY(m_notes->Create(Name().c_str()));
    }
    void cleanup()
    {
        m_notes.reset();
        QCOMPARE(OpenDescriptors(), m_descriptors);
    }

    // ---- opening ----
    void openMakesWhatIsNotThere();
    void openKeepsWhatIsThere();
    void openMakesAMissingIndexOnly();
    void createEmptiesBothFiles();
    void openFailsWithoutAFolder();
    void openFailsForALongName();
    void openFailsWhereTheIndexIsNoFile();
    void openMakesAHalfMadeIndexAnew();
    void newFilesAreOpenToAll();
    void closedStoreRefusesChanges();
    void nullTextsAreRefused();
    void refusedNameIsNoStore();

    // ---- saving ----
    void firstNoteIsAtTheBeginning();
    void nextNoteFollowsTheText();
    void emptyText();
    void textsOfManyPieces_data();
    void textsOfManyPieces();
    void longestText();
    void textMayHoldAnyByte();
    void piecesAreOfAtMost32000Bytes();
    void otherHandleSeesTheNoteAtOnce();

    // ---- freed blocks ----
    void sameSizeReusesTheOffset();
    void remainderBecomesSlackOrAFreeBlock_data();
    void remainderBecomesSlackOrAFreeBlock();
    void bestFitTakesTheSmallestBlock();
    void bestFitTakesTheLowestOffsetOfEqualBlocks();
    void laterThenEarlierGivesOneBlock();
    void earlierThenLaterGivesTwoBlocks();
    void deletingKeepsTheSlackByte();
    void deletingTwiceFreesOnce();
    void freedBytesStayAsTheyWere();
    void shortTextSkipsTheSevenByteBlock();

    // ---- a remainder of seven bytes ----
    void sevenBeforeABlockInUse();
    void sevenBeforeABlockFreedLater();
    void sevenAtTheEndOfTheFile();
    void sevenBeforeAFreeBlock();
    void sevenBeforeALongFreeBlock();
    void sevenIsMergedWithTheBlockBefore();
    void sevenIsAvoidedOnRequest();

    // ---- reading ----
    void readOfADeletedNote();
    void readOfANegativeOffset();
    void readPastTheEnd();
    void textEndsInZeroBytes();
    void lengthDoesNotAskForTheStatus();
    void lengthOfALargeFreeBlock();

    // ---- damage and faults ----
    void damagedHeadersGiveNoText_data();
    void damagedHeadersGiveNoText();
    void saveRefusesAListedBlockThatIsNotFree();
    void blocksBeyondTheLastOffsetAreDamage();
    void filesThatAreGone();

    // ---- reindexing ----
    void reindexListsTheFreeBlocks();
    void reindexOfAnEmptyHeap();
    void reindexEndsAtABlockOfLength0();
    void reindexListsSevenByteBlocks();

private:
    std::string Name() const { return m_folder->filePath("notes").toStdString(); }
    QString HeapPath() const { return m_folder->filePath("notes.fil"); }
    QByteArray Heap() const
    {
        QFile file(HeapPath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    void WriteHeap(int offset, const QByteArray& bytes) const
    {
        QFile file(HeapPath());
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.seek(offset));
        QCOMPARE(file.write(bytes), qint64(bytes.size()));
    }
    std::int32_t Save(const QByteArray& text) const
    {
        return m_notes->SaveNote(text.constData(), text.size());
    }
    std::int32_t Save(int length) const { return Save(Text(length)); }
    QByteArray Read(std::int32_t offset) const
    {
        const std::unique_ptr<char, decltype(&std::free)> text(m_notes->ReadNote(offset),
                                                               &std::free);
        return text ? QByteArray(text.get(), m_notes->NoteLength(offset)) : QByteArray();
    }
    bool IsThere(std::int32_t offset) const
    {
        const std::unique_ptr<char, decltype(&std::free)> text(m_notes->ReadNote(offset),
                                                               &std::free);
        return text != nullptr;
    }
    // The free blocks as the index lists them: capacity@offset.
    std::string Listed() const
    {
        std::vector<IndexEntry> entries;
        CheckIndex(Name() + ".k1", freeKeyLength, true, &entries);
        std::string all;
        for (const IndexEntry& entry : entries)
            all += (all.empty() ? "" : " ") + std::to_string(std::atol(entry.key.c_str())) + "@"
                + std::to_string(entry.record);
        return all;
    }
    Findings Check() const { return CheckNotes(Name()); }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<CNote> m_notes;
    int m_descriptors = 0;
};

// ---- opening ----

void TestNotes::openMakesWhatIsNotThere()
{
    QVERIFY(m_notes->Open((Name() + "2").c_str()));
    QVERIFY(QFile::exists(m_folder->filePath("notes2.fil")));
    QVERIFY(QFile::exists(m_folder->filePath("notes2.k1")));
    QCOMPARE(Save(5), 0);
}

void TestNotes::openKeepsWhatIsThere()
{
    QCOMPARE(Save("one"), 0);
    QCOMPARE(Save("two"), 11);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QVERIFY(m_notes->Open(Name().c_str()));
    QCOMPARE(Read(11), QByteArray("two"));
    QCOMPARE(Listed(), std::string("3@0"));
    QCOMPARE(Save("abc"), 0);
}

void TestNotes::openMakesAMissingIndexOnly()
{
    QCOMPARE(Save("one"), 0);
    m_notes->Close();
    QVERIFY(QFile::remove(m_folder->filePath("notes.k1")));
    QVERIFY(m_notes->Open(Name().c_str()));
    QCOMPARE(Read(0), QByteArray("one"));
    QCOMPARE(Listed(), std::string());
}

void TestNotes::createEmptiesBothFiles()
{
    Save("one");
    Save("two");
    m_notes->DeleteNote(0);
    QVERIFY(m_notes->Create(Name().c_str()));
    QCOMPARE(Heap(), QByteArray());
    QCOMPARE(Listed(), std::string());
    QCOMPARE(Check(), Findings());
}

void TestNotes::openFailsWithoutAFolder()
{
    QVERIFY(!m_notes->Open((Name() + "/no/notes").c_str()));
    QVERIFY(!m_notes->Create((Name() + "/no/notes").c_str()));
    QCOMPARE(Save("one"), -1);
}

void TestNotes::openFailsForALongName()
{
    const std::string name(PATH_MAX, 'x');
    QVERIFY(!m_notes->Open(name.c_str()));
    QVERIFY(!m_notes->Create(name.c_str()));
    QVERIFY(!m_notes->Open(name.substr(0, PATH_MAX - 4).c_str()));
}

void TestNotes::openFailsWhereTheIndexIsNoFile()
{
    m_notes->Close();
    QVERIFY(QFile::remove(m_folder->filePath("notes.k1")));
    QVERIFY(QDir(m_folder->path()).mkdir("notes.k1"));
    QVERIFY(!m_notes->Open(Name().c_str()));
    QCOMPARE(Save("one"), -1);
}

// A process that ends during Reindex leaves such an index.
void TestNotes::openMakesAHalfMadeIndexAnew()
{
    Save(50);
    Save("last");
    m_notes->DeleteNote(0);
    for (const int size : { 0, 100, 907 }) {
        m_notes->Close();
        QVERIFY(QFile::resize(m_folder->filePath("notes.k1"), size));
        QVERIFY(m_notes->Open(Name().c_str()));
        QCOMPARE(Listed(), std::string("50@0"));
        QCOMPARE(Check(), Findings());
    }
    QCOMPARE(Save(50), 0);
    QCOMPARE(Read(58), QByteArray("last"));
}

void TestNotes::newFilesAreOpenToAll()
{
    const mode_t before = umask(0);
    m_notes->Create((Name() + "2").c_str());
    umask(before);
    struct stat status;
    QCOMPARE(stat((Name() + "2.fil").c_str(), &status), 0);
    QCOMPARE(int(status.st_mode & 07777), 0777);
}

void TestNotes::closedStoreRefusesChanges()
{
    QCOMPARE(Save("one"), 0);
    m_notes->Close();
    m_notes->Close();
    QCOMPARE(Save("two"), -1);
    QCOMPARE(m_notes->DeleteNote(0), -1);
    CNote never(&testFiles);
    QVERIFY(!never.ReadNote(0));
    QCOMPARE(never.NoteLength(0), 0);
    QCOMPARE(never.SaveNote("a", 1), -1);
    QVERIFY(!never.Reindex());
    never.SetIndexFlushing();
    QCOMPARE(taerror, int(taNullHandle));
}

void TestNotes::nullTextsAreRefused()
{
    const QByteArray before = Heap();
    QCOMPARE(m_notes->SaveNote(nullptr, 5), -1);
    QCOMPARE(Heap(), before);
    QCOMPARE(m_notes->SaveNote(nullptr, 0), 0);
    QCOMPARE(Heap(), Header(0, 0, 8));
    QVERIFY(!m_notes->Open(nullptr));
    QVERIFY(!m_notes->Create(nullptr));
    QCOMPARE(Save("text"), -1);
}

// Neither a store that was opened before nor one with a prefix of the long name is read.
void TestNotes::refusedNameIsNoStore()
{
    QCOMPARE(Save("text"), 0);
    for (const std::string& name : { std::string(), Name() + std::string(PATH_MAX, 'x') }) {
        QVERIFY(!m_notes->Open(name.empty() ? nullptr : name.c_str()));
        QVERIFY(!m_notes->ReadNote(0));
        QCOMPARE(m_notes->NoteLength(0), 0);
        QVERIFY(!m_notes->Reindex());
        QVERIFY(m_notes->Open(Name().c_str()));
        QCOMPARE(m_notes->NoteLength(0), 4);
    }
}

// ---- saving ----

void TestNotes::firstNoteIsAtTheBeginning()
{
    QCOMPARE(Save("hello"), 0);
    QCOMPARE(Heap(), Header(0, 0, 13) + "hello");
}

void TestNotes::nextNoteFollowsTheText()
{
    QCOMPARE(Save(5), 0);
    QCOMPARE(Save(7), 5 + 8);
    QCOMPARE(Save(1), 5 + 8 + 7 + 8);
    QCOMPARE(Check(), Findings());
}

void TestNotes::emptyText()
{
    QCOMPARE(Save(""), 0);
    QVERIFY(IsThere(0));
    QCOMPARE(m_notes->NoteLength(0), 0);
    QCOMPARE(Save("next"), 8);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(Listed(), std::string("0@0"));
    QCOMPARE(Save(""), 0);
}

void TestNotes::textsOfManyPieces_data()
{
    QTest::addColumn<int>("length");
    for (const int length : { 1, 31991, 31992, 31993, 32000, 32001, 63992, 64000, 250000, 499991 })
        QTest::addRow("%d bytes", length) << length;
}

void TestNotes::textsOfManyPieces()
{
    QFETCH(int, length);
    QCOMPARE(Save("before"), 0);
    QCOMPARE(Save(length), 14);
    const std::int32_t behind = Save("behind");
    QCOMPARE(behind, 14 + 8 + length);
    QCOMPARE(Read(14), Text(length));
    // The same in a freed block.
    QCOMPARE(m_notes->DeleteNote(14), 0);
    QCOMPARE(Save(Text(length, 'y')), 14);
    QCOMPARE(Read(14), Text(length, 'y'));
    QCOMPARE(Read(0), QByteArray("before"));
    QCOMPARE(Read(behind), QByteArray("behind"));
    QCOMPARE(Check(), Findings());
}

void TestNotes::longestText()
{
    QCOMPARE(Save(499992), 0);
    QCOMPARE(Read(0), Text(499992));
    // A block that cannot be read back is not used.
    const QByteArray before = Heap();
    QCOMPARE(Save(499993), -1);
    QCOMPARE(Save(2000000), -1);
    QCOMPARE(m_notes->SaveNote("x", -1), -1);
    QCOMPARE(m_notes->SaveNote("x", INT32_MIN), -1);
    QVERIFY(Heap() == before);
    // Slack must not make a block too long, either: a new one is made.
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(Save(499990), 0);
    QCOMPARE(Read(0), Text(499990));
    QCOMPARE(Check(), Findings());
}

void TestNotes::textMayHoldAnyByte()
{
    QByteArray text;
    for (int i = 0; i < 1024; ++i)
        text += char(i);
    QCOMPARE(Save(text), 0);
    QCOMPARE(Read(0), text);
}

void TestNotes::piecesAreOfAtMost32000Bytes()
{
    struct Largest : StoreFiles {
        ssize_t Read(int descriptor, void* bytes, size_t size) override
        {
            read = std::max(read, size);
            return StoreFiles::Read(descriptor, bytes, size);
        }
        ssize_t Write(int descriptor, const void* bytes, size_t size) override
        {
            written = std::max(written, size);
            return StoreFiles::Write(descriptor, bytes, size);
        }
        size_t read = 0;
        size_t written = 0;
    } files;
    const UsedStoreFiles used(&files);
    QCOMPARE(Save(100000), 0);
    QCOMPARE(Read(0), Text(100000));
    QCOMPARE(files.written, size_t(32000));
    QCOMPARE(files.read, size_t(32000));
}

void TestNotes::otherHandleSeesTheNoteAtOnce()
{
    CNote other(&testFiles);
    QVERIFY(other.Open(Name().c_str()));
    QCOMPARE(Save(20), 0);
    QCOMPARE(Save(20), 28);
    QCOMPARE(other.NoteLength(28), 20);
    QCOMPARE(other.DeleteNote(28), 0);
    QCOMPARE(Save(20), 28);
    QCOMPARE(other.SaveNote("x", 1), 56);
}

// ---- freed blocks ----

void TestNotes::sameSizeReusesTheOffset()
{
    Save(50);
    Save(60);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(Save(50), 0);
    QCOMPARE(Listed(), std::string());
    QCOMPARE(Check(), Findings());
}

void TestNotes::remainderBecomesSlackOrAFreeBlock_data()
{
    QTest::addColumn<int>("remainder");
    for (int remainder = 0; remainder <= 12; ++remainder)
        QTest::addRow("%d bytes", remainder) << remainder;
}

void TestNotes::remainderBecomesSlackOrAFreeBlock()
{
    QFETCH(int, remainder);
    Save(100);
    Save("behind");
    QCOMPARE(m_notes->DeleteNote(0), 0);
    const int length = 100 - remainder;
    QCOMPARE(Save(length), 0);
    QCOMPARE(Read(0), Text(length));
    QCOMPARE(m_notes->NoteLength(0), length);
    QCOMPARE(Read(108), QByteArray("behind"));
    if (remainder < 7) {
        QCOMPARE(Heap().left(8), Header(0, remainder, 108));
        QCOMPARE(Listed(), std::string());
    } else {
        QCOMPARE(Heap().left(8), Header(0, 0, length + 8));
        QCOMPARE(Heap().mid(length + 8, 8), Header(1, 0, remainder));
        QCOMPARE(Listed(), std::to_string(remainder - 8) + "@" + std::to_string(length + 8));
    }
    QCOMPARE(Check(), Findings());
}

void TestNotes::bestFitTakesTheSmallestBlock()
{
    std::vector<std::int32_t> offsets;
    for (const int length : { 300, 1, 90, 1, 100, 1, 1000, 1 })
        offsets.push_back(Save(length));
    for (const int i : { 0, 2, 4, 6 })
        QCOMPARE(m_notes->DeleteNote(offsets[std::size_t(i)]), 0);
    QCOMPARE(Save(95), offsets[4]);
    QCOMPARE(Save(95), offsets[0]);
    QCOMPARE(Save(95), offsets[0] + 95 + 8);
    QCOMPARE(Save(90), offsets[2]);
    QCOMPARE(Save(999), offsets[6]);
    QCOMPARE(Check(), Findings());
}

void TestNotes::bestFitTakesTheLowestOffsetOfEqualBlocks()
{
    std::vector<std::int32_t> offsets;
    for (int i = 0; i < 6; ++i)
        offsets.push_back(Save(50));
    for (const int i : { 4, 2, 0 })
        QCOMPARE(m_notes->DeleteNote(offsets[std::size_t(i)]), 0);
    QCOMPARE(Save(50), offsets[0]);
    QCOMPARE(Save(50), offsets[2]);
    QCOMPARE(Save(50), offsets[4]);
}

void TestNotes::laterThenEarlierGivesOneBlock()
{
    Save(50);
    Save(60);
    Save(1);
    QCOMPARE(m_notes->DeleteNote(58), 0);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(Listed(), std::string("118@0"));
    QCOMPARE(Heap().left(8), Header(1, 0, 126));
    QCOMPARE(Check(), Findings());
    QCOMPARE(Save(118), 0);
}

void TestNotes::earlierThenLaterGivesTwoBlocks()
{
    Save(50);
    Save(60);
    Save(1);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(m_notes->DeleteNote(58), 0);
    QCOMPARE(Listed(), std::string("50@0 60@58"));
    QCOMPARE(Check(), Findings());
}

void TestNotes::deletingKeepsTheSlackByte()
{
    Save(50);
    Save(1);
    m_notes->DeleteNote(0);
    QCOMPARE(Save(45), 0);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(Heap().left(8), Header(1, 5, 58));
    QCOMPARE(Listed(), std::string("50@0"));
    QCOMPARE(Save(50), 0);
    QCOMPARE(Heap().left(8), Header(0, 0, 58));
}

void TestNotes::deletingTwiceFreesOnce()
{
    Save(50);
    Save(1);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(Listed(), std::string("50@0"));
    QCOMPARE(Check(), Findings());
}

void TestNotes::freedBytesStayAsTheyWere()
{
    Save("hello");
    Save("behind");
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(Heap().left(13), Header(1, 0, 13) + "hello");
}

// Its capacity, -1, sorts after the keys with one digit.
void TestNotes::shortTextSkipsTheSevenByteBlock()
{
    Save(100);
    Save(5);
    Save(1);
    m_notes->DeleteNote(0);
    QCOMPARE(Save(93), 0);
    QCOMPARE(Listed(), std::string("-1@101"));
    const std::int32_t end = Heap().size();
    QCOMPARE(Save(3), end);
    QCOMPARE(m_notes->DeleteNote(108), 0);
    QCOMPARE(Save(3), 108);
    Save(40);
    Save(1);
    QCOMPARE(m_notes->DeleteNote(end + 11), 0);
    QCOMPARE(Save(9), end + 11);
    QCOMPARE(Check(), Findings());
}

// ---- a remainder of seven bytes ----

void TestNotes::sevenBeforeABlockInUse()
{
    Save(100);
    Save("behind");
    m_notes->DeleteNote(0);
    QCOMPARE(Save(93), 0);
    QCOMPARE(Heap().mid(101, 8), Header(1, 0, 7));
    QCOMPARE(Read(108), QByteArray("behind"));
    QCOMPARE(Check(), Findings());
}

void TestNotes::sevenBeforeABlockFreedLater()
{
    Save(100);
    Save("behind");
    Save("last");
    m_notes->DeleteNote(0);
    QCOMPARE(Save(93), 0);
    QCOMPARE(m_notes->DeleteNote(108), 0);
    // Now its length field looks like a very large number.
    QCOMPARE(Heap().mid(101, 8), Header(1, 0, 0x01000007));
    QCOMPARE(Check(), Findings());
    QVERIFY(m_notes->Reindex());
    QCOMPARE(Listed(), std::string("6@108 -1@101"));
    // Freeing the block before joins it with its actual seven bytes.
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(Listed(), std::string("6@108 100@0"));
    QCOMPARE(Check(), Findings());
    QCOMPARE(Read(122), QByteArray("last"));
}

// Its header has eight bytes, so the file grows by one.
void TestNotes::sevenAtTheEndOfTheFile()
{
    Save(100);
    m_notes->DeleteNote(0);
    QCOMPARE(Save(93), 0);
    QCOMPARE(Heap().size(), 109);
    QCOMPARE(Heap().mid(101), Header(1, 0, 7));
    QCOMPARE(Check(), Findings());
    QCOMPARE(Save("next"), 109);
    QCOMPARE(Check(), Findings());
    QVERIFY(m_notes->Reindex());
    QCOMPARE(Listed(), std::string("-1@101"));
    QCOMPARE(m_notes->DeleteNote(109), 0);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(Check(), Findings());
}

void TestNotes::sevenBeforeAFreeBlock()
{
    Save(100);
    Save(50);
    Save("last");
    m_notes->DeleteNote(0);
    m_notes->DeleteNote(108);
    QCOMPARE(Save(93), 0);
    // The free block after it looks as if in use: it is listed, but cannot be allocated.
    QCOMPARE(Heap().mid(108, 8), Header(0, 0, 58));
    QCOMPARE(Listed(), std::string("-1@101 50@108"));
    QCOMPARE(Check().size(), std::size_t(1));
    QCOMPARE(m_notes->TextOffsets(), (std::vector<std::int32_t>{ 0, 166 }));
    const QByteArray before = Heap();
    QCOMPARE(Save(50), -1);
    QCOMPARE(Save(20), -1);
    QCOMPARE(Heap(), before);
    QCOMPARE(Read(0), Text(93));
    QCOMPARE(Read(166), QByteArray("last"));
    QCOMPARE(Save(51), 178);
    // Reindex leaves it out, and texts are put elsewhere.
    QVERIFY(m_notes->Reindex());
    QCOMPARE(Check(), Findings());
    QCOMPARE(Save(50), 237);
}

// A block that was freed in pieces may be longer than any note, and then looks like an
// overlong note. The chain of blocks continues after it.
void TestNotes::sevenBeforeALongFreeBlock()
{
    Save(100);
    Save(400000);
    const std::int32_t third = Save(400000);
    const std::int32_t fourth = Save(50);
    const std::int32_t last = Save("last");
    m_notes->DeleteNote(0);
    m_notes->DeleteNote(third);
    m_notes->DeleteNote(108);
    QCOMPARE(Save(93), 0);
    m_notes->DeleteNote(fourth);
    QCOMPARE(Check().size(), std::size_t(2));
    QVERIFY(!IsThere(108));
    QCOMPARE(m_notes->TextOffsets(), (std::vector<std::int32_t>{ 0, last }));
    QCOMPARE(m_notes->DeleteNote(108), -1);
    QVERIFY(m_notes->Reindex());
    QCOMPARE(Listed(), "-1@101 50@" + std::to_string(fourth));
    QCOMPARE(Save(50), fourth);
    QCOMPARE(Read(last), QByteArray("last"));
    QCOMPARE(Check().size(), std::size_t(1));
}

void TestNotes::sevenIsAvoidedOnRequest()
{
    for (const int length : { 100, 1, 108, 1, 107, 1 })
        Save(length);
    for (const int offset : { 0, 117, 242 })
        m_notes->DeleteNote(offset);
    QCOMPARE(Listed(), std::string("100@0 107@242 108@117"));
    m_notes->AvoidOverlaps();
    // The first block would leave a remainder of seven.
    QCOMPARE(Save(93), 242);
    QCOMPARE(Listed(), std::string("6@343 100@0 108@117"));
    QCOMPARE(Save(93), 117);
    // Without a larger block, the text is put at the end.
    const std::int32_t end = Heap().size();
    QCOMPARE(Save(93), end);
    QCOMPARE(Save(94), 0);
    QCOMPARE(Check(), Findings());
    QVERIFY(m_notes->Reindex());
    QCOMPARE(Listed(), std::string("6@343 7@218"));
}

void TestNotes::sevenIsMergedWithTheBlockBefore()
{
    Save(100);
    Save("behind");
    m_notes->DeleteNote(0);
    QCOMPARE(Save(93), 0);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(Listed(), std::string("100@0"));
    QCOMPARE(Check(), Findings());
    QCOMPARE(Read(108), QByteArray("behind"));
}

// ---- reading ----

void TestNotes::readOfADeletedNote()
{
    Save(50);
    m_notes->DeleteNote(0);
    QVERIFY(!IsThere(0));
}

void TestNotes::readOfANegativeOffset()
{
    Save(50);
    QVERIFY(!IsThere(-1));
    QVERIFY(!IsThere(INT32_MIN));
    QCOMPARE(m_notes->NoteLength(-1), 0);
    QCOMPARE(m_notes->DeleteNote(-1), -1);
}

void TestNotes::readPastTheEnd()
{
    Save(50);
    for (const std::int32_t offset : { 51, 58, 1000000, INT32_MAX }) {
        QVERIFY(!IsThere(offset));
        QCOMPARE(m_notes->NoteLength(offset), 0);
        QCOMPARE(m_notes->DeleteNote(offset), -1);
    }
}

void TestNotes::textEndsInZeroBytes()
{
    Save("hello");
    char* const text = m_notes->ReadNote(0);
    QCOMPARE(std::memcmp(text, "hello\0\0\0\0\0\0\0\0\0\0", 15), 0);
    std::free(text);
}

void TestNotes::lengthDoesNotAskForTheStatus()
{
    Save(50);
    m_notes->DeleteNote(0);
    QCOMPARE(m_notes->NoteLength(0), 50);
    WriteHeap(0, Header(99, 2, 58));
    QCOMPARE(m_notes->NoteLength(0), 48);
}

void TestNotes::lengthOfALargeFreeBlock()
{
    Save(400000);
    const std::int32_t second = Save(400000);
    m_notes->DeleteNote(second);
    m_notes->DeleteNote(0);
    QCOMPARE(m_notes->NoteLength(0), 800008);
    QCOMPARE(Check(), Findings());
    QCOMPARE(Save(300000), 0);
    QCOMPARE(Check(), Findings());
}

// ---- damage and faults ----

void TestNotes::damagedHeadersGiveNoText_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::newRow("status 2") << Header(2, 0, 58);
    QTest::newRow("status -1") << Header(255, 0, 58);
    QTest::newRow("length 0") << Header(0, 0, 0);
    QTest::newRow("length 7") << Header(0, 0, 7);
    QTest::newRow("negative length") << Header(0, 0, -58);
    QTest::newRow("smallest length") << Header(0, 0, INT32_MIN);
    QTest::newRow("largest length") << Header(0, 0, INT32_MAX);
    QTest::newRow("past the end") << Header(0, 0, 400000);
    QTest::newRow("over 500,000 bytes") << Header(0, 0, 500001);
    QTest::newRow("more slack than room") << Header(0, 51, 58);
}

void TestNotes::damagedHeadersGiveNoText()
{
    QFETCH(QByteArray, header);
    Save(50);
    Save(500000 - 8);
    Save("last");
    WriteHeap(0, header);
    if (header == Header(0, 0, 400000))
        QVERIFY(QFile::resize(HeapPath(), 300000));
    const QByteArray before = Heap();
    QVERIFY(!IsThere(0));
    QVERIFY(m_notes->NoteLength(0) >= 0);
    QCOMPARE(m_notes->DeleteNote(0), -1);
    QVERIFY(!Check().empty());
    QVERIFY(!m_notes->Reindex());
    QVERIFY(Heap() == before);
}

void TestNotes::saveRefusesAListedBlockThatIsNotFree()
{
    Save(50);
    Save(1);
    m_notes->DeleteNote(0);
    for (const QByteArray& header : { Header(0, 0, 58), Header(2, 0, 58), Header(1, 0, 0),
                                      Header(1, 0, -1), Header(1, 0, 5000), Header(1, 0, 40) }) {
        WriteHeap(0, header);
        const QByteArray before = Heap();
        QCOMPARE(Save(45), -1);
        QCOMPARE(Heap(), before);
        QCOMPARE(Listed(), std::string("50@0"));
    }
}

// A heap larger than the store ever writes, mostly a hole.
void TestNotes::blocksBeyondTheLastOffsetAreDamage()
{
    Save(50);
    WriteHeap(58, Header(1, 0, INT32_MAX));
    QVERIFY(QFile::resize(HeapPath(), 58 + qint64(INT32_MAX)));
    QVERIFY(!Check().empty());
    QVERIFY(!m_notes->Reindex());
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(m_notes->NoteLength(0), 50);
    QCOMPARE(Save(100), -1);
    QCOMPARE(Save(50), 0);
}

void TestNotes::filesThatAreGone()
{
    Save(50);
    QVERIFY(QFile::remove(HeapPath()));
    QCOMPARE(Save(50), -1);
    QVERIFY(!IsThere(0));
    QCOMPARE(m_notes->NoteLength(0), 0);
    QCOMPARE(m_notes->DeleteNote(0), -1);
    QVERIFY(!m_notes->Reindex());
    QVERIFY(!QFile::exists(HeapPath()));
}

// ---- reindexing ----

void TestNotes::reindexListsTheFreeBlocks()
{
    std::vector<std::int32_t> offsets;
    for (int i = 0; i < 200; ++i)
        offsets.push_back(Save(10 + i % 37));
    for (std::size_t i = 0; i < offsets.size(); i += 3)
        QCOMPARE(m_notes->DeleteNote(offsets[i]), 0);
    const std::string before = Listed();
    m_notes->Close();
    QVERIFY(QFile::remove(m_folder->filePath("notes.k1")));
    QVERIFY(m_notes->Open(Name().c_str()));
    QCOMPARE(Listed(), std::string());
    QVERIFY(m_notes->Reindex());
    QCOMPARE(Listed(), before);
    QCOMPARE(Check(), Findings());
    QCOMPARE(Save(10), 0);
}

void TestNotes::reindexOfAnEmptyHeap()
{
    QVERIFY(m_notes->Reindex());
    QCOMPARE(Listed(), std::string());
    QCOMPARE(Save(10), 0);
}

void TestNotes::reindexEndsAtABlockOfLength0()
{
    for (int i = 0; i < 5; ++i)
        Save(50);
    m_notes->DeleteNote(0);
    m_notes->DeleteNote(116);
    QCOMPARE(m_notes->TextOffsets(), (std::vector<std::int32_t>{ 58, 174, 232 }));
    WriteHeap(174, Header(0, 0, 0));
    QVERIFY(m_notes->TextOffsets().empty());
    QVERIFY(!m_notes->Reindex());
    // The length of the block before the break may be wrong.
    QCOMPARE(Listed(), std::string("50@0"));
    QCOMPARE(Read(232), Text(50));
}

void TestNotes::reindexListsSevenByteBlocks()
{
    Save(100);
    Save("behind");
    m_notes->DeleteNote(0);
    QCOMPARE(Save(93), 0);
    QVERIFY(m_notes->Reindex());
    QCOMPARE(Listed(), std::string("-1@101"));
}

QTEST_GUILESS_MAIN(TestNotes)
#include "tst_notes.moc"
