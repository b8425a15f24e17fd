// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What a repair did, what it could not restore, and whether its files are kept.

#pragma once

#include "newfile.h"

#include <string>
#include <vector>

namespace DbTool
{

struct RepairReport {
    std::vector<std::string> done;
    std::vector<std::string> missing; // what could not be restored
    std::string total; // the amount of that, if it was counted

    // If `path` is a link, reports where it leads: the new file belongs there.
    void NoteLink(const std::string& path);

    // Prints both lists, and publishes the files, all or none, if nothing is missing or a
    // partial repair is wanted. Returns the exit status.
    int Finish(bool partial, const std::vector<NewFile*>& files) const;
};

} // namespace DbTool
