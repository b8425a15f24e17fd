// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "install/packagename.h"

#include <algorithm>
#include <cstring>

namespace Agent
{

namespace
{

bool IsLetterOrDigit(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

// Whether the text is not empty and holds only letters, digits and `others`.
bool IsMadeOf(const std::string& text, const char* others)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [others](char c) {
        return c != '\0' && (IsLetterOrDigit(c) || std::strchr(others, c));
    });
}

} // namespace

bool IsSafePackageName(const std::string& name)
{
    if (name.empty() || !IsLetterOrDigit(name.front()) || name.back() == '-')
        return false;
    const auto end = std::min(name.find_first_of(":="), name.size());
    if (!IsMadeOf(name.substr(0, end), "+-."))
        return false;
    if (end == name.size())
        return true;
    const std::string rest = name.substr(end + 1);
    return name[end] == ':' ? IsMadeOf(rest, "-") : IsMadeOf(rest, ".+-~:");
}

} // namespace Agent
