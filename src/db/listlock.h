// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// One change of a list at a time: a lock that objects and processes share.
//
// Within a process it may be taken again while it is held. Nothing that takes it
// processes events meanwhile.

#pragma once

#include <string>

namespace Agent
{

class ListLock
{
public:
    // For the list with this data file; a file beside it is made and stays. Waits for
    // another process for ten seconds at most.
    explicit ListLock(const std::string& dataFile);
    ~ListLock();
    ListLock(const ListLock&) = delete;
    ListLock& operator=(const ListLock&) = delete;

    // False when another process has it. True also where nothing can be locked
    // (no such file may be made, a file system without locks): a list can be used
    // there by one process, as it always could.
    explicit operator bool() const { return m_free; }

private:
    bool m_free;
};

} // namespace Agent
