// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// One page of an index: up to 50 items in key order and the children between them, in its
// form in memory and in the file.

#pragma once

#include <cstddef>
#include <cstdint>

namespace Agent
{

constexpr int pageOrder = 25; // minimum items per page, except in the root
constexpr int pageItems = 2 * pageOrder; // maximum items per page
constexpr int longestKey = 150;

// 160 bytes, always moved as a whole.
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

// Writes a page in the form of the file: PackedLength bytes, unused ones zero. With keys
// of 150 characters the items keep their 160 bytes, so only the first 110 bytes of item
// 50 are kept.
void PackPage(const IndexPage& page, int keyLength, std::uint8_t* bytes);

// Reads a page from its bytes in a file of `pages` records. False, with the page in an
// undefined state, for bytes that cannot be a page: too many items, children outside the
// file or on some items only, keys without an end.
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

// Insert an item after the one at `position`, or remove that one.
void InsertItem(IndexPage* page, int position, const IndexItem& item);
void RemoveItem(IndexPage* page, int position);

// The length of the common prefix of two keys. Both must be readable eight bytes at a
// time.
std::size_t SharedLength(const char* a, const char* b);

inline unsigned char FoldCase(char c)
{
    return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
}

// The position of an item in a page, or where it would be.
struct PagePosition {
    bool found;
    // The bytes that the key shares with the one at the position and with the next, if a
    // compact page was searched for an item that is not in it.
    std::uint8_t sharedBelow;
    std::uint8_t sharedAbove;
    int position; // of the item, or of the last one below it (0: none)
    std::uint32_t record; // of the item, if found
    std::uint32_t child; // to the right of the position

    PagePosition() = default;
    PagePosition(bool isFound, int at, std::uint32_t recordThere, std::uint32_t childThere)
        : found(isFound), sharedBelow(0), sharedAbove(0), position(at), record(recordThere),
          child(childThere)
    {
    }
};
class SoughtItem;
PagePosition SearchPage(const IndexPage& page, const SoughtItem& wanted, int allowDuplicates);
// The same, if only the items from `left` to `right` are not known to be below or above.
PagePosition SearchItems(const IndexPage& page, int left, int right, const SoughtItem& wanted,
                         int allowDuplicates);

} // namespace Agent

using Agent::tacompkeys;
using Agent::tapack;
using Agent::taunpack;
using Agent::taxkey;
