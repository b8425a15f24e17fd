// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The pages of an index that may be damaged, and the content of each.

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
        ItemsOnly, // its links to children are invalid
        Unreadable,
        Empty // deleted, or not used yet
    };

    IndexPages(RecordFile& file, int keyLength);

    // Page numbers run from 1 to count() - 1.
    std::uint32_t count() const { return m_file.count(); }
    // The page is defined for Whole and ItemsOnly.
    Content Read(std::uint32_t number, IndexPage* page);

    // The items that can be read in a page from slot `first` (1 to 50) on, whether the
    // page counts them or not.
    std::vector<IndexEntry> Slots(std::uint32_t number, int first);
    // Whether a page has fewer items than it must, and bytes after them: it once had more.
    bool HasLostItems(std::uint32_t number);

private:
    int Stride() const;
    bool IsHeader(const std::uint8_t* bytes) const;

    RecordFile& m_file;
    const int m_keyLength;
    std::vector<std::uint8_t> m_header; // its bytes, to recognise a copy of it
};

// The order of all items: by key, and with equal keys by record number.
bool Before(const IndexEntry& a, const IndexEntry& b);

// "'a', 'b'".
std::string Names(const std::vector<IndexEntry>& entries);

// Whether an item of a page is an unused slot.
inline bool IsUnused(const IndexItem& item)
{
    return item.record == 0 && item.key[0] == 0;
}

} // namespace DbTool
