// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "packagename.h"

namespace
{

const std::string::size_type kLongest = 128;
const std::string digits = "0123456789";
const std::string small = "abcdefghijklmnopqrstuvwxyz";
const std::string capital = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";

// Whether a text begins with one of `first` and goes on with these or `more`.
bool IsWord(const std::string& text, const std::string& first, const std::string& more)
{
    return !text.empty() && text.size() <= kLongest && first.find(text[0]) != std::string::npos
        && text.find_first_not_of(first + more) == std::string::npos;
}

} // namespace

bool IsPackageName(const std::string& name)
{
    return name.size() >= 2 && IsWord(name, small + digits, "+-.");
}

bool IsPackageVersion(const std::string& version)
{
    return IsWord(version, small + capital + digits, "+-.:~");
}
