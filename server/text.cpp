// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "text.h"

#include "base/utf8.h"

#include <array>
#include <cstddef>

namespace
{

using Size = std::string::size_type;

const char digits[] = "0123456789ABCDEF";

bool IsPrintable(unsigned char c)
{
    return c >= 32 && c < 127;
}

int HexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// The bytes that a client's decoding leaves unchanged.
std::array<bool, 256> PlainBytes()
{
    static const std::string special = " %+\\<>&\"'";
    std::array<bool, 256> plain{};
    for (unsigned i = 0; i < plain.size(); ++i)
        plain[i] = IsPrintable(static_cast<unsigned char>(i))
            && special.find(char(i)) == std::string::npos;
    return plain;
}

} // namespace

const char* TextFault(std::string_view text)
{
    for (Size at = 0; at < text.size();) {
        const auto c = static_cast<unsigned char>(text[at]);
        if ((c < 32 && c != '\t' && c != '\n') || c == 127)
            return "a control character";
        const Size length = Agent::Utf8Length(text, at);
        if (length == 0)
            return "a byte that is no UTF-8";
        at += length;
    }
    return nullptr;
}

std::string EncodeText(const std::string& text)
{
    std::string result;
    AppendEncoded(result, text);
    return result;
}

void AppendEncoded(std::string& result, const std::string& text)
{
    static const std::array<bool, 256> plain = PlainBytes();
    for (Size at = 0; at < text.size();) {
        Size end = at;
        while (end < text.size() && plain[static_cast<unsigned char>(text[end])])
            ++end;
        result.append(text, at, end - at);
        if (end < text.size() && text[end] == ' ') {
            result += '+';
        } else if (end < text.size()) {
            const auto byte = static_cast<unsigned char>(text[end]);
            result += '%';
            result += digits[byte >> 4];
            result += digits[byte & 15];
        }
        at = end + 1;
    }
}

std::string EscapeXml(const std::string& text)
{
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '&':
            result += "&amp;";
            break;
        case '"':
            result += "&quot;";
            break;
        case '\'':
            result += "&apos;";
            break;
        default:
            result += static_cast<unsigned char>(c) < 32 || c == 127 ? '?' : c;
        }
    }
    return result;
}

bool DecodePercent(const std::string& text, std::string& decoded)
{
    decoded.clear();
    for (Size i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        const int high = i + 2 < text.size() ? HexValue(text[i + 1]) : -1;
        const int low = high >= 0 ? HexValue(text[i + 2]) : -1;
        if (low < 0)
            return false;
        decoded += char(high * 16 + low);
        i += 2;
    }
    return true;
}

std::string Quoted(const std::string& text)
{
    const Size longest = 120;
    std::string result = "'";
    for (const char c : text.substr(0, longest))
        result += IsPrintable(static_cast<unsigned char>(c)) ? c : '?';
    return result + (text.size() > longest ? "...'" : "'");
}

long PositiveNumber(const std::string& text)
{
    long long number = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            return 0;
        number = number * 10 + (c - '0');
        if (number > 2147483647)
            return 0;
    }
    return long(number);
}
