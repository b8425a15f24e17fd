// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A store made out of the package index of a Debian archive.
//
// The file `imported` in its folder marks it as such, and keeps the number of the next
// product:
//
//     Repository: debian
//     Next-Serial: 63437
//
// A package keeps its number as long as it is in the store; the number of a removed
// package is not reused.

#pragma once

#include "debianindex.h"
#include "shelves.h"
#include "storefile.h"

// The name of that file.
constexpr char importMark[] = "imported";

struct ImportResult {
    std::size_t products = 0;
    std::size_t categories = 0;
    std::size_t added = 0;
    std::size_t updated = 0; // have another version than before
    std::size_t gone = 0;
};

class ImportedStore
{
public:
    // Locks the folder, which is made if it is missing, as long as this object lives.
    // Throws StoreError when the folder has other content or another import uses it.
    ImportedStore(const std::string& folder, const std::string& repository);

    // Replaces the store's files: `archives` is the address that the archives of the
    // index are fetched from. All files are first written next to the old ones, and then
    // replace them. Throws StoreError, with the old store unchanged, when they cannot be
    // written.
    ImportResult Replace(const DebianIndex& index, const std::string& archives);

private:
    void Take();
    void WritePictures(const std::map<long, const ArchivePackage*>& numbered,
                       std::vector<Replacement>& files) const;
    void ReadMark();
    Products OldProducts() const;
    std::map<std::string, std::string> OldVersions() const; // by package
    void Write(const DebianIndex& index, const std::map<long, const ArchivePackage*>& numbered,
               const std::string& archives);

    const std::string m_folder;
    const std::string m_repository;
    Descriptor m_handle; // of the folder, locked
    long m_nextSerial = 1;
};
