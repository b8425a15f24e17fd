// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Takes the place of the calls that put a file on the disk in one step. A test program
// includes it once.

#pragma once

#include <QtGlobal>

#include <cerrno>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

// Records the calls in their order. The one named in `failing` fails.
namespace Calls
{

inline std::string made;
inline std::string failing;

// Whether the call is to be made; false with errno.
inline bool Allow(const char* name)
{
    made += made.empty() ? name : std::string(" ") + name;
    errno = EIO;
    return failing != name;
}

} // namespace Calls

extern "C" Q_DECL_EXPORT int fsync(int fd)
{
    return Calls::Allow("fsync") ? int(syscall(SYS_fsync, fd)) : -1;
}

extern "C" Q_DECL_EXPORT int renameat(int folder, const char* from, int other,
                                      const char* to) noexcept
{
    return Calls::Allow("rename") ? int(syscall(SYS_renameat2, folder, from, other, to, 0)) : -1;
}
