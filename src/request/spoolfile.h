// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The files in /tmp into which replies are spooled.
//
// A reply may contain private data of its account, so only the user may read it. A
// process that dies leaves its files behind. Their names do not show who uses them, so
// each is locked (flock) as long as it is in use, and the user's next process removes
// those that are not locked.

#pragma once

#include "base/descriptor.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Agent
{

class SpoolFile
{
public:
    // Makes the next free file, empty and locked, and returns its name: "/tmp/T_N.xml",
    // T the time in seconds, N a serial number. The file is always new: a file or link
    // that already has the name is neither followed nor overwritten; the next name is
    // tried. If no file can be made at all, the name is that of the attempt, and
    // error() says why.
    std::string Make();
    int Error() const { return m_error; }

    // The request ends and leaves its file to its caller: the lock is held until the
    // file is removed, the process ends, or more than maxLeft files were left.
    void Leave();

    // Removes the files of dead processes. Called once, by the first Make(), unless the
    // settings keep the files.
    static void RemoveAbandoned();
    // The paths of what that would remove.
    static std::vector<std::string> Abandoned();

    static constexpr std::size_t maxLeft = 64;

private:
    Descriptor m_file; // locked
    int m_error = 0;
};

} // namespace Agent
