// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/text.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <sstream>

namespace Agent
{

namespace
{

using Numbers = std::numeric_limits<std::int32_t>;

int HexValue(char c)
{
    if (IsDigit(c))
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

} // namespace

bool IsMadeOf(std::string_view text, bool (*is)(char), std::string_view others)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [=](char c) {
        return is(c) || others.find(c) != std::string_view::npos;
    });
}

std::string Trimmed(const std::string& text)
{
    const auto first = text.find_first_not_of(" \t\r");
    const auto last = text.find_last_not_of(" \t\r");
    return first == std::string::npos ? std::string() : text.substr(first, last - first + 1);
}

std::vector<std::string> WordsIn(const std::string& text)
{
    std::istringstream input(text);
    return { std::istream_iterator<std::string>(input), std::istream_iterator<std::string>() };
}

std::int32_t LeadingNumber(const std::string& text)
{
    const long long number = std::strtoll(text.c_str(), nullptr, 10);
    return std::int32_t(std::clamp<long long>(number, Numbers::min(), Numbers::max()));
}

std::int32_t PositiveNumber(std::string_view text)
{
    std::int64_t number = 0;
    for (const char c : text) {
        if (!IsDigit(c))
            return 0;
        number = number * 10 + (c - '0');
        if (number > Numbers::max())
            return 0;
    }
    return std::int32_t(number);
}

int EscapedByte(std::string_view text, std::size_t at)
{
    if (text[at] != '%' || text.size() - at < 3)
        return -1;
    const int high = HexValue(text[at + 1]);
    const int low = HexValue(text[at + 2]);
    return high < 0 || low < 0 ? -1 : high * 16 + low;
}

bool DecodePercent(std::string_view text, std::string& decoded)
{
    decoded.clear();
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        const int byte = EscapedByte(text, i);
        if (byte < 0)
            return false;
        decoded += char(byte);
        i += 2;
    }
    return true;
}

void AppendEscaped(std::string& result, char byte)
{
    static const char digits[] = "0123456789ABCDEF";
    const auto value = static_cast<unsigned char>(byte);
    result += '%';
    result += digits[value >> 4];
    result += digits[value & 15];
}

std::string Quoted(const std::string& text)
{
    const std::size_t longest = 120;
    std::string result = "'";
    for (const char c : text.substr(0, longest))
        result += IsPrintable(c) ? c : '?';
    return result + (text.size() > longest ? "...'" : "'");
}

} // namespace Agent
