// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "newfile.h"

#include "base/descriptor.h"
#include "base/wholefile.h"
#include "report.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
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
    const Descriptor made(::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0777));
    if (!made)
        throw Trouble::Because("cannot make " + m_name);
    RemoveOnSignal(m_path);
    errno = 0; // so that later messages do not report a stale reason
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
    const Descriptor written(::open(m_path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!written || ::fsync(written.Get()) != 0)
        throw Trouble::Because("cannot write " + m_name);
    if (::renameat2(AT_FDCWD, m_path.c_str(), AT_FDCWD, m_name.c_str(), RENAME_NOREPLACE) != 0)
        throw Trouble::Because("cannot make " + m_name);
    m_published = true;
    // Until then a power failure could undo the rename.
    if (!SyncFolder(FolderOf(m_name)))
        throw Trouble::Because("cannot write " + m_name);
}

void NewFile::Withdraw()
{
    if (m_published)
        ::unlink(m_name.c_str());
}

namespace
{

constexpr int endings[] = { SIGTERM, SIGINT, SIGHUP };

// A repair makes at most two files. Fixed buffers, since a signal handler must not
// allocate memory.
char parts[2][PATH_MAX];

sigset_t EndingSet()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int ending : endings)
        sigaddset(&set, ending);
    return set;
}

void RemoveAndEnd(int ending)
{
    for (const char* const part : parts)
        if (part[0] != 0)
            ::unlink(part);
    // The handler is installed for one call only, so this ends the program.
    ::raise(ending);
}

// A signal that was ignored before, for example by nohup, stays ignored.
void CatchEndings()
{
    struct sigaction action {
    };
    action.sa_handler = RemoveAndEnd;
    action.sa_flags = SA_RESETHAND;
    for (const int ending : endings) {
        struct sigaction before {
        };
        if (::sigaction(ending, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
            ::sigaction(ending, &action, nullptr);
    }
}

} // namespace

SignalsHeld::SignalsHeld() : m_before()
{
    const sigset_t set = EndingSet();
    ::sigprocmask(SIG_BLOCK, &set, &m_before);
}

SignalsHeld::~SignalsHeld()
{
    ::sigprocmask(SIG_SETMASK, &m_before, nullptr);
}

void RemoveOnSignal(const std::string& path)
{
    for (char(&part)[PATH_MAX] : parts)
        if (part[0] == 0 && path.size() < sizeof part) {
            std::strcpy(part, path.c_str());
            break;
        }
    CatchEndings();
}

void RemoveNoMore(const std::string& path)
{
    for (char(&part)[PATH_MAX] : parts)
        if (path == part)
            part[0] = 0;
}

} // namespace DbTool
