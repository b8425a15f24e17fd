// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The item that a search of pages looks for, or that a change adds or removes.
//
// A lookup compares its key with a few keys on each level of a tree. The letters of this
// side are therefore folded once, when the lookup begins; a comparison folds the other side
// only, eight bytes at a time. In a compact page a key is stored without the beginning that
// it shares with the key before it. CompareRest compares from there on, and keeps track of
// how much both sides have in common, so that no byte of a page is compared twice.

#pragma once

#include "store/indexpage.h"
#include "store/keyword.h"

#include <algorithm>

namespace Agent
{

// The length of the common prefix of two keys: ignoring letter case, and exactly.
struct SharedKeys {
    int folded;
    int exact;
};

class SoughtItem
{
public:
    // A key over 150 characters is cut.
    SoughtItem(const char* key, std::uint32_t record) : m_record(record)
    {
        const std::size_t length = strnlen(key, longestKey);
        m_length = int(length);
        std::memcpy(m_exact, key, length);
        std::memset(m_exact + length, 0, zeros);
        std::size_t at = 0;
        for (; at < length; at += wordSize)
            PutWord(m_key + at, FoldWord(GetWord(m_exact + at)));
        std::memset(m_key + at, 0, zeros);
    }
    explicit SoughtItem(const IndexItem& item) : SoughtItem(item.key, item.record) { }

    IndexItem Item() const { return MakeItem(m_exact, m_record); }
    const char* exactKey() const { return m_exact; }
    int length() const { return m_length; }
    std::uint32_t record() const { return m_record; }
    const char* key() const { return m_key; } // folded
    int ByteAt(int at) const { return static_cast<unsigned char>(m_key[at]); } // folded
    // The eight bytes of the folded key from `at` on, with zeros after its end.
    std::uint64_t WordAt(std::size_t at) const { return GetWord(m_key + at); }

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

    // Negative, 0, positive: sorts before the item, equal, after it.
    int Compare(const IndexItem& item, int allowDuplicates) const
    {
        const WordDifference keys = CompareKey(item.key, nullptr);
        return Order(keys.difference, m_record, item.record, allowDuplicates);
    }

    // The same with an item of a compact page. Its key consists of the first `from` bytes
    // of the key before it and of `rest`, after which seven bytes may be read; this key
    // shares at least as much with the key before. On entry *with is what that key shares
    // with this one, on return what the item's key shares with it.
    [[gnu::always_inline]] int CompareRest(int from, int first, const std::uint8_t* rest,
                                           int length, std::uint32_t record, int allowDuplicates,
                                           SharedKeys* with) const
    {
        const int difference = ByteAt(from) - first;
        if (difference != 0) {
            *with = { from, std::min(with->exact, from) };
            return difference;
        }
        return CompareWords(from, rest, length, record, allowDuplicates, with);
    }

    // The length of the common prefix of this key and another.
    std::size_t Matched(const char* key) const
    {
        std::size_t matched;
        CompareKey(key, &matched);
        return matched;
    }

private:
    int CompareWords(int from, const std::uint8_t* rest, int length, std::uint32_t record,
                     int allowDuplicates, SharedKeys* with) const
    {
        // The first byte that differs, even if only in case.
        int unlike = from <= with->exact ? longestKey : with->exact;
        for (int at = 0;;) {
            at += EqualBytes(m_exact + from + at, rest + at, length - at);
            const int other = at < length ? FoldCase(char(rest[at])) : 0;
            const int difference = ByteAt(from + at) - other;
            unlike = std::min(unlike, from + at);
            if (difference != 0 || at == length) {
                *with = { from + at, unlike };
                return Order(difference, m_record, record, allowDuplicates);
            }
            ++at;
        }
    }

    // The number of equal bytes at the beginning of the rest of a key and of `end`. Seven
    // bytes after either may be read.
    static int EqualBytes(const char* key, const std::uint8_t* end, int length)
    {
        for (int at = 0; at < length; at += int(wordSize)) {
            const std::uint64_t bits = GetWord(key + at) ^ GetWord(end + at);
            if (bits != 0)
                return std::min(at + __builtin_ctzll(bits) / 8, length);
        }
        return length;
    }

    WordDifference CompareKey(const char* key, std::size_t* matched) const
    {
        for (std::size_t at = 0;; at += wordSize) {
            const WordDifference keys = Agent::Compare(WordAt(at), FoldWord(GetWord(key + at)));
            if (keys.byte < wordSize) {
                if (matched)
                    *matched = at + keys.byte;
                return keys;
            }
        }
    }

    std::uint32_t m_record;
    int m_length;
    // After the key, so that two words can be read from any of its bytes.
    static constexpr std::size_t zeros = 3 * wordSize;

    char m_exact[longestKey + zeros];
    char m_key[longestKey + wordSize + zeros];
};

} // namespace Agent
