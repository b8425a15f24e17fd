// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Collects the items of an index that may be damaged: from the tree if it is complete,
// otherwise from every page that can be read. Every possible loss is counted and reported,
// unless the pages themselves prove that nothing is missing.

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
