// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The cost of each operation in system calls. A transfer opens the file, seeks, reads or
// writes once and closes it; an operation makes only the transfers that it cannot do
// without.

#include "store/cnote.h"
#include "store/indexfile.h"
#include "store/ownfiles.h"
#include "tests/store/storeshims.h"
#include "tests/store/storetest.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cstdlib>
#include <functional>

namespace
{

struct Cost {
    int opens;
    int seeks;
    int reads;
    int writes;
    int statuses;
};

Cost operator+(const Cost& a, const Cost& b)
{
    return { a.opens + b.opens, a.seeks + b.seeks, a.reads + b.reads, a.writes + b.writes,
             a.statuses + b.statuses };
}

Cost operator*(int times, const Cost& cost)
{
    return { times * cost.opens, times * cost.seeks, times * cost.reads, times * cost.writes,
             times * cost.statuses };
}

constexpr Cost nothing = { 0, 0, 0, 0, 0 };
constexpr Cost reading = { 1, 1, 1, 0, 0 };
constexpr Cost writing = { 1, 1, 0, 1, 0 };
// Opening a file to check its size, or whether it is a regular file.
constexpr Cost looking = { 1, 0, 0, 0, 1 };
// Reading the header again, and counting the records.
constexpr Cost refreshing = { 2, 1, 1, 0, 1 };

QString Text(const Cost& cost)
{
    return QString("%1 opens, %2 seeks, %3 reads, %4 writes, %5 statuses")
        .arg(cost.opens)
        .arg(cost.seeks)
        .arg(cost.reads)
        .arg(cost.writes)
        .arg(cost.statuses);
}

// The cost of a piece of work; checks that it closes each file it opens.
QString CostOf(const std::function<void()>& work)
{
    CountingFiles files;
    const UsedStoreFiles used(&files);
    work();
    if (files.opens != files.closes)
        return QString("%1 opens and %2 closes").arg(files.opens).arg(files.closes);
    return Text({ files.opens, files.seeks, files.reads, files.writes, files.statuses });
}

} // namespace

class SystemCallsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QCOMPARE(InitIndex(), 0); }
    void cleanupTestCase() { UnInitIndex(); }
    void init() { m_folder = std::make_unique<QTemporaryDir>(); }

    void dataFiles();
    void flushingDataFiles();
    void indexes();
    void flushingIndexes();
    void notes();

private:
    std::string path(const char* name) const { return m_folder->filePath(name).toStdString(); }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void SystemCallsTest::dataFiles()
{
    constexpr int length = 2012;
    DataFile* file = nullptr;
    const std::string path = this->path("data");
    std::vector<std::uint8_t> room(5 * length);
    std::uint32_t number = 0;
    const auto add = [&] { AddRec(file, &number, room.data()); };

    QCOMPARE(CostOf([&] { file = MakeOwnDataFile(&testFiles, path.c_str(), length); }),
             Text(Cost{ 1, 0, 0, 0, 0 } + writing));
    // The record and the header.
    QCOMPARE(CostOf(add), Text(2 * writing));
    QCOMPARE(CostOf([&] { DeleteRec(file, 1); }), Text(2 * writing));
    // The link of the deleted record is read first.
    QCOMPARE(CostOf(add), Text(reading + 2 * writing));
    QCOMPARE(CostOf([&] { GetRec(file, 1, room.data()); }), Text(reading));
    QCOMPARE(CostOf([&] { PutRec(file, 1, room.data()); }), Text(writing));
    QCOMPARE(CostOf([&] { GetBigRec(file, 1, room.data(), 5); }), Text(reading));
    QCOMPARE(CostOf([&] { PutBigRec(file, 1, room.data(), 5); }), Text(writing));
    QCOMPARE(CostOf([&] { FileLen(file), UsedRecs(file), FirstRec(file); }), Text(nothing));
    QCOMPARE(CostOf([&] { GetLastWriteTime(file); }), Text(looking));
    QCOMPARE(CostOf([&] { CloseDataFile(file); }), Text(nothing));
    QCOMPARE(CostOf([&] { file = OpenOwnDataFile(&testFiles, path.c_str(), length); }),
             Text(2 * looking + reading));
    CloseDataFile(file);
}

void SystemCallsTest::flushingDataFiles()
{
    constexpr int length = 100;
    DataFile* const file = MakeOwnDataFile(&testFiles, path("data").c_str(), length);
    std::vector<std::uint8_t> room(length);
    std::uint32_t number = 0;
    ToggleFlushing(file, 1, 0);
    QCOMPARE(CostOf([&] { AddRec(file, &number, room.data()); }), Text(refreshing + 2 * writing));
    QCOMPARE(CostOf([&] { DeleteRec(file, 1); }), Text(refreshing + 2 * writing));
    QCOMPARE(CostOf([&] { FileLen(file); }), Text(refreshing));
    QCOMPARE(CostOf([&] { UsedRecs(file); }), Text(refreshing));
    QCOMPARE(CostOf([&] { GetRec(file, 1, room.data()); }), Text(reading));
    CloseDataFile(file);
}

void SystemCallsTest::indexes()
{
    IndexFile* index = MakeOwnIndex(&testFiles, path("index").c_str(), 12, 0);
    std::uint32_t record = 0;
    char key[13];
    const auto set = [&](std::uint32_t n) { std::snprintf(key, sizeof key, "%08u", record = n); };
    const auto add = [&](std::uint32_t n) { set(n), AddKey(index, &record, key); };
    const auto find = [&](std::uint32_t n) { set(n), FindKey(index, &record, key); };

    // A new page for the first item; the others have a page already.
    QCOMPARE(CostOf([&] { add(1); }), Text(writing));
    QCOMPARE(CostOf([&] {
                 for (std::uint32_t i = 2; i <= 50; ++i)
                     add(i);
             }),
             Text(nothing));
    QCOMPARE(CostOf([&] { add(51); }), Text(2 * writing));
    for (std::uint32_t i = 52; i <= 1990; ++i)
        add(i);
    const int pages = int(FileLen(index->dataFile)) - 1;
    QCOMPARE(CostOf([&] { find(1000); }), Text(nothing));
    // The pages, sixteen per transfer, and the header.
    QCOMPARE(CostOf([&] { CloseIndex(index); }), Text(((pages + 15) / 16 + 1) * writing));

    index = OpenOwnIndex(&testFiles, path("index").c_str(), 12, 0);
    QCOMPARE(CostOf([&] { find(1000); }), Text(3 * reading));
    QCOMPARE(CostOf([&] { find(1000); }), Text(nothing));
    TaOpenIndex(index);
    // 32 pages alone, the others with their neighbours; one block contains pages that
    // were read alone.
    QCOMPARE(CostOf([&] {
                 while (NextKey(index, &record, key) == 0) { }
             }),
             Text((32 + (pages - 32 + 15) / 16 + 1) * reading));
    // Pages that are not neighbours are transferred one by one.
    QCOMPARE(CostOf([&] { add(0), add(3000); }), Text(nothing));
    QCOMPARE(CostOf([&] { CloseIndex(index); }), Text(3 * writing));
}

void SystemCallsTest::flushingIndexes()
{
    IndexFile* index = MakeOwnIndex(&testFiles, path("index").c_str(), 12, 0);
    std::uint32_t record = 0;
    char key[13];
    const auto set = [&](std::uint32_t n) { std::snprintf(key, sizeof key, "%08u", record = n); };
    const auto add = [&](std::uint32_t n) { set(n), AddKey(index, &record, key); };
    for (std::uint32_t i = 1; i <= 100; ++i)
        add(2 * i);
    ToggleFlushing(index, 1, 1);
    QCOMPARE(CostOf([&] { set(50), FindKey(index, &record, key); }),
             Text(refreshing + 2 * reading));
    // A step continues from there.
    QCOMPARE(CostOf([&] { NextKey(index, &record, key); }), Text(nothing));
    QCOMPARE(CostOf([&] { add(51); }), Text(refreshing + 2 * reading + 2 * writing));
    QCOMPARE(CostOf([&] { set(51), DeleteKey(index, &record, key); }),
             Text(refreshing + 2 * reading + 2 * writing));
    for (std::uint32_t i = 0; i < 25; ++i)
        add(3 + 2 * i);
    // A full leaf is split: a new page and the header that counts it; then the two
    // halves, the parent page, and finally the header.
    QCOMPARE(CostOf([&] { add(1); }),
             Text(refreshing + 2 * reading + refreshing + 2 * writing + 4 * writing));
    CloseIndex(index);
}

void SystemCallsTest::notes()
{
    CNote notes(&testFiles);
    QVERIFY(notes.Create(path("notes").c_str()));
    const std::string text(100000, 'n');
    const auto save = [&](int length) { notes.SaveNote(text.data(), length); };
    const Cost opening = { 1, 0, 0, 0, 0 };
    const Cost readingOn = { 0, 1, 1, 0, 0 };
    const Cost writingOn = { 0, 1, 0, 1, 0 };
    const Cost asking = { 0, 0, 0, 0, 1 };

    // The header shows that the list of free blocks is empty.
    QCOMPARE(CostOf([&] { save(100); }), Text(opening + refreshing + asking + writingOn));
    QCOMPARE(CostOf([&] { save(70000); }), Text(opening + refreshing + asking + 3 * writingOn));
    // A short text comes with its header.
    QCOMPARE(CostOf([&] { std::free(notes.ReadNote(0)); }), Text(opening + readingOn));
    QCOMPARE(CostOf([&] { std::free(notes.ReadNote(108)); }),
             Text(opening + readingOn + asking + 3 * readingOn));
    QCOMPARE(CostOf([&] { notes.NoteLength(0); }), Text(opening + readingOn + asking));
    // Reads this header and the next, writes this one, and adds the first item of the
    // list, with its page.
    const Cost heap = opening + asking + 2 * readingOn + writingOn;
    QCOMPARE(CostOf([&] { notes.DeleteNote(0); }),
             Text(heap + refreshing + refreshing + 2 * writing + 3 * writing));
    QCOMPARE(CostOf([&] { notes.DeleteNote(7); }), Text(opening + asking + readingOn));
}

QTEST_GUILESS_MAIN(SystemCallsTest)
#include "tst_systemcalls.moc"
