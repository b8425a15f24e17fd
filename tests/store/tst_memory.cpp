// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Every allocation of the store fails in turn, once or permanently. The operation that
// needed it fails with the right code, nothing leaks, and every item is still found.

#include "store/cnote.h"
#include "store/indexfile.h"
#include "store/pagecache.h"
#include "tests/store/failingmemory.h"
#include "tests/store/numberedkeys.h"
#include "tests/store/storetest.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>

using namespace Agent;

class MemoryTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_descriptors = OpenDescriptors();
        QCOMPARE(InitIndex(), 0);
    }
    void cleanup()
    {
        UnInitIndex();
        SetPageRoom(standardPageRoom);
        QCOMPARE(OpenDescriptors(), m_descriptors);
    }

    void pageCache();
    void making_data();
    void making();
    void changes_data();
    void changes();
    void closingForGood();
    void repairTakesNone();
    void notes();

private:
    std::string path(const char* name = "file") const
    {
        return m_folder->filePath(name).toStdString();
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    int m_descriptors = 0;
};

void MemoryTest::pageCache()
{
    UnInitIndex();
    for (int k = 0;; ++k) {
        const long before = Memory::inUse();
        Memory::failFrom(k, false);
        const int result = InitIndex();
        if (!Memory::heal()) {
            QCOMPARE(result, 0);
            QVERIFY(k >= 1);
            return;
        }
        QCOMPARE(result, -1);
        QCOMPARE(taerror, int(taNoMemory));
        QCOMPARE(Memory::inUse(), before);
        QVERIFY(!MakeIndex(0, path().c_str(), 12, 0));
        QCOMPARE(taerror, int(taNoMemory));
    }
}

using Making = std::function<void*(const char*)>;
Q_DECLARE_METATYPE(Making)

void MemoryTest::making_data()
{
    QTest::addColumn<Making>("make");
    QTest::newRow("MakeDataFile") << Making(
        [](const char* path) { return MakeDataFile(0, path, 64); });
    QTest::newRow("OpenDataFile") << Making(
        [](const char* path) { return OpenDataFile(0, path, 64); });
    QTest::newRow("MakeIndex") << Making(
        [](const char* path) { return MakeIndex(0, path, 12, 0); });
    QTest::newRow("OpenIndex") << Making(
        [](const char* path) { return OpenIndex(0, path, 12, 0); });
}

void MemoryTest::making()
{
    QFETCH(Making, make);
    CloseIndex(MakeIndex(0, path().c_str(), 12, 0));
    const long before = Memory::inUse();
    for (int k = 0;; ++k) {
        const std::string path = this->path();
        Memory::failFrom(k, false);
        void* const made = make(path.c_str());
        if (!Memory::heal()) {
            QVERIFY(made);
            QVERIFY(k >= 1);
            if (QByteArray(QTest::currentDataTag()).endsWith("Index"))
                CloseIndex(static_cast<IndexFile*>(made));
            else
                CloseDataFile(static_cast<DataFile*>(made));
            break;
        }
        QVERIFY(!made);
        QCOMPARE(taerror, int(taNoMemory));
    }
    QCOMPARE(Memory::inUse(), before);
}

namespace
{

constexpr std::uint32_t items = 16000;

// Adds and deletes some of many items, so that pages are split and joined, in memory and
// from the file. `states` has the known state of each: 1 there, 0 not there, 2 unknown.
void ComeAndGo(IndexFile* index, std::uint8_t* states)
{
    const auto note = [states](std::uint32_t number, int result, int state) {
        const bool answered = result == 0 || taerror == taNoError;
        if (!answered && taerror != taNoMemory)
            qFatal("error %d", int(taerror));
        states[number] = std::uint8_t(answered ? state : 2);
    };
    for (std::uint32_t i = 0; i < 30; ++i) {
        note(40 + 2 * i + 1, Add(index, 40 + 2 * i + 1), 1);
        note(8000 + 2 * i, Delete(index, 8000 + 2 * i), 0);
        note(3 + 1000 * i, Add(index, 3 + 1000 * i), 1);
        for (std::uint32_t number = 2 * items + 6 * i + 1; number <= 2 * items + 6 * (i + 1);
             ++number)
            note(number, Add(index, number), 1);
    }
}

} // namespace

void MemoryTest::changes_data()
{
    QTest::addColumn<bool>("flushing");
    QTest::addColumn<bool>("forGood");
    QTest::addColumn<int>("room");
    for (const bool forGood : { false, true }) {
        const char* const often = forGood ? "for good" : "once";
        QTest::addRow("in memory, %s", often) << false << forGood << int(standardPageRoom);
        QTest::addRow("little room, %s", often) << false << forGood << 0;
        QTest::addRow("flushing, %s", often) << true << forGood << int(standardPageRoom);
    }
}

void MemoryTest::changes()
{
    QFETCH(bool, flushing);
    QFETCH(bool, forGood);
    QFETCH(int, room);
    IndexFile* index = MakeIndex(0, path("made").c_str(), keyLength, 0);
    for (std::uint32_t i = 1; i <= items; ++i)
        QCOMPARE(Add(index, 2 * i), 0);
    QCOMPARE(CloseIndex(index), 0);
    SetPageRoom(std::size_t(room));
    bool hasFailed = true;
    int k = 0;
    for (; hasFailed && !QTest::currentTestFailed(); k += 1 + k / 5) {
        QFile::remove(m_folder->filePath("file"));
        QVERIFY(QFile::copy(m_folder->filePath("made"), m_folder->filePath("file")));
        std::vector<std::uint8_t> states(2 * items + 200);
        for (std::uint32_t i = 1; i <= items; ++i)
            states[2 * i] = 1;
        const std::string path = this->path();
        const long before = Memory::inUse();
        index = OpenIndex(0, path.c_str(), keyLength, 0);
        // Now every buffer is in use.
        std::uint32_t record;
        for (Key key(0); NextKey(index, &record, key.text) == 0;) { }
        if (flushing)
            ToggleFlushing(index, 1, 1);
        Memory::failFrom(k, forGood);
        ComeAndGo(index, states.data());
        hasFailed = Memory::heal();
        QCOMPARE(CloseIndex(index), 0);
        QCOMPARE(Memory::inUse(), before);
        const Findings findings = CheckIndex(path, keyLength, false);
        QCOMPARE(findings, Findings());
        index = OpenIndex(0, path.c_str(), keyLength, 0);
        for (std::uint32_t number = 0; number < states.size(); ++number)
            if (states[number] != 2)
                QCOMPARE(Find(index, number), states[number] == 1);
        CloseIndex(index);
    }
    QVERIFY(k > 10);
}

// The pages stay in memory, and are written when there is enough of it again.
void MemoryTest::closingForGood()
{
    IndexFile* const index = MakeIndex(0, path().c_str(), keyLength, 0);
    for (std::uint32_t i = 1; i <= 3000; ++i)
        QCOMPARE(Add(index, i), 0);
    Memory::failFrom(0, true);
    const int first = TaCloseIndex(index);
    const std::int32_t error = taerror;
    Memory::heal();
    QCOMPARE(first, -1);
    QCOMPARE(error, int(taNoMemory));
    QVERIFY(Find(index, 200));
    QCOMPARE(CloseIndex(index), 0);
    QCOMPARE(CheckIndex(path(), keyLength, false), Findings());
}

void MemoryTest::repairTakesNone()
{
    DataFile* const file = MakeDataFile(0, path().c_str(), 2508);
    std::uint8_t record[2508] = {};
    std::uint32_t number;
    for (int i = 0; i < 5; ++i)
        QCOMPARE(AddRec(file, &number, record), 0);
    QCOMPARE(DeleteRec(file, 3), 0);
    Memory::failFrom(0, true);
    const bool fixed = FixHeader(file);
    QVERIFY(!Memory::heal());
    QVERIFY(fixed);
    QCOMPARE(FirstRec(file), 3u);
    CloseDataFile(file);
}

void MemoryTest::notes()
{
    const std::string text(70000, 'n');
    bool hasFailed = true;
    int k = 0;
    for (; hasFailed && !QTest::currentTestFailed(); ++k) {
        const std::string name = path(std::to_string(k).c_str());
        const long before = Memory::inUse();
        {
            CNote notes;
            QVERIFY(notes.Create(name.c_str()));
            const std::int32_t freed = notes.SaveNote(text.data(), 200);
            const std::int32_t kept = notes.SaveNote(text.data(), 70000);
            QCOMPARE(notes.DeleteNote(freed), 0);
            Memory::failFrom(k, false);
            const std::int32_t reused = notes.SaveNote(text.data(), 100);
            const std::int32_t added = notes.SaveNote(text.data(), 300);
            char* const read = notes.ReadNote(kept);
            const std::size_t texts = notes.TextOffsets().size();
            const bool indexed = notes.Reindex();
            hasFailed = Memory::heal();
            QVERIFY(!hasFailed || reused < 0 || added < 0 || !read || !indexed || texts == 0
                    || taerror == taNoError);
            QVERIFY(!read || text == read);
            std::free(read);
            QVERIFY(indexed || notes.Reindex());
            QCOMPARE(CheckNotes(name), Findings());
            QCOMPARE(notes.NoteLength(kept), 70000);
            QCOMPARE(notes.NoteLength(reused), reused < 0 ? 0 : 100);
            QCOMPARE(notes.NoteLength(added), added < 0 ? 0 : 300);
        }
        QCOMPARE(Memory::inUse(), before);
    }
    QVERIFY(k > 3);
}

QTEST_GUILESS_MAIN(MemoryTest)
#include "tst_memory.moc"
