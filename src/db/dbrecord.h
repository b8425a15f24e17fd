// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Records of the databases: blocks of bytes with texts of fixed width, padded with
// zeros, and little-endian numbers between them.

#pragma once

#include "store/bytes.h"

#include <cstddef>
#include <cstdint>

namespace Agent
{

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

} // namespace Agent
