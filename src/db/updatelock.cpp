// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/updatelock.h"

#include "db/dblayouts.h"
#include "util/logcatalog.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <set>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Agent
{

namespace
{

// The locks that this process holds or waits for.
std::set<std::string>& Entered()
{
    static std::set<std::string> paths;
    return paths;
}

// Only users that may write the data file may open the lock file: anyone who can open it
// could hold the lock.
mode_t LockMode(const std::string& folder)
{
    struct stat data;
    if (stat((folder + Catalog::layout.fileName).c_str(), &data) != 0)
        return 0600;
    const mode_t writers = data.st_mode & 0222;
    return 0600 | writers | writers << 1;
}

} // namespace

UpdateLock::UpdateLock(const std::string& path) : m_path(path) { }

// If memory runs out here, the constructor that this one delegates to has finished, so
// the destructor is called.
UpdateLock::UpdateLock(const std::string& folder, const std::function<bool()>& wait)
    : UpdateLock(folder + ".VACatalog.lock")
{
    m_entered = Entered().insert(m_path).second;
    if (!m_entered) {
        qCInfo(logCatalog, "an update of %s is going on in this process; another one is refused",
               folder.c_str());
        return;
    }
    do {
        if (!Open())
            return;
        if (!Wait(wait))
            return;
    } while (!IsStill());
    m_held = true;
    struct stat status;
    const mode_t mode = LockMode(folder);
    if (fstat(m_file.Get(), &status) == 0 && (status.st_mode & 0777) != mode)
        fchmod(m_file.Get(), mode);
}

UpdateLock::~UpdateLock()
{
    if (m_entered)
        Entered().erase(m_path);
}

bool UpdateLock::Open()
{
    m_file = Descriptor(
        open(m_path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
    struct stat status;
    if (m_file && fstat(m_file.Get(), &status) == 0 && S_ISREG(status.st_mode))
        return true;
    qCInfo(logCatalog, "the catalog cannot be updated, cannot lock %s: %s", m_path.c_str(),
           m_file ? "not a regular file" : std::strerror(errno));
    return false;
}

// Whether others will lock this same file.
bool UpdateLock::IsStill() const
{
    struct stat held, there;
    return fstat(m_file.Get(), &held) == 0 && lstat(m_path.c_str(), &there) == 0
        && held.st_ino == there.st_ino && held.st_dev == there.st_dev;
}

bool UpdateLock::Wait(const std::function<bool()>& wait)
{
    bool waited = false;
    while (flock(m_file.Get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            qCInfo(logCatalog, "cannot lock %s: %s", m_path.c_str(), std::strerror(errno));
            return false;
        }
        if (!waited)
            qCInfo(logCatalog, "waiting for the update of another process, which holds %s",
                   m_path.c_str());
        waited = true;
        if (!wait()) {
            qCInfo(logCatalog, "no longer waiting for %s", m_path.c_str());
            return false;
        }
    }
    return true;
}

} // namespace Agent
