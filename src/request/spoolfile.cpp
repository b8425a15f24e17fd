// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/spoolfile.h"

#include "support/cconfigfile.h"
#include "util/logrequest.h"
#include "util/paths.h"

#include <cerrno>
#include <ctime>
#include <deque>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace Agent
{

namespace
{

constexpr mode_t modeOfOurs = 0600;

// The files that were left to the callers of their requests. Never destroyed: they are
// locked as long as the process lives.
std::deque<Descriptor>& Left()
{
    static auto* left = new std::deque<Descriptor>;
    return *left;
}

void DropRemoved(std::deque<Descriptor>& left)
{
    for (std::size_t i = left.size(); i-- > 0;) {
        struct stat info = {};
        if (fstat(left[i].Get(), &info) != 0 || info.st_nlink == 0)
            left.erase(left.begin() + std::ptrdiff_t(i));
    }
}

std::string SpoolFolder()
{
    return SystemPath(std::string("/tmp"));
}

// Whether a name is T_N.xml.
bool IsSpoolName(const std::string& name)
{
    const std::size_t bar = name.find('_');
    const std::size_t dot = name.find_first_not_of("0123456789", bar + 1);
    return bar != std::string::npos && bar > 0 && name.find_first_not_of("0123456789") == bar
        && dot != std::string::npos && dot > bar + 1 && name.compare(dot, 5, ".xml") == 0;
}

bool IsOurs(const struct stat& info)
{
    return S_ISREG(info.st_mode) && info.st_uid == geteuid() && info.st_nlink == 1
        && (info.st_mode & 07777) == modeOfOurs;
}

// The file of the folder, locked, if it is one of ours and no process has it.
Descriptor Unheld(int folder, const char* name)
{
    struct stat named = {};
    if (fstatat(folder, name, &named, AT_SYMLINK_NOFOLLOW) != 0 || !IsOurs(named))
        return Descriptor();
    Descriptor file(openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat opened = {};
    const bool isUnheld = file && fstat(file.Get(), &opened) == 0 && IsOurs(opened)
        && flock(file.Get(), LOCK_EX | LOCK_NB) == 0 && opened.st_ino == named.st_ino
        && opened.st_dev == named.st_dev;
    return isUnheld ? std::move(file) : Descriptor();
}

// Calls `work` with the folder and the name of each file that dead processes have left; none
// if the user wants them kept.
template <typename Work> void ForAbandoned(const Work& work)
{
    if (CConfigFile(SettingsFile(), false).GetLongValue("keep agent xml", 0) != 0)
        return;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(SpoolFolder().c_str()), closedir);
    if (!folder)
        return;
    while (const dirent* entry = readdir(folder.get())) {
        const Descriptor file = IsSpoolName(entry->d_name)
            ? Unheld(dirfd(folder.get()), entry->d_name)
            : Descriptor();
        if (file)
            work(dirfd(folder.get()), entry->d_name);
    }
}

// An interrupted call is repeated with the same name.
Descriptor CreateNew(const std::string& name)
{
    int fd = -1;
    do {
        fd = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, modeOfOurs);
    } while (fd < 0 && errno == EINTR);
    return Descriptor(fd);
}

// Locks a new file. False if another process was faster, took it for an abandoned one and
// removes it. On a file system without such locks nothing is locked, and nothing removed.
bool Hold(const Descriptor& file)
{
    struct stat info = {};
    if ((flock(file.Get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        || fstat(file.Get(), &info) != 0 || info.st_nlink == 0)
        return false;
    fchmod(file.Get(), modeOfOurs); // under any mask
    return true;
}

} // namespace

std::string SpoolFile::Make()
{
    static long serial = 0;
    static const bool cleared = (RemoveAbandoned(), true);
    (void)cleared;
    const long now = long(std::time(nullptr));
    while (true) {
        const std::string name
            = SpoolFolder() + '/' + std::to_string(now) + '_' + std::to_string(serial++) + ".xml";
        Descriptor file = CreateNew(name);
        m_error = file ? 0 : errno;
        if (file ? !Hold(file) : m_error == EEXIST)
            continue;
        m_file = std::move(file);
        return name;
    }
}

void SpoolFile::Leave()
{
    std::deque<Descriptor>& left = Left();
    DropRemoved(left);
    if (m_file)
        left.push_back(std::exchange(m_file, Descriptor()));
    if (left.size() > maxLeft)
        left.pop_front();
}

void SpoolFile::RemoveAbandoned()
{
    ForAbandoned([](int folder, const char* name) {
        if (unlinkat(folder, name, 0) == 0)
            qCInfo(logRequest, "removed %s, which a process has left", name);
    });
}

std::vector<std::string> SpoolFile::Abandoned()
{
    std::vector<std::string> paths;
    ForAbandoned([&paths](int, const char* name) { paths.push_back(SpoolFolder() + '/' + name); });
    return paths;
}

} // namespace Agent
