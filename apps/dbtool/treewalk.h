// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Follows the tree of an index from a root down, and decides whether it is complete: each
// page occurs once, all items are in order, all leaves are equally deep, and nothing
// substantial is outside the tree.

#pragma once

#include "indexpages.h"

namespace DbTool
{

using Agent::IndexEntry;
using Agent::IndexItem;

class TreeWalk
{
public:
    // `isFree`: which pages are in the chain of free ones.
    TreeWalk(IndexPages& pages, const std::vector<bool>& isFree);

    // Whether the tree below the page `root` is complete. 0 means an empty tree.
    bool Run(std::uint32_t root);

    // The part of the tree that could be followed.
    int levels() const { return m_levels; }
    std::int64_t pageCount() const { return m_pageCount; }
    const std::vector<bool>& isVisited() const { return m_isVisited; }
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

} // namespace DbTool
