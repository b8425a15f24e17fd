// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Lists the records of a database for a person to read. The files are read as
// they stand; those of a database that is open may lack what it did last.

#pragma once

#include <iosfwd>
#include <string>

namespace Agent
{

// Every product with the fields that have something in them, the names it
// depends on, and its description. False when the data file cannot be read;
// what else cannot be read is left out. `folder` ends with a slash and is
// CatalogFolder() as a rule.
bool DumpCatalog(const std::string& folder, std::ostream& out);

// Every item of the recently-used list, the one used last first, and behind
// them those that are in no order. In RecentFolder() as a rule.
bool DumpRecent(const std::string& folder, std::ostream& out);

} // namespace Agent
