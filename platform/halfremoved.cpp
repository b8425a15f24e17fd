// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/halfremoved.h"

#include "base/descriptor.h"
#include "base/dpkgstatus.h"

#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

using Agent::Descriptor;

namespace
{

// Takes dpkg's lock, so that no list changes; it is held as long as the descriptor is open.
// An empty descriptor if another process holds it.
Descriptor TakeDpkgLock(const std::string& folder)
{
    Descriptor file(
        open((folder + "/lock-frontend").c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0640));
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return file && fcntl(file.Get(), F_SETLK, &lock) == 0 ? std::move(file) : Descriptor();
}

// The package's list of files. Some of these have the architecture in their names.
std::string ListOf(const std::string& info, const std::string& package)
{
    const std::string bare = Agent::BareName(package);
    for (const std::string& name : { bare, bare + ':' + Agent::NativeArchitecture(), package }) {
        const std::string file = info + name + ".list";
        if (access(file.c_str(), W_OK) == 0)
            return file;
    }
    return std::string();
}

bool IsFolderOrGone(const std::string& path)
{
    struct stat found = {};
    return lstat(path.c_str(), &found) != 0 || S_ISDIR(found.st_mode);
}

// Whether everything in `list` is a folder below `root`, or gone, and `mark` is not in it.
bool HasFoldersOnly(const std::string& list, const std::string& root, const std::string& mark)
{
    std::ifstream text(list);
    for (std::string line; std::getline(text, line);) {
        if (line == mark || !IsFolderOrGone(root + line))
            return false;
    }
    return text.eof();
}

} // namespace

void KeepFromVanishing(const std::string& root, const std::string& package)
{
    const std::string folder = root + "/var/lib/dpkg";
    const std::string list = ListOf(folder + "/info/", package);
    const std::string mark = "/var/lib/dpkg/info/" + Agent::BareName(package) + ".half-removed";
    const Descriptor lock = TakeDpkgLock(folder);
    if (!list.empty() && lock && HasFoldersOnly(list, root, mark))
        std::ofstream(list, std::ios::app) << mark << '\n';
}
