// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "storefile.h"

#include "base/wholefile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

using namespace Agent;

namespace
{

std::string WhyNotOpened(int error)
{
    if (error == EINVAL)
        return "this is not a regular file";
    const std::string text = std::strerror(error);
    return error == ELOOP || error == ENOTDIR ? text + " (links are not followed)" : text;
}

} // namespace

// Opens the path one component at a time, each relative to the folder before it and without
// following links, so that no path and no link can lead out of the root, even if folders are
// exchanged at the same time.
Descriptor OpenBelow(const std::string& root, const std::string& path, struct stat& info)
{
    Descriptor at(open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    for (std::string::size_type start = 0; at && start <= path.size();) {
        const auto end = std::min(path.find('/', start), path.size());
        const std::string part = path.substr(start, end - start);
        start = end + 1;
        if (part == ".")
            continue; // apt asks for "./Packages" where the index is in the repository's own folder
        if (part.empty() || part == ".." || part.find('\0') != std::string::npos) {
            errno = ENOENT;
            return Descriptor();
        }
        // Opening a pipe or a device must not block.
        const int flags = end < path.size() ? O_DIRECTORY : O_NONBLOCK;
        at = Descriptor(openat(at.Get(), part.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | flags));
    }
    if (at && (fstat(at.Get(), &info) != 0 || !S_ISREG(info.st_mode))) {
        errno = EINVAL;
        return Descriptor();
    }
    return at;
}

bool SameFile(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size
        && a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

StoreFile ReadStoreFile(const std::string& root, const std::string& path)
{
    StoreFile file{ {}, {} };
    const Descriptor handle = OpenBelow(root, path, file.info);
    const std::string name = root + '/' + path;
    if (!handle)
        throw StoreError(name + ": " + WhyNotOpened(errno));
    if (file.info.st_size > off_t(largestStoreFile))
        throw StoreError(name + ": the file is larger than 256 MB");
    file.text.resize(std::size_t(file.info.st_size));
    std::size_t have = 0;
    while (have < file.text.size()) {
        const ssize_t got = read(handle.Get(), &file.text[have], file.text.size() - have);
        if (got < 0 && errno != EINTR)
            throw StoreError(name + ": " + std::strerror(errno));
        if (got == 0)
            break; // the file was truncated in the meantime
        have += got > 0 ? std::size_t(got) : 0;
    }
    file.text.resize(have);
    return file;
}

namespace
{

const char suffix[] = ".new";

[[noreturn]] void Fail(const std::string& path)
{
    throw StoreError(path + ": " + std::strerror(errno));
}

// Opens a folder below the folder `root`, and makes missing folders on the way.
Descriptor OpenFolder(const std::string& root, const std::string& path)
{
    Descriptor at(open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    for (std::string::size_type start = 0; at && start < path.size();) {
        const auto end = std::min(path.find('/', start), path.size());
        const std::string part = path.substr(start, end - start);
        start = end + 1;
        if (mkdirat(at.Get(), part.c_str(), 0755) != 0 && errno != EEXIST)
            Fail(root + '/' + path);
        at = Descriptor(
            openat(at.Get(), part.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    }
    if (!at)
        Fail(root + '/' + path);
    return at;
}

bool HasText(const std::string& root, const std::string& path, const std::string& text)
{
    struct stat info = {};
    return OpenBelow(root, path, info) && info.st_size == off_t(text.size())
        && ReadStoreFile(root, path).text == text;
}

// Begins the file, if it is to have another text.
FileReplacement NewText(const std::string& root, const std::string& path, const std::string& text)
{
    if (text.size() > largestStoreFile)
        throw StoreError(root + '/' + path + ": the file would be larger than 256 MB");
    const std::string name = path.substr(path.rfind('/') + 1);
    Descriptor folder = OpenFolder(root, path.substr(0, path.size() - name.size()));
    if (HasText(root, path, text))
        return FileReplacement();
    // Left by an earlier run, or a link that somebody has put there.
    unlinkat(folder.Get(), (name + suffix).c_str(), 0);
    FileReplacement file(std::move(folder), name, name + suffix, 0644);
    if (!file || !WriteToDisk(file.Get(), text))
        Fail(root + '/' + path + suffix);
    return file;
}

} // namespace

Descriptor LockStore(const std::string& folder)
{
    Descriptor handle(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!handle)
        Fail(folder);
    if (flock(handle.Get(), LOCK_EX | LOCK_NB) != 0)
        throw StoreError(folder + ": another command is changing this store");
    return handle;
}

bool IsEmptyFolder(const std::string& folder)
{
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(folder.c_str()), closedir);
    int count = 0; // with "." and ".."
    while (entries && count <= 2 && readdir(entries.get()))
        ++count;
    return entries && count <= 2;
}

Replacement::Replacement(const std::string& root, const std::string& path, const std::string& text)
    : m_path(root + '/' + path), m_file(NewText(root, path, text))
{
}

void Replacement::Commit()
{
    if (m_file && !m_file.Commit())
        Fail(m_path);
}
