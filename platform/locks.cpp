// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/locks.h"

#include "base/descriptor.h"
#include "platform/child.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <fcntl.h>
#include <optional>
#include <unistd.h>

namespace
{

// The process that holds the lock; empty if no process does, or it cannot be found out.
std::optional<pid_t> Holder(const std::string& file)
{
    const Agent::Descriptor opened(open(file.c_str(), O_RDWR | O_CLOEXEC));
    if (!opened)
        return std::nullopt;
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    const bool held = fcntl(opened.Get(), F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
    return held ? std::optional<pid_t>(lock.l_pid) : std::nullopt;
}

std::optional<pid_t> HolderOfAny(const std::vector<std::string>& files)
{
    for (const std::string& file : files) {
        if (const auto holder = Holder(file))
            return holder;
    }
    return std::nullopt;
}

} // namespace

std::vector<std::string> LocksOf(const Arguments& arguments, const std::string& root)
{
    const std::string lists
        = arguments.listsFolder.empty() ? root + "/var/lib/apt/lists" : arguments.listsFolder;
    const std::string archives = root + "/var/cache/apt/archives/lock";
    if (arguments.command == "update")
        return { lists + "/lock" };
    if (arguments.command == "clean")
        return { archives };
    if (!ChangesPackages(arguments))
        return {};
    return { root + "/var/lib/dpkg/lock-frontend", root + "/var/lib/dpkg/lock", archives };
}

int WaitForLocks(const std::vector<std::string>& files, int seconds,
                 const std::function<void(const std::string&)>& say)
{
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    const sigset_t ends = EndSignals();
    const timespec pause{ 0, 250 * 1000 * 1000 };
    for (bool said = false; seconds < 0 || Clock::now() - begin < std::chrono::seconds(seconds);) {
        const auto holder = HolderOfAny(files);
        if (!holder)
            return 0;
        if (!said)
            say("Waiting for the package lock, which is held by "
                + (*holder > 0 ? "process " + std::to_string(*holder) : "another process"));
        said = true;
        const int signal = sigtimedwait(&ends, nullptr, &pause);
        if (signal > 0)
            return signal;
    }
    return 0;
}
