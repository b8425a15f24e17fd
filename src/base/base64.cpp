// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/base64.h"

#include <cstdint>

namespace Agent
{

namespace
{

constexpr std::string_view digits
    = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

} // namespace

std::string ToBase64(std::string_view bytes)
{
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::string_view group = bytes.substr(at, 3);
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < 3; ++i)
            value = value << 8 | (i < group.size() ? static_cast<unsigned char>(group[i]) : 0U);
        for (std::size_t i = 0; i < 4; ++i)
            text += i <= group.size() ? digits[value >> (18 - 6 * i) & 63U] : '=';
    }
    return text;
}

bool FromBase64(std::string_view text, std::string& bytes)
{
    const std::string_view whole = text;
    while (!text.empty() && text.back() == '=')
        text.remove_suffix(1);
    bytes.clear();
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t digit = digits.find(text[i]);
        if (digit == std::string_view::npos)
            return false;
        value = value << 6 | std::uint32_t(digit);
        if (i % 4 != 0)
            bytes += char(value >> (6 - 2 * (i % 4)) & 255U);
    }
    return ToBase64(bytes) == whole;
}

} // namespace Agent
