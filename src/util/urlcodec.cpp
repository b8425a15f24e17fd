// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "util/urlcodec.h"

#include "base/text.h"
#include "base/utf8.h"

#include <array>
#include <cstring>
#include <string_view>

using namespace Agent;

namespace
{

// The bytes that are written as an escape.
std::array<bool, 256> MakeEscapeTable()
{
    std::array<bool, 256> table{};
    for (int byte = 0; byte < 256; ++byte)
        table[std::size_t(byte)] = byte <= 32 || byte >= 127;
    for (const char* c = "@<>#\"&?={}|^~[]'`\\:+%"; *c; ++c)
        table[static_cast<unsigned char>(*c)] = true;
    return table;
}

// The text ends at the first zero byte, as c_str() of a std::string does.
std::string_view UpToZero(std::string_view text)
{
    return text.substr(0, text.find('\0'));
}

// Percent-encodes `text`, taking each '+' for the three characters "%2b".
std::string Encode(std::string_view text)
{
    static const std::array<bool, 256> escaped = MakeEscapeTable();
    std::string result;
    result.reserve(text.size() + text.size() / 4);
    for (const char c : text) {
        if (c == '+') {
            result += "%252b";
        } else if (escaped[static_cast<unsigned char>(c)]) {
            AppendEscaped(result, c);
        } else {
            result += c;
        }
    }
    return result;
}

// Whether decoding would leave `text` as it is: most texts contain nothing encoded.
bool IsPlain(const std::string& text)
{
    for (const char c : text) {
        if (c == '%' || c == '+' || c == '\\' || c == '\0' || (c & 0x80))
            return false;
    }
    return true;
}

// The step before percent-decoding: backslashes and plus signs.
std::string Unescape(std::string_view text)
{
    // Most texts have only escapes with a percent sign.
    if (text.find('\\') == text.npos && text.find('+') == text.npos)
        return std::string(text);
    std::string result;
    result.reserve(text.size());
    bool literal = false;
    for (const char c : text) {
        if (!literal && c == '\\') {
            literal = true;
            continue;
        }
        result += !literal && c == '+' ? ' ' : c;
        literal = false;
    }
    return result;
}

// Percent-decodes in place, up to an escaped zero byte.
void DecodePercent(std::string& text)
{
    std::size_t out = text.find('%');
    if (out == std::string::npos)
        return;
    for (std::size_t in = out; in < text.size(); ++in) {
        const int byte = EscapedByte(text, in);
        if (byte < 0) {
            text[out++] = text[in];
            continue;
        }
        if (byte == 0)
            break;
        text[out++] = char(byte);
        in += 2;
    }
    text.resize(out);
}

bool IsAscii(const std::string& text)
{
    for (const char c : text) {
        if (c & 0x80)
            return false;
    }
    return true;
}

// Bytes as text: UTF-8, or Latin-1 where they are not valid UTF-8.
QString FromBytes(const std::string& bytes)
{
    if (!IsUtf8(bytes))
        return QString::fromLatin1(bytes.data(), int(bytes.size()));
    // With a character before them, since a byte order mark at the beginning would be
    // dropped.
    return QString::fromStdString('.' + bytes).mid(1);
}

} // namespace

QString url_encode(const QString& text)
{
    if (text.isEmpty())
        return text;
    return QString::fromStdString(Encode(text.toStdString()));
}

std::string url_encode(const std::string& text)
{
    if (text.empty())
        return text;
    return Encode(UpToZero(text));
}

QString url_decode(const QString& text)
{
    if (text.isEmpty())
        return text;
    std::string bytes = Unescape(text.toStdString());
    DecodePercent(bytes);
    return FromBytes(bytes);
}

std::string url_decode(const std::string& text)
{
    if (IsPlain(text))
        return text;
    std::string bytes = Unescape(UpToZero(text));
    DecodePercent(bytes);
    return IsAscii(bytes) ? bytes : FromBytes(bytes).toStdString();
}
