// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/page.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace Agent
{

// ---- making a page ----

Page::Page(int keyLength, std::uint32_t leftmost) : m_layout(keyLength), m_leftmost(leftmost)
{
    m_items.reset(new (std::nothrow) std::uint8_t[BlockLength()]);
    if (m_items)
        std::memset(At(pageItems + 1), 0, slack);
}

Page::Page(int keyLength, std::uint32_t leftmost, std::initializer_list<Part> parts)
    : Page(keyLength, leftmost)
{
    for (const Part& part : parts)
        if (m_items)
            Append(part);
}

void Page::Append(const Part& part)
{
    if (part.m_item && m_count < pageItems)
        Write(++m_count, *part.m_item);
    if (!part.m_page || part.m_last < part.m_first)
        return;
    const int count = std::min(part.m_last - part.m_first + 1, pageItems - m_count);
    std::memcpy(At(m_count + 1), part.m_page->At(part.m_first),
                std::size_t(count) * m_layout.Stride());
    m_count = std::uint8_t(m_count + count);
    m_isClean = m_isClean && part.m_page->m_isClean;
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

void Page::Write(int item, const IndexItem& from)
{
    std::uint8_t* const at = At(item);
    const std::size_t room = m_layout.Stride() - 8;
    PutUint32(at, from.record);
    PutUint32(at + 4, from.child);
    std::memcpy(at + 8, from.key, room);
    at[8 + m_layout.keyLength()] = 0;
}

// Other programs leave in unused bytes what was there before. Here they are zero, so that
// the same changes give the same file.
void Page::Pack(std::uint8_t* record) const
{
    const std::size_t length = m_layout.FileLength();
    const std::size_t used = std::min(length - 8, m_count * m_layout.Stride());
    std::memset(record, 0, 8);
    record[0] = m_count;
    PutUint32(record + 4, m_leftmost);
    std::memcpy(record + 8, At(1), used);
    std::memset(record + 8 + used, 0, length - 8 - used);
    for (int item = 1; item <= m_count && !m_isClean; ++item) {
        const std::size_t at = m_layout.Offset(item) + 8;
        const std::size_t end = std::min(at + m_layout.Stride() - 8, length);
        const std::size_t behind = at + std::strlen(Key(item));
        if (behind < end)
            std::memset(record + behind, 0, end - behind);
    }
}

IndexItem Page::Item(int item) const
{
    IndexItem copy = MakeItem(Key(item), Record(item));
    copy.child = Child(item);
    return copy;
}

// ---- searching ----
//
// A search counts the heads below its own, without a jump, which would go either way half
// of the times, and compares keys only of the items with the same head. What does not begin
// like all keys of the page is searched for among the items; so it is in a page that is
// searched for the first time, since most pages that are read for one change only never are
// again.

bool Page::HasHeads()
{
    if (m_hasHeads == Heads::Wanted)
        ReadHeads();
    const bool has = m_hasHeads == Heads::Ready;
    m_hasHeads = has ? Heads::Ready : Heads::Wanted;
    return has;
}

void Page::ReadHeads()
{
    m_hasHeads = Heads::Ready;
    const SoughtItem first(Key(1), 0);
    m_shared = std::uint8_t(first.Matched(Key(m_count), longestBeginning));
    std::memset(m_beginning, 0, sizeof m_beginning);
    std::memcpy(m_beginning, first.key(), m_shared);
    for (int item = 1; item <= m_count; ++item)
        SetHead(item);
}

// Of a key that begins like all.
void Page::SetHead(int item)
{
    m_heads[item - 1] = OrderOfWord(FoldWord(GetWord(Key(item) + m_shared)));
}

int Page::CountBelow(std::uint64_t head) const
{
    const std::uint64_t* first = m_heads;
    for (int left = m_count; left > 1;) {
        const int half = left / 2;
        first += half * (first[half - 1] < head);
        left -= half;
    }
    return int(first - m_heads) + (*first < head);
}

PagePosition Page::Search(const SoughtItem& wanted, int allowDuplicates)
{
    if (m_count == 0 || !HasHeads())
        return SearchItems(1, m_count, wanted, allowDuplicates);
    if (!wanted.BeginsWith(m_beginning, m_shared))
        return SearchItems(1, m_count, wanted, allowDuplicates);
    const std::uint64_t head = OrderOfWord(wanted.WordAt(m_shared));
    const int below = CountBelow(head);
    int notAbove = below;
    while (notAbove < m_count && m_heads[notAbove] == head)
        ++notAbove;
    return SearchItems(below + 1, notAbove, wanted, allowDuplicates);
}

// Where the items from `left` to `right` are those not known to be below or above. Whole
// keys are compared, so that in a page without order no other item is found either.
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

void Page::Insert(int position, const IndexItem& item)
{
    std::uint8_t* const at = At(position + 1);
    const auto length = std::size_t(At(m_count + 1) - at);
    // All that moves is asked for at once.
    for (std::size_t i = 0; i < length; i += 64)
        __builtin_prefetch(at + i, 1);
    std::memmove(at + m_layout.Stride(), at, length);
    Write(position + 1, item);
    if (m_hasHeads == Heads::Ready && CompareKeys(m_beginning, item.key).byte < m_shared)
        m_hasHeads = Heads::Wanted;
    if (m_hasHeads == Heads::Ready) {
        std::copy_backward(m_heads + position, m_heads + m_count, m_heads + m_count + 1);
        SetHead(position + 1);
    }
    ++m_count;
}

void Page::Remove(int item)
{
    std::uint8_t* const at = At(item);
    std::memmove(at, At(item + 1), std::size_t(At(m_count + 1) - At(item + 1)));
    std::copy(m_heads + item, m_heads + m_count, m_heads + item - 1);
    --m_count;
}

// ---- rows ----

IndexItem ItemRow::Item(int item) const
{
    if (item == m_before + 1)
        return m_middle;
    return item <= m_before ? m_left.Item(item) : m_right.Item(InRight(item));
}

Page ItemRow::Some(std::uint32_t leftmost, int first, int last) const
{
    const Page::Part left(m_left, first, std::min(last, m_before));
    const Page::Part right(m_right, InRight(std::max(first, m_before + 2)), InRight(last));
    if (m_before + 1 < first || m_before + 1 > last)
        return Page(m_left.keyLength(), leftmost, { left, right });
    return Page(m_left.keyLength(), leftmost, { left, m_middle, right });
}

} // namespace Agent
