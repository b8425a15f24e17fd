// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What a search of pages looks for. The letters of its key are folded once, so
// that each comparison folds the other side only.

#pragma once

#include "store/indexpage.h"
#include "store/keyword.h"

class SoughtItem
{
public:
    // A key of more than 150 characters is cut.
    SoughtItem(const char* key, std::uint32_t record) : m_record(record)
    {
        const std::size_t length = strnlen(key, longestKey);
        std::memcpy(m_key, key, length);
        for (std::size_t at = 0; at < length; at += wordSize)
            PutWord(m_key + at, FoldWord(WordAt(at)));
    }
    explicit SoughtItem(const IndexItem& item) : SoughtItem(item.key, item.record) { }

    const char* key() const { return m_key; } // folded
    // The eight bytes of the folded key from `at` on, zeros behind its end.
    std::uint64_t WordAt(std::size_t at) const { return GetWord(m_key + at); }

    // Below 0, 0 or above 0 as it stands before an item, in its place, or behind.
    int Compare(const IndexItem& item, int allowDuplicates) const
    {
        const WordDifference keys = CompareKey(item.key, nullptr);
        return Order(keys.difference, m_record, item.record, allowDuplicates);
    }

    // The same with an item whose key has its first bytes, `from`, in common with
    // this one, and `rest` behind them, of which the seven bytes behind may be
    // read. *matched is then the number of bytes that the keys have in common.
    int CompareRest(int from, const std::uint8_t* rest, int length, std::uint32_t record,
                    int allowDuplicates, int* matched) const
    {
        for (int at = 0;; at += int(wordSize)) {
            std::uint64_t other = FoldWord(GetWord(rest + at));
            if (length - at < int(wordSize))
                other = FirstBytes(other, unsigned(length - at));
            const WordDifference keys = ::Compare(WordAt(std::size_t(from + at)), other);
            if (keys.byte < wordSize) {
                *matched = from + at + int(keys.byte);
                return Order(keys.difference, m_record, record, allowDuplicates);
            }
        }
    }

    // The number of bytes that the key has in common with another.
    std::size_t Matched(const char* key) const
    {
        std::size_t matched;
        CompareKey(key, &matched);
        return matched;
    }

private:
    WordDifference CompareKey(const char* key, std::size_t* matched) const
    {
        for (std::size_t at = 0;; at += wordSize) {
            const WordDifference keys = ::Compare(WordAt(at), FoldWord(GetWord(key + at)));
            if (keys.byte < wordSize) {
                if (matched)
                    *matched = at + keys.byte;
                return keys;
            }
        }
    }

    std::uint32_t m_record;
    char m_key[longestKey + 2 * wordSize + 2]{}; // zeros behind the key
};
