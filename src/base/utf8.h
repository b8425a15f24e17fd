// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Standard UTF-8: the shortest form of each character up to U+10FFFF, no surrogates.

#pragma once

#include <cstddef>
#include <string_view>

namespace Agent
{

// Reads characters one byte at a time, so a text may come in pieces of any size.
class Utf8Reader
{
public:
    // Takes the next byte. False if it cannot follow the bytes before it.
    bool Take(unsigned char byte)
    {
        if (m_following == 0)
            return byte < 0x80 || Begin(byte);
        const bool fits = byte >= m_lowest && byte <= m_highest;
        --m_following;
        m_lowest = 0x80;
        m_highest = 0xBF;
        return fits;
    }

    // Whether the last character is complete.
    bool IsWhole() const { return m_following == 0; }

private:
    bool Begin(unsigned char byte);

    int m_following = 0; // bytes that the current character still lacks
    unsigned char m_lowest = 0x80, m_highest = 0xBF; // bounds of the next of them
};

// The bytes of the character that begins at `at`, which is inside the text: 1 to 4, or 0
// when there is no valid one.
std::size_t Utf8Length(std::string_view text, std::size_t at);

// Whether the whole text is valid.
bool IsUtf8(std::string_view text);

} // namespace Agent
