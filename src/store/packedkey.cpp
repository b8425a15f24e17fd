// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/packedkey.h"

#include <algorithm>
#include <cstring>

namespace Agent
{

namespace
{

constexpr char blank = ' ';
constexpr std::size_t longestRun = 60; // of one pair; 'A' is 65

} // namespace

std::size_t PackKey(const char* key, std::size_t length, std::uint8_t* packed)
{
    std::uint8_t* to = packed;
    for (std::size_t at = 0; at < length;) {
        if (key[at] != blank) {
            *to++ = std::uint8_t(key[at++]);
            continue;
        }
        const std::size_t begin = at;
        while (at < length && key[at] == blank)
            ++at;
        const bool isBelow = at == length || std::uint8_t(key[at]) < std::uint8_t(blank);
        for (std::size_t left = at - begin; left > 0;) {
            const std::size_t run = std::min(left, longestRun);
            *to++ = std::uint8_t(blank);
            *to++ = std::uint8_t(isBelow ? run : 255 - run);
            left -= run;
        }
    }
    return std::size_t(to - packed);
}

void UnpackKey(const char* packed, std::uint8_t* key, std::size_t limit)
{
    const std::uint8_t* const end = key + limit;
    for (const char* p = packed; *p != 0 && key != end; ++p) {
        if (*p != blank) {
            *key++ = std::uint8_t(*p);
            continue;
        }
        const std::size_t code = std::uint8_t(*++p);
        const std::size_t run
            = std::min(code <= longestRun ? code : 255 - code, std::size_t(end - key));
        std::memset(key, blank, run);
        key += run;
    }
}

} // namespace Agent
