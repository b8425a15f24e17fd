// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Shared by the tests of damaged files: keys in buffers of the minimum length, and
// indexes that are put together page by page, in any shape.

#pragma once

#include "store/bytes.h"
#include "store/datafile.h"
#include "store/pagecache.h"

#include <QByteArray>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

using Agent::GetUint32;
using Agent::IndexPage;
using Agent::MakeItem;
using Agent::PackedLength;
using Agent::PackPage;
using Agent::pageItems;
using Agent::PutUint32;

constexpr int keyLength = 10;
constexpr int pageLength = PackedLength(keyLength);
constexpr int itemLength = keyLength + 9;

class KeyBuffer
{
public:
    explicit KeyBuffer(const std::string& key, int length = keyLength)
        : m_bytes(new char[std::size_t(length) + 1]())
    {
        std::memcpy(m_bytes.get(), key.data(), std::min(key.size(), std::size_t(length)));
    }
    operator char*() { return m_bytes.get(); }

private:
    const std::unique_ptr<char[]> m_bytes;
};

inline std::string Key(std::uint32_t number)
{
    char key[16];
    std::snprintf(key, sizeof key, "%06u", number);
    return key;
}

inline void Put32(QByteArray* bytes, int offset, std::uint32_t value)
{
    PutUint32(reinterpret_cast<std::uint8_t*>(bytes->data()) + offset, value);
}

inline std::uint32_t Get32(const QByteArray& bytes, int offset)
{
    return GetUint32(reinterpret_cast<const std::uint8_t*>(bytes.constData()) + offset);
}

inline QByteArray Packed(const IndexPage& page, int length = keyLength)
{
    QByteArray bytes(PackedLength(length), '\0');
    PackPage(page, length, reinterpret_cast<std::uint8_t*>(bytes.data()));
    return bytes;
}

// The bytes of a page with the same key in all items and the same child.
inline QByteArray PageOf(int count, std::uint32_t child, const char* key)
{
    const auto page = std::make_unique<IndexPage>();
    page->count = std::uint8_t(count);
    page->leftmost = child;
    for (int i = 1; i <= count; ++i) {
        page->items[i] = MakeItem(key, std::uint32_t(i));
        page->items[i].child = child;
    }
    return Packed(*page);
}

// An index of pages 1, 2, ... in the order in which they are added.
class TreeFile
{
public:
    explicit TreeFile(int length = keyLength) : m_length(length) { }

    // Adds a leaf with the keys from `first` on, at a distance of `step`.
    void addLeaf(std::uint32_t first, int count, std::uint32_t step = 1)
    {
        IndexPage& page = add(count);
        for (int i = 1; i <= count; ++i, first += step)
            page.items[i] = MakeItem(Key(first).c_str(), first);
    }
    // Adds an inner page with these children and the keys between them.
    void addInner(const std::vector<std::uint32_t>& children,
                  const std::vector<std::uint32_t>& keys)
    {
        IndexPage& page = add(int(keys.size()));
        page.leftmost = children[0];
        for (std::size_t i = 0; i < keys.size(); ++i) {
            page.items[i + 1] = MakeItem(Key(keys[i]).c_str(), keys[i]);
            page.items[i + 1].child = children[i + 1];
        }
    }
    IndexPage& operator[](std::uint32_t number) { return *m_pages[number - 1]; }
    void free(std::int32_t number) { m_firstFree = number; }

    QByteArray bytes(std::uint32_t root) const
    {
        DataFileHeader header{};
        header.firstFree = m_firstFree;
        header.deletedCount = m_firstFree != -1;
        header.rootPage = std::int32_t(root);
        header.storedCount = header.recordCount = std::int32_t(m_pages.size()) + 1;
        std::strcpy(header.version, VERSION);
        QByteArray bytes(PackedLength(m_length), '\0');
        WriteDataFileHeader(header, reinterpret_cast<std::uint8_t*>(bytes.data()));
        for (const auto& page : m_pages)
            bytes += Packed(*page, m_length);
        return bytes;
    }

private:
    IndexPage& add(int count)
    {
        m_pages.push_back(std::make_unique<IndexPage>());
        m_pages.back()->count = std::uint8_t(count);
        return *m_pages.back();
    }

    const int m_length;
    std::int32_t m_firstFree = -1;
    std::vector<std::unique_ptr<IndexPage>> m_pages;
};

// Whether no page of an index in memory has more items than allowed.
inline bool NoPageIsOverfull(const IndexFile* index)
{
    for (const Agent::CachedPage* page = index->firstPage; page; page = page->nextOfOwner)
        if (page->Count() > pageItems)
            return false;
    return true;
}
