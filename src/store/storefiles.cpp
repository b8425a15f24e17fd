// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/storefiles.h"

#include <fcntl.h>
#include <unistd.h>

namespace
{

StoreFiles machine;
StoreFiles* inUse = &machine;

} // namespace

int StoreFiles::Open(const char* path, int flags, mode_t mode)
{
    return ::open(path, flags | O_CLOEXEC, mode);
}

int StoreFiles::Close(int descriptor)
{
    return ::close(descriptor);
}

off_t StoreFiles::Seek(int descriptor, off_t position)
{
    return ::lseek(descriptor, position, SEEK_SET);
}

ssize_t StoreFiles::Read(int descriptor, void* bytes, size_t size)
{
    return ::read(descriptor, bytes, size);
}

ssize_t StoreFiles::Write(int descriptor, const void* bytes, size_t size)
{
    return ::write(descriptor, bytes, size);
}

int StoreFiles::Resize(int descriptor, off_t size)
{
    return ::ftruncate(descriptor, size);
}

int StoreFiles::Status(int descriptor, struct stat* status)
{
    return ::fstat(descriptor, status);
}

bool StoreFiles::Exists(const char* path)
{
    return ::access(path, F_OK) == 0;
}

StoreFiles& storeFiles()
{
    return *inUse;
}

StoreFiles* SetStoreFiles(StoreFiles* files)
{
    StoreFiles* const before = inUse;
    inUse = files ? files : &machine;
    return before;
}

OpenStoreFile::OpenStoreFile(const char* path) : OpenStoreFile(path, O_RDWR, 0) { }

OpenStoreFile::OpenStoreFile(const char* path, int flags, mode_t mode)
    : m_descriptor(storeFiles().Open(path, flags, mode))
{
}

OpenStoreFile::~OpenStoreFile()
{
    if (m_descriptor >= 0)
        storeFiles().Close(m_descriptor);
}

bool OpenStoreFile::ReadAt(off_t position, void* bytes, size_t size)
{
    return storeFiles().Seek(m_descriptor, position) == position
        && storeFiles().Read(m_descriptor, bytes, size) == ssize_t(size);
}

bool OpenStoreFile::WriteAt(off_t position, const void* bytes, size_t size)
{
    return storeFiles().Seek(m_descriptor, position) == position
        && storeFiles().Write(m_descriptor, bytes, size) == ssize_t(size);
}

off_t OpenStoreFile::Size()
{
    struct stat status;
    return storeFiles().Status(m_descriptor, &status) == 0 ? status.st_size : -1;
}
