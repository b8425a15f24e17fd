// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Where the files of a database are, and what they are accessed with. A database gets its
// options when it is made and keeps them.

#pragma once

#include "store/storefiles.h"

#include <string>

namespace Agent
{

class HeldFiles;

struct DbOptions {
    // Ends with a slash; empty: the described paths.
    std::string folder = {};
    // Must outlive the database; null: the machine's own.
    StoreFiles* files = nullptr;
    // Open files that another owner keeps, such as those of a new generation. If given,
    // exactly the paths in `folder` are opened, through it and not through `files`; links to
    // the current generation are not looked for, and replaced files are not noticed.
    HeldFiles* held = nullptr;
    // Whether nobody else can see these files until they are closed. The indexes of a database
    // that is created there are written only when they are needed.
    bool isPrivate = false;

    StoreFiles& Files() const { return files ? *files : MachineFiles(); }
};

} // namespace Agent
