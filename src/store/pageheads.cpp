// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/pageheads.h"

#include "store/soughtitem.h"

#include <algorithm>
#include <cstring>

namespace Agent
{

namespace
{

// Up to this length of the prefix both words are within the key of an item.
constexpr std::size_t longestPrefix = sizeof IndexItem::key - 2 * wordSize;

// The word after one that OrderOfWord made; zero if the key ends before it.
std::uint64_t SecondWord(std::uint64_t first, std::uint64_t second)
{
    return (first & 0xff) != 0 ? OrderOfWord(second) : 0;
}

} // namespace

void PageHeads::Read(const IndexPage& page)
{
    m_count = page.count;
    const SoughtItem first(page.items[1]);
    m_shared = std::min(first.Matched(page.items[page.count].key), longestPrefix);
    std::memcpy(m_prefix, first.key(), m_shared);
    for (int i = 0; i < m_count; ++i) {
        const char* const key = page.items[i + 1].key + m_shared;
        m_first[i] = OrderOfWord(FoldWord(GetWord(key)));
        m_second[i] = SecondWord(m_first[i], FoldWord(GetWord(key + wordSize)));
    }
    for (int i = 0; i <= m_count; ++i)
        m_children[i] = page.Child(i);
}

int PageHeads::CountBelow(std::uint64_t head) const
{
    // Without a branch, which would be mispredicted half of the time.
    const std::uint64_t* first = m_first;
    for (int left = m_count; left > 1;) {
        const int half = left / 2;
        first += half * (first[half - 1] < head);
        left -= half;
    }
    return int(first - m_first) + (*first < head);
}

PagePosition PageHeads::Search(const IndexPage& page, const SoughtItem& wanted, int allowDuplicates)
{
    if (m_count != page.count)
        Read(page);
    if (!wanted.BeginsWith(m_prefix, m_shared))
        return SearchItems(page, 1, m_count, wanted, allowDuplicates);
    const std::uint64_t head = OrderOfWord(wanted.WordAt(m_shared));
    const std::uint64_t second = SecondWord(head, wanted.WordAt(m_shared + wordSize));
    int below = CountBelow(head);
    int notAbove = below;
    while (notAbove < m_count && m_first[notAbove] == head)
        ++notAbove;
    while (below < notAbove && m_second[below] < second)
        ++below;
    while (below < notAbove && m_second[notAbove - 1] > second)
        --notAbove;
    if (below < notAbove)
        return SearchItems(page, below + 1, notAbove, wanted, allowDuplicates);
    return { false, below, 0, m_children[below] };
}

} // namespace Agent
