// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Records of the databases: blocks of bytes with texts of fixed width, padded with
// zeros, and little-endian numbers between them.

#pragma once

#include "store/bytes.h"
#include "store/recordblocks.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Agent
{

struct DbLayout;

// The place of a text, and the bytes that it may have with its zero.
struct TextField {
    int offset;
    int width;
};

// How many bytes of `text` fit into `most`: all, or as many as possible without cutting
// through a UTF-8 character.
std::size_t CutLength(const char* text, std::size_t most);

inline const char* GetText(const std::uint8_t* record, TextField field)
{
    return reinterpret_cast<const char*>(record + field.offset);
}

// Stores as much of a text as fits (null: nothing) and returns the field. The text
// may be one of the record itself.
const char* SetText(std::uint8_t* record, TextField field, const char* text);

// Ends a text that came from a file and may go on without an end.
void EndText(std::uint8_t* record, TextField field);

// Whether two texts are equal apart from the case of ASCII letters, as in the indexes.
bool SameText(const char* a, const char* b);

// Reads the records of a database's data file in blocks, without the record store: for
// checks and listings, which change nothing.

class RecordReader
{
public:
    // `folder` ends with a slash. `texts`: those that get a terminating zero if they have
    // none in the file. The file system must outlive the object; null: the machine's.
    RecordReader(const std::string& folder, const DbLayout& layout, std::vector<TextField> texts,
                 StoreFiles* files = nullptr);

    // Whether the file can be read.
    explicit operator bool() const { return bool(m_blocks); }
    // Whether both read one file, however it is named.
    bool IsSameFile(const RecordReader& other) const { return m_blocks.IsSameFile(other.m_blocks); }
    // The number of whole records, including the header.
    std::int32_t Count() const;
    // Null for a missing or deleted record. Valid until the next call.
    const std::uint8_t* Live(std::int32_t number);

private:
    RecordBlocks m_blocks;
    const std::vector<TextField> m_texts;
};

} // namespace Agent
