// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What a repair did, and whether it comes to something.

#pragma once

#include "newfile.h"

#include <string>
#include <vector>

namespace DbTool
{

struct RepairReport {
    std::vector<std::string> done;
    std::vector<std::string> missing; // what could not be restored
    std::string total; // how much that is, if it was counted

    // Says where a link leads to what is repaired: the new file belongs there.
    void NoteLink(const std::string& path);

    // Tells both, and publishes the files if nothing is missing or a part is
    // enough: all of them or none. Returns the exit status.
    int Finish(bool partial, const std::vector<NewFile*>& files) const;
};

} // namespace DbTool
