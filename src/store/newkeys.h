// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The items of a new index, gathered in memory until the index is written at once
// (indexbuild.h).
//
// A key that is already there is refused at once, as AddKey does. So the items are also in a
// hash table, once one comes that may be there; its function has a secret of the process, since
// the keys come from a server that could otherwise choose such as fall into one place.

#pragma once

#include "store/indexbuild.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace Agent
{

class NewKeys
{
public:
    NewKeys(int keyLength, bool allowDuplicates)
        : m_keyLength(std::size_t(keyLength)), m_allowDuplicates(allowDuplicates)
    {
    }

    // The same as AddKey of an index with these items. The key is not changed. `isNew`: the caller
    // knows that it is not there, which saves memory and time.
    int Add(const char* key, std::uint32_t record, bool isNew = false);
    std::size_t Count() const { return m_count; }

    // Puts the items in order; no more can be added then. This takes most of the time, and
    // touches nothing but this object, so that a thread may do it. False without memory.
    bool Sort();
    // Writes the index, which must be new, and sorts before unless that was done. -1 if it
    // cannot be written.
    int Write(IndexFile* index, const std::function<void()>& meanwhile = {});

private:
    static constexpr unsigned placeBits = 20;
    static constexpr std::size_t blockLength = std::size_t(1) << placeBits;

    // An item: its record number, and its packed key with a zero at the end.
    const std::uint8_t* At(std::uint32_t place) const
    {
        return &m_blocks[place >> placeBits][place & (blockLength - 1)];
    }
    static const char* KeyOf(const std::uint8_t* item)
    {
        return reinterpret_cast<const char*>(item + NewItem::beforeKey);
    }
    template <typename Take> void ForEach(const Take& take) const;
    void MakeRoom(std::size_t length);
    std::uint64_t Hash(const std::uint8_t* item) const;
    bool IsSame(const std::uint8_t* a, const std::uint8_t* b) const;
    std::uint32_t& Slot(const std::uint8_t* item);
    void Grow();
    bool IsThere(const std::uint8_t* item, std::uint32_t place);

    const std::size_t m_keyLength;
    const bool m_allowDuplicates;
    std::vector<std::unique_ptr<std::uint8_t[]>> m_blocks;
    std::vector<std::size_t> m_used; // bytes of each block
    std::vector<std::uint32_t> m_table; // places; 0: free
    std::size_t m_count = 0;
    bool m_hasTable = false; // since the first item that might be there
    std::uint32_t m_greatest = 0; // record number
    std::vector<NewItem> m_sorted;
};

} // namespace Agent
