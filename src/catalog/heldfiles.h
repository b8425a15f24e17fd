// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The record store's files while many products go into them at once. The store
// opens its file for each transfer and closes it after, so that other processes can
// take turns. Files that nobody else knows yet stay open instead: three of its four
// system calls are saved, and what is written is the same.
//
// It also takes note of anything that failed: the store goes on with what it can
// do, and what it could not is missing then.

#pragma once

#include "store/storefiles.h"

#include <string>
#include <vector>

// In use by the store for its life.
class HeldFiles : public StoreFiles
{
public:
    HeldFiles() : m_files(*SetStoreFiles(this)) { }
    ~HeldFiles() override;
    HeldFiles(const HeldFiles&) = delete;
    HeldFiles& operator=(const HeldFiles&) = delete;

    // Closes what the store has let go of: before the files are moved.
    void CloseAll();
    bool nothingFailed() const { return !m_failed; }

    int Open(const char* path, int flags, mode_t mode) override;
    int Close(int descriptor) override;
    off_t Seek(int descriptor, off_t position) override;
    ssize_t Read(int descriptor, void* bytes, size_t size) override;
    ssize_t Write(int descriptor, const void* bytes, size_t size) override;
    int Resize(int descriptor, off_t size) override;
    int Status(int descriptor, struct stat* status) override;
    bool Exists(const char* path) override;

private:
    struct File {
        std::string path;
        int descriptor; // -1: opened twice at once, and then no longer held
        off_t position; // the store's
        off_t reached; // the descriptor's; -1: not known
        bool inUse; // by the store, at this moment
        std::vector<char> header; // the first bytes, once they have been written
        bool headerWaits;
    };

    int OpenFile(const char* path, int flags, mode_t mode);
    File* Find(int descriptor);
    void Release(File& file);
    bool Reach(File& file);
    ssize_t Transferred(File& file, ssize_t size, size_t expected);
    void WriteHeader(File& file);
    bool IsInHeader(const File& file, size_t size) const;
    void Expect(bool done) { m_failed = m_failed || !done; }

    StoreFiles& m_files;
    std::vector<File> m_held;
    bool m_failed = false;
};
