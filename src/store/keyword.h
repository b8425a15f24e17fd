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

// Sets the highest bit of each zero byte. Only the lowest set bit is reliable: above it
// other bits may be set as well.
inline std::uint64_t ZeroBytes(std::uint64_t word)
{
    return (word - oneInEachByte) & ~word & 0x80 * oneInEachByte;
}

// Adds 32 to the bytes from 'A' to 'Z'.
inline std::uint64_t FoldWord(std::uint64_t word)
{
    const std::uint64_t low = word & 0x7f * oneInEachByte;
    const std::uint64_t fromA = low + (0x80 - 'A') * oneInEachByte;
    const std::uint64_t aboveZ = low + (0x7f - 'Z') * oneInEachByte;
    return word + ((fromA & ~aboveZ & ~word & 0x80 * oneInEachByte) >> 2);
}

// The first `count` bytes, fewer than eight, followed by zeros.
inline std::uint64_t FirstBytes(std::uint64_t word, unsigned count)
{
    return word & ~(~std::uint64_t(0) << 8 * count);
}

// The first byte where two words differ, or where both texts end, and the difference
// there. The number of the byte is 8 for equal words without an end.
struct WordDifference {
    unsigned byte;
    int difference;
};

inline WordDifference Compare(std::uint64_t a, std::uint64_t b)
{
    // The lowest set bit is in that byte.
    const std::uint64_t marks = (a ^ b) | ZeroBytes(a);
    if (marks == 0)
        return { wordSize, 0 };
    const auto byte = unsigned(__builtin_ctzll(marks)) / 8;
    return { byte, int(a >> 8 * byte & 0xff) - int(b >> 8 * byte & 0xff) };
}

// The length of a key that does not end before `from`. The key must be readable in words.
inline std::size_t LengthOfKey(const char* text, std::size_t from)
{
    for (std::size_t at = from / wordSize * wordSize;; at += wordSize) {
        const std::uint64_t zeros = ZeroBytes(GetWord(text + at));
        if (zeros != 0)
            return at + unsigned(__builtin_ctzll(zeros)) / 8;
    }
}

// A number that sorts like the text at the beginning of the word; bytes after the text's
// end are ignored.
inline std::uint64_t OrderOfWord(std::uint64_t word)
{
    const std::uint64_t zeros = ZeroBytes(word);
    if (zeros != 0)
        word = FirstBytes(word, unsigned(__builtin_ctzll(zeros)) / 8);
    return __builtin_bswap64(word);
}

} // namespace Agent
