// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/heldfiles.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/resource.h>

namespace Agent
{

namespace
{

constexpr std::size_t largestHeader = 16 * 1024;
constexpr std::size_t largestTail = 256 * 1024;

// The system always assigns the lowest free descriptor, so its number shows how many are
// in use; the upper half is left to the rest of the process.
bool MayKeep(int descriptor)
{
    rlimit limit;
    return getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY
        || rlim_t(descriptor) < limit.rlim_cur / 2;
}

const char* FileName(const char* path)
{
    const char* const slash = std::strrchr(path, '/');
    return slash ? slash + 1 : path;
}

} // namespace

void HeldFiles::CloseAll()
{
    for (File& file : m_held)
        Release(file);
    m_held.clear();
}

bool HeldFiles::LeadsTo(const std::string& path, const std::string& opened) const
{
    const auto held = std::find_if(m_held.begin(), m_held.end(),
                                   [&opened](const File& file) { return file.path == opened; });
    struct stat there;
    return held != m_held.end() && stat(path.c_str(), &there) == 0 && there.st_dev == held->device
        && there.st_ino == held->inode;
}

// ---- opening and closing ----

// Returns the kept descriptor of the file. A file that is opened while it is in use has two
// users with a position each, who must see each other's writes: from then on it is opened
// for each of them, and the system takes care of that.
int HeldFiles::Open(const char* path, int flags, mode_t mode)
{
    const std::string_view name(path);
    const auto held = std::find_if(m_held.begin(), m_held.end(),
                                   [name](const File& file) { return file.path == name; });
    if (held == m_held.end())
        return OpenNew(path, flags, mode);
    const bool isKept = !held->inUse && held->descriptor >= 0;
    if ((flags & (O_CREAT | O_TRUNC)) != 0 && (isKept || !IsPrivate())) {
        // The path may lead to another file by now.
        Release(*held);
        m_held.erase(held);
        return OpenNew(path, flags, mode);
    }
    if (!isKept) {
        Release(*held);
        return OpenAgain(*held, flags, mode);
    }
    held->inUse = true;
    held->position = 0;
    return held->descriptor;
}

int HeldFiles::OpenNew(const char* path, int flags, mode_t mode)
{
    struct stat status;
    const int descriptor = OpenFile(path, flags, mode, &status);
    if (descriptor < 0)
        return -1;
    const bool keep = MayKeep(descriptor);
    try {
        m_held.push_back({ path,
                           keep ? descriptor : -1,
                           status.st_dev,
                           status.st_ino,
                           0,
                           0,
                           keep,
                           {},
                           false,
                           status,
                           {} });
    } catch (const std::bad_alloc&) {
        m_below.Close(descriptor);
        Expect(false);
        errno = ENOMEM;
        return -1;
    }
    return descriptor;
}

int HeldFiles::OpenAgain(const File& file, int flags, mode_t mode)
{
    struct stat status;
    const int descriptor = OpenFile(file.path.c_str(), flags, mode, &status);
    if (descriptor < 0 || (status.st_dev == file.device && status.st_ino == file.inode))
        return descriptor;
    m_below.Close(descriptor);
    Expect(false);
    errno = ESTALE;
    return -1;
}

int HeldFiles::OpenFile(const char* path, int flags, mode_t mode, struct stat* status)
{
    int descriptor = IsPrivate()
        ? m_below.OpenAt(m_folder, FileName(path), flags | O_NOFOLLOW, mode)
        : m_below.Open(path, flags, mode);
    if (descriptor >= 0 && m_below.Status(descriptor, status) != 0) {
        m_below.Close(descriptor);
        descriptor = -1;
    }
    Expect(descriptor >= 0);
    return descriptor;
}

int HeldFiles::Close(int descriptor)
{
    File* const file = Find(descriptor);
    if (!file)
        return m_below.Close(descriptor);
    file->inUse = false;
    return 0;
}

// Stops keeping the descriptor: it then belongs to its current user, or is closed.
void HeldFiles::Release(File& file)
{
    if (file.descriptor < 0)
        return;
    WriteTail(file);
    WriteHeader(file);
    if (file.inUse)
        Reach(file);
    else
        Expect(m_below.Close(file.descriptor) == 0);
    file.descriptor = -1;
}

HeldFiles::File* HeldFiles::Find(int descriptor)
{
    const auto found = std::find_if(m_held.begin(), m_held.end(), [descriptor](const File& file) {
        return file.descriptor == descriptor;
    });
    return found == m_held.end() ? nullptr : &*found;
}

// ---- transfers ----

off_t HeldFiles::Seek(int descriptor, off_t position)
{
    if (File* const file = Find(descriptor)) {
        file->position = position;
        return position;
    }
    const off_t reached = m_below.Seek(descriptor, position);
    Expect(reached == position);
    return reached;
}

// Moves the descriptor to the store's position. Seeking is delayed until a write needs it, which
// saves the call if the position is right already; a read names its position itself.
bool HeldFiles::Reach(File& file)
{
    if (file.reached != file.position)
        file.reached = m_below.Seek(file.descriptor, file.position);
    Expect(file.reached == file.position);
    return file.reached == file.position;
}

ssize_t HeldFiles::ReadHere(File& file, void* bytes, size_t size, size_t expected)
{
    const ssize_t got = m_below.ReadFrom(file.descriptor, file.position, bytes, size);
    Expect(got == ssize_t(expected));
    file.position += std::max<ssize_t>(got, 0);
    return got;
}

ssize_t HeldFiles::Written(File& file, ssize_t size, size_t expected)
{
    Expect(size == ssize_t(expected));
    file.position += std::max<ssize_t>(size, 0);
    file.reached = size < 0 ? -1 : file.position;
    return size;
}

ssize_t HeldFiles::Read(int descriptor, void* bytes, size_t size)
{
    File* const file = Find(descriptor);
    if (!file) {
        const ssize_t got = m_below.Read(descriptor, bytes, size);
        Expect(got == ssize_t(size));
        return got;
    }
    if (IsInHeader(*file, size)) {
        std::memcpy(bytes, file->header.data() + file->position, size);
        file->position += off_t(size);
        return ssize_t(size);
    }
    WriteHeader(*file);
    // The store may ask for records after the last one.
    const off_t there = IsPrivate() ? file->status.st_size - file->position : off_t(size);
    const auto expected = std::size_t(std::clamp(there, off_t(0), off_t(size)));
    return WriteTail(*file) ? ReadHere(*file, bytes, size, expected) : -1;
}

ssize_t HeldFiles::ReadFrom(int descriptor, off_t position, void* bytes, size_t size)
{
    return Seek(descriptor, position) == position ? Read(descriptor, bytes, size) : -1;
}

// The header at the beginning of a new file is rewritten after nearly every record, so for
// files that nobody else can see it is kept in memory, and written on closing.
ssize_t HeldFiles::Write(int descriptor, const void* bytes, size_t size)
{
    File* const file = Find(descriptor);
    if (!file) {
        const ssize_t written = m_below.Write(descriptor, bytes, size);
        Expect(written == ssize_t(size));
        return written;
    }
    if (IsInHeader(*file, size)) {
        std::memcpy(file->header.data() + file->position, bytes, size);
        file->headerWaits = true;
        file->position += off_t(size);
        return ssize_t(size);
    }
    const off_t position = file->position;
    if (position < off_t(file->header.size())) {
        WriteHeader(*file);
        file->header.clear();
    }
    const auto* const first = static_cast<const char*>(bytes);
    if (WaitsInTail(*file, first, size))
        return ssize_t(size);
    if (!WriteTail(*file) || !Reach(*file))
        return -1;
    const ssize_t written = Written(*file, m_below.Write(file->descriptor, bytes, size), size);
    file->status.st_size = std::max(file->status.st_size, file->position);
    if (IsPrivate() && position == 0 && size <= largestHeader && written == ssize_t(size))
        file->header.assign(first, first + size);
    return written;
}

int HeldFiles::Resize(int descriptor, off_t size)
{
    File* const file = Find(descriptor);
    if (file) {
        WriteTail(*file);
        WriteHeader(*file);
        file->header.clear();
    }
    const int result = m_below.Resize(descriptor, size);
    Expect(result == 0);
    if (file && result == 0)
        file->status.st_size = size;
    return result;
}

int HeldFiles::Status(int descriptor, struct stat* status)
{
    const File* const file = IsPrivate() ? Find(descriptor) : nullptr;
    if (file) {
        *status = file->status;
        return 0;
    }
    const int result = m_below.Status(descriptor, status);
    Expect(result == 0);
    return result;
}

bool HeldFiles::Exists(const char* path)
{
    return m_below.Exists(path);
}

// ---- the tail ----

// Whether bytes at the end of a private file were taken, to be written with those after them.
bool HeldFiles::WaitsInTail(File& file, const char* bytes, size_t size)
{
    if (!IsPrivate() || file.position == 0 || file.position != file.status.st_size
        || size >= largestTail)
        return false;
    if (file.tail.size() + size > largestTail && !WriteTail(file))
        return false;
    try {
        file.tail.reserve(largestTail);
    } catch (const std::bad_alloc&) {
        return false;
    }
    file.tail.insert(file.tail.end(), bytes, bytes + size);
    file.position += off_t(size);
    file.status.st_size = file.position;
    return true;
}

// The size stays even if this fails: the file is lost anyway, and what the store adds later
// must not get the place of what it has added before.
bool HeldFiles::WriteTail(File& file)
{
    if (file.tail.empty())
        return true;
    const std::size_t size = file.tail.size();
    const off_t position = file.position;
    file.position = file.status.st_size - off_t(size);
    const bool written = Reach(file)
        && Written(file, m_below.Write(file.descriptor, file.tail.data(), size), size)
            == ssize_t(size);
    file.position = position;
    file.tail.clear();
    return written;
}

// ---- the header ----

// Whether all bytes of a transfer are known.
bool HeldFiles::IsInHeader(const File& file, size_t size) const
{
    return file.position >= 0 && std::size_t(file.position) + size <= file.header.size();
}

void HeldFiles::WriteHeader(File& file)
{
    if (!file.headerWaits)
        return;
    file.headerWaits = false;
    const off_t position = file.position;
    file.position = 0;
    if (Reach(file))
        Written(file, m_below.Write(file.descriptor, file.header.data(), file.header.size()),
                file.header.size());
    file.position = position;
}

} // namespace Agent
