// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Keys with their blanks counted, as the keys of a new index are gathered in memory: many are
// padded, and would take three times the room.
//
// Packed keys sort like the keys themselves, and no two keys become the same. A run of blanks
// becomes one blank and a byte, or several such pairs if it is long. The byte is the length where
// something below a blank follows, such as the end: of two such keys, the one with more blanks
// sorts behind. It is 255 less the length where something above a blank follows, since more blanks
// sort before then. No such byte is zero or a letter, which has another case.

#pragma once

#include <cstddef>
#include <cstdint>

namespace Agent
{

// Of a key with this many bytes, without the zero at the end.
constexpr std::size_t MostPacked(std::size_t length)
{
    return 2 * length;
}

// Writes the first `length` bytes of a key, which has no zero before, into `packed`. Returns their
// number; no zero is written after them.
std::size_t PackKey(const char* key, std::size_t length, std::uint8_t* packed);

// Writes at most `limit` bytes of the key, without a zero after them. `packed` ends with a zero.
void UnpackKey(const char* packed, std::uint8_t* key, std::size_t limit);

} // namespace Agent
