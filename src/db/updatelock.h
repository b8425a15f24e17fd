// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// One update of a folder's catalog at a time: a lock on the file ".VACatalog.lock"
// there, which the kernel releases when the process ends. Only users that may write
// the database may take it.

#pragma once

#include "base/descriptor.h"

#include <functional>
#include <string>

namespace Agent
{

class UpdateLock
{
public:
    // Waits for other processes as long as `wait`, which is called repeatedly, returns
    // true. Does not wait for an unfinished update of this process: it could not end.
    UpdateLock(const std::string& folder, const std::function<bool()>& wait);
    ~UpdateLock();
    UpdateLock(const UpdateLock&) = delete;
    UpdateLock& operator=(const UpdateLock&) = delete;

    // Whether this object holds the lock. If not, the reason was logged.
    explicit operator bool() const { return m_held; }

private:
    explicit UpdateLock(const std::string& path);
    bool Open();
    bool IsStill() const;
    bool Wait(const std::function<bool()>& wait);

    const std::string m_path;
    Descriptor m_file;
    bool m_entered = false;
    bool m_held = false;
};

} // namespace Agent
