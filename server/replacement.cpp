// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "replacement.h"

#include "base/wholefile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

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
        if (mkdirat(at.fd(), part.c_str(), 0755) != 0 && errno != EEXIST)
            Fail(root + '/' + path);
        at = Descriptor(
            openat(at.fd(), part.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
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

} // namespace

Replacement::Replacement(const std::string& root, const std::string& path, const std::string& text)
    : m_path(root + '/' + path), m_name(path.substr(path.rfind('/') + 1))
{
    if (text.size() > kLargestStoreFile)
        throw StoreError(m_path + ": the file would be larger than 256 MB");
    m_folder = OpenFolder(root, path.substr(0, path.size() - m_name.size()));
    if (HasText(root, path, text))
        return;
    const std::string name = m_name + suffix;
    // Left by an earlier run, or a link that somebody has put there.
    unlinkat(m_folder.fd(), name.c_str(), 0);
    const Descriptor file(openat(m_folder.fd(), name.c_str(),
                                 O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (!file)
        Fail(m_path + suffix);
    if (!Agent::WriteToDisk(file.fd(), text)) {
        const int error = errno;
        unlinkat(m_folder.fd(), name.c_str(), 0);
        errno = error;
        Fail(m_path + suffix);
    }
    m_waiting = true;
}

Replacement::~Replacement()
{
    if (m_waiting && m_folder)
        unlinkat(m_folder.fd(), (m_name + suffix).c_str(), 0);
}

void Replacement::commit()
{
    if (!m_waiting)
        return;
    if (renameat(m_folder.fd(), (m_name + suffix).c_str(), m_folder.fd(), m_name.c_str()) != 0)
        Fail(m_path);
    m_waiting = false;
    if (!Agent::SyncFolder(m_folder.fd()))
        Fail(m_path);
}
