// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Numbers in texts from outside.

#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

namespace Agent
{

// The decimal number at the beginning of `text`: blanks, a sign, digits; the rest is
// ignored. 0 when there is none. A number that does not fit becomes the nearest one
// that does, so that it is not mistaken for a small one.
inline std::int32_t LeadingNumber(const std::string& text)
{
    using Limits = std::numeric_limits<std::int32_t>;
    const long long number = std::strtoll(text.c_str(), nullptr, 10);
    return std::int32_t(std::clamp<long long>(number, Limits::min(), Limits::max()));
}

} // namespace Agent
