// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/listlock.h"

#include "util/logdb.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

namespace Agent
{

namespace
{

using Clock = std::chrono::steady_clock;

// Held once for all objects of the process that need it.
int holders = 0;
int descriptor = -1;

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

ListLock::ListLock(const std::string& dataFile) : m_free(true)
{
    const std::string path = dataFile + ".lock"; // may throw, so before counting a holder
    if (holders++ > 0)
        return;
    // Read access is enough for a lock, so a file of another user works as well.
    descriptor = open(path.c_str(), O_RDONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666);
    m_free = descriptor < 0 || Wait(descriptor);
    if (!m_free)
        qCInfo(logDb, "%s is held by another process", path.c_str());
}

ListLock::~ListLock()
{
    if (--holders > 0)
        return;
    if (descriptor >= 0)
        close(descriptor);
    descriptor = -1;
}

} // namespace Agent
