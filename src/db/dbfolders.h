// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The folders of the databases, as paths to open, with a slash at the end: the agent's
// data folder and one in the user's home.

#pragma once

#include <string>

namespace Agent
{

std::string CatalogFolder();
std::string RecentFolder();

} // namespace Agent
