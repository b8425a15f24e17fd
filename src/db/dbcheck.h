// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// Proves that the files of a database are sound and agree with each other. The
/// files are read as they stand and nothing is changed; none may be written
/// meanwhile. A database that is open writes its indexes when it is closed.

#pragma once

#include "store/storecheck.h"

#include <string>

namespace Agent
{

/// What a check has found.
struct DbFindings {
    /// What is wrong and where, each in a sentence without its full stop. None:
    /// the database is sound. Of very many the first hundred are told.
    Findings faults;
    /// What was refused when it was saved, because another record had its key,
    /// and left its record behind; and links that lead out of the folder of the data
    /// file. Told in the same way.
    Findings remarks;
};

/// Each record is in all its indexes, but for what was refused; each key leads to
/// a record that is there and has that key; each dependency belongs to a product;
/// each description belongs to one product. `folder` ends with a slash and is
/// CatalogFolder() as a rule.
DbFindings CheckCatalog(const std::string& folder);

/// The same for the recently-used list, in RecentFolder() as a rule.
DbFindings CheckRecent(const std::string& folder);

} // namespace Agent
