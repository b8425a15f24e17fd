// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// Proves that the files of the store are what they should be. The checks read
/// the files themselves, page by page and block by block, and change nothing;
/// they ask nothing of the page cache. No file may be written meanwhile.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Agent
{

/// What is wrong and where, each in a sentence without its full stop. None: the
/// file is sound. Of a file with very many faults the first hundred are told.
using Findings = std::vector<std::string>;

/// The header, the chain of deleted records, and that each record is either in
/// it or begins with four zero bytes.
Findings CheckDataFile(const std::string& path, int recordLength);

/// One item of an index.
struct IndexEntry {
    std::string key; ///< as it is stored
    std::uint32_t record; ///< the number that it leads to
};

/// The header, the chain of free pages, and the tree: that each page is reached
/// once or is free, is as full as it must be, that all leaves are equally deep
/// and all items in order. The items are appended to *entries, in order as far
/// as the tree is sound, unless it is null.
Findings CheckIndex(const std::string& path, int keyLength, bool allowDuplicates,
                    std::vector<IndexEntry>* entries = nullptr);

/// The chain of blocks, and that the index lists exactly the free ones.
Findings CheckNotes(const std::string& name);

} // namespace Agent
