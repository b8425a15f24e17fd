// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A page in few bytes, for the part of the page cache that was not used lately:
// each key without the beginning it shares with the one before it. Made for
// speed, and never written to a file.
//
// It is one block of memory: from its beginning the leftmost child (of an inner
// page) and a head for each item, from its end backwards what each key has behind
// that beginning, its rest, and free bytes in between.

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

    int count() const { return m_count; }
    // Puts an item into a leaf that is not full, where a search for it came to.
    // False, with nothing changed, if there is no memory.
    bool InsertInLeaf(const PagePosition& at, const IndexItem& item);
    void RemoveFromLeaf(int position);

private:
    std::size_t HeadLength() const;
    std::uint8_t* Head(int item) const;
    std::uint8_t* RestsEnd() const;
    std::uint8_t* RestsUpTo(int position) const;
    std::uint32_t Child(int position) const;
    bool MakeRoom(int bytes);
    void MoveBehind(int position, std::uint8_t* rests, int rest, int taken);
    bool Rebuild(int position, const IndexItem& item);

    std::unique_ptr<std::uint8_t[]> m_bytes;
    std::uint16_t m_size = 0;
    std::uint16_t m_rests = 0; // bytes that the rests take
    std::uint8_t m_count = 0;
    bool m_inner = false;
};
