// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A page of an index has up to 50 items in key order and the children between them. Here
// are its layout in the file, and the parts of the order of items. Programs that look into
// files use a page as a struct (tapage.h), the indexes themselves the class Page (page.h).

#pragma once

#include "store/tapage.h"

#include <cstddef>
#include <cstdint>

namespace Agent
{

// Bytes of a page in the file.
constexpr int PackedLength(int keyLength)
{
    return (keyLength + 9) * pageItems + 8;
}

// The layout of a page in the file: a count, three unused bytes and the leftmost child,
// then the items, each a record number, a child and a key. Items with keys of 150
// characters take 160 bytes each, so only the first 110 bytes of item 50 are kept.
class PageLayout
{
public:
    explicit constexpr PageLayout(int keyLength) : m_keyLength(keyLength) { }

    int KeyLength() const { return m_keyLength; }
    std::size_t Stride() const
    {
        return m_keyLength == longestKey ? sizeof(IndexItem) : std::size_t(m_keyLength) + 9;
    }
    std::size_t Offset(int item) const { return 8 + std::size_t(item - 1) * Stride(); }
    std::size_t FileLength() const { return std::size_t(PackedLength(m_keyLength)); }
    // Bytes of an item's key, its terminator included where it fits.
    std::size_t KeyBytes(int item) const
    {
        const std::size_t room = FileLength() - Offset(item) - 8;
        return room < std::size_t(m_keyLength) + 1 ? room : std::size_t(m_keyLength) + 1;
    }

private:
    int m_keyLength;
};

// Whether the bytes of a record, in a file of `pages` records, can be a page: not too many
// items, children inside the file, and on all sides or on none, and keys that end.
bool CanBePage(const std::uint8_t* bytes, int keyLength, std::uint32_t pages);

// Writes a page in the form of the file: PackedLength bytes, unused ones zero.
void PackPage(const IndexPage& page, int keyLength, std::uint8_t* bytes);

// Reads a page from its bytes. False, with the page unchanged, if they cannot be a page.
bool UnpackPage(const std::uint8_t* bytes, int keyLength, std::uint32_t pages, IndexPage* page);

// The bytes of a key of 150 characters that are always kept in the file.
constexpr std::size_t keptKeyBytes = 102;

// An item of a leaf; a key of more than 150 characters is cut.
IndexItem MakeItem(const char* key, std::uint32_t record);

// Compares the kept bytes of two keys: negative, 0 or positive.
int CompareKeptKeys(const char* a, const char* b);

// tacompkeys, given the result of comparing the keys.
inline int Order(int keys, std::uint32_t recordA, std::uint32_t recordB, int allowDuplicates)
{
    if (keys != 0)
        return keys < 0 ? -1 : 1;
    if (!allowDuplicates || recordA == recordB)
        return 0;
    return recordA > recordB ? 1 : -1;
}

inline unsigned char FoldCase(char c)
{
    return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
}

} // namespace Agent
