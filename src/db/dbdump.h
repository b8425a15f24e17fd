// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Lists the records of a database for people to read. The files are only read; those
// of an open database may lack its latest changes.

#pragma once

#include <iosfwd>
#include <string>

namespace Agent
{

// Every product with its non-empty fields, the names it depends on, and its
// description. False when the data file cannot be read; anything else that cannot be
// read is left out. `folder` ends with a slash and is usually CatalogFolder().
bool DumpCatalog(const std::string& folder, std::ostream& out);

// Every item of the recently-used list, the one used last first, followed by those
// that the index by time lacks. Usually in RecentFolder().
bool DumpRecent(const std::string& folder, std::ostream& out);

} // namespace Agent
