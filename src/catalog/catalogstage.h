// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Where a new catalog database is made while the old one can still be read: a
// folder beside it, ".VACatalog.new". Its files take the place of the old ones,
// one after the other, when all of them are whole. A process that is killed while
// it fills them leaves the old database; one that is killed while it puts them in
// place leaves some old files and some new ones, each of which opens.
//
// One process at a time: a second one waits for the first, and then replaces what
// that one made. What a killed process left in the folder is written over.
//
// In a data folder that cannot be written there is no such folder, and the files
// themselves are made anew where that is allowed.

#pragma once

#include "store/storefiles.h"

#include <string>
#include <vector>

// The record store's files, with a note of anything that failed: the store goes on
// with what it can do, and what it could not is missing then.
class WatchedFiles : public StoreFiles
{
public:
    WatchedFiles() : m_files(*SetStoreFiles(this)) { }
    ~WatchedFiles() override { SetStoreFiles(&m_files); }
    WatchedFiles(const WatchedFiles&) = delete;
    WatchedFiles& operator=(const WatchedFiles&) = delete;

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
    void Expect(bool done) { m_failed = m_failed || !done; }

    StoreFiles& m_files;
    bool m_failed = false;
};

// For its life, the names of the database's classes lead into the folder. At
// least one CCatalogFile must have been made before.
class CatalogStage
{
public:
    CatalogStage();
    ~CatalogStage();
    CatalogStage(const CatalogStage&) = delete;
    CatalogStage& operator=(const CatalogStage&) = delete;

    // Whether the files that are there may be replaced.
    bool canReplace() const;

    // Puts the new files, which are closed, in place. False, with the old ones as
    // they were, when anything failed while they were made.
    bool Publish();

private:
    // One of the database classes' names, and what it is without the folder.
    struct Name {
        std::string* name;
        std::string real;
    };
    // Where a file is made, and where it goes.
    struct Move {
        std::string from;
        std::string to;
    };

    void Lock();
    bool IsStill() const;

    std::string m_folder; // with a slash
    int m_lock = -1; // the folder, open; -1 where there is none
    std::vector<Name> m_names;
    std::vector<Move> m_moves;
    WatchedFiles m_files;
};
