// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/indexpage.h"

#include "store/bytes.h"
#include "store/soughtitem.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace Agent
{

namespace
{

// The places of a page's items in its record.
class Layout
{
public:
    explicit Layout(int keyLength) : m_keyLength(keyLength) { }

    std::size_t Offset(int item) const { return 8 + std::size_t(item - 1) * Stride(); }

    // Key bytes of an item in the file, its terminator included where it fits.
    std::size_t KeyBytes(int item) const
    {
        return IsWide() && item == pageItems ? keptKeyBytes : std::size_t(m_keyLength) + 1;
    }

private:
    bool IsWide() const { return m_keyLength == longestKey; }
    std::size_t Stride() const
    {
        return IsWide() ? sizeof(IndexItem) : std::size_t(m_keyLength) + 9;
    }

    const int m_keyLength;
};

// Whether a page is a leaf or has a page of the file on every side of every item.
bool HasSoundChildren(const IndexPage& page, std::uint32_t pages)
{
    const bool leaf = page.leftmost == 0;
    for (int i = 0; i <= page.count; ++i)
        if ((page.Child(i) == 0) != leaf || page.Child(i) >= std::max(pages, 1u))
            return false;
    return true;
}

int CompareFolded(const char* a, const char* b)
{
    for (;; ++a, ++b) {
        const int difference = FoldCase(*a) - FoldCase(*b);
        if (difference != 0 || *a == 0)
            return difference;
    }
}

} // namespace

void PackPage(const IndexPage& page, int keyLength, std::uint8_t* bytes)
{
    const Layout layout(keyLength);
    std::memset(bytes, 0, std::size_t(PackedLength(keyLength)));
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
    const Layout layout(keyLength);
    if (bytes[0] > pageItems)
        return false;
    page->count = bytes[0];
    std::fill(std::begin(page->unused), std::end(page->unused), std::uint8_t(0));
    page->leftmost = GetUint32(bytes + 4);
    for (int i = 1; i <= page->count; ++i) {
        const std::uint8_t* const bytesOfItem = bytes + layout.Offset(i);
        IndexItem& item = page->items[i];
        item.record = GetUint32(bytesOfItem);
        item.child = GetUint32(bytesOfItem + 4);
        const std::size_t keyBytes = layout.KeyBytes(i);
        std::memcpy(item.key, bytesOfItem + 8, keyBytes);
        const std::size_t whole = std::size_t(keyLength) + 1;
        if (keyBytes < whole)
            std::memset(item.key + keyBytes, 0, whole - keyBytes);
        // The last byte is zero in every file written by this library.
        if (item.key[keyLength] != 0 && !std::memchr(item.key, 0, whole))
            return false;
    }
    return HasSoundChildren(*page, pages);
}

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

IndexItem MakeItem(const char* key, std::uint32_t record)
{
    IndexItem item{ record, 0, {} };
    std::memcpy(item.key, key, strnlen(key, longestKey));
    return item;
}

int tacompkeys(const char* a, const char* b, std::uint32_t recordA, std::uint32_t recordB,
               int allowDuplicates)
{
    return Order(CompareFolded(a, b), recordA, recordB, allowDuplicates);
}

int CompareKeptKeys(const char* a, const char* b)
{
    for (std::size_t i = 0; i < keptKeyBytes; ++i) {
        const int difference = FoldCase(a[i]) - FoldCase(b[i]);
        if (difference != 0 || a[i] == 0)
            return difference;
    }
    return 0;
}

void InsertItem(IndexPage* page, int position, const IndexItem& item)
{
    IndexItem* const items = page->items;
    std::copy_backward(items + position + 1, items + page->count + 1, items + page->count + 2);
    items[position + 1] = item;
    ++page->count;
}

void RemoveItem(IndexPage* page, int position)
{
    std::copy(page->items + position + 1, page->items + page->count + 1, page->items + position);
    --page->count;
}

std::size_t SharedLength(const char* a, const char* b)
{
    for (std::size_t at = 0;; at += wordSize) {
        const std::uint64_t word = GetWord(a + at);
        const unsigned byte = Compare(word, GetWord(b + at)).byte;
        if (byte < wordSize)
            return at + byte;
    }
}

PagePosition SearchItems(const IndexPage& page, int left, int right, const SoughtItem& wanted,
                         int allowDuplicates)
{
    while (left <= right) {
        const int middle = (left + right) / 2;
        const int order = wanted.Compare(page.items[middle], allowDuplicates);
        if (order == 0)
            return { true, middle, page.items[middle].record, page.items[middle].child };
        if (order < 0)
            right = middle - 1;
        else
            left = middle + 1;
    }
    return { false, right, 0, page.Child(right) };
}

PagePosition SearchPage(const IndexPage& page, const SoughtItem& wanted, int allowDuplicates)
{
    return SearchItems(page, 1, page.count, wanted, allowDuplicates);
}

} // namespace Agent
