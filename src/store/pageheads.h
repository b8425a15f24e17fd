// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The beginnings of a page's keys next to each other, for a page that is searched more
// often than it changes.
//
// The keys of a page mostly begin alike. That beginning is compared once; of each key the
// sixteen bytes after it are kept as two numbers in the order of the keys. A search counts
// the first numbers below its own without a jump, since a jump would go either way half of
// the times, narrows the equal ones by the second numbers, and compares whole keys only
// where both are equal. The children are kept here too, so that most searches of an inner
// page touch nothing else of it.

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
