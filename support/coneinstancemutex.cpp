// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "support/coneinstancemutex.h"

#include "base/privateroot.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace
{

// Anyone may hold the lock, so anyone may open the file: others get read
// access, which is all that flock needs. A link is not followed, since the
// folders are open to all.
int OpenLockFile(const std::string& path)
{
    const int flags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    const int fd = open(path.c_str(), O_RDONLY | O_CREAT | flags, 0644);
    return fd >= 0 ? fd : open(path.c_str(), O_RDONLY | flags);
}

} // namespace

COneInstanceMutex::~COneInstanceMutex()
{
    Release();
}

int COneInstanceMutex::Create(const std::string& name)
{
    Release();
    if (name.empty() || name.find('/') != std::string::npos)
        return -1;
    for (const char* folder : { "/run/lock/", "/tmp/" }) {
        const int fd = OpenLockFile(Agent::PrivateRoot() + folder + name + ".lock");
        if (fd < 0)
            continue;
        if (flock(fd, LOCK_EX | LOCK_NB) == 0) {
            m_fd = fd;
            return 1;
        }
        const bool held = errno == EWOULDBLOCK;
        close(fd);
        return held ? 0 : -1;
    }
    return -1;
}

void COneInstanceMutex::Release()
{
    if (m_fd >= 0)
        close(m_fd);
    m_fd = -1;
}
