// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/page.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace Agent
{

// ---- making a page ----

Page::Page(int keyLength, std::uint32_t leftmost) : m_layout(keyLength), m_leftmost(leftmost)
{
    m_items = { static_cast<std::uint8_t*>(TakePageMemory(BlockLength())), { BlockLength() } };
    if (m_items)
        std::memset(&m_items[BlockLength() - slack], 0, slack);
    std::iota(m_places, m_places + pageItems, std::uint8_t(0));
}

Page::Page(int keyLength, const std::uint8_t* record) : Page(keyLength, GetUint32(record + 4))
{
    if (!m_items)
        return;
    const std::size_t length = m_layout.FileLength() - 8;
    std::memcpy(At(1), record + 8, length);
    std::memset(At(1) + length, 0, pageItems * m_layout.Stride() - length);
    m_count = record[0];
    m_isClean = false;
}

Page Page::Copy() const
{
    Page copy(KeyLength(), m_leftmost);
    if (copy)
        copy.Append(*this, 1, m_count);
    return copy;
}

void Page::Write(int item, const IndexItem& from)
{
    std::uint8_t* const at = At(item);
    const std::size_t room = m_layout.Stride() - 8;
    PutUint32(at, from.record);
    PutUint32(at + 4, from.child);
    std::memcpy(at + 8, from.key, room);
    at[8 + m_layout.KeyLength()] = 0;
}

// Other programs leave old content in unused bytes. Here they are zero, so that the same
// changes give the same file.
void Page::Pack(std::uint8_t* record) const
{
    const std::size_t length = m_layout.FileLength();
    std::memset(record, 0, 8);
    record[0] = m_count;
    PutUint32(record + 4, m_leftmost);
    for (int item = 1; item <= m_count; ++item) {
        const std::size_t at = m_layout.Offset(item);
        const std::size_t room = std::min(m_layout.Stride(), length - at);
        std::memcpy(record + at, At(item), room);
        if (const std::size_t used = m_isClean ? room : 8 + std::strlen(Key(item)); used < room)
            std::memset(record + at + used, 0, room - used);
    }
    if (m_count < pageItems)
        std::memset(record + m_layout.Offset(m_count + 1), 0,
                    length - m_layout.Offset(m_count + 1));
}

IndexItem Page::Item(int item) const
{
    IndexItem copy = MakeItem(Key(item), Record(item));
    copy.child = Child(item);
    return copy;
}

// ---- searching ----
//
// A search counts the heads below its own, without a branch, which would be mispredicted
// half of the time. Only if several heads are equal to it, or the key is longer than its
// head, are keys compared. A key that does not begin like all keys of the page is compared
// with keys from the start. So is the key of the first search of a page, since most pages
// that are read for a single change are never searched again.

bool Page::HasHeads()
{
    if (m_heads == Heads::Wanted)
        ReadHeads();
    const bool has = m_heads == Heads::Ready;
    m_heads = has ? Heads::Ready : Heads::Wanted;
    return has;
}

void Page::ReadHeads()
{
    m_heads = Heads::Ready;
    const SoughtItem first(Key(1), 0);
    // Not only of the first and the last key, which says nothing of those between them if
    // the page is not in order.
    std::size_t shared = longestBeginning;
    for (int item = 1; item <= m_count; ++item)
        shared = first.Matched(Key(item), shared);
    m_shared = std::uint8_t(shared);
    std::memset(m_beginning, 0, sizeof m_beginning);
    std::memcpy(m_beginning, first.Key(), m_shared);
    for (int item = 1; item <= m_count; ++item)
        SetHead(item);
}

// The key must begin like all.
void Page::SetHead(int item)
{
    const char* const key = Key(item) + m_shared;
    m_keyHeads[item - 1] = { FoldWord(GetWord(key)), FoldWord(GetWord(key + wordSize)) };
    m_numbers[item - 1] = IsLeaf() ? Record(item) : Child(item);
}

int Page::CountBelow(const KeyHead& head) const
{
    const KeyHead* first = m_keyHeads;
    for (int left = m_count; left > 1;) {
        const int half = left / 2;
        first += half * (first[half - 1] < head);
        left -= half;
    }
    return int(first - m_keyHeads) + (*first < head);
}

PagePosition Page::Search(const SoughtItem& wanted, int allowDuplicates)
{
    if (m_count > 0 && HasHeads() && wanted.BeginsWith(m_beginning, m_shared))
        return SearchHeads(wanted, allowDuplicates);
    return SearchItems(1, m_count, wanted, allowDuplicates);
}

PagePosition Page::SearchHeads(const SoughtItem& wanted, int allowDuplicates) const
{
    const KeyHead head(wanted.WordAt(m_shared), wanted.WordAt(m_shared + wordSize));
    const int below = CountBelow(head);
    int notAbove = below;
    while (notAbove < m_count && m_keyHeads[notAbove] == head)
        ++notAbove;
    if (below == notAbove)
        return { false, below, 0, IsLeaf() || below == 0 ? m_leftmost : m_numbers[below - 1] };
    if (below + 1 < notAbove || !head.HasEnd() || !IsLeaf())
        return SearchItems(below + 1, notAbove, wanted, allowDuplicates);
    const std::uint32_t record = m_numbers[below];
    const int order = Order(0, wanted.Item().record, record, allowDuplicates);
    if (order == 0)
        return { true, below + 1, record, 0 };
    return { false, order < 0 ? below : below + 1, 0, 0 };
}

// Searches the items from `left` to `right`; those before sort below, those after above.
// Compares whole keys, so that in a page without order no other item is found either.
PagePosition Page::SearchItems(int left, int right, const SoughtItem& wanted,
                               int allowDuplicates) const
{
    while (left <= right) {
        const int middle = (left + right) / 2;
        const int order = wanted.Compare(Key(middle), Record(middle), allowDuplicates);
        if (order == 0)
            return { true, middle, Record(middle), Child(middle) };
        if (order < 0)
            right = middle - 1;
        else
            left = middle + 1;
    }
    return { false, right, 0, Child(right) };
}

// ---- changing ----

namespace
{

// Of `count` entries: the next free one becomes that after a position, or one becomes the
// next free one.
template <typename Entry> void MakeEntry(Entry* entries, int count, int position)
{
    std::rotate(entries + position, entries + count, entries + count + 1);
}
template <typename Entry> void FreeEntry(Entry* entries, int count, int entry)
{
    std::rotate(entries + entry - 1, entries + entry, entries + count);
}

} // namespace

void Page::Insert(int position, const IndexItem& item)
{
    MakeEntry(m_places, m_count, position);
    Write(position + 1, item);
    if (m_heads == Heads::Ready && CompareKeys(m_beginning, item.key).byte < m_shared)
        m_heads = Heads::Wanted;
    if (m_heads == Heads::Ready) {
        MakeEntry(m_keyHeads, m_count, position);
        MakeEntry(m_numbers, m_count, position);
        SetHead(position + 1);
    }
    ++m_count;
}

void Page::Remove(int item)
{
    FreeEntry(m_places, m_count, item);
    if (m_heads == Heads::Ready) {
        FreeEntry(m_keyHeads, m_count, item);
        FreeEntry(m_numbers, m_count, item);
    }
    --m_count;
}

void Page::Replace(int item, IndexItem by)
{
    by.child = Child(item);
    Remove(item);
    Insert(item - 1, by);
}

void Page::Append(const Page& from, int first, int last)
{
    for (int item = first; item <= last; ++item)
        std::memcpy(At(++m_count), from.At(item), m_layout.Stride());
    m_isClean = m_isClean && from.m_isClean;
    m_heads = Heads::None;
}

// Fewer keys may have more in common, so their heads are made again.
void Page::Truncate(int count)
{
    m_count = std::uint8_t(count);
    m_heads = Heads::None;
}

// ---- images ----

void ReadPageImage(const Page* page, IndexPage* image)
{
    *image = { std::uint8_t(page->Count()), {}, page->Child(0), {} };
    for (int item = 1; item <= page->Count(); ++item)
        image->items[item] = page->Item(item);
}

int WritePageImage(Page* page, const IndexPage& image)
{
    if (image.count > pageItems)
        return SetError(taDamaged);
    for (int item = 1; item <= image.count; ++item)
        if ((image.items[item].child == 0) != (image.leftmost == 0))
            return SetError(taDamaged);
    page->Truncate(0);
    page->SetLeftmost(image.leftmost);
    for (int item = 1; item <= image.count; ++item) {
        IndexItem copy = MakeItem(image.items[item].key, image.items[item].record);
        copy.child = image.items[item].child;
        page->Insert(item - 1, copy);
    }
    return SetError(taNoError);
}

} // namespace Agent
