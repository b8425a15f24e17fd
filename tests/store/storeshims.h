// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// File systems for the tests of the record store: one that counts, one that
// fails and one that dies at a call of choice.

#pragma once

#include "store/storefiles.h"
#include "tests/store/switchedfiles.h"

#include <QtGlobal>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>

// What the files of the store's tests are opened with.
inline SwitchedFiles testFiles;

// Makes that forward to a file system during a scope.
class UsedStoreFiles
{
public:
    explicit UsedStoreFiles(StoreFiles* files) : m_used(testFiles, *files) { }

private:
    const SwitchedTo m_used;
};

// Does not wait for the disk: only a power failure could show the difference, and tests
// that replace a database hundreds of times would wait for little else.
class UnsyncedFiles : public StoreFiles
{
public:
    int Sync(int) override { return 0; }
    // So that what a subclass does with both counts for this, too. The position stays.
    ssize_t ReadFrom(int descriptor, off_t position, void* bytes, size_t size) override
    {
        const off_t before = ::lseek(descriptor, 0, SEEK_CUR);
        const bool isThere = Seek(descriptor, position) == position;
        const ssize_t got = isThere ? Read(descriptor, bytes, size) : -1;
        ::lseek(descriptor, before, SEEK_SET);
        return got;
    }
};

// Counts the calls that reach the machine.
class CountingFiles : public StoreFiles
{
public:
    int Open(const char* path, int flags, mode_t mode) override
    {
        ++opens;
        return StoreFiles::Open(path, flags, mode);
    }
    int OpenAt(int folder, const char* name, int flags, mode_t mode) override
    {
        ++opens;
        return StoreFiles::OpenAt(folder, name, flags, mode);
    }
    int Sync(int descriptor) override
    {
        ++syncs;
        return StoreFiles::Sync(descriptor);
    }
    int Close(int descriptor) override
    {
        ++closes;
        return StoreFiles::Close(descriptor);
    }
    off_t Seek(int descriptor, off_t position) override
    {
        ++seeks;
        return StoreFiles::Seek(descriptor, position);
    }
    ssize_t Read(int descriptor, void* bytes, size_t size) override
    {
        ++reads;
        return StoreFiles::Read(descriptor, bytes, size);
    }
    ssize_t ReadFrom(int descriptor, off_t position, void* bytes, size_t size) override
    {
        ++reads;
        return StoreFiles::ReadFrom(descriptor, position, bytes, size);
    }
    ssize_t Write(int descriptor, const void* bytes, size_t size) override
    {
        ++writes;
        return StoreFiles::Write(descriptor, bytes, size);
    }
    int Resize(int descriptor, off_t size) override
    {
        ++resizes;
        return StoreFiles::Resize(descriptor, size);
    }
    int Status(int descriptor, struct stat* status) override
    {
        ++statuses;
        return StoreFiles::Status(descriptor, status);
    }
    bool Exists(const char* path) override
    {
        ++lookups;
        return StoreFiles::Exists(path);
    }

    int opens = 0;
    int syncs = 0;
    int closes = 0;
    int seeks = 0;
    int reads = 0;
    int writes = 0;
    int resizes = 0;
    int statuses = 0;
    int lookups = 0;
};

enum class Fault {
    Open, // cannot be opened
    Seek,
    Read, // an error
    ShortRead, // half of the requested bytes
    Write, // an error, nothing written
    ShortWrite, // half is written
    FullDisk, // writes that would extend the file are cut off at its end, or refused
    Status, // also: Resize
    Sync,
    Rename, // also other calls that make names
};

// Fails the k-th call of one kind, counted from 0, or all calls from that one on.
class FailingFiles : public UnsyncedFiles
{
public:
    FailingFiles(Fault fault, int k, bool forGood) : m_fault(fault), m_k(k), m_forGood(forGood) { }

    // Whether there was a k-th call.
    bool hasFailed() const { return m_calls > m_k; }

    int Open(const char* path, int flags, mode_t mode) override
    {
        return fails(Fault::Open) ? error(EMFILE) : StoreFiles::Open(path, flags, mode);
    }
    int OpenAt(int folder, const char* name, int flags, mode_t mode) override
    {
        return fails(Fault::Open) ? error(EMFILE) : StoreFiles::OpenAt(folder, name, flags, mode);
    }
    int Sync(int descriptor) override
    {
        return fails(Fault::Sync) ? error(EIO) : UnsyncedFiles::Sync(descriptor);
    }
    int Rename(const char* from, const char* to) override
    {
        return fails(Fault::Rename) ? error(EIO) : StoreFiles::Rename(from, to);
    }
    int Symlink(const char* target, const char* path) override
    {
        return fails(Fault::Rename) ? error(EIO) : StoreFiles::Symlink(target, path);
    }
    int Link(const char* from, const char* to) override
    {
        return fails(Fault::Rename) ? error(EIO) : StoreFiles::Link(from, to);
    }
    int MakeFolder(const char* path, mode_t mode) override
    {
        return fails(Fault::Rename) ? error(EIO) : StoreFiles::MakeFolder(path, mode);
    }
    off_t Seek(int descriptor, off_t position) override
    {
        return fails(Fault::Seek) ? error(EIO) : StoreFiles::Seek(descriptor, position);
    }
    ssize_t Read(int descriptor, void* bytes, size_t size) override
    {
        if (fails(Fault::Read))
            return error(EIO);
        return StoreFiles::Read(descriptor, bytes, fails(Fault::ShortRead) ? size / 2 : size);
    }
    ssize_t Write(int descriptor, const void* bytes, size_t size) override
    {
        if (fails(Fault::Write))
            return error(EIO);
        if (m_fault == Fault::FullDisk)
            return writeOnFullDisk(descriptor, bytes, size);
        return StoreFiles::Write(descriptor, bytes, fails(Fault::ShortWrite) ? size / 2 : size);
    }
    int Resize(int descriptor, off_t size) override
    {
        return fails(Fault::Status) ? error(EIO) : StoreFiles::Resize(descriptor, size);
    }
    int Status(int descriptor, struct stat* status) override
    {
        return fails(Fault::Status) ? error(EIO) : StoreFiles::Status(descriptor, status);
    }

private:
    bool fails(Fault kind)
    {
        if (kind != m_fault)
            return false;
        const int call = m_calls++;
        return m_forGood ? call >= m_k : call == m_k;
    }

    static int error(int error)
    {
        errno = error;
        return -1;
    }

    // On a full disk, existing bytes of a file can still be overwritten.
    ssize_t writeOnFullDisk(int descriptor, const void* bytes, size_t size)
    {
        const off_t at = ::lseek(descriptor, 0, SEEK_CUR);
        struct stat status;
        if (::fstat(descriptor, &status) != 0)
            return -1;
        const off_t room = status.st_size > at ? status.st_size - at : 0;
        if (off_t(size) <= room || !fails(Fault::FullDisk))
            return StoreFiles::Write(descriptor, bytes, size);
        return room == 0 ? error(ENOSPC) : StoreFiles::Write(descriptor, bytes, size_t(room));
    }

    const Fault m_fault;
    const int m_k;
    const bool m_forGood;
    int m_calls = 0;
};

// Kills the process at the k-th call that changes a file, counted from 0.
class CrashingFiles : public UnsyncedFiles
{
public:
    explicit CrashingFiles(int k) : m_left(k) { }

    int Open(const char* path, int flags, mode_t mode) override
    {
        if (flags & O_TRUNC)
            count();
        return StoreFiles::Open(path, flags, mode);
    }
    int OpenAt(int folder, const char* name, int flags, mode_t mode) override
    {
        if (flags & O_TRUNC)
            count();
        return StoreFiles::OpenAt(folder, name, flags, mode);
    }
    int Sync(int descriptor) override
    {
        count();
        return UnsyncedFiles::Sync(descriptor);
    }
    int Rename(const char* from, const char* to) override
    {
        count();
        return StoreFiles::Rename(from, to);
    }
    int Symlink(const char* target, const char* path) override
    {
        count();
        return StoreFiles::Symlink(target, path);
    }
    int Link(const char* from, const char* to) override
    {
        count();
        return StoreFiles::Link(from, to);
    }
    int MakeFolder(const char* path, mode_t mode) override
    {
        count();
        return StoreFiles::MakeFolder(path, mode);
    }
    ssize_t Write(int descriptor, const void* bytes, size_t size) override
    {
        count();
        return StoreFiles::Write(descriptor, bytes, size);
    }
    int Resize(int descriptor, off_t size) override
    {
        count();
        return StoreFiles::Resize(descriptor, size);
    }

private:
    void count()
    {
        if (m_left-- == 0)
            ::kill(::getpid(), SIGKILL);
    }

    int m_left;
};

// Whether a process that does some work with a file system was killed at its k-th change of a
// file, and did not end before.
inline bool KilledAt(int k, const std::function<void(StoreFiles& files)>& work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        CrashingFiles files(k);
        work(files);
        ::_exit(0);
    }
    int status = -1;
    if (child < 0 || ::waitpid(child, &status, 0) != child)
        qFatal("no child process");
    const bool killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    if (!killed && status != 0)
        qFatal("the process ended with status %d", status);
    return killed;
}

// The same for work with the tests' files.
inline bool KilledAt(int k, const std::function<void()>& work)
{
    return KilledAt(k, [&work](StoreFiles& files) {
        testFiles.switchTo(files);
        work();
    });
}
