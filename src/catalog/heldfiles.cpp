// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/heldfiles.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <string_view>

namespace
{

constexpr std::size_t largestHeader = 16 * 1024;

} // namespace

HeldFiles::~HeldFiles()
{
    CloseAll();
    SetStoreFiles(&m_files);
}

void HeldFiles::CloseAll()
{
    for (File& file : m_held)
        Release(file);
    m_held.clear();
}

// ---- opening and closing ----

// A file that is opened while it is in use has two users with a place each, who
// must see what the other one writes: that is left to the system from then on.
int HeldFiles::Open(const char* path, int flags, mode_t mode)
{
    const std::string_view name(path);
    const auto held = std::find_if(m_held.begin(), m_held.end(),
                                   [name](const File& file) { return file.path == name; });
    if (held == m_held.end()) {
        const int descriptor = OpenFile(path, flags, mode);
        if (descriptor >= 0)
            m_held.push_back({ path, descriptor, 0, 0, true, {}, false });
        return descriptor;
    }
    if (held->inUse || held->descriptor < 0) {
        Release(*held);
        return OpenFile(path, flags, mode);
    }
    if ((flags & (O_CREAT | O_TRUNC)) != 0) {
        // May be another file by now.
        Release(*held);
        m_held.erase(held);
        return Open(path, flags, mode);
    }
    held->inUse = true;
    held->position = 0;
    return held->descriptor;
}

int HeldFiles::OpenFile(const char* path, int flags, mode_t mode)
{
    const int descriptor = m_files.Open(path, flags, mode);
    Expect(descriptor >= 0);
    return descriptor;
}

int HeldFiles::Close(int descriptor)
{
    File* const file = Find(descriptor);
    if (!file)
        return m_files.Close(descriptor);
    file->inUse = false;
    return 0;
}

// The descriptor is its user's alone then, or closed if it has none.
void HeldFiles::Release(File& file)
{
    if (file.descriptor < 0)
        return;
    WriteHeader(file);
    if (file.inUse)
        Reach(file);
    else
        Expect(m_files.Close(file.descriptor) == 0);
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
    const off_t reached = m_files.Seek(descriptor, position);
    Expect(reached == position);
    return reached;
}

// Brings the descriptor to where the store is.
bool HeldFiles::Reach(File& file)
{
    if (file.reached != file.position)
        file.reached = m_files.Seek(file.descriptor, file.position);
    Expect(file.reached == file.position);
    return file.reached == file.position;
}

ssize_t HeldFiles::Transferred(File& file, ssize_t size, size_t expected)
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
        const ssize_t got = m_files.Read(descriptor, bytes, size);
        Expect(got == ssize_t(size));
        return got;
    }
    if (IsInHeader(*file, size)) {
        std::memcpy(bytes, file->header.data() + file->position, size);
        file->position += off_t(size);
        return ssize_t(size);
    }
    WriteHeader(*file);
    return Reach(*file) ? Transferred(*file, m_files.Read(file->descriptor, bytes, size), size)
                        : -1;
}

ssize_t HeldFiles::Write(int descriptor, const void* bytes, size_t size)
{
    File* const file = Find(descriptor);
    if (!file) {
        const ssize_t written = m_files.Write(descriptor, bytes, size);
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
    if (!Reach(*file))
        return -1;
    const auto* const first = static_cast<const char*>(bytes);
    const ssize_t written = Transferred(*file, m_files.Write(file->descriptor, bytes, size), size);
    if (position == 0 && size <= largestHeader && written == ssize_t(size))
        file->header.assign(first, first + size);
    return written;
}

int HeldFiles::Resize(int descriptor, off_t size)
{
    if (File* const file = Find(descriptor)) {
        WriteHeader(*file);
        file->header.clear();
    }
    return m_files.Resize(descriptor, size);
}

int HeldFiles::Status(int descriptor, struct stat* status)
{
    return m_files.Status(descriptor, status);
}

bool HeldFiles::Exists(const char* path)
{
    return m_files.Exists(path);
}

// ---- the header ----

// Whether a transfer is one of bytes that are known.
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
        Transferred(file, m_files.Write(file.descriptor, file.header.data(), file.header.size()),
                    file.header.size());
    file.position = position;
}
