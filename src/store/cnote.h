// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CNote
/// Notes: texts of any length up to 499,992 bytes in a heap file (NAME.fil),
/// each known by its byte offset there. An index (NAME.k1) lists the free
/// blocks by size, and a new text takes the smallest one that holds it.
///
/// A change writes the heap and the index at once. A process that dies in
/// between can leave free space unlisted, which Reindex finds again, but no text
/// in it. One thread at a time; InitIndex first.

#pragma once

#include "../util/export.h"
#include "indexfile.h"

#include <climits>
#include <cstdint>
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
    /// With a file system of its own, which outlives the object; an inside name of
    /// the record store. Null: the one in use.
    explicit CNote(Agent::StoreFiles* files);
    ~CNote();
    CNote(const CNote&) = delete;
    CNote& operator=(const CNote&) = delete;

    /// Opens a store by its base name, or makes what is not there; an index whose
    /// making was cut short is made anew. False if that fails, for a name of
    /// PATH_MAX bytes too.
    bool Open(const char* name);
    /// Makes a new one, in place of one that is there.
    bool Create(const char* name);
    /// Closes the store; the destructor does, too.
    void Close();

    /// Has each change of the free-space index written at once. Open and Create
    /// do it; of a closed store there is nothing to be written.
    void SetIndexFlushing();

    /// From now on a text that would leave 7 bytes of a free block takes the next larger
    /// one, or the end of the heap: the header of these 7 bytes would reach into the
    /// next block.
    void AvoidOverlaps() { m_avoidsOverlaps = true; }

    /// Stores `length` bytes of text and returns their offset; -1 if the file
    /// fails, the free space is not what the index says, or the text is null and
    /// the length is not 0.
    std::int32_t SaveNote(const char* text, std::int32_t length);
    /// A copy of a text with a zero byte behind it, from malloc: the caller frees
    /// it. Null if no text is there.
    char* ReadNote(std::int32_t offset);
    /// Bytes of a text; 0 if it cannot be read.
    std::int32_t NoteLength(std::int32_t offset);
    /// Frees a text's block, together with a free block behind it. -1 if the file
    /// fails or has no sound block there.
    int DeleteNote(std::int32_t offset);

    /// The offsets of all texts, ascending, read from the whole heap. A text right after a
    /// free block of 7 bytes is left out, because that header hides whether it is free.
    /// Empty if the blocks do not lead to the heap's end, or without memory.
    std::vector<std::int32_t> TextOffsets();

    /// Makes the free-space index anew from the heap. False if that fails or if
    /// the blocks do not lead to the heap's end; those before the last one before
    /// the break are then listed.
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

    std::int32_t m_descriptor; // of the transfer that is going on, else 0
    IndexFile* m_freeSpace; // null: closed
    Agent::StoreFiles* const m_files;
    bool m_avoidsOverlaps = false;
    char m_heapPath[PATH_MAX];
    char m_indexPath[PATH_MAX];
};
