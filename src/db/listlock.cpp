// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/listlock.h"

#include "util/logdb.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <map>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

namespace Agent
{

namespace
{

using Clock = std::chrono::steady_clock;

struct Lock {
    int holders = 0;
    int descriptor = -1;
};

// Each list's lock is held once for all objects of the process that need it.
std::map<std::string, Lock>& Locks()
{
    static std::map<std::string, Lock> locks;
    return locks;
}

bool Wait(int file)
{
    const Clock::time_point end = Clock::now() + std::chrono::seconds(10);
    while (flock(file, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR)
            return true;
        if (Clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

} // namespace

ListLock::ListLock(const std::string& dataFile) : m_path(dataFile + ".lock"), m_free(true)
{
    Lock& lock = Locks()[m_path]; // may throw, so before counting a holder
    if (lock.holders++ > 0)
        return;
    // Read access is enough for a lock, so a file of another user works as well.
    lock.descriptor
        = open(m_path.c_str(), O_RDONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666);
    m_free = lock.descriptor < 0 || Wait(lock.descriptor);
    if (!m_free)
        qCInfo(logDb, "%s is held by another process", m_path.c_str());
}

ListLock::~ListLock()
{
    const auto at = Locks().find(m_path);
    if (--at->second.holders > 0)
        return;
    if (at->second.descriptor >= 0)
        close(at->second.descriptor);
    Locks().erase(at);
}

} // namespace Agent
