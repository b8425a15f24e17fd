// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The beginnings of a page's keys next to each other, for a page that is
// searched more often than it changes: two words of each, from where the keys
// begin to differ, and the children. They decide most of a search.

#pragma once

#include "store/indexpage.h"

namespace Agent
{

class PageHeads
{
public:
    // Called when the page may have changed.
    void Forget() { m_count = 0; }

    // As SearchPage.
    PagePosition Search(const IndexPage& page, const SoughtItem& wanted, int allowDuplicates);

private:
    void Read(const IndexPage& page);
    int CountBelow(std::uint64_t head) const;

    int m_count = 0; // of the page's items, once they are read
    std::size_t m_shared = 0; // bytes that all keys have in common, and are left out
    char m_prefix[longestKey] = {}; // read in words
    std::uint64_t m_first[pageItems];
    std::uint64_t m_second[pageItems];
    std::uint32_t m_children[pageItems + 1];
};

} // namespace Agent
