// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The files in /tmp into which replies are spooled.
//
// A reply may hold what is its account's alone, so nobody else may read it. A
// process that dies leaves its files; since their names do not say whose they are,
// each is locked (flock) as long as it is in use, and the next process of the user
// removes those that nobody holds.

#pragma once

#include <cstddef>
#include <string>

namespace Agent
{

class SpoolFile
{
public:
    SpoolFile() = default;
    ~SpoolFile();
    SpoolFile(const SpoolFile&) = delete;
    SpoolFile& operator=(const SpoolFile&) = delete;

    // Makes the next free file, empty and held, and returns its name: "/tmp/T_N.xml",
    // T the time in seconds, N a serial number. The file is one that this call has
    // made: nothing that is or appears under a name is followed or overwritten, the
    // next one is taken. Where no file can be made at all, the name is that of the
    // attempt, and error() says why.
    std::string Make();
    int error() const { return m_error; }

    // The request ends and leaves its file to its caller: it is held until it is
    // removed, or the process ends, or very many were left.
    void Leave();

    // Removes the files of processes that are gone. Called once, by the first Make();
    // not while the settings keep the files.
    static void RemoveAbandoned();

    static constexpr std::size_t maxLeft = 64;

private:
    int m_fd = -1;
    int m_error = 0;
};

} // namespace Agent
