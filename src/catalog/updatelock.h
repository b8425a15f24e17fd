// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// One update of a folder's catalog at a time: a lock on the file ".VACatalog.lock"
// there, which the kernel drops with the process. Whoever may write the database
// may take it, and nobody else.

#pragma once

#include <functional>
#include <string>

namespace Agent
{

class UpdateLock
{
public:
    // Waits for other processes as long as `wait` returns true; it is called again
    // and again meanwhile. An update of this process that has not ended is not
    // waited for: it could not end.
    UpdateLock(const std::string& folder, const std::function<bool()>& wait);
    ~UpdateLock();
    UpdateLock(const UpdateLock&) = delete;
    UpdateLock& operator=(const UpdateLock&) = delete;

    // Whether it is held. If not, the reason was logged.
    explicit operator bool() const { return m_held; }

private:
    explicit UpdateLock(const std::string& path);
    bool Open();
    bool IsStill() const;
    bool Wait(const std::function<bool()>& wait);

    const std::string m_path;
    int m_file = -1;
    bool m_entered = false;
    bool m_held = false;
};

} // namespace Agent
