// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Small files of each kind, byte for byte. The hexadecimal texts were worked out by hand
// from the formats, not copied from a file that the store wrote.

#include "store/cnote.h"
#include "store/indexfile.h"
#include "tests/store/storetest.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace
{

// An index with keys of one character: item n is the key 0x7f + n of record n.
constexpr int pageLength = 508;

QByteArray Hex(const char* digits)
{
    return QByteArray::fromHex(digits);
}

QByteArray Zeros(int count)
{
    return QByteArray(count, '\0');
}

// Items in the form of a page, each with a child.
QByteArray Items(int first, int last, int child = 0)
{
    QByteArray items;
    for (int n = first; n <= last; ++n) {
        items += char(n) + Zeros(3);
        items += char(child) + Zeros(3);
        items += char(0x7f + n) + Zeros(1);
    }
    return items;
}

QByteArray Page(int count, int leftmost, const QByteArray& items)
{
    const QByteArray used = char(count) + Zeros(3) + char(leftmost) + Zeros(3) + items;
    return used + Zeros(pageLength - used.size());
}

// A header record; `count` is the count of records in the file.
QByteArray Header(const char* firstFree, int deleted, int root, int count)
{
    return Hex(firstFree) + char(deleted) + Zeros(3) + char(root) + Zeros(3) + char(count)
        + Zeros(3) + char(count) + Zeros(3) + Hex("34 2e 32 61 00 00 00 00 00 00 00")
        + Zeros(pageLength - 31);
}

constexpr char noneFree[] = "ff ff ff ff";
constexpr char thirdFree[] = "03 00 00 00";

// A freed page that links to the next one.
QByteArray FreePage(const char* next)
{
    return Hex(next) + Zeros(pageLength - 4);
}

void Add(IndexFile* index, int n)
{
    char key[2] = { char(0x7f + n), 0 };
    const auto record = std::uint32_t(n);
    QCOMPARE(AddKey(index, &record, key), 0);
}

void Delete(IndexFile* index, int n)
{
    char key[2] = { char(0x7f + n), 0 };
    std::uint32_t record = 0;
    QCOMPARE(DeleteKey(index, &record, key), 0);
    QCOMPARE(record, std::uint32_t(n));
}

} // namespace

class GoldenFilesTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QCOMPARE(InitIndex(), 0); }
    void cleanupTestCase() { UnInitIndex(); }

    void dataFileJustMade();
    void dataFileWithDeletedRecords();
    void shortRecordsTakeRoomForTheHeader();
    void indexOfTwoItems();
    void equalKeysByRecordNumber();
    void longKeyIsCut();
    void splitAtTheEnd();
    void splitInTheMiddle();
    void splitBeforeTheMiddle();
    void borrowFromTheRight();
    void borrowFromTheLeft();
    void mergeWithTheRight();
    void mergeIntoTheLeftTakesTheRoot();
    void innerItemGivesWayToTheOneBefore();
    void lastItemTakesThePageAlong();
    void freedPagesComeBackLastFirst();
    void widePagesCutTheirLastKey();
    void flushedIndexIsWholeAfterEachCall();
    void notesInAHeap();
    void noteInAFreedBlockLeavesSlack();
    void remainderOfEight();
    void remainderOfSevenAtTheEnd();
    void remainderOfSevenBeforeANote();
    void deletedNotesGrowTogether();

private:
    std::string path(const char* name) const { return m_folder.filePath(name).toStdString(); }
    QByteArray bytes(const char* name) const
    {
        QFile file(m_folder.filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
    }
    void compare(const char* name, const QByteArray& expected) const;
    IndexFile* makeSmallIndex() const { return MakeIndex(0, path("index").c_str(), 1, 0); }
    // An index of the items 1 to `last`, added in this order.
    IndexFile* makeAscending(int last) const;

    QTemporaryDir m_folder;
};

void GoldenFilesTest::compare(const char* name, const QByteArray& expected) const
{
    const QByteArray bytes = this->bytes(name);
    QCOMPARE(bytes.size(), expected.size());
    for (int at = 0; at < bytes.size(); at += 16)
        QVERIFY2(bytes.mid(at, 16) == expected.mid(at, 16),
                 QString("at %1: %2 in place of %3")
                     .arg(at)
                     .arg(QString(bytes.mid(at, 16).toHex(' ')),
                          QString(expected.mid(at, 16).toHex(' ')))
                     .toUtf8());
}

IndexFile* GoldenFilesTest::makeAscending(int last) const
{
    IndexFile* const index = makeSmallIndex();
    for (int n = 1; index && n <= last; ++n)
        Add(index, n);
    return index;
}

// ---- data files ----

void GoldenFilesTest::dataFileJustMade()
{
    DataFile* const file = MakeDataFile(0, path("data").c_str(), 36);
    QVERIFY(file);
    QCOMPARE(CloseDataFile(file), 0);
    // The count for one record is written with the next header.
    compare("data",
            Hex("ff ff ff ff 00 00 00 00 00 00 00 00 00 00 00 00"
                "00 00 00 00 34 2e 32 61 00 00 00 00 00 00 00 00"
                "00 00 00 00"));
}

void GoldenFilesTest::dataFileWithDeletedRecords()
{
    DataFile* const file = MakeDataFile(0, path("data").c_str(), 36);
    QVERIFY(file);
    std::uint32_t number;
    for (const char letter : { 'a', 'b', 'c', 'd' })
        QCOMPARE(AddRec(file, &number, (Zeros(4) + QByteArray(32, letter)).constData()), 0);
    QCOMPARE(DeleteRec(file, 3), 0);
    QCOMPARE(DeleteRec(file, 1), 0);
    QCOMPARE(DeleteRec(file, 2), 0);
    QCOMPARE(AddRec(file, &number, (Zeros(4) + QByteArray(32, 'e')).constData()), 0);
    QCOMPARE(number, 2u);
    QCOMPARE(CloseDataFile(file), 0);
    compare("data",
            Hex("01 00 00 00 02 00 00 00 00 00 00 00 05 00 00 00"
                "05 00 00 00 34 2e 32 61 00 00 00 00 00 00 00 00"
                "00 00 00 00"
                // record 1, deleted, leads to 3
                "03 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                "00 00 00 00"
                // record 2, used again
                "00 00 00 00 65 65 65 65 65 65 65 65 65 65 65 65"
                "65 65 65 65 65 65 65 65 65 65 65 65 65 65 65 65"
                "65 65 65 65"
                // record 3, the end of the chain
                "ff ff ff ff 00 00 00 00 00 00 00 00 00 00 00 00"
                "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                "00 00 00 00"
                // record 4
                "00 00 00 00 64 64 64 64 64 64 64 64 64 64 64 64"
                "64 64 64 64 64 64 64 64 64 64 64 64 64 64 64 64"
                "64 64 64 64"));
}

void GoldenFilesTest::shortRecordsTakeRoomForTheHeader()
{
    DataFile* const file = MakeDataFile(0, path("data").c_str(), 6);
    QVERIFY(file);
    std::uint32_t number;
    QCOMPARE(AddRec(file, &number, (Zeros(4) + QByteArray(27, 'x')).constData()), 0);
    QCOMPARE(CloseDataFile(file), 0);
    compare("data",
            Hex("ff ff ff ff 00 00 00 00 00 00 00 00 02 00 00 00"
                "02 00 00 00 34 2e 32 61 00 00 00 00 00 00 00"
                "00 00 00 00 78 78 78 78 78 78 78 78 78 78 78 78"
                "78 78 78 78 78 78 78 78 78 78 78 78 78 78 78"));
}

// ---- indexes ----

void GoldenFilesTest::indexOfTwoItems()
{
    IndexFile* const index = MakeIndex(0, path("index").c_str(), 4, 0);
    QVERIFY(index);
    char bird[8] = "bird";
    char ant[8] = "Ant";
    const std::uint32_t seven = 7;
    const std::uint32_t three = 0x01020304;
    QCOMPARE(AddKey(index, &seven, bird), 0);
    QCOMPARE(AddKey(index, &three, ant), 0);
    QCOMPARE(CloseIndex(index), 0);
    const QByteArray header = Hex("ff ff ff ff 00 00 00 00 01 00 00 00 02 00 00 00"
                                  "02 00 00 00 34 2e 32 61 00 00 00 00 00 00 00");
    const QByteArray page = Hex("02 00 00 00 00 00 00 00"
                                "04 03 02 01 00 00 00 00 41 6e 74 00 00"
                                "07 00 00 00 00 00 00 00 62 69 72 64 00");
    compare("index", header + Zeros(658 - header.size()) + page + Zeros(658 - page.size()));
}

void GoldenFilesTest::equalKeysByRecordNumber()
{
    IndexFile* const index = MakeIndex(0, path("index").c_str(), 4, 1);
    QVERIFY(index);
    for (const std::uint32_t record : { 7u, 3u }) {
        char key[8] = "abc";
        QCOMPARE(AddKey(index, &record, key), 0);
    }
    QCOMPARE(CloseIndex(index), 0);
    QCOMPARE(bytes("index").mid(658, 34),
             Hex("02 00 00 00 00 00 00 00"
                 "03 00 00 00 00 00 00 00 61 62 63 00 00"
                 "07 00 00 00 00 00 00 00 61 62 63 00 00"));
}

void GoldenFilesTest::longKeyIsCut()
{
    IndexFile* const index = MakeIndex(0, path("index").c_str(), 4, 0);
    QVERIFY(index);
    char key[8] = "abcdefg";
    const std::uint32_t record = 1;
    QCOMPARE(AddKey(index, &record, key), 0);
    QCOMPARE(key, "abcd");
    QCOMPARE(CloseIndex(index), 0);
    QCOMPARE(bytes("index").mid(658, 21),
             Hex("01 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 61 62 63 64 00"));
}

// The 51st key is the last: the 26th moves up, and the right page takes the rest.
void GoldenFilesTest::splitAtTheEnd()
{
    QCOMPARE(CloseIndex(makeAscending(51)), 0);
    const QByteArray left = Hex("19 00 00 00 00 00 00 00"
                                "01 00 00 00 00 00 00 00 80 00 02 00 00 00 00 00 00 00 81 00"
                                "03 00 00 00 00 00 00 00 82 00 04 00 00 00 00 00 00 00 83 00"
                                "05 00 00 00 00 00 00 00 84 00 06 00 00 00 00 00 00 00 85 00"
                                "07 00 00 00 00 00 00 00 86 00 08 00 00 00 00 00 00 00 87 00"
                                "09 00 00 00 00 00 00 00 88 00 0a 00 00 00 00 00 00 00 89 00"
                                "0b 00 00 00 00 00 00 00 8a 00 0c 00 00 00 00 00 00 00 8b 00"
                                "0d 00 00 00 00 00 00 00 8c 00 0e 00 00 00 00 00 00 00 8d 00"
                                "0f 00 00 00 00 00 00 00 8e 00 10 00 00 00 00 00 00 00 8f 00"
                                "11 00 00 00 00 00 00 00 90 00 12 00 00 00 00 00 00 00 91 00"
                                "13 00 00 00 00 00 00 00 92 00 14 00 00 00 00 00 00 00 93 00"
                                "15 00 00 00 00 00 00 00 94 00 16 00 00 00 00 00 00 00 95 00"
                                "17 00 00 00 00 00 00 00 96 00 18 00 00 00 00 00 00 00 97 00"
                                "19 00 00 00 00 00 00 00 98 00");
    const QByteArray root = Hex("01 00 00 00 01 00 00 00 1a 00 00 00 02 00 00 00 99 00");
    const QByteArray right = Hex("19 00 00 00 00 00 00 00"
                                 "1b 00 00 00 00 00 00 00 9a 00 1c 00 00 00 00 00 00 00 9b 00"
                                 "1d 00 00 00 00 00 00 00 9c 00 1e 00 00 00 00 00 00 00 9d 00"
                                 "1f 00 00 00 00 00 00 00 9e 00 20 00 00 00 00 00 00 00 9f 00"
                                 "21 00 00 00 00 00 00 00 a0 00 22 00 00 00 00 00 00 00 a1 00"
                                 "23 00 00 00 00 00 00 00 a2 00 24 00 00 00 00 00 00 00 a3 00"
                                 "25 00 00 00 00 00 00 00 a4 00 26 00 00 00 00 00 00 00 a5 00"
                                 "27 00 00 00 00 00 00 00 a6 00 28 00 00 00 00 00 00 00 a7 00"
                                 "29 00 00 00 00 00 00 00 a8 00 2a 00 00 00 00 00 00 00 a9 00"
                                 "2b 00 00 00 00 00 00 00 aa 00 2c 00 00 00 00 00 00 00 ab 00"
                                 "2d 00 00 00 00 00 00 00 ac 00 2e 00 00 00 00 00 00 00 ad 00"
                                 "2f 00 00 00 00 00 00 00 ae 00 30 00 00 00 00 00 00 00 af 00"
                                 "31 00 00 00 00 00 00 00 b0 00 32 00 00 00 00 00 00 00 b1 00"
                                 "33 00 00 00 00 00 00 00 b2 00");
    compare("index",
            Hex("ff ff ff ff 00 00 00 00 03 00 00 00 04 00 00 00"
                "04 00 00 00 34 2e 32 61 00 00 00 00 00 00 00")
                + Zeros(477) + left + Zeros(250) + right + Zeros(250) + root + Zeros(490));
}

// The 51st key belongs between the 25th and the 26th of the others: it moves up itself.
void GoldenFilesTest::splitInTheMiddle()
{
    IndexFile* const index = makeSmallIndex();
    QVERIFY(index);
    for (int n = 1; n <= 51; ++n)
        if (n != 26)
            Add(index, n);
    Add(index, 26);
    QCOMPARE(CloseIndex(index), 0);
    compare("index",
            Header(noneFree, 0, 3, 4) + Page(25, 0, Items(1, 25)) + Page(25, 0, Items(27, 51))
                + Page(1, 1, Items(26, 26, 2)));
}

// The 51st key belongs to the left half: the 25th of the others moves up.
void GoldenFilesTest::splitBeforeTheMiddle()
{
    IndexFile* const index = makeSmallIndex();
    QVERIFY(index);
    for (int n = 1; n <= 51; ++n)
        if (n != 4)
            Add(index, n);
    Add(index, 4);
    QCOMPARE(CloseIndex(index), 0);
    compare("index",
            Header(noneFree, 0, 3, 4) + Page(25, 0, Items(1, 25)) + Page(25, 0, Items(27, 51))
                + Page(1, 1, Items(26, 26, 2)));
}

// Left 1-25, right 27-54 (28 items): the left one loses an item and gets two, since (28 -
// 25 + 1) / 2 = 2.
void GoldenFilesTest::borrowFromTheRight()
{
    IndexFile* const index = makeAscending(54);
    QVERIFY(index);
    Delete(index, 10);
    QCOMPARE(CloseIndex(index), 0);
    compare("index",
            Header(noneFree, 0, 3, 4) + Page(26, 0, Items(1, 9) + Items(11, 27))
                + Page(26, 0, Items(29, 54)) + Page(1, 1, Items(28, 28, 2)));
}

// Left 1-28 (28 items, added last), right 30-54: the right one loses an item and gets
// two, since (28 + 1 - 25) / 2 = 2.
void GoldenFilesTest::borrowFromTheLeft()
{
    IndexFile* const index = makeSmallIndex();
    QVERIFY(index);
    for (int n = 4; n <= 54; ++n)
        Add(index, n);
    for (int n = 1; n <= 3; ++n)
        Add(index, n);
    Delete(index, 40);
    QCOMPARE(CloseIndex(index), 0);
    compare("index",
            Header(noneFree, 0, 3, 4) + Page(26, 0, Items(1, 26))
                + Page(26, 0, Items(28, 39) + Items(41, 54)) + Page(1, 1, Items(27, 27, 2)));
}

// Three leaves of 25 under a root of two; the left one loses an item.
void GoldenFilesTest::mergeWithTheRight()
{
    IndexFile* const index = makeAscending(77);
    QVERIFY(index);
    Delete(index, 5);
    QCOMPARE(CloseIndex(index), 0);
    // Page 1: 1-25, page 2: 27-51, page 3: the root, page 4: 53-77.
    compare("index",
            Header("02 00 00 00", 1, 3, 5) + Page(50, 0, Items(1, 4) + Items(6, 51))
                + FreePage("ff ff ff ff") + Page(1, 1, Items(52, 52, 4))
                + Page(25, 0, Items(53, 77)));
}

// The right one of two leaves is freed first, then the empty root; the next allocated
// page is the former root's.
void GoldenFilesTest::mergeIntoTheLeftTakesTheRoot()
{
    IndexFile* const index = makeAscending(51);
    QVERIFY(index);
    Delete(index, 51);
    QCOMPARE(CloseIndex(index), 0);
    compare("index",
            Header(thirdFree, 2, 1, 4) + Page(50, 0, Items(1, 50)) + FreePage("ff ff ff ff")
                + FreePage("02 00 00 00"));
}

// The root's item 26 is deleted: 25 takes its place, and the left leaf, now one short,
// borrows an item.
void GoldenFilesTest::innerItemGivesWayToTheOneBefore()
{
    IndexFile* const index = makeAscending(54);
    QVERIFY(index);
    Delete(index, 26);
    QCOMPARE(CloseIndex(index), 0);
    compare("index",
            Header(noneFree, 0, 3, 4) + Page(26, 0, Items(1, 25) + Items(27, 27))
                + Page(26, 0, Items(29, 54)) + Page(1, 1, Items(28, 28, 2)));
}

void GoldenFilesTest::lastItemTakesThePageAlong()
{
    IndexFile* const index = makeAscending(1);
    QVERIFY(index);
    Delete(index, 1);
    QCOMPARE(CloseIndex(index), 0);
    compare("index", Header("01 00 00 00", 1, 0, 2) + FreePage("ff ff ff ff"));
}

void GoldenFilesTest::freedPagesComeBackLastFirst()
{
    IndexFile* const index = makeAscending(51);
    QVERIFY(index);
    Delete(index, 51);
    Add(index, 51);
    QCOMPARE(CloseIndex(index), 0);
    // Page 3, freed last, is the new right leaf; page 2 is the root.
    compare("index",
            Header(noneFree, 0, 2, 4) + Page(25, 0, Items(1, 25)) + Page(1, 1, Items(26, 26, 3))
                + Page(25, 0, Items(27, 51)));
}

// Keys of 150 characters: items of 160 bytes, the 50th of 110.
void GoldenFilesTest::widePagesCutTheirLastKey()
{
    constexpr int wide = 159 * 50 + 8;
    IndexFile* const index = MakeIndex(0, path("index").c_str(), 150, 0);
    QVERIFY(index);
    for (int n = 1; n <= 50; ++n) {
        const QByteArray text(150, char(0x7f + n));
        char key[160];
        qstrcpy(key, text.constData());
        const auto record = std::uint32_t(n);
        QCOMPARE(AddKey(index, &record, key), 0);
    }
    QCOMPARE(CloseIndex(index), 0);
    const QByteArray bytes = this->bytes("index");
    QCOMPARE(bytes.size(), 2 * wide);
    QByteArray page = Hex("32 00 00 00 00 00 00 00");
    for (int n = 1; n <= 50; ++n)
        page += char(n) + Zeros(7) + QByteArray(150, char(0x7f + n)) + Zeros(2);
    QCOMPARE(bytes.mid(wide).toHex(' '), page.left(wide).toHex(' '));

    IndexFile* const again = OpenIndex(0, path("index").c_str(), 150, 0);
    QVERIFY(again);
    char key[160];
    std::uint32_t record;
    QCOMPARE(PrevKey(again, &record, key), 0);
    QCOMPARE(record, 50u);
    QCOMPARE(QByteArray(key), QByteArray(102, char(0x7f + 50)));
    CloseIndex(again);
}

void GoldenFilesTest::flushedIndexIsWholeAfterEachCall()
{
    IndexFile* const index = makeSmallIndex();
    QVERIFY(index);
    ToggleFlushing(index, 1, 1);
    compare("index", Header(noneFree, 0, 0, 1));
    Add(index, 1);
    compare("index", Header(noneFree, 0, 1, 2) + Page(1, 0, Items(1, 1)));
    for (int n = 2; n <= 51; ++n)
        Add(index, n);
    compare("index",
            Header(noneFree, 0, 3, 4) + Page(25, 0, Items(1, 25)) + Page(25, 0, Items(27, 51))
                + Page(1, 1, Items(26, 26, 2)));
    Delete(index, 51);
    compare("index",
            Header(thirdFree, 2, 1, 4) + Page(50, 0, Items(1, 50)) + FreePage("ff ff ff ff")
                + FreePage("02 00 00 00"));
    QCOMPARE(CloseIndex(index), 0);
}

// ---- notes ----

namespace
{

// The index of a notes store: its only page, with these items.
QByteArray FreeSpacePage(const QByteArray& items)
{
    const QByteArray used = char(items.size() / 18) + Zeros(7) + items;
    return used + Zeros(908 - used.size());
}

} // namespace

void GoldenFilesTest::notesInAHeap()
{
    CNote notes;
    QVERIFY(notes.Create(path("notes").c_str()));
    QCOMPARE(notes.SaveNote("hello", 5), 0);
    QCOMPARE(notes.SaveNote("", 0), 13);
    QCOMPARE(notes.SaveNote("two", 3), 21);
    compare("notes.fil",
            Hex("00 00 00 00 0d 00 00 00 68 65 6c 6c 6f"
                "00 00 00 00 08 00 00 00"
                "00 00 00 00 0b 00 00 00 74 77 6f"));
    QCOMPARE(bytes("notes.k1").left(31),
             Hex("ff ff ff ff 00 00 00 00 00 00 00 00 01 00 00 00"
                 "01 00 00 00 34 2e 32 61 00 00 00 00 00 00 00"));
}

void GoldenFilesTest::noteInAFreedBlockLeavesSlack()
{
    CNote notes;
    QVERIFY(notes.Create(path("notes").c_str()));
    QCOMPARE(notes.SaveNote("hello", 5), 0);
    QCOMPARE(notes.SaveNote("two", 3), 13);
    QCOMPARE(notes.DeleteNote(0), 0);
    compare("notes.fil",
            Hex("01 00 00 00 0d 00 00 00 68 65 6c 6c 6f"
                "00 00 00 00 0b 00 00 00 74 77 6f"));
    // One free block, of capacity 5, at offset 0.
    QCOMPARE(bytes("notes.k1").mid(908),
             FreeSpacePage(Hex("00 00 00 00 00 00 00 00 20 20 20 20 20 20 20 20 35 00")));
    QCOMPARE(notes.SaveNote("ABC", 3), 0);
    compare("notes.fil",
            Hex("00 02 00 00 0d 00 00 00 41 42 43 6c 6f"
                "00 00 00 00 0b 00 00 00 74 77 6f"));
    QCOMPARE(bytes("notes.k1").left(12), Hex("01 00 00 00 01 00 00 00 00 00 00 00"));
}

void GoldenFilesTest::remainderOfEight()
{
    CNote notes;
    QVERIFY(notes.Create(path("notes").c_str()));
    QCOMPARE(notes.SaveNote("0123456789", 10), 0);
    QCOMPARE(notes.DeleteNote(0), 0);
    QCOMPARE(notes.SaveNote("ab", 2), 0);
    compare("notes.fil", Hex("00 00 00 00 0a 00 00 00 61 62 01 00 00 00 08 00 00 00"));
    QCOMPARE(bytes("notes.k1").mid(908),
             FreeSpacePage(Hex("0a 00 00 00 00 00 00 00 20 20 20 20 20 20 20 20 30 00")));
}

// At the end of the file, the header of the 7 bytes extends the file by one byte.
void GoldenFilesTest::remainderOfSevenAtTheEnd()
{
    CNote notes;
    QVERIFY(notes.Create(path("notes").c_str()));
    QCOMPARE(notes.SaveNote("0123456789", 10), 0);
    QCOMPARE(notes.DeleteNote(0), 0);
    QCOMPARE(notes.SaveNote("abc", 3), 0);
    compare("notes.fil", Hex("00 00 00 00 0b 00 00 00 61 62 63 01 00 00 00 07 00 00 00"));
    QCOMPARE(bytes("notes.k1").mid(908),
             FreeSpacePage(Hex("0b 00 00 00 00 00 00 00 20 20 20 20 20 20 20 2d 31 00")));
    QCOMPARE(notes.SaveNote("next", 4), 19);
}

// Its last byte is the first byte of the next note; both are zero.
void GoldenFilesTest::remainderOfSevenBeforeANote()
{
    CNote notes;
    QVERIFY(notes.Create(path("notes").c_str()));
    QCOMPARE(notes.SaveNote("0123456789", 10), 0);
    QCOMPARE(notes.SaveNote("next", 4), 18);
    QCOMPARE(notes.DeleteNote(0), 0);
    QCOMPARE(notes.SaveNote("abc", 3), 0);
    compare("notes.fil",
            Hex("00 00 00 00 0b 00 00 00 61 62 63"
                "01 00 00 00 07 00 00 00 00 00 00 0c 00 00 00 6e 65 78 74"));
    QCOMPARE(notes.DeleteNote(18), 0);
    compare("notes.fil",
            Hex("00 00 00 00 0b 00 00 00 61 62 63"
                "01 00 00 00 07 00 00 01 00 00 00 0c 00 00 00 6e 65 78 74"));
}

void GoldenFilesTest::deletedNotesGrowTogether()
{
    CNote notes;
    QVERIFY(notes.Create(path("notes").c_str()));
    QCOMPARE(notes.SaveNote("a", 1), 0);
    QCOMPARE(notes.SaveNote("b", 1), 9);
    QCOMPARE(notes.SaveNote("c", 1), 18);
    QCOMPARE(notes.DeleteNote(9), 0);
    QCOMPARE(notes.DeleteNote(0), 0);
    compare("notes.fil",
            Hex("01 00 00 00 12 00 00 00 61"
                "01 00 00 00 09 00 00 00 62"
                "00 00 00 00 09 00 00 00 63"));
    QCOMPARE(bytes("notes.k1").mid(908),
             FreeSpacePage(Hex("00 00 00 00 00 00 00 00 20 20 20 20 20 20 20 31 30 00")));
}

QTEST_GUILESS_MAIN(GoldenFilesTest)
#include "tst_goldenfiles.moc"
