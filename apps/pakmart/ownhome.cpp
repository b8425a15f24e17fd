// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "ownhome.h"

#include "base/privateroot.h"

#include <cstdlib>
#include <pwd.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

// Of a path that does not exist yet, its first folder that does counts.
bool IsOfAnother(std::string path)
{
    struct stat info = {};
    while (stat(path.c_str(), &info) != 0) {
        const auto slash = path.find_last_of('/');
        if (slash == std::string::npos || slash == 0)
            return false;
        path.resize(slash);
    }
    return info.st_uid != geteuid();
}

} // namespace

void UseOwnHome(char** argv)
{
    const passwd* const self = geteuid() == 0 ? getpwuid(0) : nullptr;
    if (!self || !Agent::PrivateRoot().empty())
        return;
    bool isChanged = false;
    for (const char* name : { "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME",
                              "XDG_STATE_HOME", "XDG_RUNTIME_DIR" }) {
        const char* const path = std::getenv(name);
        if (path && IsOfAnother(path))
            isChanged = unsetenv(name) == 0 || isChanged;
    }
    const char* const home = std::getenv("HOME");
    if (!home || (self->pw_dir != std::string(home) && IsOfAnother(home)))
        isChanged = setenv("HOME", self->pw_dir, 1) == 0 || isChanged;
    if (isChanged)
        execv("/proc/self/exe", argv);
}
