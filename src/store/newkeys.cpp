// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/newkeys.h"

#include "store/bytes.h"
#include "store/indexfile.h"
#include "store/packedkey.h"

#include <algorithm>
#include <array>
#include <new>
#include <sys/random.h>
#include <utility>

namespace Agent
{

namespace
{

// Two words may be read from any byte of a key.
constexpr std::size_t slack = 2 * wordSize;
constexpr std::size_t smallestTable = 64;

std::uint64_t Rotated(std::uint64_t word, unsigned bits)
{
    return word << bits | word >> (64 - bits);
}

// SipHash with one round for each word and three at the end.
class SipHash
{
public:
    SipHash()
    {
        const auto [first, second] = Secret();
        m_v = { first ^ 0x736f6d6570736575, second ^ 0x646f72616e646f6d, first ^ 0x6c7967656e657261,
                second ^ 0x7465646279746573 };
    }
    void Add(std::uint64_t word)
    {
        m_v[3] ^= word;
        Round();
        m_v[0] ^= word;
    }
    std::uint64_t Result()
    {
        m_v[2] ^= 0xff;
        for (int i = 0; i < 3; ++i)
            Round();
        return m_v[0] ^ m_v[1] ^ m_v[2] ^ m_v[3];
    }

private:
    using Words = std::pair<std::uint64_t, std::uint64_t>;

    // If the system has no random numbers, the order of the table can be foreseen, and no more.
    static const Words& Secret()
    {
        static const Words secret = [] {
            std::uint64_t words[2] = {};
            const ssize_t got = getrandom(words, sizeof words, GRND_NONBLOCK);
            return got == ssize_t(sizeof words) ? Words(words[0], words[1]) : Words(1, 2);
        }();
        return secret;
    }
    void Round()
    {
        m_v[0] += m_v[1];
        m_v[2] += m_v[3];
        m_v[1] = Rotated(m_v[1], 13) ^ m_v[0];
        m_v[3] = Rotated(m_v[3], 16) ^ m_v[2];
        m_v[0] = Rotated(m_v[0], 32);
        m_v[2] += m_v[1];
        m_v[0] += m_v[3];
        m_v[1] = Rotated(m_v[1], 17) ^ m_v[2];
        m_v[3] = Rotated(m_v[3], 21) ^ m_v[0];
        m_v[2] = Rotated(m_v[2], 32);
    }

    std::array<std::uint64_t, 4> m_v;
};

// Eight bytes of a key, letters folded, and zeros after its end.
std::uint64_t FoldedWord(const char* key)
{
    return OrderOfWord(FoldWord(GetWord(key)));
}

bool EndsIn(std::uint64_t folded)
{
    return (folded & 0xff) == 0;
}

// Of a block. Place 0 means none, so the first block begins with an unused byte.
std::size_t FirstPlace(std::size_t block)
{
    return block == 0 ? 1 : 0;
}

} // namespace

std::uint64_t NewKeys::Hash(const std::uint8_t* item) const
{
    SipHash hash;
    if (m_allowDuplicates)
        hash.Add(GetUint32(item));
    const char* key = KeyOf(item);
    std::uint64_t word;
    do {
        word = FoldedWord(key);
        hash.Add(word);
        key += wordSize;
    } while (!EndsIn(word));
    return hash.Result();
}

bool NewKeys::IsSame(const std::uint8_t* a, const std::uint8_t* b) const
{
    if (m_allowDuplicates && GetUint32(a) != GetUint32(b))
        return false;
    for (std::size_t at = 0;; at += wordSize) {
        const std::uint64_t word = FoldedWord(KeyOf(a) + at);
        if (word != FoldedWord(KeyOf(b) + at))
            return false;
        if (EndsIn(word))
            return true;
    }
}

// The place in the table of an equal item, or the free one for this.
std::uint32_t& NewKeys::Slot(const std::uint8_t* item)
{
    const std::size_t mask = m_table.size() - 1;
    std::size_t at = std::size_t(Hash(item)) & mask;
    while (m_table[at] != 0 && !IsSame(At(m_table[at]), item))
        at = (at + 1) & mask;
    return m_table[at];
}

// Each item with its place.
template <typename Take> void NewKeys::ForEach(const Take& take) const
{
    for (std::size_t block = 0; block < m_blocks.size(); ++block) {
        const std::uint8_t* const bytes = m_blocks[block].get();
        for (std::size_t at = FirstPlace(block); at < m_used[block];) {
            take(bytes + at, std::uint32_t(block << placeBits | at));
            at += NewItem::beforeKey + std::strlen(KeyOf(bytes + at)) + 1;
        }
    }
}

// The table is never more than two thirds full, with one more item than there are.
void NewKeys::Grow()
{
    if (m_hasTable && 3 * (m_count + 1) <= 2 * m_table.size())
        return;
    std::size_t size = smallestTable;
    while (3 * (m_count + 1) > 2 * size)
        size *= 2;
    std::vector<std::uint32_t> table(size);
    m_table.swap(table);
    m_hasTable = true;
    ForEach([this](const std::uint8_t* item, std::uint32_t place) { Slot(item) = place; });
}

void NewKeys::MakeRoom(std::size_t length)
{
    if (!m_blocks.empty() && m_used.back() + length + slack <= blockLength)
        return;
    if (m_blocks.size() == std::size_t(1) << (32 - placeBits))
        throw std::bad_alloc();
    m_used.reserve(m_used.size() + 1);
    std::unique_ptr<std::uint8_t[]> block(new std::uint8_t[blockLength]);
    m_blocks.push_back(std::move(block));
    m_used.push_back(FirstPlace(m_used.size()));
}

// Whether the table has the item. Otherwise it gets it, with its place.
bool NewKeys::IsThere(const std::uint8_t* item, std::uint32_t place)
{
    Grow();
    std::uint32_t& slot = Slot(item);
    if (slot != 0)
        return true;
    slot = place;
    return false;
}

int NewKeys::Add(const char* key, std::uint32_t record, bool isNew)
try {
    const std::size_t length = strnlen(key, m_keyLength);
    MakeRoom(NewItem::beforeKey + MostPacked(length) + 1);
    const std::size_t used = m_used.back();
    std::uint8_t* const item = &m_blocks.back()[used];
    PutUint32(item, record);
    const std::size_t packed = PackKey(key, length, item + NewItem::beforeKey);
    std::memset(item + NewItem::beforeKey + packed, 0, 1 + slack);
    // With equal keys allowed, only one of the same record can be there.
    isNew = isNew || (m_allowDuplicates && record > m_greatest);
    const auto place = std::uint32_t((m_blocks.size() - 1) << placeBits | used);
    const bool isThere = (!isNew || m_hasTable) && IsThere(item, place);
    SetError(taNoError);
    if (isThere)
        return -1;
    m_used.back() += NewItem::beforeKey + packed + 1;
    m_greatest = std::max(m_greatest, record);
    ++m_count;
    return 0;
} catch (const std::bad_alloc&) {
    return SetError(taNoMemory);
}

bool NewKeys::Sort()
try {
    std::vector<std::uint32_t>().swap(m_table);
    m_sorted.clear();
    m_sorted.reserve(m_count);
    ForEach([this](const std::uint8_t* item, std::uint32_t) { m_sorted.emplace_back(item); });
    std::sort(m_sorted.begin(), m_sorted.end(), IsBefore);
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

int NewKeys::Write(IndexFile* index, const std::function<void()>& meanwhile)
{
    if (m_sorted.size() != m_count && !Sort())
        return SetError(taNoMemory);
    return BuildIndex(index, m_sorted, meanwhile);
}

} // namespace Agent
