// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/indexpage.h"

#include "store/bytes.h"

#include <algorithm>
#include <array>
#include <cstring>

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
        return IsWide() && item == pageItems ? wideLastItem - 8 : std::size_t(m_keyLength) + 1;
    }

private:
    static constexpr std::size_t wideLastItem = 110;

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

constexpr std::array<unsigned char, 256> FoldTable()
{
    std::array<unsigned char, 256> table{};
    for (int c = 0; c < 256; ++c)
        table[std::size_t(c)] = static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
    return table;
}

constexpr std::array<unsigned char, 256> fold = FoldTable();

int CompareFolded(const char* a, const char* b)
{
    auto* p = reinterpret_cast<const unsigned char*>(a);
    auto* q = reinterpret_cast<const unsigned char*>(b);
    for (;; ++p, ++q) {
        const int difference = fold[*p] - fold[*q];
        if (difference != 0 || *p == 0)
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
        std::memcpy(item + 8, page.items[i].key, layout.KeyBytes(i));
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
        std::memset(item.key + keyBytes, 0, whole - keyBytes);
        if (!std::memchr(item.key, 0, whole))
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

void SetKey(IndexItem* item, const char* key)
{
    // strncpy fills what the key leaves free with zeros.
    std::strncpy(item->key, key, sizeof item->key - 1);
    item->key[sizeof item->key - 1] = 0;
}

int tacompkeys(const char* a, const char* b, std::uint32_t recordA, std::uint32_t recordB,
               int allowDuplicates)
{
    const int order = CompareFolded(a, b);
    if (order != 0)
        return order < 0 ? -1 : 1;
    if (!allowDuplicates || recordA == recordB)
        return 0;
    return recordA > recordB ? 1 : -1;
}

PagePosition SearchPage(const IndexPage& page, const char* key, std::uint32_t record,
                        int allowDuplicates)
{
    int left = 1;
    int right = page.count;
    while (left <= right) {
        const int middle = (left + right) / 2;
        const IndexItem& item = page.items[middle];
        const int order = tacompkeys(key, item.key, record, item.record, allowDuplicates);
        if (order == 0)
            return { true, middle };
        if (order < 0)
            right = middle - 1;
        else
            left = middle + 1;
    }
    return { false, right };
}
