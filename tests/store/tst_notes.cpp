// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Notes, case by case: where texts are put, how freed blocks are reused, and what damaged
// blocks cause.

#include "store/bytes.h"
#include "store/cnote.h"
#include "store/notesheap.h"
#include "store/ownfiles.h"
#include "tests/store/storefixture.h"
#include "tests/store/storeshims.h"

#include <QFile>
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

class NotesTest : public StoreTest
{
    Q_OBJECT

private slots:
    void init()
    {
        StoreTest::init();
        m_notes = std::make_unique<CNote>(&testFiles);
        QVERIFY(m_notes->Create(name().c_str()));
    }
    void cleanup()
    {
        m_notes.reset();
        StoreTest::cleanup();
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
    std::string name() const { return m_folder->filePath("notes").toStdString(); }
    QString heapPath() const { return m_folder->filePath("notes.fil"); }
    QByteArray heap() const { return load("notes.fil"); }
    void writeHeap(int offset, const QByteArray& bytes) const
    {
        QFile file(heapPath());
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.seek(offset));
        QCOMPARE(file.write(bytes), qint64(bytes.size()));
    }
    std::int32_t save(const QByteArray& text) const
    {
        return m_notes->SaveNote(text.constData(), text.size());
    }
    std::int32_t save(int length) const { return save(Text(length)); }
    QByteArray read(std::int32_t offset) const
    {
        const std::unique_ptr<char, decltype(&std::free)> text(m_notes->ReadNote(offset),
                                                               &std::free);
        return text ? QByteArray(text.get(), m_notes->NoteLength(offset)) : QByteArray();
    }
    bool isThere(std::int32_t offset) const
    {
        const std::unique_ptr<char, decltype(&std::free)> text(m_notes->ReadNote(offset),
                                                               &std::free);
        return text != nullptr;
    }
    // The free blocks as the index lists them: capacity@offset.
    std::string listed() const
    {
        std::vector<IndexEntry> entries;
        CheckIndex(name() + ".k1", freeKeyLength, true, &entries);
        std::string all;
        for (const IndexEntry& entry : entries)
            all += (all.empty() ? "" : " ") + std::to_string(std::atol(entry.key.c_str())) + "@"
                + std::to_string(entry.record);
        return all;
    }
    Findings check() const { return CheckNotes(name()); }

    std::unique_ptr<CNote> m_notes;
};

// ---- opening ----

void NotesTest::openMakesWhatIsNotThere()
{
    QVERIFY(m_notes->Open((name() + "2").c_str()));
    QVERIFY(QFile::exists(m_folder->filePath("notes2.fil")));
    QVERIFY(QFile::exists(m_folder->filePath("notes2.k1")));
    QCOMPARE(save(5), 0);
}

void NotesTest::openKeepsWhatIsThere()
{
    QCOMPARE(save("one"), 0);
    QCOMPARE(save("two"), 11);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QVERIFY(m_notes->Open(name().c_str()));
    QCOMPARE(read(11), QByteArray("two"));
    QCOMPARE(listed(), std::string("3@0"));
    QCOMPARE(save("abc"), 0);
}

void NotesTest::openMakesAMissingIndexOnly()
{
    QCOMPARE(save("one"), 0);
    m_notes->Close();
    QVERIFY(QFile::remove(m_folder->filePath("notes.k1")));
    QVERIFY(m_notes->Open(name().c_str()));
    QCOMPARE(read(0), QByteArray("one"));
    QCOMPARE(listed(), std::string());
}

void NotesTest::createEmptiesBothFiles()
{
    save("one");
    save("two");
    m_notes->DeleteNote(0);
    QVERIFY(m_notes->Create(name().c_str()));
    QCOMPARE(heap(), QByteArray());
    QCOMPARE(listed(), std::string());
    QCOMPARE(check(), Findings());
}

void NotesTest::openFailsWithoutAFolder()
{
    QVERIFY(!m_notes->Open((name() + "/no/notes").c_str()));
    QVERIFY(!m_notes->Create((name() + "/no/notes").c_str()));
    QCOMPARE(save("one"), -1);
}

void NotesTest::openFailsForALongName()
{
    const std::string name(PATH_MAX, 'x');
    QVERIFY(!m_notes->Open(name.c_str()));
    QVERIFY(!m_notes->Create(name.c_str()));
    QVERIFY(!m_notes->Open(name.substr(0, PATH_MAX - 4).c_str()));
}

void NotesTest::openFailsWhereTheIndexIsNoFile()
{
    m_notes->Close();
    QVERIFY(QFile::remove(m_folder->filePath("notes.k1")));
    QVERIFY(QDir(m_folder->path()).mkdir("notes.k1"));
    QVERIFY(!m_notes->Open(name().c_str()));
    QCOMPARE(save("one"), -1);
}

// A process that ends during Reindex leaves such an index.
void NotesTest::openMakesAHalfMadeIndexAnew()
{
    save(50);
    save("last");
    m_notes->DeleteNote(0);
    for (const int size : { 0, 100, 907 }) {
        m_notes->Close();
        QVERIFY(QFile::resize(m_folder->filePath("notes.k1"), size));
        QVERIFY(m_notes->Open(name().c_str()));
        QCOMPARE(listed(), std::string("50@0"));
        QCOMPARE(check(), Findings());
    }
    QCOMPARE(save(50), 0);
    QCOMPARE(read(58), QByteArray("last"));
}

void NotesTest::newFilesAreOpenToAll()
{
    const mode_t before = umask(0);
    m_notes->Create((name() + "2").c_str());
    umask(before);
    struct stat status;
    QCOMPARE(stat((name() + "2.fil").c_str(), &status), 0);
    QCOMPARE(int(status.st_mode & 07777), 0777);
}

void NotesTest::closedStoreRefusesChanges()
{
    QCOMPARE(save("one"), 0);
    m_notes->Close();
    m_notes->Close();
    QCOMPARE(save("two"), -1);
    QCOMPARE(m_notes->DeleteNote(0), -1);
    CNote never(&testFiles);
    QVERIFY(!never.ReadNote(0));
    QCOMPARE(never.NoteLength(0), 0);
    QCOMPARE(never.SaveNote("a", 1), -1);
    QVERIFY(!never.Reindex());
    never.SetIndexFlushing();
    QCOMPARE(taerror, int(taNullHandle));
}

void NotesTest::nullTextsAreRefused()
{
    const QByteArray before = heap();
    QCOMPARE(m_notes->SaveNote(nullptr, 5), -1);
    QCOMPARE(heap(), before);
    QCOMPARE(m_notes->SaveNote(nullptr, 0), 0);
    QCOMPARE(heap(), Header(0, 0, 8));
    QVERIFY(!m_notes->Open(nullptr));
    QVERIFY(!m_notes->Create(nullptr));
    QCOMPARE(save("text"), -1);
}

// Neither a store that was opened before nor one with a prefix of the long name is read.
void NotesTest::refusedNameIsNoStore()
{
    QCOMPARE(save("text"), 0);
    for (const std::string& refused : { std::string(), name() + std::string(PATH_MAX, 'x') }) {
        QVERIFY(!m_notes->Open(refused.empty() ? nullptr : refused.c_str()));
        QVERIFY(!m_notes->ReadNote(0));
        QCOMPARE(m_notes->NoteLength(0), 0);
        QVERIFY(!m_notes->Reindex());
        QVERIFY(m_notes->Open(name().c_str()));
        QCOMPARE(m_notes->NoteLength(0), 4);
    }
}

// ---- saving ----

void NotesTest::firstNoteIsAtTheBeginning()
{
    QCOMPARE(save("hello"), 0);
    QCOMPARE(heap(), Header(0, 0, 13) + "hello");
}

void NotesTest::nextNoteFollowsTheText()
{
    QCOMPARE(save(5), 0);
    QCOMPARE(save(7), 5 + 8);
    QCOMPARE(save(1), 5 + 8 + 7 + 8);
    QCOMPARE(check(), Findings());
}

void NotesTest::emptyText()
{
    QCOMPARE(save(""), 0);
    QVERIFY(isThere(0));
    QCOMPARE(m_notes->NoteLength(0), 0);
    QCOMPARE(save("next"), 8);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(listed(), std::string("0@0"));
    QCOMPARE(save(""), 0);
}

void NotesTest::textsOfManyPieces_data()
{
    QTest::addColumn<int>("length");
    for (const int length :
         { 1, 503, 504, 505, 31991, 31992, 31993, 32000, 32001, 63992, 64000, 250000, 499991 })
        QTest::addRow("%d bytes", length) << length;
}

void NotesTest::textsOfManyPieces()
{
    QFETCH(int, length);
    QCOMPARE(save("before"), 0);
    QCOMPARE(save(length), 14);
    const std::int32_t behind = save("behind");
    QCOMPARE(behind, 14 + 8 + length);
    QCOMPARE(read(14), Text(length));
    // The same in a freed block.
    QCOMPARE(m_notes->DeleteNote(14), 0);
    QCOMPARE(save(Text(length, 'y')), 14);
    QCOMPARE(read(14), Text(length, 'y'));
    QCOMPARE(read(0), QByteArray("before"));
    QCOMPARE(read(behind), QByteArray("behind"));
    QCOMPARE(check(), Findings());
}

void NotesTest::longestText()
{
    QCOMPARE(save(499992), 0);
    QCOMPARE(read(0), Text(499992));
    // A block that cannot be read back is not used.
    const QByteArray before = heap();
    QCOMPARE(save(499993), -1);
    QCOMPARE(save(2000000), -1);
    QCOMPARE(m_notes->SaveNote("x", -1), -1);
    QCOMPARE(m_notes->SaveNote("x", INT32_MIN), -1);
    QVERIFY(heap() == before);
    // Slack must not make a block too long, either: a new one is made.
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(save(499990), 0);
    QCOMPARE(read(0), Text(499990));
    QCOMPARE(check(), Findings());
}

void NotesTest::textMayHoldAnyByte()
{
    QByteArray text;
    for (int i = 0; i < 1024; ++i)
        text += char(i);
    QCOMPARE(save(text), 0);
    QCOMPARE(read(0), text);
}

void NotesTest::piecesAreOfAtMost32000Bytes()
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
    QCOMPARE(save(100000), 0);
    QCOMPARE(read(0), Text(100000));
    QCOMPARE(files.written, size_t(32000));
    QCOMPARE(files.read, size_t(32000));
}

void NotesTest::otherHandleSeesTheNoteAtOnce()
{
    CNote other(&testFiles);
    QVERIFY(other.Open(name().c_str()));
    QCOMPARE(save(20), 0);
    QCOMPARE(save(20), 28);
    QCOMPARE(other.NoteLength(28), 20);
    QCOMPARE(other.DeleteNote(28), 0);
    QCOMPARE(save(20), 28);
    QCOMPARE(other.SaveNote("x", 1), 56);
}

// ---- freed blocks ----

void NotesTest::sameSizeReusesTheOffset()
{
    save(50);
    save(60);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(save(50), 0);
    QCOMPARE(listed(), std::string());
    QCOMPARE(check(), Findings());
}

void NotesTest::remainderBecomesSlackOrAFreeBlock_data()
{
    QTest::addColumn<int>("remainder");
    for (int remainder = 0; remainder <= 12; ++remainder)
        QTest::addRow("%d bytes", remainder) << remainder;
}

void NotesTest::remainderBecomesSlackOrAFreeBlock()
{
    QFETCH(int, remainder);
    save(100);
    save("behind");
    QCOMPARE(m_notes->DeleteNote(0), 0);
    const int length = 100 - remainder;
    QCOMPARE(save(length), 0);
    QCOMPARE(read(0), Text(length));
    QCOMPARE(m_notes->NoteLength(0), length);
    QCOMPARE(read(108), QByteArray("behind"));
    if (remainder < 7) {
        QCOMPARE(heap().left(8), Header(0, remainder, 108));
        QCOMPARE(listed(), std::string());
    } else {
        QCOMPARE(heap().left(8), Header(0, 0, length + 8));
        QCOMPARE(heap().mid(length + 8, 8), Header(1, 0, remainder));
        QCOMPARE(listed(), std::to_string(remainder - 8) + "@" + std::to_string(length + 8));
    }
    QCOMPARE(check(), Findings());
}

void NotesTest::bestFitTakesTheSmallestBlock()
{
    std::vector<std::int32_t> offsets;
    for (const int length : { 300, 1, 90, 1, 100, 1, 1000, 1 })
        offsets.push_back(save(length));
    for (const int i : { 0, 2, 4, 6 })
        QCOMPARE(m_notes->DeleteNote(offsets[std::size_t(i)]), 0);
    QCOMPARE(save(95), offsets[4]);
    QCOMPARE(save(95), offsets[0]);
    QCOMPARE(save(95), offsets[0] + 95 + 8);
    QCOMPARE(save(90), offsets[2]);
    QCOMPARE(save(999), offsets[6]);
    QCOMPARE(check(), Findings());
}

void NotesTest::bestFitTakesTheLowestOffsetOfEqualBlocks()
{
    std::vector<std::int32_t> offsets;
    for (int i = 0; i < 6; ++i)
        offsets.push_back(save(50));
    for (const int i : { 4, 2, 0 })
        QCOMPARE(m_notes->DeleteNote(offsets[std::size_t(i)]), 0);
    QCOMPARE(save(50), offsets[0]);
    QCOMPARE(save(50), offsets[2]);
    QCOMPARE(save(50), offsets[4]);
}

void NotesTest::laterThenEarlierGivesOneBlock()
{
    save(50);
    save(60);
    save(1);
    QCOMPARE(m_notes->DeleteNote(58), 0);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(listed(), std::string("118@0"));
    QCOMPARE(heap().left(8), Header(1, 0, 126));
    QCOMPARE(check(), Findings());
    QCOMPARE(save(118), 0);
}

void NotesTest::earlierThenLaterGivesTwoBlocks()
{
    save(50);
    save(60);
    save(1);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(m_notes->DeleteNote(58), 0);
    QCOMPARE(listed(), std::string("50@0 60@58"));
    QCOMPARE(check(), Findings());
}

void NotesTest::deletingKeepsTheSlackByte()
{
    save(50);
    save(1);
    m_notes->DeleteNote(0);
    QCOMPARE(save(45), 0);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(heap().left(8), Header(1, 5, 58));
    QCOMPARE(listed(), std::string("50@0"));
    QCOMPARE(save(50), 0);
    QCOMPARE(heap().left(8), Header(0, 0, 58));
}

void NotesTest::deletingTwiceFreesOnce()
{
    save(50);
    save(1);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(listed(), std::string("50@0"));
    QCOMPARE(check(), Findings());
}

void NotesTest::freedBytesStayAsTheyWere()
{
    save("hello");
    save("behind");
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(heap().left(13), Header(1, 0, 13) + "hello");
}

// Its capacity, -1, sorts after the keys with one digit.
void NotesTest::shortTextSkipsTheSevenByteBlock()
{
    save(100);
    save(5);
    save(1);
    m_notes->DeleteNote(0);
    QCOMPARE(save(93), 0);
    QCOMPARE(listed(), std::string("-1@101"));
    const std::int32_t end = heap().size();
    QCOMPARE(save(3), end);
    QCOMPARE(m_notes->DeleteNote(108), 0);
    QCOMPARE(save(3), 108);
    save(40);
    save(1);
    QCOMPARE(m_notes->DeleteNote(end + 11), 0);
    QCOMPARE(save(9), end + 11);
    QCOMPARE(check(), Findings());
}

// ---- a remainder of seven bytes ----

void NotesTest::sevenBeforeABlockInUse()
{
    save(100);
    save("behind");
    m_notes->DeleteNote(0);
    QCOMPARE(save(93), 0);
    QCOMPARE(heap().mid(101, 8), Header(1, 0, 7));
    QCOMPARE(read(108), QByteArray("behind"));
    QCOMPARE(check(), Findings());
}

void NotesTest::sevenBeforeABlockFreedLater()
{
    save(100);
    save("behind");
    save("last");
    m_notes->DeleteNote(0);
    QCOMPARE(save(93), 0);
    QCOMPARE(m_notes->DeleteNote(108), 0);
    // Now its length field looks like a very large number.
    QCOMPARE(heap().mid(101, 8), Header(1, 0, 0x01000007));
    QCOMPARE(check(), Findings());
    QVERIFY(m_notes->Reindex());
    QCOMPARE(listed(), std::string("6@108 -1@101"));
    // Freeing the block before joins it with its actual seven bytes.
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(listed(), std::string("6@108 100@0"));
    QCOMPARE(check(), Findings());
    QCOMPARE(read(122), QByteArray("last"));
}

// Its header has eight bytes, so the file grows by one.
void NotesTest::sevenAtTheEndOfTheFile()
{
    save(100);
    m_notes->DeleteNote(0);
    QCOMPARE(save(93), 0);
    QCOMPARE(heap().size(), 109);
    QCOMPARE(heap().mid(101), Header(1, 0, 7));
    QCOMPARE(check(), Findings());
    QCOMPARE(save("next"), 109);
    QCOMPARE(check(), Findings());
    QVERIFY(m_notes->Reindex());
    QCOMPARE(listed(), std::string("-1@101"));
    QCOMPARE(m_notes->DeleteNote(109), 0);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(check(), Findings());
}

void NotesTest::sevenBeforeAFreeBlock()
{
    save(100);
    save(50);
    save("last");
    m_notes->DeleteNote(0);
    m_notes->DeleteNote(108);
    QCOMPARE(save(93), 0);
    // The free block after it looks as if in use: it is listed, but cannot be allocated.
    QCOMPARE(heap().mid(108, 8), Header(0, 0, 58));
    QCOMPARE(listed(), std::string("-1@101 50@108"));
    QCOMPARE(check().size(), std::size_t(1));
    QCOMPARE(m_notes->TextOffsets(), (std::vector<std::int32_t>{ 0, 166 }));
    const QByteArray before = heap();
    QCOMPARE(save(50), -1);
    QCOMPARE(save(20), -1);
    QCOMPARE(heap(), before);
    QCOMPARE(read(0), Text(93));
    QCOMPARE(read(166), QByteArray("last"));
    QCOMPARE(save(51), 178);
    // Reindex leaves it out, and texts are put elsewhere.
    QVERIFY(m_notes->Reindex());
    QCOMPARE(check(), Findings());
    QCOMPARE(save(50), 237);
}

// A block that was freed in pieces may be longer than any note, and then looks like an
// overlong note. The chain of blocks continues after it.
void NotesTest::sevenBeforeALongFreeBlock()
{
    save(100);
    save(400000);
    const std::int32_t third = save(400000);
    const std::int32_t fourth = save(50);
    const std::int32_t last = save("last");
    m_notes->DeleteNote(0);
    m_notes->DeleteNote(third);
    m_notes->DeleteNote(108);
    QCOMPARE(save(93), 0);
    m_notes->DeleteNote(fourth);
    QCOMPARE(check().size(), std::size_t(2));
    QVERIFY(!isThere(108));
    QCOMPARE(m_notes->TextOffsets(), (std::vector<std::int32_t>{ 0, last }));
    QCOMPARE(m_notes->DeleteNote(108), -1);
    QVERIFY(m_notes->Reindex());
    QCOMPARE(listed(), "-1@101 50@" + std::to_string(fourth));
    QCOMPARE(save(50), fourth);
    QCOMPARE(read(last), QByteArray("last"));
    QCOMPARE(check().size(), std::size_t(1));
}

void NotesTest::sevenIsAvoidedOnRequest()
{
    for (const int length : { 100, 1, 108, 1, 107, 1 })
        save(length);
    for (const int offset : { 0, 117, 242 })
        m_notes->DeleteNote(offset);
    QCOMPARE(listed(), std::string("100@0 107@242 108@117"));
    m_notes->AvoidOverlaps();
    // The first block would leave a remainder of seven.
    QCOMPARE(save(93), 242);
    QCOMPARE(listed(), std::string("6@343 100@0 108@117"));
    QCOMPARE(save(93), 117);
    // Without a larger block, the text is put at the end.
    const std::int32_t end = heap().size();
    QCOMPARE(save(93), end);
    QCOMPARE(save(94), 0);
    QCOMPARE(check(), Findings());
    QVERIFY(m_notes->Reindex());
    QCOMPARE(listed(), std::string("6@343 7@218"));
}

void NotesTest::sevenIsMergedWithTheBlockBefore()
{
    save(100);
    save("behind");
    m_notes->DeleteNote(0);
    QCOMPARE(save(93), 0);
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(listed(), std::string("100@0"));
    QCOMPARE(check(), Findings());
    QCOMPARE(read(108), QByteArray("behind"));
}

// ---- reading ----

void NotesTest::readOfADeletedNote()
{
    save(50);
    m_notes->DeleteNote(0);
    QVERIFY(!isThere(0));
}

void NotesTest::readOfANegativeOffset()
{
    save(50);
    QVERIFY(!isThere(-1));
    QVERIFY(!isThere(INT32_MIN));
    QCOMPARE(m_notes->NoteLength(-1), 0);
    QCOMPARE(m_notes->DeleteNote(-1), -1);
}

void NotesTest::readPastTheEnd()
{
    save(50);
    for (const std::int32_t offset : { 51, 58, 1000000, INT32_MAX }) {
        QVERIFY(!isThere(offset));
        QCOMPARE(m_notes->NoteLength(offset), 0);
        QCOMPARE(m_notes->DeleteNote(offset), -1);
    }
}

void NotesTest::textEndsInZeroBytes()
{
    save("hello");
    char* const text = m_notes->ReadNote(0);
    QCOMPARE(std::memcmp(text, "hello\0\0\0\0\0\0\0\0\0\0", 15), 0);
    std::free(text);
}

void NotesTest::lengthDoesNotAskForTheStatus()
{
    save(50);
    m_notes->DeleteNote(0);
    QCOMPARE(m_notes->NoteLength(0), 50);
    writeHeap(0, Header(99, 2, 58));
    QCOMPARE(m_notes->NoteLength(0), 48);
}

void NotesTest::lengthOfALargeFreeBlock()
{
    save(400000);
    const std::int32_t second = save(400000);
    m_notes->DeleteNote(second);
    m_notes->DeleteNote(0);
    QCOMPARE(m_notes->NoteLength(0), 800008);
    QCOMPARE(check(), Findings());
    QCOMPARE(save(300000), 0);
    QCOMPARE(check(), Findings());
}

// ---- damage and faults ----

void NotesTest::damagedHeadersGiveNoText_data()
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

void NotesTest::damagedHeadersGiveNoText()
{
    QFETCH(QByteArray, header);
    save(50);
    save(500000 - 8);
    save("last");
    writeHeap(0, header);
    if (header == Header(0, 0, 400000))
        QVERIFY(QFile::resize(heapPath(), 300000));
    const QByteArray before = heap();
    QVERIFY(!isThere(0));
    QVERIFY(m_notes->NoteLength(0) >= 0);
    QCOMPARE(m_notes->DeleteNote(0), -1);
    QVERIFY(!check().empty());
    QVERIFY(!m_notes->Reindex());
    QVERIFY(heap() == before);
}

void NotesTest::saveRefusesAListedBlockThatIsNotFree()
{
    save(50);
    save(1);
    m_notes->DeleteNote(0);
    for (const QByteArray& header : { Header(0, 0, 58), Header(2, 0, 58), Header(1, 0, 0),
                                      Header(1, 0, -1), Header(1, 0, 5000), Header(1, 0, 40) }) {
        writeHeap(0, header);
        const QByteArray before = heap();
        QCOMPARE(save(45), -1);
        QCOMPARE(heap(), before);
        QCOMPARE(listed(), std::string("50@0"));
    }
}

// A heap larger than the store ever writes, mostly a hole.
void NotesTest::blocksBeyondTheLastOffsetAreDamage()
{
    save(50);
    writeHeap(58, Header(1, 0, INT32_MAX));
    QVERIFY(QFile::resize(heapPath(), 58 + qint64(INT32_MAX)));
    QVERIFY(!check().empty());
    QVERIFY(!m_notes->Reindex());
    QCOMPARE(m_notes->DeleteNote(0), 0);
    QCOMPARE(m_notes->NoteLength(0), 50);
    QCOMPARE(save(100), -1);
    QCOMPARE(save(50), 0);
}

void NotesTest::filesThatAreGone()
{
    save(50);
    QVERIFY(QFile::remove(heapPath()));
    QCOMPARE(save(50), -1);
    QVERIFY(!isThere(0));
    QCOMPARE(m_notes->NoteLength(0), 0);
    QCOMPARE(m_notes->DeleteNote(0), -1);
    QVERIFY(!m_notes->Reindex());
    QVERIFY(!QFile::exists(heapPath()));
}

// ---- reindexing ----

void NotesTest::reindexListsTheFreeBlocks()
{
    std::vector<std::int32_t> offsets;
    for (int i = 0; i < 200; ++i)
        offsets.push_back(save(10 + i % 37));
    for (std::size_t i = 0; i < offsets.size(); i += 3)
        QCOMPARE(m_notes->DeleteNote(offsets[i]), 0);
    const std::string before = listed();
    m_notes->Close();
    QVERIFY(QFile::remove(m_folder->filePath("notes.k1")));
    QVERIFY(m_notes->Open(name().c_str()));
    QCOMPARE(listed(), std::string());
    QVERIFY(m_notes->Reindex());
    QCOMPARE(listed(), before);
    QCOMPARE(check(), Findings());
    QCOMPARE(save(10), 0);
}

void NotesTest::reindexOfAnEmptyHeap()
{
    QVERIFY(m_notes->Reindex());
    QCOMPARE(listed(), std::string());
    QCOMPARE(save(10), 0);
}

void NotesTest::reindexEndsAtABlockOfLength0()
{
    for (int i = 0; i < 5; ++i)
        save(50);
    m_notes->DeleteNote(0);
    m_notes->DeleteNote(116);
    QCOMPARE(m_notes->TextOffsets(), (std::vector<std::int32_t>{ 58, 174, 232 }));
    writeHeap(174, Header(0, 0, 0));
    QVERIFY(m_notes->TextOffsets().empty());
    QVERIFY(!m_notes->Reindex());
    // The length of the block before the break may be wrong.
    QCOMPARE(listed(), std::string("50@0"));
    QCOMPARE(read(232), Text(50));
}

void NotesTest::reindexListsSevenByteBlocks()
{
    save(100);
    save("behind");
    m_notes->DeleteNote(0);
    QCOMPARE(save(93), 0);
    QVERIFY(m_notes->Reindex());
    QCOMPARE(listed(), std::string("-1@101"));
}

QTEST_GUILESS_MAIN(NotesTest)
#include "tst_notes.moc"
