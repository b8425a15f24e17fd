// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Makes an index out of given items.

#pragma once

#include "store/storecheck.h"

#include <string>
#include <vector>

namespace DbTool
{

using Agent::Findings;
using Agent::IndexEntry;

// Makes it in place of the file at the path. Returns which items could not get
// in beside others with the same key; throws Trouble if it cannot be written.
Findings FillIndex(const std::string& path, int keyLength, bool duplicates,
                   const std::vector<IndexEntry>& entries);

} // namespace DbTool
