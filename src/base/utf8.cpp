// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/utf8.h"

namespace Agent
{

// The bounds of the second byte exclude overlong forms, surrogates and numbers beyond
// Unicode.
bool Utf8Reader::Begin(unsigned char byte)
{
    m_following = byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : 1;
    m_lowest = byte == 0xE0 ? 0xA0 : byte == 0xF0 ? 0x90 : 0x80;
    m_highest = byte == 0xED ? 0x9F : byte == 0xF4 ? 0x8F : 0xBF;
    return byte >= 0xC2 && byte <= 0xF4;
}

std::size_t Utf8Length(std::string_view text, std::size_t at)
{
    Utf8Reader reader;
    for (std::size_t end = at; end < text.size();) {
        if (!reader.Take(static_cast<unsigned char>(text[end++])))
            return 0;
        if (reader.IsWhole())
            return end - at;
    }
    return 0;
}

bool IsUtf8(std::string_view text)
{
    Utf8Reader reader;
    for (const char c : text) {
        if (!reader.Take(static_cast<unsigned char>(c)))
            return false;
    }
    return reader.IsWhole();
}

} // namespace Agent
