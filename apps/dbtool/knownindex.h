// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The indexes of the agent's databases, known by the names of their files: what is
// in their keys need not be asked for, and their data file is found beside them.

#pragma once

#include "db/dblayouts.h"
#include "repairreport.h"
#include "store/storecheck.h"

#include <functional>
#include <optional>
#include <string>

namespace DbTool
{

using Agent::DbLayout;
using Agent::IndexEntry;
using Agent::IndexLayout;
using Agent::TextField;

struct KnownIndex {
    const DbLayout* layout = nullptr;
    int which = 0; // of its indexes
    void (*makeKey)(const std::uint8_t* record, int which, char* key) = nullptr;
    std::vector<TextField> texts;
    std::string folder; // where its data file is, with a slash; empty if there is none

    const IndexLayout& index() const { return layout->indexes[which]; }
};

// Through links too: an index that is reached by one has its data file where the
// link leads.
std::optional<KnownIndex> FindKnownIndex(const std::string& path);

// The items of the index as its data file has them. `old` are those that were found
// in the index itself: they say who holds a key that several records have, and how
// it is spelled.
std::vector<IndexEntry> EntriesOfRecords(const KnownIndex& index,
                                         const std::vector<IndexEntry>& old, bool isOldWhole,
                                         RepairReport* report);

} // namespace DbTool
