// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The pages of an index that may be damaged, and what each of them holds.

#pragma once

#include "recordfile.h"
#include "store/indexpage.h"
#include "store/storecheck.h"

namespace DbTool
{

using Agent::IndexEntry;
using Agent::IndexItem;
using Agent::IndexPage;

class IndexPages
{
public:
    enum class Content {
        Whole,
        ItemsOnly, // its children make no sense
        Unreadable,
        Empty // deleted, or fresh
    };

    IndexPages(RecordFile& file, int keyLength);

    // Page numbers run from 1 to one less.
    std::uint32_t count() const { return m_file.count(); }
    // The page is defined for Whole and ItemsOnly.
    Content Read(std::uint32_t number, IndexPage* page);

    // The items that can be made out from slot `first` (1 to 50) of a page on,
    // used or not.
    std::vector<IndexEntry> Slots(std::uint32_t number, int first);
    // Whether a page with too few items has bytes after them: it once had more.
    bool HasLostItems(std::uint32_t number);

private:
    int Stride() const;
    bool IsHeader(const std::uint8_t* bytes) const;

    RecordFile& m_file;
    const int m_keyLength;
    std::vector<std::uint8_t> m_header; // its bytes, to know a copy of them
};

// The order of all items: that of an index with equal keys.
bool Before(const IndexEntry& a, const IndexEntry& b);

// "'a', 'b'".
std::string Names(const std::vector<IndexEntry>& entries);

// Whether an item of a page is an unused slot.
inline bool IsUnused(const IndexItem& item)
{
    return item.record == 0 && item.key[0] == 0;
}

} // namespace DbTool
