// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The record store's files, kept open between its transfers. The store itself opens its
// file for each transfer and closes it afterwards. An open database keeps the
// descriptors instead: it can still use its files after others have replaced them, and a
// transfer costs one system call, or a write two, instead of four.
//
// A descriptor is kept if it is in the lower half of those the process may have. A file
// beyond that is opened for each transfer; once its path leads to another file, the
// transfer fails with ESTALE.
//
// Failures are counted: the store continues after a failed transfer, whose data is then
// missing.

#pragma once

#include "store/storefiles.h"

#include <string>
#include <vector>

namespace Agent
{

// A layer over another file system, which must outlive it.
class HeldFiles : public StoreFiles
{
public:
    // For files that others use as well: every write happens at once.
    explicit HeldFiles(StoreFiles& below) : m_below(below) { }
    // For new files in a private, open folder of this process: they are opened relative
    // to it, links are not followed, the first bytes of a file (its header) are written
    // when it is closed, and what is added at its end is written in large pieces. Of a
    // file's status only the size is kept up to date.
    HeldFiles(StoreFiles& below, int folder) : m_below(below), m_folder(folder) { }
    ~HeldFiles() override { CloseAll(); }
    HeldFiles(const HeldFiles&) = delete;
    HeldFiles& operator=(const HeldFiles&) = delete;

    // Closes the files that the store no longer uses, and forgets all.
    void CloseAll();
    bool NothingFailed() const { return !m_failed; }
    // Whether `path` leads to the file that was opened as `opened`.
    bool LeadsTo(const std::string& path, const std::string& opened) const;

    int Open(const char* path, int flags, mode_t mode) override;
    int Close(int descriptor) override;
    off_t Seek(int descriptor, off_t position) override;
    ssize_t Read(int descriptor, void* bytes, size_t size) override;
    ssize_t ReadFrom(int descriptor, off_t position, void* bytes, size_t size) override;
    ssize_t Write(int descriptor, const void* bytes, size_t size) override;
    int Resize(int descriptor, off_t size) override;
    int Status(int descriptor, struct stat* status) override;
    bool Exists(const char* path) override;

private:
    struct File {
        std::string path;
        int descriptor; // -1: not kept
        dev_t device;
        ino_t inode;
        off_t position; // the store's
        off_t reached; // the descriptor's; -1: not known
        bool inUse; // by the store, at this moment
        std::vector<char> header; // the first bytes, once they have been written
        bool headerWaits;
        struct stat status; // of a private file; its size with the tail
        std::vector<char> tail; // the last bytes, which are not written yet
    };

    bool IsPrivate() const { return m_folder >= 0; }
    int OpenNew(const char* path, int flags, mode_t mode);
    int OpenAgain(const File& file, int flags, mode_t mode);
    int OpenFile(const char* path, int flags, mode_t mode, struct stat* status);
    File* Find(int descriptor);
    void Release(File& file);
    bool Reach(File& file);
    ssize_t ReadHere(File& file, void* bytes, size_t size, size_t expected);
    ssize_t Written(File& file, ssize_t size, size_t expected);
    bool WriteTail(File& file);
    bool WaitsInTail(File& file, const char* bytes, size_t size);
    void WriteHeader(File& file);
    bool IsInHeader(const File& file, size_t size) const;
    void Expect(bool done) { m_failed = m_failed || !done; }

    StoreFiles& m_below;
    const int m_folder = -1;
    std::vector<File> m_held;
    bool m_failed = false;
};

} // namespace Agent
