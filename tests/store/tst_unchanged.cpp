// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// An object that changed nothing writes nothing, whatever is done with it: changes that
// others have made to the file meanwhile stay.

#include "store/cnote.h"
#include "store/indexfile.h"
#include "store/ownfiles.h"
#include "tests/store/numberedkeys.h"
#include "tests/store/storefixture.h"
#include "tests/store/storeshims.h"

#include <QFile>
#include <QtTest>

#include <cstdlib>
#include <functional>

using namespace Agent;

namespace
{

int Walk(IndexFile* index)
{
    std::uint32_t record;
    Key key(0);
    int steps = 0;
    for (ClearKey(index); NextKey(index, &record, key.text) == 0;)
        ++steps;
    return steps;
}

// Operations that read an index, or are refused.
void Read(IndexFile* index)
{
    QVERIFY(Find(index, 3));
    QVERIFY(!Find(index, 1));
    QCOMPARE(Walk(index), 100);
    std::uint32_t record;
    QCOMPARE(FindPrevKey(index, &record, Key(99).text), 0);
    QCOMPARE(Add(index, 3), -1);
    QCOMPARE(taerror, 0);
    QCOMPARE(Delete(index, 1), -1);
    QCOMPARE(taerror, 0);
}

// The number of writes of a piece of work.
int WritesOf(const std::function<void()>& work)
{
    CountingFiles files;
    const UsedStoreFiles used(&files);
    work();
    return files.writes + files.resizes;
}

} // namespace

class UnchangedTest : public StoreTest
{
    Q_OBJECT

private slots:
    void indexThatWasReadWritesNothing_data();
    void indexThatWasReadWritesNothing();
    void newIndexIsWholeAtOnce();
    void newIndexThatCannotBeWrittenIsNone();
    void emptyIndexLeavesWhatAnotherAdded();
    void readIndexLeavesWhatAnotherMade();
    void indexWritesNothingASecondTime();
    void forgottenChangesAreNotWritten();
    void failedChangeIsNotWrittenWithFlushing();
    void dataFileThatWasReadWritesNothing();
    void notesThatWereReadWriteNothing();

private:
    IndexFile* make() const { return MakeOwnIndex(&testFiles, path().c_str(), keyLength, 0); }
    IndexFile* open() const { return OpenOwnIndex(&testFiles, path().c_str(), keyLength, 0); }
    // The keys 3, 6, ...
    void makeKeys(int count) const
    {
        IndexFile* const index = make();
        for (int i = 1; i <= count; ++i)
            QCOMPARE(Add(index, std::uint32_t(3 * i)), 0);
        QCOMPARE(CloseIndex(index), 0);
    }
};

void UnchangedTest::indexThatWasReadWritesNothing_data()
{
    QTest::addColumn<bool>("flushing");
    QTest::newRow("without flushing") << false;
    QTest::newRow("with flushing") << true;
}

void UnchangedTest::indexThatWasReadWritesNothing()
{
    QFETCH(bool, flushing);
    makeKeys(100);
    const QByteArray before = load();
    QCOMPARE(WritesOf([&] {
                 IndexFile* const index = open();
                 ToggleFlushing(index, flushing, 1);
                 Read(index);
                 QCOMPARE(TaCloseIndex(index), 0);
                 Read(index);
                 ToggleFlushing(index, !flushing, 1);
                 TaCloseFile(index->dataFile);
                 Read(index);
                 QCOMPARE(TaOpenIndex(index), 0);
                 QCOMPARE(CloseIndex(index), 0);
             }),
             0);
    QVERIFY(load() == before);
}

void UnchangedTest::newIndexIsWholeAtOnce()
{
    IndexFile* index = make();
    const QByteArray made = load();
    QCOMPARE(CheckIndex(path(), keyLength, false), Findings());
    QCOMPARE(WritesOf([&] {
                 QCOMPARE(Walk(index), 0);
                 ToggleFlushing(index, 1, 1);
                 ToggleFlushing(index, 0, 1);
                 QCOMPARE(CloseIndex(index), 0);
             }),
             0);
    QVERIFY(load() == made);
}

void UnchangedTest::newIndexThatCannotBeWrittenIsNone()
{
    const int descriptors = OpenDescriptors();
    for (int k = 0; k < 2; ++k) {
        FailingFiles files(Fault::Write, k, false);
        const UsedStoreFiles used(&files);
        QVERIFY(!make());
        QCOMPARE(taerror, int(taWriteFailed));
    }
    QCOMPARE(OpenDescriptors(), descriptors);
}

void UnchangedTest::emptyIndexLeavesWhatAnotherAdded()
{
    IndexFile* const first = make();
    IndexFile* const second = open();
    QCOMPARE(Add(second, 3), 0);
    QCOMPARE(CloseIndex(second), 0);
    const QByteArray bytes = load();
    QCOMPARE(CloseIndex(first), 0);
    QVERIFY(load() == bytes);
    IndexFile* const third = open();
    QVERIFY(Find(third, 3));
    CloseIndex(third);
}

// An update replaces the file, under the same name.
void UnchangedTest::readIndexLeavesWhatAnotherMade()
{
    makeKeys(2000);
    IndexFile* const reader = open();
    QCOMPARE(Walk(reader), 2000);
    makeKeys(500);
    const QByteArray bytes = load();
    QCOMPARE(CloseIndex(reader), 0);
    QVERIFY(load() == bytes);
    IndexFile* const after = open();
    QCOMPARE(Walk(after), 500);
    CloseIndex(after);
}

void UnchangedTest::indexWritesNothingASecondTime()
{
    makeKeys(100);
    IndexFile* const index = open();
    QCOMPARE(Add(index, 1), 0);
    QVERIFY(WritesOf([&] { QCOMPARE(TaCloseIndex(index), 0); }) > 0);
    const QByteArray bytes = load();
    QCOMPARE(WritesOf([&] {
                 QCOMPARE(TaCloseIndex(index), 0);
                 QCOMPARE(CloseIndex(index), 0);
             }),
             0);
    QVERIFY(load() == bytes);
}

void UnchangedTest::forgottenChangesAreNotWritten()
{
    makeKeys(100);
    const QByteArray before = load();
    IndexFile* const index = open();
    QCOMPARE(Add(index, 1), 0);
    QCOMPARE(TaOpenIndex(index), 0);
    QCOMPARE(CloseIndex(index), 0);
    QVERIFY(load() == before);
}

// The header that was read at the beginning of the change may be outdated later.
void UnchangedTest::failedChangeIsNotWrittenWithFlushing()
{
    makeKeys(50);
    IndexFile* const index = open();
    ToggleFlushing(index, 1, 1);
    {
        // The new page of a split cannot be written.
        FailingFiles files(Fault::Write, 0, true);
        const UsedStoreFiles used(&files);
        QCOMPARE(Add(index, 1), -1);
        QCOMPARE(taerror, int(taWriteFailed));
    }
    IndexFile* const other = open();
    QCOMPARE(Add(other, 1), 0);
    QCOMPARE(CloseIndex(other), 0);
    const QByteArray bytes = load();
    QCOMPARE(CloseIndex(index), 0);
    QVERIFY(load() == bytes);
}

void UnchangedTest::dataFileThatWasReadWritesNothing()
{
    constexpr int length = 64;
    std::uint8_t record[length] = {};
    std::uint32_t number;
    DataFile* file = MakeOwnDataFile(&testFiles, path().c_str(), length);
    const QByteArray made = load();
    QCOMPARE(WritesOf([&] { QCOMPARE(CloseDataFile(file), 0); }), 0);
    QVERIFY(load() == made);

    file = OpenOwnDataFile(&testFiles, path().c_str(), length);
    QCOMPARE(AddRec(file, &number, record), 0);
    QCOMPARE(CloseDataFile(file), 0);
    const QByteArray before = load();
    QCOMPARE(WritesOf([&] {
                 file = OpenOwnDataFile(&testFiles, path().c_str(), length);
                 QCOMPARE(GetRec(file, 1, record), 0);
                 QCOMPARE(GetBigRec(file, 1, record, 1), 1u);
                 for (const std::uint8_t flushing : { 1, 0 }) {
                     ToggleFlushing(file, flushing, 0);
                     QCOMPARE(FileLen(file), 2u);
                     QCOMPARE(UsedRecs(file), 1u);
                     TaCloseFile(file);
                 }
                 QCOMPARE(CloseDataFile(file), 0);
             }),
             0);
    QVERIFY(load() == before);
}

void UnchangedTest::notesThatWereReadWriteNothing()
{
    {
        CNote notes(&testFiles);
        QVERIFY(notes.Create(path("notes").c_str()));
        for (const char* text : { "one", "two", "three" })
            QVERIFY(notes.SaveNote(text, 3) >= 0);
        QCOMPARE(notes.DeleteNote(0), 0);
    }
    const QByteArray heap = load("notes.fil");
    const QByteArray index = load("notes.k1");
    QCOMPARE(WritesOf([&] {
                 CNote notes(&testFiles);
                 QVERIFY(notes.Open(path("notes").c_str()));
                 std::free(notes.ReadNote(11));
                 QCOMPARE(notes.NoteLength(11), 3);
                 notes.SetIndexFlushing();
                 notes.Close();
             }),
             0);
    QVERIFY(load("notes.fil") == heap);
    QVERIFY(load("notes.k1") == index);
}

QTEST_GUILESS_MAIN(UnchangedTest)
#include "tst_unchanged.moc"
