// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/packagename.h"

#include "base/text.h"

#include <algorithm>

namespace Agent
{

namespace
{

const std::size_t longestName = 128;

bool IsSmallOrDigit(char c)
{
    return IsSmallLetter(c) || IsDigit(c);
}

} // namespace

bool IsPackageName(std::string_view name)
{
    return name.size() >= 2 && name.size() <= longestName && IsSmallOrDigit(name.front())
        && IsMadeOf(name, IsSmallOrDigit, "+-.");
}

bool IsPackageVersion(std::string_view version)
{
    return IsMadeOf(version, IsLetterOrDigit, "+-.:~") && version.size() <= longestName
        && IsLetterOrDigit(version.front());
}

bool IsPackageWord(std::string_view word)
{
    if (word.empty() || !IsLetterOrDigit(word.front()) || word.back() == '-')
        return false;
    const auto end = std::min(word.find_first_of(":="), word.size());
    if (!IsMadeOf(word.substr(0, end), IsLetterOrDigit, "+-."))
        return false;
    return end == word.size()
        || IsMadeOf(word.substr(end + 1), IsLetterOrDigit, word[end] == ':' ? "-" : ".+-~:");
}

} // namespace Agent
