// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Compares notes stores with a model of their heap in long random sequences: the model
// predicts the place of each text, every result is compared, and the files are checked at
// intervals. PAKMART_TEST_SEED repeats a run.

#include "store/cnote.h"
#include "store/storecheck.h"
#include "tests/store/storefixture.h"

#include <QtTest>

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <set>

using namespace Agent;

namespace
{

// A text is identified by a number and its length.
std::string Text(std::uint32_t number, int length)
{
    std::string text(std::size_t(length), '\0');
    std::uint32_t state = number * 2654435761u + 1;
    for (char& c : text) {
        state = state * 1664525u + 1013904223u;
        c = char(state >> 24);
    }
    return text;
}

// The blocks of a heap and the list of free ones, kept in memory by the rules of the
// store: best fit, remainders of seven bytes or more become blocks, and a freed block is
// joined with the free one after it.
class HeapModel
{
public:
    struct Block {
        enum State { InUse, Free, Hidden } state;
        int length;
        std::uint32_t text;
        int textLength;
    };

    const std::map<int, Block>& blocks() const { return m_blocks; }

    // The expected findings about free blocks whose headers do not show that any more:
    // those still listed, and those longer than a note.
    std::vector<std::string> findings() const
    {
        std::vector<std::string> expected;
        for (const auto& [offset, block] : m_blocks)
            if (block.state == Block::Hidden && block.length > 500000)
                expected.push_back("at offset " + std::to_string(offset) + " has ");
        for (const auto& [key, offset] : m_listed)
            if (m_blocks.at(offset).state == Block::Hidden)
                expected.push_back("at offset " + std::to_string(offset) + " is ");
        return expected;
    }

    int save(std::uint32_t text, int length)
    {
        auto fit = m_listed.lower_bound({ key(length), 0 });
        if (fit != m_listed.end() && fit->first == key(-1))
            fit = m_listed.lower_bound({ key(10), 0 });
        if (fit == m_listed.end())
            return append(text, length);
        const int offset = fit->second;
        const Block found = m_blocks.at(offset);
        if (found.state != Block::Free)
            return -1;
        const int remainder = found.length - length - 8;
        if (remainder < 7 && length + 8 + remainder > 500000)
            return append(text, length);
        m_listed.erase(fit);
        int blockLength = found.length;
        if (remainder >= 7) {
            blockLength = length + 8;
            putFree(offset + blockLength, remainder);
            if (remainder == 7)
                overlapBlockAt(offset + found.length);
        }
        m_blocks[offset] = { Block::InUse, blockLength, text, length };
        return offset;
    }

    void erase(int offset)
    {
        int length = m_blocks.at(offset).length;
        const auto behind = m_blocks.find(offset + length);
        if (behind != m_blocks.end() && behind->second.state == Block::Free) {
            m_listed.erase({ key(behind->second.length - 8), behind->first });
            length += behind->second.length;
            m_blocks.erase(behind);
        }
        putFree(offset, length);
    }

    void reindex()
    {
        m_listed.clear();
        for (const auto& [offset, block] : m_blocks)
            if (block.state == Block::Free)
                m_listed.emplace(key(block.length - 8), offset);
    }

private:
    // The key by which the list is sorted: a text.
    static std::string key(int capacity)
    {
        char key[16];
        std::snprintf(key, sizeof key, "%9d", capacity);
        return key;
    }

    void putFree(int offset, int length)
    {
        m_blocks[offset] = { Block::Free, length, 0, 0 };
        m_listed.emplace(key(length - 8), offset);
    }

    int append(std::uint32_t text, int length)
    {
        const int offset = m_size;
        m_blocks[offset] = { Block::InUse, length + 8, text, length };
        m_size += length + 8;
        return offset;
    }

    // The header of a block of seven bytes ends in the first byte after it.
    void overlapBlockAt(int offset)
    {
        if (offset == m_size)
            ++m_size;
        const auto behind = m_blocks.find(offset);
        if (behind != m_blocks.end() && behind->second.state == Block::Free)
            behind->second.state = Block::Hidden;
    }

    std::map<int, Block> m_blocks;
    std::set<std::pair<std::string, int>> m_listed;
    int m_size = 0;
};

using Sizes = int (*)(Random&);

int SmallSize(Random& random)
{
    return int(random.below(30));
}

int UsualSize(Random& random)
{
    return random.below(3) == 0 ? int(random.below(60)) : int(random.below(2000));
}

// Sizes around all limits, and often a few bytes less than the capacity of another block.
int LimitSize(Random& random)
{
    static constexpr int limits[] = { 8, 31992, 32000, 64000, 250000, 499992 };
    const int size = limits[random.below(6)] - int(random.below(20)) + int(random.below(12));
    return std::clamp(size, 0, 499992);
}

// A store and its model, with the same operations on both.
class Pair
{
public:
    Pair(const std::string& name, Random* random) : m_name(name), m_random(*random)
    {
        QVERIFY(m_notes.Create(name.c_str()));
    }

    void step(bool grows, Sizes sizes)
    {
        const std::uint32_t what = m_random.below(1000);
        if (what < (grows ? 500u : 300u))
            save(sizes(m_random));
        else if (what < 800)
            erase();
        else if (what < 998)
            read();
        else
            reopen();
    }

    void reindex()
    {
        QVERIFY(m_notes.Reindex());
        m_model.reindex();
    }

    // The only allowed findings are blocks hidden by a remainder of seven bytes.
    void check()
    {
        const std::vector<std::string> expected = m_model.findings();
        const Findings findings = CheckNotes(m_name);
        if (expected.empty())
            QCOMPARE(findings, Findings());
        QCOMPARE(findings.size(), std::min(expected.size(), std::size_t(100)));
        for (std::size_t i = 0; i < findings.size(); ++i)
            QVERIFY2(findings[i].find(expected[i]) != std::string::npos, findings[i].c_str());
        m_hidden += int(expected.size());
        for (const auto& [offset, block] : m_model.blocks())
            if (block.state == HeapModel::Block::InUse)
                readAt(offset);
    }

    int hidden() const { return m_hidden; }

private:
    void save(int length)
    {
        const std::uint32_t number = m_next++;
        const std::string text = Text(number, length);
        const int expected = m_model.save(number, length);
        QCOMPARE(m_notes.SaveNote(text.data(), length), expected);
        if (expected >= 0)
            m_offsets.push_back(expected);
    }

    void erase()
    {
        if (m_offsets.empty())
            return;
        const std::size_t which = m_random.below(std::uint32_t(m_offsets.size()));
        const int offset = m_offsets[which];
        m_offsets[which] = m_offsets.back();
        m_offsets.pop_back();
        m_model.erase(offset);
        QCOMPARE(m_notes.DeleteNote(offset), 0);
        QVERIFY(!m_notes.ReadNote(offset));
    }

    void read()
    {
        if (!m_offsets.empty())
            readAt(m_offsets[m_random.below(std::uint32_t(m_offsets.size()))]);
    }

    void readAt(int offset)
    {
        const HeapModel::Block& block = m_model.blocks().at(offset);
        QCOMPARE(m_notes.NoteLength(offset), block.textLength);
        const std::unique_ptr<char, decltype(&std::free)> text(m_notes.ReadNote(offset),
                                                               &std::free);
        QVERIFY(text);
        const std::string expected = Text(block.text, block.textLength);
        QVERIFY(std::memcmp(text.get(), expected.c_str(), expected.size() + 1) == 0);
    }

    void reopen()
    {
        m_notes.Close();
        QVERIFY(m_notes.Open(m_name.c_str()));
    }

    const std::string m_name;
    Random& m_random;
    CNote m_notes;
    HeapModel m_model;
    std::vector<int> m_offsets;
    std::uint32_t m_next = 1;
    int m_hidden = 0;
};

} // namespace

class NotesModelTest : public StoreTest
{
    Q_OBJECT

private slots:

    void randomOperations_data();
    void randomOperations();
};

void NotesModelTest::randomOperations_data()
{
    QTest::addColumn<int>("sizes");
    QTest::addColumn<int>("operations");
    QTest::newRow("up to 29 bytes") << 0 << 100000;
    QTest::newRow("up to 1,999 bytes") << 1 << 100000;
    QTest::newRow("around the limits") << 2 << 2000;
}

void NotesModelTest::randomOperations()
{
    static constexpr Sizes kinds[] = { SmallSize, UsualSize, LimitSize };
    QFETCH(int, sizes);
    QFETCH(int, operations);
    Pair pair(path(), &m_random);
    const int round = operations / 20;
    for (int i = 1; i <= operations && !QTest::currentTestFailed(); ++i) {
        pair.step(i / round % 2 == 0, kinds[sizes]);
        if (i % round == 0)
            pair.check();
        if (i % (2 * round) == 0)
            pair.reindex();
    }
    qInfo("blocks found hidden: %d", pair.hidden());
}

QTEST_GUILESS_MAIN(NotesModelTest)
#include "tst_notesmodel.moc"
