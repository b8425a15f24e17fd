// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// Indexes: B-trees of order 25 from text keys to record numbers; the pages are the
/// records of a data file. Keys are compared without regard to letter case. An index
/// refuses equal keys, or, with duplicates allowed, orders them by record number.
///
/// Keys are passed in writable buffers of at least keyLength + 1 bytes and are cut there
/// to keyLength characters; null is refused (error 9). Functions return 0 on success and
/// -1 otherwise; taerror is then 0 if the answer is no (not found, already there, no
/// further item), and otherwise the error. A change that cannot read all the pages it
/// needs changes nothing.
///
/// An index that was not changed through its handle since it was made, opened or written
/// writes nothing when it is closed or flushing is switched: another process may have
/// changed or replaced the file. A new index is written completely at once.
///
/// One thread at a time; InitIndex before the first index, UnInitIndex after the
/// last.

#pragma once

#include "datafile.h"

#include <cstdint>
#include <vantrelagent/export.h>

namespace Agent
{
struct CachedPage;
}

/// The maximum number of levels of a tree.
constexpr int deepestTree = 16;

/// One step of the way from the root to an item.
struct IndexLevel {
    std::uint32_t page; ///< number of the page
    std::int16_t position; ///< the item returned last, or the one whose child is next
};

/// An open index. Callers pass it on and leave its fields alone.
struct IndexFile {
    DataFile* dataFile; ///< contains the pages; owned
    DataFile* current; ///< dataFile, set again by each operation
    std::uint8_t allowDuplicates; ///< 1: equal keys are ordered by record number
    std::int16_t keyLength; ///< characters, 1 to 150
    std::uint32_t rootPage; ///< 0: empty
    std::int16_t depth; ///< levels of path in use; 0: no position
    IndexLevel path[deepestTree]; ///< path[0] is the root

    Agent::CachedPage* firstPage; ///< of its pages in the cache
    std::uint32_t fetches; ///< transfers that have read pages since the cache had none
    std::uint64_t rootChange; ///< when rootPage was set last, on the cache's clock
    std::int64_t steps; ///< of the cursor since it was set: forward minus backward
};

/// Allocates the page cache. Error 6 without memory.
VANTRELAGENT_EXPORT int InitIndex();
/// Frees it, and drops its content.
VANTRELAGENT_EXPORT void UnInitIndex();

/// Make an empty index, replacing an existing one, or open one. Null on failure; a key
/// length outside 1 to 150 is refused. The leading argument is ignored. The caller owns
/// the handle until CloseIndex. Whether equal keys are allowed, and the key length, are
/// not in the file and must be known.
/// @{
VANTRELAGENT_EXPORT IndexFile* MakeIndex(std::int32_t, const char* path, std::int16_t keyLength,
                                         std::int32_t allowDuplicates);
VANTRELAGENT_EXPORT IndexFile* OpenIndex(std::int32_t, const char* path, std::int16_t keyLength,
                                         std::int32_t allowDuplicates);
/// @}
/// Drops one reference; with the last, everything is written and the handle is
/// gone. -1 if something could not be written.
VANTRELAGENT_EXPORT int CloseIndex(IndexFile* index);

/// Forgets the cached pages and reads the header again.
VANTRELAGENT_EXPORT int TaOpenIndex(IndexFile* index);
/// Writes the changed pages and the header, and forgets the pages.
VANTRELAGENT_EXPORT int TaCloseIndex(IndexFile* index);

/// Adds an item; -1 if there is an equal one.
VANTRELAGENT_EXPORT int AddKey(IndexFile* index, const std::uint32_t* record, char* key);
/// Removes the item with this key and record number. Without duplicates only the key
/// counts, and the item's record number is returned.
VANTRELAGENT_EXPORT int DeleteKey(IndexFile* index, std::uint32_t* record, char* key);

/// The search that FindKey and SearchKey share: moves the cursor to the item equal to the
/// key (and to record 0 if equal keys are allowed), or, with -1, before the first item above
/// it. The key is at most keyLength characters long.
VANTRELAGENT_EXPORT int tafindkey(IndexFile* index, std::uint32_t* record, const char* key);
/// Finds the item with exactly this key (including letter case if duplicates are
/// allowed); of several, the one with the lowest record number.
VANTRELAGENT_EXPORT int FindKey(IndexFile* index, std::uint32_t* record, char* key);
/// Finds the first item not below the key, and copies its key into the buffer.
VANTRELAGENT_EXPORT int SearchKey(IndexFile* index, std::uint32_t* record, char* key);
/// Finds the last item below the key.
VANTRELAGENT_EXPORT int FindPrevKey(IndexFile* index, std::uint32_t* record, char* key);
/// The next or previous item after the one found last. -1 at the end; the call after that
/// starts over.
/// @{
VANTRELAGENT_EXPORT int NextKey(IndexFile* index, std::uint32_t* record, char* key);
VANTRELAGENT_EXPORT int PrevKey(IndexFile* index, std::uint32_t* record, char* key);
/// @}
/// Forgets the position.
VANTRELAGENT_EXPORT void ClearKey(IndexFile* index);
