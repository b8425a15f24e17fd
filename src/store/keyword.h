// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Arithmetic on eight bytes of a key at a time: folding the case of letters, finding the
// end of the key and the first byte that differs, each in a few steps without a jump.
// The first byte of a key is the lowest byte of its word, on every machine.

#pragma once

#include <cstdint>
#include <cstring>
#include <endian.h>

namespace Agent
{

constexpr unsigned wordSize = sizeof(std::uint64_t);
constexpr std::uint64_t oneInEachByte = ~std::uint64_t(0) / 255;

inline std::uint64_t GetWord(const void* bytes)
{
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return le64toh(word);
}

inline void PutWord(void* bytes, std::uint64_t word)
{
    word = htole64(word);
    std::memcpy(bytes, &word, sizeof word);
}

// The highest bit of each zero byte, up to the first one at least: above that
// bits may be set without reason.
inline std::uint64_t ZeroBytes(std::uint64_t word)
{
    return (word - oneInEachByte) & ~word & 0x80 * oneInEachByte;
}

// With 32 added to the bytes from 'A' to 'Z'.
inline std::uint64_t FoldWord(std::uint64_t word)
{
    const std::uint64_t low = word & 0x7f * oneInEachByte;
    const std::uint64_t fromA = low + (0x80 - 'A') * oneInEachByte;
    const std::uint64_t aboveZ = low + (0x7f - 'Z') * oneInEachByte;
    return word + ((fromA & ~aboveZ & ~word & 0x80 * oneInEachByte) >> 2);
}

// The first `count` of its bytes, less than eight, and zeros.
inline std::uint64_t FirstBytes(std::uint64_t word, unsigned count)
{
    return word & ~(~std::uint64_t(0) << 8 * count);
}

// Where two words differ for the first time, or both have the end of their text:
// the number of the byte, or 8 if nowhere, and the difference there.
struct WordDifference {
    unsigned byte;
    int difference;
};

inline WordDifference Compare(std::uint64_t a, std::uint64_t b)
{
    // The lowest bit that is set is in the byte looked for.
    const std::uint64_t marks = (a ^ b) | ZeroBytes(a);
    if (marks == 0)
        return { wordSize, 0 };
    const auto byte = unsigned(__builtin_ctzll(marks)) / 8;
    return { byte, int(a >> 8 * byte & 0xff) - int(b >> 8 * byte & 0xff) };
}

// The length of a key that is known not to end before `from`. The key has room
// to be read in words.
inline std::size_t LengthOfKey(const char* text, std::size_t from)
{
    for (std::size_t at = from / wordSize * wordSize;; at += wordSize) {
        const std::uint64_t zeros = ZeroBytes(GetWord(text + at));
        if (zeros != 0)
            return at + unsigned(__builtin_ctzll(zeros)) / 8;
    }
}

// A number that is in the order of the texts that words begin, without what
// stands behind their ends.
inline std::uint64_t OrderOfWord(std::uint64_t word)
{
    const std::uint64_t zeros = ZeroBytes(word);
    if (zeros != 0)
        word = FirstBytes(word, unsigned(__builtin_ctzll(zeros)) / 8);
    return __builtin_bswap64(word);
}

} // namespace Agent
