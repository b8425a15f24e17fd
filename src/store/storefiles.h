// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// The only access of the record store to the file system. All its calls go through this
/// class, so that a file system that counts, fails or dies is a subclass of a few lines.

#pragma once

#include <sys/stat.h>
#include <sys/types.h>

namespace Agent
{

/// The machine's own file system. Each function is the system call of its name:
/// results, errno and units (bytes) are those of the call.
class StoreFiles
{
public:
    virtual ~StoreFiles() = default;

    virtual int Open(const char* path, int flags, mode_t mode); ///< open(2), O_CLOEXEC added
    virtual int Close(int descriptor); ///< close(2)
    virtual off_t Seek(int descriptor, off_t position); ///< lseek(2), from the beginning
    virtual ssize_t Read(int descriptor, void* bytes, size_t size); ///< read(2)
    /// pread(2)
    virtual ssize_t ReadFrom(int descriptor, off_t position, void* bytes, size_t size);
    virtual ssize_t Write(int descriptor, const void* bytes, size_t size); ///< write(2)
    virtual int Resize(int descriptor, off_t size); ///< ftruncate(2)
    virtual int Status(int descriptor, struct stat* status); ///< fstat(2)
    virtual bool Exists(const char* path); ///< access(2): whether anything is there

    // For databases that are replaced as a whole.
    virtual int OpenAt(int folder, const char* name, int flags, mode_t mode); ///< openat(2), ditto
    virtual int Sync(int descriptor); ///< fsync(2)
    virtual int Rename(const char* from, const char* to); ///< rename(2)
    virtual int Symlink(const char* target, const char* path); ///< symlink(2)
    virtual int Link(const char* from, const char* to); ///< link(2), to what a link leads to
    virtual int MakeFolder(const char* path, mode_t mode); ///< mkdir(2)
};

/// The machine's own file system: the default of everything that takes one.
StoreFiles& MachineFiles();

/// A file that is open during a scope: no path through the store leaves a descriptor
/// behind.
class OpenStoreFile
{
public:
    /// Opens the file for reading and writing, or with the flags and mode of open(2),
    /// in a file system or (null) the machine's own.
    /// @{
    explicit OpenStoreFile(const char* path, StoreFiles* files = nullptr);
    OpenStoreFile(const char* path, int flags, mode_t mode, StoreFiles* files = nullptr);
    /// @}
    ~OpenStoreFile();
    OpenStoreFile(const OpenStoreFile&) = delete;
    OpenStoreFile& operator=(const OpenStoreFile&) = delete;

    /// Whether it is open.
    explicit operator bool() const { return m_descriptor >= 0; }
    int Descriptor() const { return m_descriptor; } ///< or -1; stays this object's

    /// Whether exactly `size` bytes at `position` were read or written.
    /// @{
    bool ReadAt(off_t position, void* bytes, size_t size);
    bool WriteAt(off_t position, const void* bytes, size_t size);
    /// @}

    /// The calls of StoreFiles for this file.
    /// @{
    bool SeekTo(off_t position) const;
    ssize_t Read(void* bytes, size_t size) const;
    ssize_t Write(const void* bytes, size_t size) const;
    int Resize(off_t size) const;
    int Status(struct stat* status) const;
    /// @}

    /// The file's size in bytes, or -1.
    off_t Size() const;

private:
    StoreFiles& m_files;
    const int m_descriptor;
};

} // namespace Agent
