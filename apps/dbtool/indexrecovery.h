// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Collects the items of an index that may be damaged: from the tree if it is complete,
// otherwise from every page that can be read. Every possible loss is counted and reported,
// unless the pages themselves prove that nothing is missing.

#pragma once

#include "indexpages.h"
#include "store/storecheck.h"

#include <cstdint>
#include <set>
#include <vector>

namespace DbTool
{

using Agent::Findings;
using Agent::IndexEntry;
using Agent::IndexPage;

// Shows from the items alone, without using links between pages, whether some of an index
// are missing. In key order the items are those of one leaf, one item of an inner page,
// those of the next leaf, and so on to the last leaf. A lost leaf leaves two inner items in
// a row; a lost inner page leaves two leaves in a row. So each gap is visible, and is named
// by the keys on both sides.
class LeafRow
{
public:
    // All items of a page, in the order of the page. A page may be added twice.
    void AddPage(std::uint32_t number, bool isLeaf, const std::vector<IndexEntry>& items);

    struct Gaps {
        Findings gaps; // each with the keys on both sides
        std::int64_t items = 0; // the minimum lost in them
        Findings doubts; // pages whose items do not belong together
    };
    Gaps Run();

    // After Run: all items, each once, in order.
    std::vector<IndexEntry> TakeEntries() { return std::move(m_entries); }
    std::size_t LeafCount() const { return m_leafCount; }

private:
    struct Place {
        IndexEntry entry;
        std::uint32_t leaf; // 0: an inner page
    };
    // The leaves that contain an item; empty if only inner pages do.
    using Leaves = std::vector<std::uint32_t>;

    void Sort();
    void FindDoubts(Gaps* found) const;
    void Compare(std::size_t next, Gaps* found) const;
    bool ShareLeaf(std::size_t a, std::size_t b) const;
    std::string Name(std::size_t rank) const;

    std::vector<Place> m_places;
    std::vector<IndexEntry> m_entries;
    std::vector<Leaves> m_leaves; // of each entry
    std::set<std::uint32_t> m_disordered; // pages whose items are not in order
    std::size_t m_leafCount = 0;
};

struct RecoveredIndex {
    std::vector<IndexEntry> entries; // each once
    bool isWholeTree; // otherwise recently deleted items may be among them
    Findings losses; // what may be missing
    std::int64_t lost; // minimum number of lost items
    Findings doubts; // what may be wrong with the items themselves
};

class IndexRecovery
{
public:
    IndexRecovery(RecordFile& file, int keyLength);

    RecoveredIndex Run();

private:
    RecoveredIndex GatherPages();
    void GatherPage(std::uint32_t number, LeafRow* row, RecoveredIndex* found);
    void AddUnreadable(std::uint32_t number, RecoveredIndex* found);
    void AddShort(std::uint32_t number, int claimed, int real, RecoveredIndex* found);
    void AddWhatFollows(RecoveredIndex* found);
    std::vector<IndexEntry> FittingSlots(std::uint32_t number, const IndexPage& page,
                                         const std::vector<IndexEntry>& entries);
    void AddCut(std::size_t leaves, RecoveredIndex* found) const;

    RecordFile& m_file;
    IndexPages m_pages;
    DataFileHeader m_header{};
    const bool m_hasHeader;
};

} // namespace DbTool
