// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// One change of a list at a time: a lock between objects and processes.
//
// Within a process the lock of a list may be taken again while it is held. Its holders do
// not process events.

#pragma once

#include <string>

namespace Agent
{

class ListLock
{
public:
    // For the list with this data file; a lock file is made in the same folder and stays.
    // Waits at most ten seconds for another process.
    explicit ListLock(const std::string& dataFile);
    ~ListLock();
    ListLock(const ListLock&) = delete;
    ListLock& operator=(const ListLock&) = delete;

    // False when another process has it. True also if locking is impossible (the file
    // cannot be made, a file system without locks): one process at a time can still use
    // the list there.
    explicit operator bool() const { return m_free; }

private:
    const std::string m_path;
    bool m_free;
};

} // namespace Agent
