// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CNote
/// Notes: texts of up to 499,992 bytes in a heap file (NAME.fil), each identified by its
/// byte offset there. An index (NAME.k1) lists the free blocks by size, and a new text
/// takes the smallest one that holds it.
///
/// A change writes the heap and the index immediately. A process that dies in between may
/// leave free space that is not listed, which Reindex finds again, but never lists the
/// space of a text as free. One thread at a time; InitIndex first.

#pragma once

#include "indexfile.h"

#include <climits>
#include <cstdint>
#include <vantrelagent/export.h>
#include <vector>

namespace Agent
{
class OpenStoreFile;
struct BlockHeader;
class StoreFiles;
} // namespace Agent

class VANTRELAGENT_EXPORT CNote
{
public:
    CNote();
    /// With a file system of its own, which must outlive the object; internal to the
    /// library. Null: the machine's.
    explicit CNote(Agent::StoreFiles* files);
    ~CNote();
    CNote(const CNote&) = delete;
    CNote& operator=(const CNote&) = delete;

    /// Opens a store by its base name, and makes missing files; an index that was not
    /// completely made is rebuilt. False if that fails, also for a name of PATH_MAX
    /// bytes.
    bool Open(const char* name);
    /// Makes a new store, replacing an existing one.
    bool Create(const char* name);
    /// Closes the store; the destructor does, too.
    void Close();

    /// Makes each change of the free-space index be written immediately. Open and Create
    /// call it; on a closed store it sets an error.
    void SetIndexFlushing();

    /// From now on a text that would leave a remainder of 7 bytes takes the next larger
    /// free block, or the end of the heap: the header of these 7 bytes would overlap the
    /// next block.
    void AvoidOverlaps() { m_avoidsOverlaps = true; }

    /// Stores `length` bytes of text and returns their offset; -1 if the file fails, the
    /// index does not agree with the heap, or the text is null and the length is not 0.
    std::int32_t SaveNote(const char* text, std::int32_t length);
    /// A zero-terminated copy of a text, from malloc: the caller frees it. Null if there
    /// is no text.
    char* ReadNote(std::int32_t offset);
    /// Bytes of a text; 0 if it cannot be read.
    std::int32_t NoteLength(std::int32_t offset);
    /// Frees a text's block, and joins it with a free block after it. -1 if the file
    /// fails or has no sound block there.
    int DeleteNote(std::int32_t offset);

    /// The offsets of all texts, ascending, read from the whole heap. A text right after a
    /// free block of 7 bytes is left out, because that header hides whether it is free.
    /// Empty if the blocks do not lead to the heap's end, or without memory.
    std::vector<std::int32_t> TextOffsets();

    /// Rebuilds the free-space index from the heap. False if that fails or if the blocks
    /// do not lead to the heap's end; in that case the free blocks before the break are
    /// listed, except the last one.
    bool Reindex();

private:
    bool SetPaths(const char* name);
    bool MakeFreeSpace();
    bool BeginFlushing();
    int FindFree(std::int32_t length, std::uint32_t* offset);
    int UnlistFree(std::int32_t length, std::int64_t offset);
    int ListFree(std::int32_t length, std::int64_t offset);
    int MergeNext(Agent::OpenStoreFile& heap, std::int64_t fileSize, std::int64_t offset,
                  Agent::BlockHeader* header);
    std::int32_t Reuse(Agent::OpenStoreFile& heap, const char* text, std::int32_t length,
                       std::int64_t offset);
    std::int32_t Append(Agent::OpenStoreFile& heap, const char* text, std::int32_t length);

    std::int32_t m_descriptor; // of the current transfer, else 0
    IndexFile* m_freeSpace; // null: closed
    Agent::StoreFiles* const m_files;
    bool m_avoidsOverlaps = false;
    char m_heapPath[PATH_MAX];
    char m_indexPath[PATH_MAX];
};
