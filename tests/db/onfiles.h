// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Options of databases for tests.

#pragma once

#include "db/dboptions.h"
#include "tests/store/switchedfiles.h"

// For a database in its usual folder.
inline Agent::DbOptions OnFiles(StoreFiles& files)
{
    return { {}, &files };
}
