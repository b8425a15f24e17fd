// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/stallwatch.h"

#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>

namespace
{

constexpr long long leastSpeed = 1024; // bytes a second

// The size of all files in a folder; -1 without the folder.
long long SizeOfFiles(const std::string& folder)
{
    long long size = -1;
    const std::unique_ptr<DIR, int (*)(DIR*)> opened(opendir(folder.c_str()), closedir);
    while (const dirent* entry = opened ? readdir(opened.get()) : nullptr) {
        struct stat info = {};
        if (fstatat(dirfd(opened.get()), entry->d_name, &info, AT_SYMLINK_NOFOLLOW) == 0
            && S_ISREG(info.st_mode))
            size = (size < 0 ? 0 : size) + info.st_size;
    }
    return size;
}

} // namespace

bool StallWatch::HasStalled()
{
    const auto now = Clock::now();
    const long long size = SizeOfFiles(m_folder);
    const bool isFirst = size < 0 || m_size < 0 || size < m_size;
    const bool isOver = !isFirst && now - m_since >= std::chrono::seconds(m_seconds);
    const bool stalled = isOver && size - m_size < leastSpeed * m_seconds;
    if (isFirst || isOver) {
        m_since = now;
        m_size = size;
    }
    return stalled;
}
