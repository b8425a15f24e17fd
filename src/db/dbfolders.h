// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Where the databases are, as they are to be opened, with a slash at the end: in
// the agent's data folder and in the user's home.

#pragma once

#include <string>

namespace Agent
{

std::string CatalogFolder();
std::string RecentFolder();

} // namespace Agent
