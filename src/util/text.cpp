// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "util/text.h"

#include <algorithm>
#include <cctype>
#include <cstring>

std::string UpCase(const std::string& text)
{
    std::string result = text;
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char c) { return c >= 'a' && c <= 'z' ? char(c - 32) : char(c); });
    return result;
}

std::string LowCase(const std::string& text)
{
    std::string result = text;
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char c) { return c >= 'A' && c <= 'Z' ? char(c + 32) : char(c); });
    return result;
}

std::string TrimRight(const std::string& text)
{
    const auto last = std::find_if(text.rbegin(), text.rend(),
                                   [](unsigned char c) { return !std::isspace(c); });
    // A text without such a character has no position -1 to start from: substr throws.
    return text.substr(std::size_t(text.rend() - last) - 1);
}

char* CopyStr(char* src, int start, int len, char* dst)
{
    std::memcpy(dst, src + start, std::size_t(len));
    dst[len] = '\0';
    return dst;
}

char* PadStr(char* src, int width, char pad, char* dst)
{
    const std::size_t length = std::strlen(src);
    std::memmove(dst, src, length + 1);
    if (width > 0 && length < std::size_t(width)) {
        std::memset(dst + length, pad, std::size_t(width) - length);
        dst[width] = '\0';
    }
    return dst;
}

char* getGroup(char** ppPath)
{
    const std::size_t length = std::strcspn(*ppPath, "/");
    char* component = strndup(*ppPath, length);
    *ppPath += length;
    if (**ppPath == '/')
        ++*ppPath;
    return component;
}
