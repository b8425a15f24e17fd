// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// An object that changed nothing writes nothing, whatever is done with it: changes that
// others have made to the file meanwhile stay.

#include "store/cnote.h"
#include "store/indexfile.h"
#include "store/ownfiles.h"
#include "tests/store/storeshims.h"
#include "tests/store/storetest.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cstdlib>
#include <functional>

using namespace Agent;

namespace
{

constexpr int keyLength = 12;

struct Key {
    explicit Key(std::uint32_t number) { std::snprintf(text, sizeof text, "%08u", number); }
    char text[keyLength + 1];
};

int Add(IndexFile* index, std::uint32_t number)
{
    return AddKey(index, &number, Key(number).text);
}

int Delete(IndexFile* index, std::uint32_t number)
{
    return DeleteKey(index, &number, Key(number).text);
}

int Find(IndexFile* index, std::uint32_t number)
{
    return FindKey(index, &number, Key(number).text);
}

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
    QCOMPARE(Find(index, 3), 0);
    QCOMPARE(Find(index, 1), -1);
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

class TestUnchanged : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QCOMPARE(InitIndex(), 0); }
    void cleanupTestCase() { UnInitIndex(); }
    void init() { m_folder = std::make_unique<QTemporaryDir>(); }

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
    std::string Path(const char* name = "file") const
    {
        return m_folder->filePath(name).toStdString();
    }
    QByteArray Load(const char* name = "file") const
    {
        QFile file(m_folder->filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    IndexFile* Make() const { return MakeOwnIndex(&testFiles, Path().c_str(), keyLength, 0); }
    IndexFile* Open() const { return OpenOwnIndex(&testFiles, Path().c_str(), keyLength, 0); }
    // The keys 3, 6, ...
    void MakeKeys(int count) const
    {
        IndexFile* const index = Make();
        for (int i = 1; i <= count; ++i)
            QCOMPARE(Add(index, std::uint32_t(3 * i)), 0);
        QCOMPARE(CloseIndex(index), 0);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void TestUnchanged::indexThatWasReadWritesNothing_data()
{
    QTest::addColumn<bool>("flushing");
    QTest::newRow("without flushing") << false;
    QTest::newRow("with flushing") << true;
}

void TestUnchanged::indexThatWasReadWritesNothing()
{
    QFETCH(bool, flushing);
    MakeKeys(100);
    const QByteArray before = Load();
    QCOMPARE(WritesOf([&] {
                 IndexFile* const index = Open();
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
    QVERIFY(Load() == before);
}

void TestUnchanged::newIndexIsWholeAtOnce()
{
    IndexFile* index = Make();
    const QByteArray made = Load();
    QCOMPARE(CheckIndex(Path(), keyLength, false), Findings());
    QCOMPARE(WritesOf([&] {
                 QCOMPARE(Walk(index), 0);
                 ToggleFlushing(index, 1, 1);
                 ToggleFlushing(index, 0, 1);
                 QCOMPARE(CloseIndex(index), 0);
             }),
             0);
    QVERIFY(Load() == made);
}

void TestUnchanged::newIndexThatCannotBeWrittenIsNone()
{
    const int descriptors = OpenDescriptors();
    for (int k = 0; k < 2; ++k) {
        FailingFiles files(Fault::Write, k, false);
        const UsedStoreFiles used(&files);
        QVERIFY(!Make());
        QCOMPARE(taerror, int(taWriteFailed));
    }
    QCOMPARE(OpenDescriptors(), descriptors);
}

void TestUnchanged::emptyIndexLeavesWhatAnotherAdded()
{
    IndexFile* const first = Make();
    IndexFile* const second = Open();
    QCOMPARE(Add(second, 3), 0);
    QCOMPARE(CloseIndex(second), 0);
    const QByteArray bytes = Load();
    QCOMPARE(CloseIndex(first), 0);
    QVERIFY(Load() == bytes);
    IndexFile* const third = Open();
    QCOMPARE(Find(third, 3), 0);
    CloseIndex(third);
}

// An update replaces the file, under the same name.
void TestUnchanged::readIndexLeavesWhatAnotherMade()
{
    MakeKeys(2000);
    IndexFile* const reader = Open();
    QCOMPARE(Walk(reader), 2000);
    MakeKeys(500);
    const QByteArray bytes = Load();
    QCOMPARE(CloseIndex(reader), 0);
    QVERIFY(Load() == bytes);
    IndexFile* const after = Open();
    QCOMPARE(Walk(after), 500);
    CloseIndex(after);
}

void TestUnchanged::indexWritesNothingASecondTime()
{
    MakeKeys(100);
    IndexFile* const index = Open();
    QCOMPARE(Add(index, 1), 0);
    QVERIFY(WritesOf([&] { QCOMPARE(TaCloseIndex(index), 0); }) > 0);
    const QByteArray bytes = Load();
    QCOMPARE(WritesOf([&] {
                 QCOMPARE(TaCloseIndex(index), 0);
                 QCOMPARE(CloseIndex(index), 0);
             }),
             0);
    QVERIFY(Load() == bytes);
}

void TestUnchanged::forgottenChangesAreNotWritten()
{
    MakeKeys(100);
    const QByteArray before = Load();
    IndexFile* const index = Open();
    QCOMPARE(Add(index, 1), 0);
    QCOMPARE(TaOpenIndex(index), 0);
    QCOMPARE(CloseIndex(index), 0);
    QVERIFY(Load() == before);
}

// The header that was read at the beginning of the change may be outdated later.
void TestUnchanged::failedChangeIsNotWrittenWithFlushing()
{
    MakeKeys(50);
    IndexFile* const index = Open();
    ToggleFlushing(index, 1, 1);
    {
        // The new page of a split cannot be written.
        FailingFiles files(Fault::Write, 0, true);
        const UsedStoreFiles used(&files);
        QCOMPARE(Add(index, 1), -1);
        QCOMPARE(taerror, int(taWriteFailed));
    }
    IndexFile* const other = Open();
    QCOMPARE(Add(other, 1), 0);
    QCOMPARE(CloseIndex(other), 0);
    const QByteArray bytes = Load();
    QCOMPARE(CloseIndex(index), 0);
    QVERIFY(Load() == bytes);
}

void TestUnchanged::dataFileThatWasReadWritesNothing()
{
    constexpr int length = 64;
    std::uint8_t record[length] = {};
    std::uint32_t number;
    DataFile* file = MakeOwnDataFile(&testFiles, Path().c_str(), length);
    const QByteArray made = Load();
    QCOMPARE(WritesOf([&] { QCOMPARE(CloseDataFile(file), 0); }), 0);
    QVERIFY(Load() == made);

    file = OpenOwnDataFile(&testFiles, Path().c_str(), length);
    QCOMPARE(AddRec(file, &number, record), 0);
    QCOMPARE(CloseDataFile(file), 0);
    const QByteArray before = Load();
    QCOMPARE(WritesOf([&] {
                 file = OpenOwnDataFile(&testFiles, Path().c_str(), length);
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
    QVERIFY(Load() == before);
}

void TestUnchanged::notesThatWereReadWriteNothing()
{
    {
        CNote notes(&testFiles);
        QVERIFY(notes.Create(Path("notes").c_str()));
        for (const char* text : { "one", "two", "three" })
            QVERIFY(notes.SaveNote(text, 3) >= 0);
        QCOMPARE(notes.DeleteNote(0), 0);
    }
    const QByteArray heap = Load("notes.fil");
    const QByteArray index = Load("notes.k1");
    QCOMPARE(WritesOf([&] {
                 CNote notes(&testFiles);
                 QVERIFY(notes.Open(Path("notes").c_str()));
                 std::free(notes.ReadNote(11));
                 QCOMPARE(notes.NoteLength(11), 3);
                 notes.SetIndexFlushing();
                 notes.Close();
             }),
             0);
    QVERIFY(Load("notes.fil") == heap);
    QVERIFY(Load("notes.k1") == index);
}

QTEST_GUILESS_MAIN(TestUnchanged)
#include "tst_unchanged.moc"
