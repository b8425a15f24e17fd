// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A page in few bytes, for the part of the page cache that was not used lately:
// each key without the beginning it shares with the one before it. Made for
// speed, and never written to a file.

#pragma once

#include "store/indexpage.h"

#include <memory>

class CompactPage
{
public:
    CompactPage() = default;
    // Null (see operator bool) if there is no memory.
    explicit CompactPage(const IndexPage& page);

    explicit operator bool() const { return m_bytes != nullptr; }
    // Bytes of memory.
    std::size_t size() const { return m_size; }

    void Expand(IndexPage* page) const;
    // As SearchPage.
    PagePosition Search(const SoughtItem& wanted, int allowDuplicates) const;

    int count() const { return m_bytes[0]; }
    // Puts an item behind the one at `position` of a leaf, or takes that one out.
    // False, with nothing changed, if there is no memory.
    bool InsertInLeaf(int position, const IndexItem& item);
    bool RemoveFromLeaf(int position);

private:
    bool Assign(const std::uint8_t* bytes, std::size_t used);
    bool Splice(const std::uint8_t* from, const std::uint8_t* to, const IndexItem& before,
                const IndexItem* const* items, int itemCount, int count);

    std::unique_ptr<std::uint8_t[]> m_bytes;
    std::size_t m_size = 0;
};
