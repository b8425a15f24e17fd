// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// Checks whether the files of the store are sound. The checks read the files directly,
/// page by page and block by block, without the page cache, and change nothing. The files
/// must not be written at the same time. Those that take a file system read the file in
/// that one (null: the machine's).

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Agent
{

class StoreFiles;

/// The faults and their places, each as a sentence without a full stop. Empty: the file
/// is sound. At most the first hundred faults are reported.
using Findings = std::vector<std::string>;

/// Checks the header, the chain of deleted records, and that each record is either in the
/// chain or begins with four zero bytes.
Findings CheckDataFile(const std::string& path, int recordLength, StoreFiles* files = nullptr);

/// One item of an index.
struct IndexEntry {
    std::string key; ///< as stored
    std::uint32_t record; ///< its record number
};

/// Checks the header, the chain of free pages, and the tree: each page is reached once or
/// is free, and is full enough; all leaves are equally deep, and all items are in order.
/// Unless `entries` is null, the items are appended to it, in order as far as the tree is
/// sound.
Findings CheckIndex(const std::string& path, int keyLength, bool allowDuplicates,
                    std::vector<IndexEntry>* entries = nullptr, StoreFiles* files = nullptr);

/// Checks the chain of blocks, and that the index lists exactly the free ones.
Findings CheckNotes(const std::string& name);

} // namespace Agent
