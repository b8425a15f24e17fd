// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/wholefile.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace Agent
{

namespace
{

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

std::string NameIn(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

// A name that no other process makes, however many write the same file.
std::string FreshName(const std::string& name)
{
    static const std::string_view letters = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device random;
    std::string fresh = name + '.';
    for (int i = 0; i < 8; ++i)
        fresh += letters[random() % letters.size()];
    return fresh;
}

std::string PathOf(int fd)
{
    return "/proc/self/fd/" + std::to_string(fd);
}

// A new file without a name; none where the file system has no such files, or where it could
// not be named later.
Descriptor Unnamed(int folder, mode_t mode)
{
    Descriptor file(openat(folder, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, mode));
    return file && access(PathOf(file.Get()).c_str(), F_OK) == 0 ? std::move(file) : Descriptor();
}

bool Name(int file, int folder, const std::string& name)
{
    return linkat(AT_FDCWD, PathOf(file).c_str(), folder, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

bool WriteAll(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t count = write(fd, text.data(), text.size());
        if (count < 0 && errno != EINTR)
            return false;
        text.remove_prefix(count > 0 ? std::size_t(count) : 0);
    }
    return true;
}

} // namespace

FileReplacement::FileReplacement(const std::string& path, mode_t mode)
    : m_folder(open(FolderOf(path).c_str(), folderFlags)), m_name(NameIn(path)),
      m_fresh(FreshName(m_name))
{
    if (!m_folder)
        return;
    m_file = Unnamed(m_folder.Get(), mode);
    if (!m_file)
        MakeNamed(mode);
}

FileReplacement::FileReplacement(Descriptor folder, const std::string& name,
                                 const std::string& fresh, mode_t mode)
    : m_folder(std::move(folder)), m_name(name), m_fresh(fresh)
{
    if (m_folder)
        MakeNamed(mode);
}

void FileReplacement::MakeNamed(mode_t mode)
{
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    m_file = Descriptor(openat(m_folder.Get(), m_fresh.c_str(), flags, mode));
    m_isNamed = bool(m_file);
}

FileReplacement FileReplacement::Following(const std::string& path, mode_t mode)
{
    const std::string target = FinalPath(path);
    const bool isThere = access(target.c_str(), F_OK) == 0;
    if (isThere && access(target.c_str(), W_OK) != 0)
        return FileReplacement();
    FileReplacement beside(target, mode);
    if (beside || errno != EACCES || !isThere)
        return beside;
    FileReplacement itself;
    itself.m_file = Descriptor(open(target.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC));
    return itself;
}

FileReplacement::~FileReplacement()
{
    if (!m_folder || !m_isNamed)
        return;
    const int error = errno;
    unlinkat(m_folder.Get(), m_fresh.c_str(), 0);
    errno = error;
}

bool FileReplacement::Write(std::string_view text)
{
    return WriteAll(m_file.Get(), text);
}

bool FileReplacement::Commit()
{
    if (!m_file || fsync(m_file.Get()) != 0)
        return false;
    if (!m_folder)
        return true;
    m_isNamed = m_isNamed || Name(m_file.Get(), m_folder.Get(), m_fresh);
    if (!m_isNamed
        || renameat(m_folder.Get(), m_fresh.c_str(), m_folder.Get(), m_name.c_str()) != 0)
        return false;
    m_isNamed = false;
    return SyncFolder(m_folder.Get());
}

bool ReplaceFile(const std::string& path, std::string_view text, mode_t mode)
{
    FileReplacement file(path, mode & 0600);
    return file && file.Write(text) && fchmod(file.Get(), mode) == 0 && file.Commit();
}

bool WriteToDisk(int fd, std::string_view text)
{
    return WriteAll(fd, text) && fsync(fd) == 0;
}

bool SyncFolder(int fd)
{
    return fsync(fd) == 0 || errno == EINVAL;
}

bool SyncFolder(const std::string& folder)
{
    const Descriptor descriptor(open(folder.c_str(), folderFlags));
    return descriptor && SyncFolder(descriptor.Get());
}

std::string FolderOf(const std::string& path)
{
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

std::string FinalPath(const std::string& path)
{
    char buffer[PATH_MAX];
    return realpath(path.c_str(), buffer) ? std::string(buffer) : path;
}

} // namespace Agent
