// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/pageheads.h"

#include "store/soughtitem.h"

#include <cstring>

void PageHeads::Read(const IndexPage& page)
{
    m_count = page.count;
    const SoughtItem first(page.items[1]);
    m_shared = first.Matched(page.items[page.count].key);
    std::memcpy(m_prefix, first.key(), m_shared);
    for (int i = 0; i < m_count; ++i)
        m_heads[i] = OrderOfWord(FoldWord(GetWord(page.items[i + 1].key + m_shared)));
}

int PageHeads::CountBelow(std::uint64_t head) const
{
    // A jump would go either way half of the times.
    const std::uint64_t* first = m_heads;
    for (int left = m_count; left > 1;) {
        const int half = left / 2;
        first += half * (first[half - 1] < head);
        left -= half;
    }
    return int(first - m_heads) + (*first < head);
}

PagePosition PageHeads::Search(const IndexPage& page, const SoughtItem& wanted, int allowDuplicates)
{
    if (m_count != page.count)
        Read(page);
    if (std::memcmp(m_prefix, wanted.key(), m_shared) != 0)
        return SearchItems(page, 1, m_count, wanted, allowDuplicates);
    const std::uint64_t head = OrderOfWord(wanted.WordAt(m_shared));
    const int below = CountBelow(head);
    int notAbove = below;
    while (notAbove < m_count && m_heads[notAbove] == head)
        ++notAbove;
    return SearchItems(page, below + 1, notAbove, wanted, allowDuplicates);
}
