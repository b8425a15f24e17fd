// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The integers of the store's files: 32 bits, little-endian, read and written
// byte by byte, so that the files are the same on every machine.

#pragma once

#include <cstdint>

namespace Agent
{

inline std::uint32_t GetUint32(const std::uint8_t* bytes)
{
    return std::uint32_t(bytes[0]) | std::uint32_t(bytes[1]) << 8 | std::uint32_t(bytes[2]) << 16
        | std::uint32_t(bytes[3]) << 24;
}

inline std::int32_t GetInt32(const std::uint8_t* bytes)
{
    return std::int32_t(GetUint32(bytes));
}

inline void PutUint32(std::uint8_t* bytes, std::uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        bytes[i] = std::uint8_t(value >> (8 * i));
}

inline void PutInt32(std::uint8_t* bytes, std::int32_t value)
{
    PutUint32(bytes, std::uint32_t(value));
}

} // namespace Agent
