// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "install/privatetree.h"

#include "util/eventwait.h"
#include "util/loginstall.h"

#include <QThread>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Agent
{

namespace
{

bool IsPlain(unsigned char c)
{
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c >= 0x80
        || (c != '\0' && std::strchr("/._+-@%,:=~", c));
}

std::string LockFile(const std::string& tree)
{
    return tree + "/lock";
}

} // namespace

std::string TreeProblem(const std::string& path)
{
    if (std::all_of(path.begin(), path.end(), IsPlain))
        return std::string();
    return "Products cannot be installed from the home folder of '" + path
        + "': the package tools cannot be given a path with blanks, quotes or other special "
          "characters.";
}

TreeLock* TreeLock::m_holder = nullptr;
int TreeLock::m_works = 0;
bool TreeLock::m_lent = false;

bool TreeLock::TryTake()
{
    if (m_taken)
        return true;
    mkdir(m_path.c_str(), 0755);
    const int flags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    Descriptor file(open(LockFile(m_path).c_str(), flags, 0644));
    if (!file) {
        qCInfo(logInstall, "%s cannot be locked: %s", m_path.c_str(), std::strerror(errno));
        return m_taken = true;
    }
    if (flock(file.Get(), LOCK_EX | LOCK_NB) != 0)
        return false;
    m_file = std::move(file);
    const std::string holder
        = std::string(program_invocation_short_name) + ' ' + std::to_string(getpid()) + '\n';
    if (ftruncate(m_file.Get(), 0) != 0 || write(m_file.Get(), holder.data(), holder.size()) < 0)
        qCInfo(logInstall, "%s cannot be written", LockFile(m_path).c_str());
    m_holder = this;
    m_loopLevel = QThread::currentThread()->loopLevel();
    return m_taken = true;
}

// Whether the lock is held by a caller further down on this stack, which can continue
// only after we return: it waits for a child, or shows a box.
bool TreeLock::IsAroundUs() const
{
    return m_holder && m_holder->m_path == m_path
        && (m_works > 0 || QThread::currentThread()->loopLevel() > m_holder->m_loopLevel);
}

bool TreeLock::Take(const Say& say, const GiveUp& giveUp)
{
    for (bool told = false; !TryTake(); told = true) {
        if (IsAroundUs())
            return false;
        if (!told)
            say("Waiting for another installation to end: " + Holder());
        // The object that `giveUp` asks may be gone after the events.
        if (giveUp())
            return false;
        PassEvents();
        if (giveUp())
            return false;
    }
    return true;
}

bool TreeLock::Borrow()
{
    if (!m_lent || !IsAroundUs())
        return false;
    m_lent = false;
    m_borrowed = true;
    return m_taken = true;
}

void TreeLock::Release()
{
    if (m_borrowed)
        m_lent = true;
    m_borrowed = false;
    if (m_holder == this)
        m_holder = nullptr;
    m_file = Descriptor();
    m_taken = false;
}

std::string TreeLock::Holder() const
{
    char text[128];
    const Descriptor file(
        open(LockFile(m_path).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    const ssize_t size = file ? read(file.Get(), text, sizeof text) : -1;
    const std::string line(text, size > 0 ? std::size_t(size) : 0);
    const auto blank = line.rfind(' ');
    const auto end = line.find('\n');
    if (blank == std::string::npos || end == std::string::npos || end < blank)
        return "another program";
    return line.substr(0, blank) + " (process " + line.substr(blank + 1, end - blank - 1) + ')';
}

} // namespace Agent
