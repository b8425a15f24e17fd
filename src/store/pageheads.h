// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The beginnings of a page's keys, stored next to each other, for a page that is searched
// more often than it changes.
//
// The keys of a page usually share a prefix, which is compared only once. Of each key the
// sixteen bytes after the prefix are stored as two numbers that sort like the keys. A
// search counts the first numbers below its own without branches, since a branch would be
// mispredicted half of the time. It narrows equal ones by the second numbers, and
// compares whole keys only if both are equal. The children are stored here too, so that
// most searches of an inner page read nothing else of it.

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

    int m_count = 0; // of the page's items, once they have been read
    std::size_t m_shared = 0; // the length of the common prefix, which is left out
    char m_prefix[longestKey] = {}; // read in words
    std::uint64_t m_first[pageItems];
    std::uint64_t m_second[pageItems];
    std::uint32_t m_children[pageItems + 1];
};

} // namespace Agent
