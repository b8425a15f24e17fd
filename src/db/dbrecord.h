// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Records of the databases: blocks of bytes with texts of a fixed width, zero
// behind their end, and little-endian numbers between them.

#pragma once

#include "store/bytes.h"

#include <cstddef>
#include <cstdint>

namespace Agent
{

// Where a text is, and how many bytes it may have with its zero.
struct TextField {
    int offset;
    int width;
};

// How many bytes of `text` fit into `most`: all, or what is left of them when
// the cut does not go through a UTF-8 character.
std::size_t CutLength(const char* text, std::size_t most);

inline const char* GetText(const std::uint8_t* record, TextField field)
{
    return reinterpret_cast<const char*>(record + field.offset);
}

// Stores what fits of a text (null: nothing) and returns the field. The text
// may be one of the record's own.
const char* SetText(std::uint8_t* record, TextField field, const char* text);

// Ends a text that came from a file and may go on without an end.
void EndText(std::uint8_t* record, TextField field);

// Whether two texts are the same but for the case of ASCII letters, as the
// indexes see it.
bool SameText(const char* a, const char* b);

} // namespace Agent
