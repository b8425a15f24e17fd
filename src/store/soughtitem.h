// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Keys compared eight bytes at a time, and the item that a search of pages looks for.
//
// The first byte of a key is the lowest byte of its word, on every machine. Arithmetic on
// all eight bytes at once folds the case of letters, finds the end of a key and the first
// byte that differs, each in a few steps without a branch.

#pragma once

#include "store/indexpage.h"

#include <algorithm>
#include <cstring>
#include <endian.h>

namespace Agent
{

constexpr unsigned wordSize = sizeof(std::uint64_t);
constexpr std::uint64_t oneInEachByte = ~std::uint64_t(0) / 255;

inline std::uint64_t GetWord(const void* bytes)
{
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return le64toh(word);
}

inline void PutWord(void* bytes, std::uint64_t word)
{
    word = htole64(word);
    std::memcpy(bytes, &word, sizeof word);
}

// Sets the highest bit of each zero byte. Only the lowest set bit is reliable: above it
// other bits may be set as well.
inline std::uint64_t ZeroBytes(std::uint64_t word)
{
    return (word - oneInEachByte) & ~word & 0x80 * oneInEachByte;
}

// Adds 32 to the bytes from 'A' to 'Z'.
inline std::uint64_t FoldWord(std::uint64_t word)
{
    const std::uint64_t low = word & 0x7f * oneInEachByte;
    const std::uint64_t fromA = low + (0x80 - 'A') * oneInEachByte;
    const std::uint64_t aboveZ = low + (0x7f - 'Z') * oneInEachByte;
    return word + ((fromA & ~aboveZ & ~word & 0x80 * oneInEachByte) >> 2);
}

// A number that sorts like the text at the beginning of the word; bytes after the text's
// end are ignored.
inline std::uint64_t OrderOfWord(std::uint64_t word)
{
    if (const std::uint64_t zeros = ZeroBytes(word)) {
        const unsigned bits = unsigned(__builtin_ctzll(zeros)) / 8 * 8;
        word &= ~(~std::uint64_t(0) << bits);
    }
    return __builtin_bswap64(word);
}

// Sixteen bytes of a key, as two numbers that sort like such keys.
struct KeyHead {
    std::uint64_t first, second;

    KeyHead() = default;
    // Of two folded words.
    KeyHead(std::uint64_t a, std::uint64_t b)
        : first(OrderOfWord(a)), second((first & 0xff) != 0 ? OrderOfWord(b) : 0)
    {
    }

    // Whether the key ends within them, so that equal heads mean equal keys.
    bool HasEnd() const { return (second & 0xff) == 0; }
    // Without a branch.
    bool operator<(const KeyHead& other) const
    {
        return (first < other.first) | ((first == other.first) & (second < other.second));
    }
    bool operator==(const KeyHead& other) const
    {
        return first == other.first && second == other.second;
    }
};

// The first byte where two keys differ, or where both end, and the difference there with
// letters folded. Both keys must be readable in words.
struct KeyDifference {
    std::size_t byte;
    int difference;
};

inline KeyDifference CompareKeys(const char* folded, const char* key)
{
    for (std::size_t at = 0;; at += wordSize) {
        const std::uint64_t a = GetWord(folded + at);
        const std::uint64_t b = FoldWord(GetWord(key + at));
        // The lowest set bit is in that byte.
        if (const std::uint64_t marks = (a ^ b) | ZeroBytes(a)) {
            const unsigned byte = unsigned(__builtin_ctzll(marks)) / 8;
            return { at + byte, int(a >> 8 * byte & 0xff) - int(b >> 8 * byte & 0xff) };
        }
    }
}

// The item that a search looks for, or that a change adds or removes. The letters of its
// key are folded once, so that each comparison folds the other side only.
class SoughtItem
{
public:
    // A key over 150 characters is cut.
    SoughtItem(const char* key, std::uint32_t record) : m_item(MakeItem(key, record))
    {
        std::size_t at = 0;
        for (const std::size_t length = std::strlen(m_item.key); at < length; at += wordSize)
            PutWord(m_folded + at, FoldWord(GetWord(m_item.key + at)));
        std::memset(m_folded + at, 0, zeros);
    }

    const IndexItem& Item() const { return m_item; }
    const char* Key() const { return m_folded; }
    // The eight bytes of the folded key from `at` on, with zeros after its end.
    std::uint64_t WordAt(std::size_t at) const { return GetWord(m_folded + at); }

    // Whether the folded key begins with these bytes; up to seven bytes after them may be
    // read.
    bool BeginsWith(const char* bytes, std::size_t count) const
    {
        for (std::size_t at = 0; at < count; at += wordSize) {
            const std::uint64_t bits = GetWord(bytes + at) ^ WordAt(at);
            if (bits != 0 && at + unsigned(__builtin_ctzll(bits)) / 8 < count)
                return false;
        }
        return true;
    }

    // The length of the common prefix of this key and another, up to a limit.
    std::size_t Matched(const char* other, std::size_t limit) const
    {
        return std::min(CompareKeys(m_folded, other).byte, limit);
    }

    // Negative, 0, positive: sorts before the item, equal, after it. The item's key must be
    // readable in words.
    int Compare(const char* itemKey, std::uint32_t itemRecord, int allowDuplicates) const
    {
        return Order(CompareKeys(m_folded, itemKey).difference, m_item.record, itemRecord,
                     allowDuplicates);
    }

private:
    // After the key, so that two words can be read from any of its bytes.
    static constexpr std::size_t zeros = 2 * wordSize;

    IndexItem m_item;
    char m_folded[longestKey + wordSize + zeros];
};

// The position of an item in a page, or where it would be.
struct PagePosition {
    bool found;
    int position; // of the item, or of the last one below it (0: none)
    std::uint32_t record; // of the item, if found
    std::uint32_t child; // to the right of the position
};

} // namespace Agent
