// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The indexes of the agent's databases, recognised by their file names: the form of their
// keys is known, and their data file is in the same folder.

#pragma once

#include "db/dblayouts.h"
#include "report.h"
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

    const IndexLayout& Index() const { return layout->indexes[which]; }
};

// Follows links: the data file is looked for first where a link leads.
std::optional<KnownIndex> FindKnownIndex(const std::string& path);

// The items that the index should have according to its data file. `old` are those found
// in the index itself: they decide which record holds a key that several have, and how the
// key is spelled.
std::vector<IndexEntry> EntriesOfRecords(const KnownIndex& index,
                                         const std::vector<IndexEntry>& old, bool isOldWhole,
                                         RepairReport* report);

} // namespace DbTool
