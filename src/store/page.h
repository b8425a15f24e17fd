// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// One page of an index in memory: up to 50 items, and room for 50.
//
// Each item has its bytes as in the file, but wherever there was room: a new item goes to a
// free place, and only the list of places is kept in order. So a change moves few bytes, and
// no change needs memory.
//
// Beside the items are their heads: of each key the sixteen bytes from where the keys of
// the page begin to differ, as numbers that sort like the keys. They decide nearly all
// searches, so that most of them touch no item.
//
// Nothing here trusts a page to be in order: a search of a damaged page returns some
// position of it, finds no item but the wanted one, and no operation leaves the page's
// memory. Positions: 0 is before the first item, n is item n, and "after n" means between
// items n and n + 1.

#pragma once

#include "store/bytes.h"
#include "store/pagememory.h"
#include "store/soughtitem.h"

#include <memory>

namespace Agent
{

class Page
{
public:
    // Without memory, until another page is moved into it.
    Page() = default;
    // Without items, and with room for 50. False (see operator bool) if there is no memory.
    explicit Page(int keyLength, std::uint32_t leftmost = 0);
    // The page of a record for which CanBePage holds.
    Page(int keyLength, const std::uint8_t* record);
    Page Copy() const;

    explicit operator bool() const { return m_items != nullptr; }
    // Bytes of memory beside the object itself.
    std::size_t Memory() const { return m_items ? BlockLength() : 0; }

    // Writes it as it is in the file: PackedLength bytes, unused ones zero.
    void Pack(std::uint8_t* record) const;

    int Count() const { return m_count; }
    bool IsLeaf() const { return m_leftmost == 0; }
    bool IsFull() const { return m_count == pageItems; }
    int KeyLength() const { return m_layout.KeyLength(); }
    const char* Key(int item) const { return reinterpret_cast<const char*>(At(item) + 8); }
    std::uint32_t Record(int item) const { return GetUint32(At(item)); }
    // The page right of a position; 0 in a leaf.
    std::uint32_t Child(int position) const
    {
        return position == 0 || IsLeaf() ? m_leftmost : GetUint32(At(position) + 4);
    }
    IndexItem Item(int item) const;

    // Not const, since the first search prepares the next one.
    PagePosition Search(const SoughtItem& wanted, int allowDuplicates);

    // None of these can fail. A page must have room for what it gets.
    void Insert(int position, const IndexItem& item);
    void Remove(int item);
    // Puts another item in the place of one, whose child stays.
    void Replace(int item, IndexItem by);
    // Adds items of another page, in the same index, after its own.
    void Append(const Page& from, int first, int last);
    // Removes the items after the first ones.
    void Truncate(int count);
    void SetLeftmost(std::uint32_t number) { m_leftmost = number; }

private:
    enum class Heads : std::uint8_t { None, Wanted, Ready };

    static constexpr std::size_t longestBeginning = 40;
    // Two words are read from any byte of a key.
    static constexpr std::size_t slack = 2 * wordSize;

    std::size_t BlockLength() const { return pageItems * m_layout.Stride() + slack; }
    std::uint8_t* At(int item) const { return &m_items[m_places[item - 1] * m_layout.Stride()]; }
    void Write(int item, const IndexItem& from);
    bool HasHeads();
    void ReadHeads();
    void SetHead(int item);
    int CountBelow(const KeyHead& head) const;
    PagePosition SearchHeads(const SoughtItem& wanted, int allowDuplicates) const;
    PagePosition SearchItems(int left, int right, const SoughtItem& wanted,
                             int allowDuplicates) const;

    PageLayout m_layout{ 1 };
    std::uint8_t m_count = 0;
    Heads m_heads = Heads::None;
    bool m_isClean = true; // no byte after the end of a key is set
    std::uint8_t m_shared = 0; // the length of the common prefix of all keys, letters folded
    std::uint32_t m_leftmost = 0;
    std::unique_ptr<std::uint8_t[], ReturnBlock> m_items{ nullptr, { 0 } };
    char m_beginning[longestBeginning + wordSize]; // the common prefix
    std::uint8_t m_places[pageItems]; // of the items in order, then the free ones
    // Of each item, in order, if the heads are ready: the record number in a leaf, and the
    // child in an inner page; and the head.
    std::uint32_t m_numbers[pageItems];
    KeyHead m_keyHeads[pageItems];
};

} // namespace Agent
