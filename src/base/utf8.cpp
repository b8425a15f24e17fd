// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/utf8.h"

namespace Agent
{

std::size_t Utf8Length(std::string_view text, std::size_t at)
{
    const auto byte
        = [text](std::size_t i) -> unsigned { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byte(at);
    if (lead < 0x80)
        return 1;
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (lead < 0xC2 || lead > 0xF4 || text.size() - at < length)
        return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80)
            return 0;
    }
    // Overlong, a surrogate, or beyond the last character.
    const unsigned second = byte(at + 1);
    const bool wrong = (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F)
        || (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F);
    return wrong ? 0 : length;
}

} // namespace Agent
