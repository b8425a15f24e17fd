// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Repairs the recently-used list: its records decide, and indexes that disagree are
// rebuilt from them.

#pragma once

#include <string>
#include <vector>

namespace Agent
{

class DbFiles;

// `names` are those of the files. An index that is not open is rebuilt, too. A sound list is
// only read. Each step leaves a list that the next call can continue from. False if a step
// failed.
bool RepairRecentList(DbFiles& files, const std::vector<std::string>& names);

} // namespace Agent
