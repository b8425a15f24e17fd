// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A file system whose calls a test wants to count, fail or watch for some of the time: it
// forwards to another one, which can be exchanged while files are open.

#pragma once

#include "store/storefiles.h"

using Agent::MachineFiles;
using Agent::StoreFiles;

class SwitchedFiles : public StoreFiles
{
public:
    SwitchedFiles() = default;
    explicit SwitchedFiles(StoreFiles& to) : m_to(&to) { }

    // Returns the previous one.
    StoreFiles& switchTo(StoreFiles& files)
    {
        StoreFiles& before = *m_to;
        m_to = &files;
        return before;
    }

    int Open(const char* path, int flags, mode_t mode) override
    {
        return m_to->Open(path, flags, mode);
    }
    int Close(int descriptor) override { return m_to->Close(descriptor); }
    off_t Seek(int descriptor, off_t position) override { return m_to->Seek(descriptor, position); }
    ssize_t Read(int descriptor, void* bytes, size_t size) override
    {
        return m_to->Read(descriptor, bytes, size);
    }
    ssize_t ReadFrom(int descriptor, off_t position, void* bytes, size_t size) override
    {
        return m_to->ReadFrom(descriptor, position, bytes, size);
    }
    ssize_t Write(int descriptor, const void* bytes, size_t size) override
    {
        return m_to->Write(descriptor, bytes, size);
    }
    int Resize(int descriptor, off_t size) override { return m_to->Resize(descriptor, size); }
    int Status(int descriptor, struct stat* status) override
    {
        return m_to->Status(descriptor, status);
    }
    bool Exists(const char* path) override { return m_to->Exists(path); }
    int OpenAt(int folder, const char* name, int flags, mode_t mode) override
    {
        return m_to->OpenAt(folder, name, flags, mode);
    }
    int Sync(int descriptor) override { return m_to->Sync(descriptor); }
    int Rename(const char* from, const char* to) override { return m_to->Rename(from, to); }
    int Symlink(const char* target, const char* path) override
    {
        return m_to->Symlink(target, path);
    }
    int Link(const char* from, const char* to) override { return m_to->Link(from, to); }
    int MakeFolder(const char* path, mode_t mode) override { return m_to->MakeFolder(path, mode); }

private:
    StoreFiles* m_to = &MachineFiles();
};

// Makes it forward to a file system during a scope.
class SwitchedTo
{
public:
    SwitchedTo(SwitchedFiles& files, StoreFiles& to) : m_files(files), m_before(files.switchTo(to))
    {
    }
    ~SwitchedTo() { m_files.switchTo(m_before); }
    SwitchedTo(const SwitchedTo&) = delete;
    SwitchedTo& operator=(const SwitchedTo&) = delete;

private:
    SwitchedFiles& m_files;
    StoreFiles& m_before;
};
