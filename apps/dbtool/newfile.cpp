// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "newfile.h"

#include "parts.h"
#include "report.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Agent;

namespace DbTool
{

NewFile::NewFile(const std::string& name, const std::string& ending)
    : m_name(name + ending), m_base(name + ".part" + Number(::getpid())), m_path(m_base + ending)
{
    struct stat status;
    if (::lstat(m_name.c_str(), &status) == 0) {
        errno = EEXIST;
        throw Trouble::Because("cannot make " + m_name);
    }
    const SignalsHeld held;
    const int descriptor = ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0777);
    if (descriptor < 0)
        throw Trouble::Because("cannot make " + m_name);
    RemoveOnSignal(m_path);
    ::close(descriptor);
    errno = 0; // what it holds is no reason for anything
}

NewFile::~NewFile()
{
    const SignalsHeld held;
    if (!m_published)
        ::unlink(m_path.c_str());
    RemoveNoMore(m_path);
}

void NewFile::Publish()
{
    const int descriptor = ::open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
    const bool onDisk = descriptor >= 0 && ::fsync(descriptor) == 0;
    const Trouble trouble = Trouble::Because("cannot write " + m_name);
    if (descriptor >= 0)
        ::close(descriptor);
    if (!onDisk)
        throw trouble;
    if (::renameat2(AT_FDCWD, m_path.c_str(), AT_FDCWD, m_name.c_str(), RENAME_NOREPLACE) != 0)
        throw Trouble::Because("cannot make " + m_name);
    m_published = true;
    SyncFolder();
}

// Until then a loss of power may take the new name away.
void NewFile::SyncFolder() const
{
    const std::string folder = m_name.substr(0, m_name.rfind('/') + 1);
    const int descriptor
        = ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    // Some file systems cannot sync a folder.
    const bool onDisk = descriptor >= 0 && (::fsync(descriptor) == 0 || errno == EINVAL);
    const Trouble trouble = Trouble::Because("cannot write " + m_name);
    if (descriptor >= 0)
        ::close(descriptor);
    if (!onDisk)
        throw trouble;
}

void NewFile::Withdraw()
{
    if (m_published)
        ::unlink(m_name.c_str());
}

} // namespace DbTool
