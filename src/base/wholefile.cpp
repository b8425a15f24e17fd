// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/wholefile.h"

#include "base/descriptor.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Agent
{

bool WriteToDisk(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t count = write(fd, text.data(), text.size());
        if (count < 0 && errno != EINTR)
            return false;
        text.remove_prefix(count > 0 ? std::size_t(count) : 0);
    }
    return fsync(fd) == 0;
}

bool SyncFolder(int fd)
{
    return fsync(fd) == 0 || errno == EINVAL;
}

bool SyncFolder(const std::string& folder)
{
    const Descriptor descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return descriptor && SyncFolder(descriptor.fd());
}

std::string FolderOf(const std::string& path)
{
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

bool ReplaceFile(const std::string& path, std::string_view text, mode_t mode)
{
    std::string made = path + ".XXXXXX";
    const Descriptor file(mkostemp(made.data(), O_CLOEXEC));
    if (!file)
        return false;
    if (WriteToDisk(file.fd(), text) && fchmod(file.fd(), mode) == 0
        && rename(made.c_str(), path.c_str()) == 0)
        return SyncFolder(FolderOf(path));
    const int error = errno;
    unlink(made.c_str());
    errno = error;
    return false;
}

} // namespace Agent
