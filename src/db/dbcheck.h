// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// Proves that the files of a database are sound and agree with each other. The
/// files are only read, and must not be written meanwhile. An open database writes its
/// indexes when it is closed.

#pragma once

#include "store/storecheck.h"

#include <string>

namespace Agent
{

/// The result of a check.
struct DbFindings {
    /// The faults: what is wrong and where, each a sentence without its full stop. If
    /// empty, the database is sound. Only the first hundred are listed.
    Findings faults;
    /// Remarks, in the same form: records that were refused when they were saved, because
    /// another record had their key, and that remained in the data file; and links that
    /// lead out of the folder of the data file.
    Findings remarks;
};

/// Checks that each record is in all its indexes, except for refused ones; that each key
/// leads to an existing record with that key; that each dependency belongs to a product,
/// and each description to one product. `folder` ends with a slash and is usually
/// CatalogFolder().
DbFindings CheckCatalog(const std::string& folder);

/// The same for the recently-used list, usually in RecentFolder().
DbFindings CheckRecent(const std::string& folder);

} // namespace Agent
