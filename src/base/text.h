// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// ASCII characters, numbers and escapes in texts from outside, the same in every locale.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Agent
{

inline bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}
inline bool IsSmallLetter(char c)
{
    return c >= 'a' && c <= 'z';
}
inline bool IsLetterOrDigit(char c)
{
    return IsDigit(c) || IsSmallLetter(c) || (c >= 'A' && c <= 'Z');
}
inline bool IsPrintable(char c)
{
    return c >= ' ' && c <= '~';
}

// Marks, embeddings, overrides and isolates of the writing direction: text after one may be shown
// in another order than it has. The invisible beginning of a file is none, but just as useless.
inline bool IsDirectionMark(char32_t c)
{
    return c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E)
        || (c >= 0x2066 && c <= 0x2069) || c == 0xFEFF;
}
// A character that is not shown itself, but changes how others are: also controls and separators
// of lines and paragraphs.
inline bool IsUnprintable(char32_t c)
{
    return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029 || IsDirectionMark(c);
}

inline bool BeginsWith(std::string_view text, std::string_view prefix)
{
    return text.compare(0, prefix.size(), prefix) == 0;
}
inline bool EndsWith(std::string_view text, std::string_view end)
{
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// Whether the text is not empty and holds only characters that `is` accepts, and `others`.
bool IsMadeOf(std::string_view text, bool (*is)(char), std::string_view others);

// Without the blanks, tabs and carriage returns at both ends.
std::string Trimmed(const std::string& text);

// What blanks, tabs and line ends separate.
std::vector<std::string> WordsIn(const std::string& text);

// The decimal number at the beginning of `text`: blanks, a sign, digits; the rest is
// ignored. 0 when there is none. A number that does not fit becomes the nearest one
// that does, so that it is not mistaken for a small one.
std::int32_t LeadingNumber(const std::string& text);

// The value of `text` if it is a number from 1 to 2147483647 in decimal digits only; 0
// for any other text.
std::int32_t PositiveNumber(std::string_view text);

// The byte that the "%XX" at `at` stands for; -1 if there is no such escape.
int EscapedByte(std::string_view text, std::size_t at);

// Decodes the %XX of a URL; '+' stays. False for a % without two digits.
bool DecodePercent(std::string_view text, std::string& decoded);

// Appends the byte as "%XX".
void AppendEscaped(std::string& result, char byte);

// `text` in single quotes, cut to a length that fits in a message, with a
// question mark for each byte that is not printable ASCII.
std::string Quoted(const std::string& text);

} // namespace Agent
