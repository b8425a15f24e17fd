// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The recently-used list, brought in step with itself: its records decide, and
// indexes that say something else are made again from them.

#pragma once

#include <string>
#include <vector>

namespace Agent
{

class DbFiles;

// `names` are those of the files. An index that is not open is made again, too. A sound list is
// only read. Each step leaves a list that the next call can go on from. False when one failed.
bool RepairRecentList(DbFiles& files, const std::vector<std::string>& names);

} // namespace Agent
