// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/indexpage.h"

#include "store/bytes.h"

#include <algorithm>
#include <cstring>

namespace Agent
{

static_assert(sizeof(IndexItem) == 160 && sizeof(IndexPage) == 8168);

namespace
{

// The first `limit` bytes of two keys, or less if one ends before.
int CompareFolded(const char* a, const char* b, std::size_t limit)
{
    for (std::size_t i = 0; i < limit; ++i) {
        const int difference = FoldCase(a[i]) - FoldCase(b[i]);
        if (difference != 0 || a[i] == 0)
            return difference;
    }
    return 0;
}

} // namespace

bool CanBePage(const std::uint8_t* bytes, int keyLength, std::uint32_t pages)
{
    const PageLayout layout(keyLength);
    if (bytes[0] > pageItems)
        return false;
    const std::uint32_t leftmost = GetUint32(bytes + 4);
    const bool isLeaf = leftmost == 0;
    if (leftmost >= std::max(pages, 1u))
        return false;
    for (int i = 1; i <= bytes[0]; ++i) {
        const std::uint8_t* const item = bytes + layout.Offset(i);
        const std::uint32_t child = GetUint32(item + 4);
        if ((child == 0) != isLeaf || child >= std::max(pages, 1u))
            return false;
        const std::size_t length = layout.KeyBytes(i);
        // The last byte is zero in every file written by this library.
        if (length > std::size_t(keyLength) && item[8 + keyLength] != 0
            && !std::memchr(item + 8, 0, length))
            return false;
    }
    return true;
}

void PackPage(const IndexPage& page, int keyLength, std::uint8_t* bytes)
{
    const PageLayout layout(keyLength);
    std::memset(bytes, 0, layout.FileLength());
    bytes[0] = page.count;
    PutUint32(bytes + 4, page.leftmost);
    for (int i = 1; i <= page.count; ++i) {
        std::uint8_t* const item = bytes + layout.Offset(i);
        PutUint32(item, page.items[i].record);
        PutUint32(item + 4, page.items[i].child);
        const char* const key = page.items[i].key;
        std::memcpy(item + 8, key, strnlen(key, layout.KeyBytes(i)));
    }
}

bool UnpackPage(const std::uint8_t* bytes, int keyLength, std::uint32_t pages, IndexPage* page)
{
    if (!CanBePage(bytes, keyLength, pages))
        return false;
    const PageLayout layout(keyLength);
    page->count = bytes[0];
    std::fill_n(page->unused, sizeof page->unused, std::uint8_t(0));
    page->leftmost = GetUint32(bytes + 4);
    for (int i = 1; i <= page->count; ++i) {
        const std::uint8_t* const item = bytes + layout.Offset(i);
        page->items[i] = { GetUint32(item), GetUint32(item + 4), {} };
        const char* const key = reinterpret_cast<const char*>(item + 8);
        std::memcpy(page->items[i].key, key, strnlen(key, layout.KeyBytes(i)));
    }
    return true;
}

IndexItem MakeItem(const char* key, std::uint32_t record)
{
    IndexItem item{ record, 0, {} };
    std::memcpy(item.key, key, strnlen(key, longestKey));
    return item;
}

int CompareKeptKeys(const char* a, const char* b)
{
    return CompareFolded(a, b, keptKeyBytes);
}

} // namespace Agent

using namespace Agent;

void tapack(IndexPage* page, int keyLength)
{
    std::uint8_t bytes[PackedLength(longestKey)];
    PackPage(*page, keyLength, bytes);
    std::memcpy(static_cast<void*>(page), bytes, std::size_t(PackedLength(keyLength)));
}

bool taunpack(IndexPage* page, int keyLength)
{
    std::uint8_t bytes[PackedLength(longestKey)];
    std::memcpy(bytes, static_cast<const void*>(page), std::size_t(PackedLength(keyLength)));
    return UnpackPage(bytes, keyLength, UINT32_MAX, page);
}

void taxkey(char* key, int length)
{
    key[length] = 0;
}

int tacompkeys(const char* a, const char* b, std::uint32_t recordA, std::uint32_t recordB,
               int allowDuplicates)
{
    return Order(CompareFolded(a, b, SIZE_MAX), recordA, recordB, allowDuplicates);
}
