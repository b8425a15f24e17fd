// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A page of an index has up to 50 items in key order and the children between them. Here
// are its layout in the file, the order of items, and the page as a struct, for programs
// that look into files; the indexes themselves use the class Page (page.h).

#pragma once

#include <cstddef>
#include <cstdint>

namespace Agent
{

constexpr int pageOrder = 25; // minimum items per page, except in the root
constexpr int pageItems = 2 * pageOrder; // maximum items per page
constexpr int longestKey = 150;

// 160 bytes.
struct IndexItem {
    std::uint32_t record; // of the data file
    std::uint32_t child; // page of the keys up to the next item; 0 in a leaf
    char key[152]; // zero-terminated
};

// 8,168 bytes.
struct IndexPage {
    std::uint8_t count; // items in use
    std::uint8_t unused[3];
    std::uint32_t leftmost; // page of the keys below item 1; 0 in a leaf
    IndexItem items[pageItems + 1]; // item 0 is not used

    // The child to the right of item `position`; 0 means the leftmost one.
    std::uint32_t Child(int position) const
    {
        return position == 0 ? leftmost : items[position].child;
    }
};

static_assert(sizeof(IndexItem) == 160 && sizeof(IndexPage) == 8168);

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

    int keyLength() const { return m_keyLength; }
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

// The same in place: the page's memory then begins with its bytes in the file.
// taunpack returns whether they can be a page.
void tapack(IndexPage* page, int keyLength);
bool taunpack(IndexPage* page, int keyLength);

// The bytes of a key of 150 characters that are always kept in the file.
constexpr std::size_t keptKeyBytes = 102;

// Cuts a key.
void taxkey(char* key, int length);

// An item of a leaf; a key of more than 150 characters is cut.
IndexItem MakeItem(const char* key, std::uint32_t record);

// The order of an index: by key without regard to the case of ASCII letters,
// then, if equal keys are allowed, by record number. -1, 0 or 1.
int tacompkeys(const char* a, const char* b, std::uint32_t recordA, std::uint32_t recordB,
               int allowDuplicates);

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

using Agent::tacompkeys;
using Agent::tapack;
using Agent::taunpack;
using Agent::taxkey;
