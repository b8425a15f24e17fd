// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// One page of an index in memory.
//
// Its items are as they are in the file, one after the other, so that they come and go as
// blocks of bytes. Beside them are the heads: of each key the eight bytes from where the
// keys of the page begin to differ, as numbers in the order of the keys. They decide most
// of a search.
//
// Nothing here trusts a page to be in order: a search of a damaged page comes to some
// position of it, and no operation leaves the page's memory. Positions: 0 is before the
// first item, n is item n, and "after n" means between items n and n + 1.

#pragma once

#include "store/bytes.h"
#include "store/soughtitem.h"

#include <initializer_list>
#include <memory>

namespace Agent
{

class Page
{
public:
    class Part;

    // Empty and without memory, until it is another page.
    Page() = default;
    // Of these items, up to 50, of an index with keys of that length. False (see operator
    // bool) if there is no memory.
    Page(int keyLength, std::uint32_t leftmost, std::initializer_list<Part> parts);
    // The page of a record for which CanBePage holds.
    Page(int keyLength, const std::uint8_t* record);

    explicit operator bool() const { return m_items != nullptr; }
    // Bytes of memory beside the object itself.
    std::size_t memory() const { return m_items ? BlockLength() : 0; }

    // Writes it as it is in the file: PackedLength bytes, unused ones zero.
    void Pack(std::uint8_t* record) const;

    int count() const { return m_count; }
    bool IsLeaf() const { return m_leftmost == 0; }
    bool IsFull() const { return m_count == pageItems; }
    int keyLength() const { return m_layout.keyLength(); }
    const char* Key(int item) const { return reinterpret_cast<const char*>(At(item) + 8); }
    std::uint32_t Record(int item) const { return GetUint32(At(item)); }
    // The page right of a position; 0 in a leaf.
    std::uint32_t Child(int position) const
    {
        return position == 0 ? m_leftmost : GetUint32(At(position) + 4);
    }
    IndexItem Item(int item) const;

    // Where an item is, or would be.
    // Not const, since it prepares the next one.
    PagePosition Search(const SoughtItem& wanted, int allowDuplicates);

    // Adds an item to a page that is not full, or takes one out.
    void Insert(int position, const IndexItem& item);
    void Remove(int item);

private:
    enum class Heads : std::uint8_t { None, Wanted, Ready };

    static constexpr std::size_t longestBeginning = 40;
    // Words are read up to here after the last key.
    static constexpr std::size_t slack = wordSize;

    Page(int keyLength, std::uint32_t leftmost);
    std::size_t BlockLength() const { return pageItems * m_layout.Stride() + slack; }
    std::uint8_t* At(int item) const { return &m_items[std::size_t(item - 1) * m_layout.Stride()]; }
    void Append(const Part& part);
    void Write(int item, const IndexItem& from);
    bool HasHeads();
    void ReadHeads();
    void SetHead(int item);
    int CountBelow(std::uint64_t head) const;
    PagePosition SearchItems(int left, int right, const SoughtItem& wanted,
                             int allowDuplicates) const;

    PageLayout m_layout{ 1 };
    std::uint8_t m_count = 0;
    Heads m_hasHeads = Heads::None;
    bool m_isClean = true; // no byte after the end of a key is set
    std::uint8_t m_shared = 0; // bytes that all keys begin with, letters folded
    std::uint32_t m_leftmost = 0;
    std::unique_ptr<std::uint8_t[]> m_items;
    char m_beginning[longestBeginning + wordSize]; // those bytes
    std::uint64_t m_heads[pageItems];
};

// Some items of a page, or one item, which must outlive it. Without items where `last` is
// below `first`.
class Page::Part
{
public:
    Part(const Page& page, int first, int last) : m_page(&page), m_first(first), m_last(last) { }
    Part(const IndexItem& item) : m_item(&item) { }

private:
    friend class Page;

    const Page* m_page = nullptr;
    int m_first = 0;
    int m_last = 0;
    const IndexItem* m_item = nullptr;
};

// The first items of a page, one item and the last items of a page, counted as one row.
class ItemRow
{
public:
    ItemRow(const Page& left, int last, const IndexItem& middle, const Page& right, int first)
        : m_left(left), m_middle(middle), m_right(right), m_before(last), m_skipped(first - 1)
    {
    }

    int count() const { return m_before + 1 + m_right.count() - m_skipped; }
    IndexItem Item(int item) const;
    // A page of those from `first` to `last`.
    Page Some(std::uint32_t leftmost, int first, int last) const;

private:
    int InRight(int item) const { return item - m_before - 1 + m_skipped; }

    const Page& m_left;
    const IndexItem& m_middle;
    const Page& m_right;
    const int m_before;
    const int m_skipped;
};

} // namespace Agent
