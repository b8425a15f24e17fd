// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Gathers the items of an index that may be damaged: those of the tree if it
// can be followed to its end, else those of every page that can be read and is
// not free.

#pragma once

#include "recordfile.h"
#include "store/indexpage.h"
#include "store/storecheck.h"

#include <set>
#include <utility>

namespace DbTool
{

struct RecoveredIndex {
    std::vector<IndexEntry> entries; // each once
    bool isWholeTree; // else what was deleted lately may be among them
    Findings losses; // why there may have been more
};

class IndexRecovery
{
public:
    IndexRecovery(RecordFile& pages, int keyLength);

    RecoveredIndex Run();

    // The levels and pages of the tree below the header's root, as far as it
    // can be followed.
    int levels() const { return m_levels; }
    std::int64_t pagesInTree() const { return m_pagesInTree; }

    // Follows the header's root. Returns whether that gave the whole tree.
    bool FollowHeader();

private:
    enum class Content { Whole, ItemsOnly, Nothing };

    Content ReadPage(std::uint32_t number, IndexPage* page);
    bool IsEmptyPage(std::uint32_t number);
    bool FollowFrom(std::uint32_t root);
    void Follow(std::uint32_t number, int level);
    void TakeItems(const IndexPage& page);
    void TakeOtherPages();
    void TellShortPages();
    bool IsEverythingTaken();
    std::uint32_t OnlyTop();
    bool IsCutOff(std::string* why);

    RecordFile& m_pages;
    const int m_keyLength;
    DataFileHeader m_header{};
    bool m_hasHeader;
    std::vector<bool> m_isFree;
    std::vector<bool> m_isVisited;
    std::vector<IndexEntry> m_entries;
    std::set<std::pair<std::string, std::uint32_t>> m_taken;
    std::set<std::uint32_t> m_short;
    Findings m_losses;
    bool m_treeIsWhole = true;
    int m_levels = 0;
    std::int64_t m_pagesInTree = 0;
};

} // namespace DbTool
