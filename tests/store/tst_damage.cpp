// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Damaged files of each kind: calls that meet the damage fail with an error, nothing
// crashes or loops forever, and nothing is written outside a buffer (the buffers are as
// short as callers may make them). First each sort of damage, then random bytes;
// PAKMART_TEST_SEED repeats a run.

#include "store/bytes.h"
#include "store/cnote.h"
#include "store/indexfile.h"
#include "store/notesheap.h"
#include "store/pagecache.h"
#include "tests/store/damage.h"
#include "tests/store/storefixture.h"

#include <QFile>
#include <QtTest>

#include <cstring>
#include <functional>
#include <memory>

using namespace Agent;

class DamageTest : public StoreTest
{
    Q_OBJECT

private slots:
    void damagedRootFailsEachOperation_data();
    void damagedRootFailsEachOperation();
    void damagedLeafFailsWhatMeetsIt_data();
    void damagedLeafFailsWhatMeetsIt();
    void truncatedIndex();
    void treeOf17Levels();
    void walksThroughASharedPageEnd_data();
    void walksThroughASharedPageEnd();
    void shortSiblingFailsADeletion();
    void unpackingInPlaceSeesDamage();
    void heapFullOfDeadEnds();

    void randomlyDamagedDataFiles();
    void randomlyDamagedIndexes_data();
    void randomlyDamagedIndexes();
    void randomlyDamagedNotes_data();
    void randomlyDamagedNotes();

private:
    // The bytes of an index with the keys 1 to `items`.
    QByteArray makeKeys(std::uint32_t items) const;
    // Changes a few bytes, fields or the end of a file.
    void spoil(QByteArray* bytes);

    void useDataFile(DataFile* file, int length);
    void useIndex(IndexFile* index);
    void useNotes(CNote* notes, std::vector<std::int32_t>* offsets);
};

QByteArray DamageTest::makeKeys(std::uint32_t items) const
{
    IndexFile* const index = MakeIndex(0, path().c_str(), keyLength, 0);
    for (std::uint32_t i = 1; i <= items; ++i)
        AddKey(index, &i, KeyBuffer(Key(i)));
    CloseIndex(index);
    return load();
}

namespace
{

// Checks that all operations on the key of a number fail.
void FailEach(IndexFile* index, std::uint32_t number)
{
    using Function = int (*)(IndexFile*, std::uint32_t*, char*);
    for (const Function function : { FindKey, SearchKey, FindPrevKey, DeleteKey }) {
        std::uint32_t record = number;
        QCOMPARE(function(index, &record, KeyBuffer(Key(number))), -1);
        QCOMPARE(taerror, int(taDamaged));
    }
    const std::uint32_t record = 9999;
    QCOMPARE(AddKey(index, &record, KeyBuffer(Key(number) + "x")), -1);
    QCOMPARE(taerror, int(taDamaged));
}

void FailSteps(IndexFile* index)
{
    for (const auto step : { NextKey, PrevKey }) {
        std::uint32_t record = 77;
        KeyBuffer key("as it was");
        ClearKey(index);
        QCOMPARE(step(index, &record, key), -1);
        QCOMPARE(taerror, int(taDamaged));
        QCOMPARE(int(index->depth), 0);
        QCOMPARE(std::string(key), std::string("as it was"));
        QCOMPARE(record, 77u);
    }
}

} // namespace

// ---- damage of each sort ----

using Damage = std::function<void(QByteArray*, int page)>;
Q_DECLARE_METATYPE(Damage)

namespace
{

void DamageRows()
{
    const auto set32 = [](int offset, std::uint32_t value) {
        return Damage(
            [=](QByteArray* bytes, int page) { Put32(bytes, page * pageLength + offset, value); });
    };
    const auto setCount = [](int count) {
        return Damage(
            [=](QByteArray* bytes, int page) { (*bytes)[page * pageLength] = char(count); });
    };
    QTest::addColumn<Damage>("damage");
    QTest::newRow("51 items") << setCount(51);
    QTest::newRow("255 items") << setCount(255);
    QTest::newRow("no item") << setCount(0);
    QTest::newRow("a leftmost child outside the file") << set32(4, 1000);
    QTest::newRow("a child outside the file") << set32(8 + 4, 0xffffffff);
    QTest::newRow("children on some sides only") << Damage([](QByteArray* bytes, int page) {
        const int child = page * pageLength + 8 + 4;
        Put32(bytes, child, bytes->at(child) == 0 ? 1 : 0);
    });
    QTest::newRow("a key without an end") << Damage([](QByteArray* bytes, int page) {
        bytes->replace(page * pageLength + 8 + 8, keyLength + 1, QByteArray(keyLength + 1, 'x'));
    });
    QTest::newRow("keys without an end") << Damage([](QByteArray* bytes, int page) {
        bytes->replace(page * pageLength + 8, 50 * itemLength, QByteArray(50 * itemLength, 'x'));
    });
    QTest::newRow("ones") << Damage([](QByteArray* bytes, int page) {
        bytes->replace(page * pageLength, pageLength, QByteArray(pageLength, '\xff'));
    });
    QTest::newRow("zeros") << Damage([](QByteArray* bytes, int page) {
        bytes->replace(page * pageLength, pageLength, QByteArray(pageLength, '\0'));
    });
}

} // namespace

void DamageTest::damagedRootFailsEachOperation_data()
{
    DamageRows();
    QTest::newRow("a root outside the file") << Damage(
        [](QByteArray* bytes, int) { Put32(bytes, 8, std::uint32_t(bytes->size() / pageLength)); });
    QTest::newRow("a negative root")
        << Damage([](QByteArray* bytes, int) { Put32(bytes, 8, 0x80000000u); });
    QTest::newRow("a root that is its own child") << Damage([](QByteArray* bytes, int page) {
        bytes->replace(page * pageLength, pageLength, PageOf(3, std::uint32_t(page), "000100"));
    });
}

void DamageTest::damagedRootFailsEachOperation()
{
    QFETCH(Damage, damage);
    const QByteArray sound = makeKeys(60);
    const int root = int(GetUint32(reinterpret_cast<const std::uint8_t*>(sound.constData()) + 8));
    QByteArray bytes = sound;
    damage(&bytes, root);
    QVERIFY(bytes != sound);
    store(bytes);
    for (const bool flushing : { false, true }) {
        IndexFile* const index = OpenIndex(0, path().c_str(), keyLength, 0);
        QVERIFY(index);
        if (flushing)
            ToggleFlushing(index, 1, 1);
        for (const std::uint32_t number : { 1, 30, 60, 70 })
            FailEach(index, number);
        FailSteps(index);
        QCOMPARE(CloseIndex(index), 0);
    }
    // Only the counts in the header were written.
    QCOMPARE(load().mid(20), bytes.mid(20));
    QVERIFY(!CheckIndex(path(), keyLength, false).empty());
}

void DamageTest::damagedLeafFailsWhatMeetsIt_data()
{
    DamageRows();
    QTest::newRow("a circle to the root") << Damage([](QByteArray* bytes, int page) {
        const auto root = GetUint32(reinterpret_cast<const std::uint8_t*>(bytes->constData()) + 8);
        bytes->replace(page * pageLength, pageLength, PageOf(25, root, "zzzzzz"));
    });
}

// The first leaf of several below a root is damaged: operations that do not need it still
// work.
void DamageTest::damagedLeafFailsWhatMeetsIt()
{
    QFETCH(Damage, damage);
    QByteArray bytes = makeKeys(200);
    damage(&bytes, 1);
    store(bytes);
    IndexFile* const index = OpenIndex(0, path().c_str(), keyLength, 0);
    QVERIFY(index);
    std::uint32_t record = 0;
    for (const std::uint32_t number : { 0, 1, 13, 25 }) {
        QCOMPARE(FindKey(index, &record, KeyBuffer(Key(number))), -1);
        QCOMPARE(taerror, int(taDamaged));
        record = number;
        QCOMPARE(DeleteKey(index, &record, KeyBuffer(Key(number))), -1);
        QCOMPARE(taerror, int(taDamaged));
        QCOMPARE(AddKey(index, &number, KeyBuffer(Key(number) + "x")), -1);
        QCOMPARE(taerror, int(taDamaged));
    }
    // Deleting the item after it needs that leaf, too.
    record = 26;
    QCOMPARE(DeleteKey(index, &record, KeyBuffer(Key(26))), -1);
    QCOMPARE(taerror, int(taDamaged));
    for (std::uint32_t number = 26; number <= 200; ++number) {
        QCOMPARE(FindKey(index, &record, KeyBuffer(Key(number))), 0);
        QCOMPARE(record, number);
    }
    const std::uint32_t added = 201;
    QCOMPARE(AddKey(index, &added, KeyBuffer(Key(201))), 0);
    QCOMPARE(DeleteKey(index, &record, KeyBuffer(Key(200))), 0);
    QCOMPARE(CloseIndex(index), 0);
    QCOMPARE(load().mid(pageLength, pageLength), bytes.mid(pageLength, pageLength));
    QVERIFY(!CheckIndex(path(), keyLength, false).empty());
}

void DamageTest::truncatedIndex()
{
    const QByteArray bytes = makeKeys(200);
    for (int size = 0; size < bytes.size(); size += size < 2 * pageLength ? 37 : 577) {
        store(bytes.left(size));
        IndexFile* const index = OpenIndex(0, path().c_str(), keyLength, 0);
        QCOMPARE(index != nullptr, size >= pageLength);
        QVERIFY(!CheckIndex(path(), keyLength, false).empty());
        if (!index)
            continue;
        std::uint32_t record;
        KeyBuffer key("");
        int found = 0;
        while (NextKey(index, &record, key) == 0)
            ++found;
        QCOMPARE(taerror, int(taDamaged));
        QVERIFY(found < 200);
        CloseIndex(index);
    }
}

void DamageTest::treeOf17Levels()
{
    for (const int levels : { 16, 17, 40 }) {
        // All children of page n are page n + 1.
        QByteArray bytes = makeKeys(0);
        for (int page = 1; page <= levels; ++page)
            bytes += PageOf(1, page == levels ? 0 : std::uint32_t(page + 1), "000050");
        Put32(&bytes, 8, 1);
        store(bytes);
        IndexFile* const index = OpenIndex(0, path().c_str(), keyLength, 0);
        QVERIFY(index);
        std::uint32_t record = 0;
        const int found = FindKey(index, &record, KeyBuffer(Key(10)));
        QCOMPARE(found, -1);
        QCOMPARE(taerror, int(levels > deepestTree ? taDamaged : taNoError));
        if (levels > deepestTree) {
            FailEach(index, 10);
            FailSteps(index);
        }
        CloseIndex(index);
        QVERIFY(!CheckIndex(path(), keyLength, false).empty());
    }
}

void DamageTest::walksThroughASharedPageEnd_data()
{
    QTest::addColumn<int>("items");
    QTest::newRow("one item a page") << 1;
    QTest::newRow("50 items a page") << 50;
}

// With sixteen levels there are more paths through shared pages than a walk could ever
// follow.
void DamageTest::walksThroughASharedPageEnd()
{
    QFETCH(int, items);
    QByteArray bytes = makeKeys(0);
    for (int page = 1; page <= deepestTree; ++page)
        bytes += PageOf(items, page == deepestTree ? 0 : std::uint32_t(page + 1), "000050");
    Put32(&bytes, 8, 1);
    store(bytes);
    IndexFile* const index = OpenIndex(0, path().c_str(), keyLength, 0);
    for (const auto step : { NextKey, PrevKey }) {
        std::uint32_t record;
        KeyBuffer key("");
        ClearKey(index);
        int steps = 0;
        while (step(index, &record, key) == 0)
            QVERIFY(++steps <= pageItems * (deepestTree + 1));
        QCOMPARE(taerror, int(taDamaged));
    }
    QCOMPARE(CloseIndex(index), 0);
    QVERIFY(!CheckIndex(path(), keyLength, false).empty());
}

void DamageTest::shortSiblingFailsADeletion()
{
    QByteArray bytes = makeKeys(76);
    bytes[2 * pageLength] = 3;
    store(bytes);
    IndexFile* const index = OpenIndex(0, path().c_str(), keyLength, 0);
    std::uint32_t record = 5;
    QCOMPARE(DeleteKey(index, &record, KeyBuffer(Key(5))), -1);
    QCOMPARE(taerror, int(taDamaged));
    QCOMPARE(FindKey(index, &record, KeyBuffer(Key(5))), 0);
    QCOMPARE(CloseIndex(index), 0);
    QCOMPARE(load().mid(pageLength), bytes.mid(pageLength));
}

void DamageTest::unpackingInPlaceSeesDamage()
{
    const auto page = std::make_unique<IndexPage>();
    for (const int length : { 1, 40, 149, 150 }) {
        std::memset(static_cast<void*>(page.get()), 0xff, sizeof(IndexPage));
        QVERIFY(!taunpack(page.get(), length));
        std::memset(static_cast<void*>(page.get()), 'x', sizeof(IndexPage));
        reinterpret_cast<std::uint8_t*>(page.get())[0] = 50;
        QVERIFY(!taunpack(page.get(), length));
    }
}

// Each block could also begin a byte earlier, where the chain of blocks ends nowhere. The
// right chain is found in time linear in the size of the file, not quadratic.
void DamageTest::heapFullOfDeadEnds()
{
    QByteArray heap(16, '\0');
    heap[4] = 16;
    heap += QByteArray("\0\1\0\0\0\10\0\0\0", 9).repeated(200000);
    store(heap, "file.fil");
    QVERIFY(!CheckNotes(path()).empty());
    CNote notes;
    QVERIFY(notes.Open(path().c_str()));
    // The last block is truncated: no chain of blocks leads to the end.
    store(heap.chopped(3), "file.fil");
    QVERIFY(!CheckNotes(path()).empty());
}

// ---- damage at random ----

void DamageTest::spoil(QByteArray* bytes)
{
    static constexpr std::uint32_t telling[]
        = { 0, 1, 7, 8, 50, 51, 255, 0x7fffffff, 0x80000000u, 0xffffffffu, 500000, 500001 };
    const int times = int(m_random.below(6)) + 1;
    for (int i = 0; i < times && !bytes->isEmpty(); ++i) {
        // Half of the damage is at the beginning, where the headers are.
        const int room
            = m_random.below(2) == 0 ? std::min(int(bytes->size()), 64) : int(bytes->size());
        const int at = int(m_random.below(room));
        const std::uint32_t what = m_random.below(20);
        if (what < 8)
            (*bytes)[at] = char(m_random.below(256));
        else if (what < 12 && at + 4 <= bytes->size())
            Put32(bytes, at / 4 * 4, telling[m_random.below(12)]);
        else if (what < 16 && at + 4 <= bytes->size())
            Put32(bytes, at / 4 * 4, m_random.below(40));
        else if (what < 17)
            bytes->truncate(int(m_random.below(bytes->size())));
        else
            bytes->replace(at, 16, bytes->mid(int(m_random.below(bytes->size())), 16));
    }
}

void DamageTest::useDataFile(DataFile* file, int length)
{
    const auto record = std::make_unique<std::uint8_t[]>(std::size_t(length));
    const auto many = std::make_unique<std::uint8_t[]>(std::size_t(5 * length));
    for (int i = 0; i < 30; ++i) {
        std::uint32_t number = m_random.below(40);
        switch (m_random.below(9)) {
        case 0:
        case 1: {
            std::memset(record.get(), 0, std::size_t(length));
            const std::uint32_t next = FirstRec(file);
            if (AddRec(file, &number, record.get()) == 0)
                QVERIFY(number != 0 && (number == next || number + 1 == FileLen(file)));
            break;
        }
        case 2:
            DeleteRec(file, number + 1);
            break;
        case 3:
            GetRec(file, number, record.get());
            break;
        case 4:
            QVERIFY(GetBigRec(file, number, many.get(), 5) <= 5);
            break;
        case 5:
            FileLen(file);
            UsedRecs(file);
            break;
        case 6:
            ToggleFlushing(file, std::uint8_t(m_random.below(2)), 0);
            break;
        case 7:
            PutRec(file, number + 1, record.get());
            break;
        default:
            TaOpenFile(file);
        }
    }
}

void DamageTest::randomlyDamagedDataFiles()
{
    constexpr int length = 48;
    DataFile* file = MakeDataFile(0, path().c_str(), length);
    std::uint8_t record[length] = {};
    std::uint32_t number;
    for (int i = 0; i < 20; ++i)
        QCOMPARE(AddRec(file, &number, record), 0);
    for (const std::uint32_t deleted : { 4, 9, 2, 17 })
        QCOMPARE(DeleteRec(file, deleted), 0);
    CloseDataFile(file);
    const QByteArray sound = load();
    for (int round = 0; round < 2000 && !QTest::currentTestFailed(); ++round) {
        QByteArray bytes = sound;
        spoil(&bytes);
        store(bytes);
        CheckDataFile(path(), length);
        file = OpenDataFile(0, path().c_str(), length);
        QCOMPARE(file != nullptr, bytes.size() >= length);
        if (!file)
            continue;
        useDataFile(file, length);
        if (FileLen(file) < 1000) {
            // After a repair, each record is live or in the chain.
            TaOpenFile(file);
            FixHeader(file);
            QCOMPARE(CheckDataFile(path(), length), Findings());
        }
        CloseDataFile(file);
    }
}

void DamageTest::useIndex(IndexFile* index)
{
    using Function = int (*)(IndexFile*, std::uint32_t*, char*);
    static constexpr Function functions[]
        = { FindKey, SearchKey, FindPrevKey, DeleteKey, NextKey, PrevKey };
    for (int i = 0; i < 60; ++i) {
        std::uint32_t record = m_random.below(420);
        KeyBuffer key(Key(record));
        const std::uint32_t what = m_random.below(10);
        if (what < 6)
            functions[what](index, &record, key);
        else if (what < 9)
            AddKey(index, &record, KeyBuffer(Key(record) + "x"));
        else if (m_random.below(10) == 0)
            ToggleFlushing(index, std::uint8_t(m_random.below(2)), 1);
        QVERIFY(std::memchr(key, 0, keyLength + 1));
    }
    std::uint32_t record;
    KeyBuffer key("");
    ClearKey(index);
    std::uint32_t steps = 0;
    const std::uint32_t most = pageItems * std::uint32_t(index->dataFile->header.recordCount);
    while (NextKey(index, &record, key) == 0)
        QVERIFY(++steps <= most);
}

void DamageTest::randomlyDamagedIndexes_data()
{
    QTest::addColumn<int>("items");
    QTest::newRow("two levels") << 400;
    QTest::newRow("three levels") << 1400;
}

void DamageTest::randomlyDamagedIndexes()
{
    QFETCH(int, items);
    const QByteArray sound = makeKeys(std::uint32_t(items));
    for (int round = 0; round < 800 && !QTest::currentTestFailed(); ++round) {
        QByteArray bytes = sound;
        spoil(&bytes);
        store(bytes);
        CheckIndex(path(), keyLength, false);
        IndexFile* const index = OpenIndex(0, path().c_str(), keyLength, 0);
        QCOMPARE(index != nullptr, bytes.size() >= pageLength);
        if (!index)
            continue;
        useIndex(index);
        CloseIndex(index);
        CheckIndex(path(), keyLength, false);
    }
}

void DamageTest::useNotes(CNote* notes, std::vector<std::int32_t>* offsets)
{
    const std::string text(700, 'n');
    for (int i = 0; i < 25; ++i) {
        const std::int32_t offset = m_random.below(3)
            ? (*offsets)[m_random.below(std::uint32_t(offsets->size()))]
            : std::int32_t(m_random.below(3000));
        switch (m_random.below(5)) {
        case 0:
        case 1: {
            const int length = int(m_random.below(m_random.below(2) ? 60 : 700));
            const std::int32_t saved = notes->SaveNote(text.data(), length);
            if (saved < 0)
                break;
            QCOMPARE(notes->NoteLength(saved), length);
            offsets->push_back(saved);
            break;
        }
        case 2:
            notes->DeleteNote(offset);
            break;
        case 3:
            QVERIFY(notes->NoteLength(offset) >= 0);
            break;
        default:
            std::free(notes->ReadNote(offset));
        }
    }
}

void DamageTest::randomlyDamagedNotes_data()
{
    QTest::addColumn<bool>("heap");
    QTest::newRow("heap") << true;
    QTest::newRow("list of free blocks") << false;
}

namespace
{

bool SoundButForLongBlocks(const Findings& findings)
{
    return std::all_of(findings.begin(), findings.end(), [](const std::string& finding) {
        return finding.find("more than a note may have") != std::string::npos;
    });
}

} // namespace

void DamageTest::randomlyDamagedNotes()
{
    QFETCH(bool, heap);
    CNote notes;
    QVERIFY(notes.Create(path().c_str()));
    std::vector<std::int32_t> offsets;
    const std::string text(500, 't');
    for (int i = 0; i < 60; ++i)
        offsets.push_back(notes.SaveNote(text.data(), 5 + i * 37 % 90));
    for (std::size_t i = 0; i < offsets.size(); i += 3)
        notes.DeleteNote(offsets[i]);
    notes.Close();
    const QByteArray soundHeap = load("file.fil");
    const QByteArray soundIndex = load("file.k1");
    for (int round = 0; round < 800 && !QTest::currentTestFailed(); ++round) {
        QByteArray bytes = heap ? soundHeap : soundIndex;
        spoil(&bytes);
        store(heap ? bytes : soundHeap, "file.fil");
        store(heap ? soundIndex : bytes, "file.k1");
        CheckNotes(path());
        std::vector<std::int32_t> used = offsets;
        QVERIFY(notes.Open(path().c_str()));
        useNotes(&notes, &used);
        // After Reindex, a sound heap has a sound list.
        if (notes.Reindex())
            QVERIFY(SoundButForLongBlocks(CheckNotes(path())));
        useNotes(&notes, &used);
        notes.Close();
    }
}

QTEST_GUILESS_MAIN(DamageTest)
#include "tst_damage.moc"
