// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A database takes over the files `profile` and `registrations` of a store's folder.

#pragma once

#include "sqlpersonaldata.h"

#include <string>

// Takes both files over in one transaction, which remembers their sums, and then renames them to
// `profile.imported` and `registrations.imported`. If this ends in between, the next call only
// renames them. Files that cannot be renamed stay, with a line on standard error.
//
// Throws StoreError, and changes nothing, for a malformed file, and for a profile when the
// database has another.
void ImportPersonalFiles(const std::string& store, SqlPersonalData& data);
