// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Gathers the items of an index that may be damaged: those of the tree if it is
// whole, else those of every page that can be read. What may be lost is counted and
// named: none of it is only left out when the pages prove that nothing is.

#pragma once

#include "indexpages.h"
#include "leafrow.h"

namespace DbTool
{

using Agent::Findings;
using Agent::IndexEntry;
using Agent::IndexPage;

struct RecoveredIndex {
    std::vector<IndexEntry> entries; // each once
    bool isWholeTree; // else what was deleted lately may be among them
    Findings losses; // what there was besides
    std::int64_t lost; // items that are lost, at least
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
