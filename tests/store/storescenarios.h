// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Sequences of store calls for the tests in which the file system fails or the process
// dies. Each keeps a ledger of what the store reported as done, and afterwards checks
// that all of it is in the files.

#pragma once

#include "store/cnote.h"
#include "store/indexfile.h"
#include "store/ownfiles.h"
#include "store/storecheck.h"
#include "tests/store/storeshims.h"
#include "tests/store/storetest.h"

#include <QtTest>

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <sys/mman.h>

using Agent::CheckDataFile;
using Agent::CheckIndex;
using Agent::CheckNotes;
using Agent::Findings;
using Agent::IndexEntry;

// What was reported: numbers and the content stored under them. The ledger is in memory
// that a forked process shares, so that it outlives that process.
class Ledger
{
public:
    Ledger()
        : m_shared(static_cast<Shared*>(::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                                               MAP_SHARED | MAP_ANONYMOUS, -1, 0)))
    {
        if (m_shared == MAP_FAILED)
            qFatal("no shared memory");
    }
    ~Ledger() { ::munmap(m_shared, sizeof(Shared)); }
    Ledger(const Ledger&) = delete;
    Ledger& operator=(const Ledger&) = delete;

    // Note a number as stored, as not there, or as neither: a call about it failed or has
    // not returned.
    void stored(std::uint32_t number, int content) { note(number, content); }
    void gone(std::uint32_t number) { note(number, absent); }
    void doubt(std::uint32_t number) { note(number, doubtful); }

    // Everything known to be stored.
    std::map<std::uint32_t, int> stored() const
    {
        std::map<std::uint32_t, int> all;
        for (int i = 0; i < m_shared->length; ++i)
            all[m_shared->entries[i].number] = m_shared->entries[i].content;
        for (auto at = all.begin(); at != all.end();)
            at = at->second < 0 ? all.erase(at) : std::next(at);
        return all;
    }
    // Everything known not to be there.
    std::set<std::uint32_t> gone() const
    {
        std::set<std::uint32_t> all;
        for (int i = 0; i < m_shared->length; ++i)
            if (m_shared->entries[i].content == absent)
                all.insert(m_shared->entries[i].number);
            else
                all.erase(m_shared->entries[i].number);
        return all;
    }

private:
    static constexpr int absent = -1;
    static constexpr int doubtful = -2;

    struct Entry {
        std::uint32_t number;
        int content;
    };
    struct Shared {
        int length;
        Entry entries[10000];
    };

    void note(std::uint32_t number, int content)
    {
        if (m_shared->length == 10000)
            qFatal("the ledger is full");
        m_shared->entries[m_shared->length] = { number, content };
        ++m_shared->length;
    }

    Shared* const m_shared;
};

class Scenario
{
public:
    explicit Scenario(std::string path) : m_path(std::move(path)) { }
    virtual ~Scenario() = default;

    // Makes the files at the beginning of a run.
    virtual void prepare() = 0;
    // Uses them. Any call may fail.
    virtual void run() = 0;
    // Uses them again, as a later process does.
    virtual void runLater() = 0;
    // Looks for everything stored.
    virtual void verify() = 0;
    virtual Findings check() const = 0;

    Ledger& ledger() { return m_ledger; }

protected:
    const std::string m_path;
    Ledger m_ledger;
};

// Opens something that may fail to open once.
template <typename Function> auto OpenTwice(Function open) -> decltype(open())
{
    const auto result = open();
    return result ? result : open();
}

// ---- data files ----

class DataFileScenario : public Scenario
{
public:
    DataFileScenario(std::string path, bool flushing)
        : Scenario(std::move(path)), m_flushing(flushing)
    {
    }

    void prepare() override
    {
        m_file = MakeOwnDataFile(&testFiles, m_path.c_str(), length);
        for (int i = 0; i < 12; ++i)
            add();
        for (const std::uint32_t number : { 3, 11, 7 })
            erase(number);
        CloseDataFile(m_file);
    }

    void run() override
    {
        for (int session = 0; session < 2; ++session) {
            if (!open())
                return;
            for (int i = 0; i < 5; ++i)
                add();
            for (const std::uint32_t number : { 2, 14, 9 })
                erase(number + std::uint32_t(session));
            put(5);
            putMany(12);
            add();
            CloseDataFile(m_file);
        }
    }

    void runLater() override
    {
        QVERIFY(open());
        for (int i = 0; i < 8; ++i)
            add();
        FixHeader(m_file);
        for (int i = 0; i < 8; ++i)
            add();
        QCOMPARE(CloseDataFile(m_file), 0);
        QCOMPARE(check(), Findings());
    }

    Findings check() const override { return CheckDataFile(m_path, length); }

    void verify() override
    {
        m_file = OpenOwnDataFile(&testFiles, m_path.c_str(), length);
        QVERIFY(m_file);
        std::uint8_t record[length];
        for (const auto& [number, content] : m_ledger.stored()) {
            QCOMPARE(GetRec(m_file, number, record), 0);
            QVERIFY(isRecord(record, content));
        }
        const bool sound = check().empty();
        const std::uint32_t used = UsedRecs(m_file);
        QCOMPARE(CloseDataFile(m_file), 0);
        if (sound)
            QVERIFY(used >= m_ledger.stored().size());
    }

private:
    static constexpr std::int16_t length = 64;

    static void makeRecord(std::uint8_t* record, int content)
    {
        std::memset(record, 0, 4);
        std::memset(record + 4, content % 255 + 1, length - 4);
    }

    static bool isRecord(const std::uint8_t* record, int content)
    {
        std::uint8_t expected[length];
        makeRecord(expected, content);
        return std::memcmp(record, expected, length) == 0;
    }

    bool open()
    {
        m_file = OpenTwice([this] { return OpenOwnDataFile(&testFiles, m_path.c_str(), length); });
        if (m_file && m_flushing)
            ToggleFlushing(m_file, 1, 0);
        return m_file != nullptr;
    }

    void add()
    {
        std::uint8_t record[length];
        makeRecord(record, ++m_content);
        std::uint32_t number = 0;
        if (AddRec(m_file, &number, record) == 0)
            m_ledger.stored(number, m_content);
    }

    void erase(std::uint32_t number)
    {
        if (m_ledger.stored().count(number) == 0)
            return;
        m_ledger.doubt(number);
        DeleteRec(m_file, number);
    }

    void put(std::uint32_t number)
    {
        if (m_ledger.stored().count(number) == 0)
            return;
        std::uint8_t record[length];
        makeRecord(record, ++m_content);
        m_ledger.doubt(number);
        if (PutRec(m_file, number, record) == 0)
            m_ledger.stored(number, m_content);
    }

    // The store does not notice a short transfer, so its content stays in doubt.
    void putMany(std::uint32_t number)
    {
        const auto stored = m_ledger.stored();
        if (stored.count(number) == 0 || stored.count(number + 1) == 0)
            return;
        std::uint8_t records[2 * length];
        makeRecord(records, ++m_content);
        makeRecord(records + length, ++m_content);
        m_ledger.doubt(number);
        m_ledger.doubt(number + 1);
        PutBigRec(m_file, number, records, 2);
    }

    const bool m_flushing;
    DataFile* m_file = nullptr;
    int m_content = 0;
};

// ---- indexes ----

class IndexScenario : public Scenario
{
public:
    IndexScenario(std::string path, bool flushing, std::int16_t length = 12)
        : Scenario(std::move(path)), keyLength(length), m_flushing(flushing)
    {
    }

    // A tree of three levels with the minimum of items: with one less, it would have two
    // levels. Then one of its leaves is filled.
    void prepare() override
    {
        m_index = MakeOwnIndex(&testFiles, m_path.c_str(), keyLength, 0);
        for (std::uint32_t i = 1; i <= 1351; ++i)
            add(10 * i);
        for (std::uint32_t i = 0; i < 25; ++i)
            add(2611 + 4 * i);
        close();
    }

    void run() override
    {
        if (!open())
            return;
        erase(6700); // the tree loses a level
        add(6701); // and regains it
        for (const std::uint32_t number : { 2612, 2614, 2616 })
            add(number); // the full leaf splits
        erase(6760); // inside the tree
        erase(13510);
        erase(13500); // the last leaf borrows from the left
        close();
        if (!open())
            return;
        erase(10); // the first leaf merges
        erase(2614);
        find(5);
        add(5);
        close();
    }

    void runLater() override
    {
        QVERIFY(open());
        for (std::uint32_t i = 0; i < 30; ++i) {
            add(2603 + 370 * i);
            erase(2610 + 370 * i);
        }
        QCOMPARE(m_errors, 0);
        close();
    }

    Findings check() const override { return CheckIndex(m_path, keyLength, false); }

    void verify() override
    {
        std::vector<IndexEntry> entries;
        const Findings findings = CheckIndex(m_path, keyLength, false, &entries);
        const auto stored = m_ledger.stored();
        m_index = OpenOwnIndex(&testFiles, m_path.c_str(), keyLength, 0);
        QVERIFY(m_index);
        for (const auto& [number, content] : stored) {
            std::uint32_t record = 0;
            const int found = FindKey(m_index, &record, Key(number).text);
            QVERIFY2(found == 0, qPrintable(lost(number, findings)));
            QCOMPARE(record, number);
        }
        QCOMPARE(CloseIndex(m_index), 0);
        noteTwice(entries);
        if (!findings.empty())
            return;
        QVERIFY(entries.size() >= stored.size());
        const std::set<std::uint32_t> gone = m_ledger.gone();
        for (const IndexEntry& entry : entries)
            QVERIFY(gone.count(entry.record) == 0 || m_twice.count(entry.record) > 0);
    }

protected:
    const std::int16_t keyLength;

    struct Key {
        explicit Key(std::uint32_t number) { std::snprintf(text, sizeof text, "%08u", number); }
        char text[160];
    };

    // A process that dies while it moves an item may leave it twice; a later deletion
    // removes one of them.
    void noteTwice(const std::vector<IndexEntry>& entries)
    {
        std::set<std::uint32_t> seen;
        for (const IndexEntry& entry : entries)
            if (!seen.insert(entry.record).second)
                m_twice.insert(entry.record);
    }

    static QString lost(std::uint32_t number, const Findings& findings)
    {
        const char* const what = findings.empty() ? "sound" : findings.front().c_str();
        return QString("key %1 is lost (error %2; check: %3)").arg(number).arg(taerror).arg(what);
    }

    bool open()
    {
        m_index
            = OpenTwice([this] { return OpenOwnIndex(&testFiles, m_path.c_str(), keyLength, 0); });
        if (m_index && m_flushing)
            ToggleFlushing(m_index, 1, 1);
        m_errors = 0;
        return m_index != nullptr;
    }

    // Without flushing nothing is in the file before this, and a failure to write is
    // reported here.
    void close()
    {
        if (CloseIndex(m_index) != 0 && !m_flushing)
            for (const std::uint32_t number : m_touched)
                m_ledger.doubt(number);
        m_touched.clear();
    }

    void add(std::uint32_t number)
    {
        m_touched.push_back(number);
        m_ledger.doubt(number);
        if (AddKey(m_index, &number, Key(number).text) == 0 || taerror == taNoError)
            m_ledger.stored(number, 0);
        else
            ++m_errors;
    }

    void erase(std::uint32_t number)
    {
        m_touched.push_back(number);
        m_ledger.doubt(number);
        std::uint32_t record = number;
        if (DeleteKey(m_index, &record, Key(number).text) == 0 || taerror == taNoError)
            m_ledger.gone(number);
        else
            ++m_errors;
    }

    void find(std::uint32_t number)
    {
        std::uint32_t record = 0;
        FindKey(m_index, &record, Key(number).text);
    }

    const bool m_flushing;
    std::set<std::uint32_t> m_twice; // items that a crash left twice in the index
    IndexFile* m_index = nullptr;
    std::vector<std::uint32_t> m_touched; // since it was opened
    int m_errors = 0; // since it was opened
};

// The same tree, with random bursts of additions and deletions that fill and empty a few
// leaves, and later the same leaves again.
class RandomIndexScenario : public IndexScenario
{
public:
    RandomIndexScenario(std::string path, bool flushing, std::int16_t length, std::uint64_t seed)
        : IndexScenario(std::move(path), flushing, length), m_random(seed)
    {
        for (std::uint32_t& place : m_places)
            place = m_random.below(13000);
    }

    void run() override
    {
        if (!open())
            return;
        for (const std::uint32_t place : m_places)
            m_random.below(2) == 0 ? fill(place, 40) : empty(place, 40);
        close();
    }

    void runLater() override
    {
        QVERIFY(open());
        for (int i = 0; i < 6; ++i)
            for (const std::uint32_t place : m_places)
                i % 2 == 0 ? fill(place, 60) : empty(place, 60);
        QCOMPARE(m_errors, 0);
        close();
    }

private:
    void fill(std::uint32_t place, int times)
    {
        while (times-- > 0)
            add(place + m_random.below(500));
    }

    void empty(std::uint32_t place, int times)
    {
        while (times-- > 0)
            erase(m_random.below(2) == 0 ? place + m_random.below(500)
                                         : (place + m_random.below(500)) / 10 * 10);
    }

    Random m_random;
    std::uint32_t m_places[4];
};

// ---- notes ----

class NotesScenario : public Scenario
{
public:
    using Scenario::Scenario;

    void prepare() override
    {
        CNote notes(&testFiles);
        QVERIFY(notes.Create(m_path.c_str()));
        m_notes = &notes;
        for (const int length : { 100, 30, 400, 20, 50, 70000, 60, 300, 200, 40 })
            save(length);
        for (const std::size_t which : { 0, 2, 4, 8 })
            erase(m_offsets[which]);
    }

    void run() override
    {
        CNote notes(&testFiles);
        m_notes = &notes;
        if (!OpenTwice([this] { return m_notes->Open(m_path.c_str()); }))
            return;
        save(93); // seven bytes are left before a text
        save(390); // and more
        save(47); // slack
        erase(m_offsets[7]); // with the free block after it
        save(65000); // at the end
        erase(m_offsets[1]); // joins nothing
        erase(m_offsets[5]);
        save(64000); // into a freed block, in pieces
        erase(m_offsets[9]);
        notes.Close();
        if (!OpenTwice([this] { return m_notes->Open(m_path.c_str()); }))
            return;
        notes.Reindex();
        save(13);
        save(600);
    }

    void runLater() override
    {
        CNote notes(&testFiles);
        m_notes = &notes;
        QVERIFY(notes.Open(m_path.c_str()));
        notes.Reindex();
        for (int i = 0; i < 40; ++i)
            save(i * 11);
        save(40000);
    }

    Findings check() const override { return CheckNotes(m_path); }

    void verify() override
    {
        const Findings findings = check();
        CNote notes(&testFiles);
        QVERIFY(notes.Open(m_path.c_str()));
        for (const auto& [offset, content] : m_ledger.stored()) {
            const std::unique_ptr<char, decltype(&std::free)> text(
                notes.ReadNote(std::int32_t(offset)), &std::free);
            QVERIFY2(text, findings.empty() ? "sound" : findings.front().c_str());
            const std::string expected = this->text(content);
            QCOMPARE(notes.NoteLength(std::int32_t(offset)), int(expected.size()));
            QVERIFY(expected == text.get());
        }
    }

private:
    // The texts of different lengths share no content.
    static std::string text(int length)
    {
        std::string text(std::size_t(length), ' ');
        for (std::size_t i = 0; i < text.size(); ++i)
            text[i] = char('!' + (i + std::size_t(length) * 7) % 90);
        return text;
    }

    void save(int length)
    {
        const std::int32_t offset = m_notes->SaveNote(text(length).data(), length);
        m_offsets.push_back(offset);
        if (offset >= 0)
            m_ledger.stored(std::uint32_t(offset), length);
    }

    void erase(std::int32_t offset)
    {
        if (offset < 0)
            return;
        m_ledger.doubt(std::uint32_t(offset));
        m_notes->DeleteNote(offset);
    }

    CNote* m_notes = nullptr;
    std::vector<std::int32_t> m_offsets;
};
