// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Preloaded into a program, this makes fork fail as if there were too many processes, as
// long as the file that PAKMART_TEST_NO_FORK names exists.

#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <unistd.h>

extern "C" __attribute__((visibility("default"))) pid_t fork() noexcept
{
    const char* const file = std::getenv("PAKMART_TEST_NO_FORK");
    if (file && access(file, F_OK) == 0) {
        errno = EAGAIN;
        return -1;
    }
    return reinterpret_cast<pid_t (*)()>(dlsym(RTLD_NEXT, "fork"))();
}
