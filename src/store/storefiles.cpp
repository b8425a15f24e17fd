// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/storefiles.h"

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace Agent
{

namespace
{

StoreFiles machine;

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

ssize_t StoreFiles::ReadFrom(int descriptor, off_t position, void* bytes, size_t size)
{
    return ::pread(descriptor, bytes, size, position);
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

int StoreFiles::OpenAt(int folder, const char* name, int flags, mode_t mode)
{
    return ::openat(folder, name, flags | O_CLOEXEC, mode);
}

int StoreFiles::Sync(int descriptor)
{
    return ::fsync(descriptor);
}

int StoreFiles::Rename(const char* from, const char* to)
{
    return std::rename(from, to);
}

int StoreFiles::Symlink(const char* target, const char* path)
{
    return ::symlink(target, path);
}

int StoreFiles::Link(const char* from, const char* to)
{
    return ::linkat(AT_FDCWD, from, AT_FDCWD, to, AT_SYMLINK_FOLLOW);
}

int StoreFiles::MakeFolder(const char* path, mode_t mode)
{
    return ::mkdir(path, mode);
}

StoreFiles& MachineFiles()
{
    return machine;
}

OpenStoreFile::OpenStoreFile(const char* path, StoreFiles* files)
    : OpenStoreFile(path, O_RDWR, 0, files)
{
}

OpenStoreFile::OpenStoreFile(const char* path, int flags, mode_t mode, StoreFiles* files)
    : m_files(files ? *files : MachineFiles()), m_descriptor(m_files.Open(path, flags, mode))
{
}

OpenStoreFile::~OpenStoreFile()
{
    if (m_descriptor >= 0)
        m_files.Close(m_descriptor);
}

bool OpenStoreFile::ReadAt(off_t position, void* bytes, size_t size)
{
    return SeekTo(position) && Read(bytes, size) == ssize_t(size);
}

bool OpenStoreFile::WriteAt(off_t position, const void* bytes, size_t size)
{
    return SeekTo(position) && Write(bytes, size) == ssize_t(size);
}

bool OpenStoreFile::SeekTo(off_t position) const
{
    return m_files.Seek(m_descriptor, position) == position;
}

ssize_t OpenStoreFile::Read(void* bytes, size_t size) const
{
    return m_files.Read(m_descriptor, bytes, size);
}

ssize_t OpenStoreFile::Write(const void* bytes, size_t size) const
{
    return m_files.Write(m_descriptor, bytes, size);
}

int OpenStoreFile::Resize(off_t size) const
{
    return m_files.Resize(m_descriptor, size);
}

int OpenStoreFile::Status(struct stat* status) const
{
    return m_files.Status(m_descriptor, status);
}

off_t OpenStoreFile::Size() const
{
    struct stat status;
    return Status(&status) == 0 ? status.st_size : -1;
}

} // namespace Agent
