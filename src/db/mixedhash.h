// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A hash of several values, in their order, without a copy of them.

#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

namespace Agent
{

inline std::uint64_t HashOf(std::string_view text)
{
    return std::hash<std::string_view>()(text);
}

// Each step can be reversed, so that no two values lead to the same hash.
inline void MixIn(std::uint64_t& hash, std::uint64_t value)
{
    constexpr std::uint64_t odd = 0x9E3779B97F4A7C15;
    hash = (hash ^ value) * odd;
    hash ^= hash >> 32;
}

} // namespace Agent
