// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Makes an index from given items.

#pragma once

#include "store/storecheck.h"

#include <string>
#include <vector>

namespace DbTool
{

using Agent::Findings;
using Agent::IndexEntry;

// Makes it in place of the file at `path`. Returns the items that were refused because
// another one has the same key; throws Trouble if the index cannot be written.
Findings FillIndex(const std::string& path, int keyLength, bool duplicates,
                   const std::vector<IndexEntry>& entries);

} // namespace DbTool
