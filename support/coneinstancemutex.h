// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class COneInstanceMutex
/// A named lock that one process of the machine can hold.
///
/// The lock is a file lock on "/run/lock/NAME.lock" ("/tmp/NAME.lock" if that
/// cannot be made; below PAKMART_SYSROOT if that is set). The kernel releases it
/// when its process ends, for whatever reason; the file stays, which does not
/// matter.

#pragma once

#include <string>

class COneInstanceMutex
{
public:
    COneInstanceMutex() = default;
    ~COneInstanceMutex();
    COneInstanceMutex(const COneInstanceMutex&) = delete;
    COneInstanceMutex& operator=(const COneInstanceMutex&) = delete;

    /// Takes the lock `name` (a file name: no '/'). Returns 1 when this object
    /// holds it now, 0 when another object or process holds it, -1 when it
    /// could not be tried (a bad name, or no folder for the lock file).
    int Create(const std::string& name);

    /// Releases the lock; so does the destructor.
    void Release();

private:
    int m_fd = -1;
};
