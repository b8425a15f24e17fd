// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The pages of an index that may be damaged, the content of each, and the tree that they make.

#pragma once

#include "recordfile.h"
#include "store/indexpage.h"
#include "store/storecheck.h"

#include <string>

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
    std::uint32_t Count() const { return m_file.Count(); }
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

// Follows the tree of an index from a root down, and decides whether it is complete: each
// page occurs once, all items are in order, all leaves are equally deep, and nothing
// substantial is outside the tree.
class TreeWalk
{
public:
    // `isFree`: which pages are in the chain of free ones.
    TreeWalk(IndexPages& pages, const std::vector<bool>& isFree);

    // Whether the tree below the page `root` is complete. 0 means an empty tree.
    bool Run(std::uint32_t root);

    // The part of the tree that could be followed.
    int Levels() const { return m_levels; }
    std::int64_t PageCount() const { return m_pageCount; }
    const std::vector<bool>& IsVisited() const { return m_isVisited; }
    std::vector<IndexEntry> TakeEntries() { return std::move(m_entries); }

private:
    void Follow(std::uint32_t number, int level);
    void TakeItem(const IndexItem& item);
    bool IsEverythingTaken();
    bool HasItem(const IndexItem& item) const;

    IndexPages& m_pages;
    const std::vector<bool>& m_isFree;
    std::vector<bool> m_isVisited;
    std::vector<IndexEntry> m_entries;
    bool m_isWhole = true;
    int m_levels = 0;
    int m_leafLevel = 0;
    std::int64_t m_pageCount = 0;
};

// The only key length that fits an index file. It is not stored in the file, but determines
// the length of the pages. If there is not exactly one, throws Trouble, which lists the
// candidates.
int KeyLengthOf(const std::string& path);

} // namespace DbTool
