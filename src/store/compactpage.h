// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A page in few bytes, for the part of the page cache that was not used lately:
// each key without the beginning it shares with the one before it. Made for
// speed, and never written to a file.
//
// It is one block of memory: in front a head for each item (and, of an inner page,
// the children), from the end backwards the rests, that is the bytes of each key after
// that beginning, and free bytes in between.
//
// A search runs through the heads from the first one on and knows how many bytes the key
// before has in common with the wanted one. An item that shares more with the key before
// than that is below, like that key; one that shares less is above. Only an item that
// shares exactly as much needs a look at its rest. Both decisions are one comparison of
// 16-bit numbers, so that a search touches few rests.

#pragma once

#include "store/indexpage.h"

#include <memory>

namespace Agent
{

class CompactPage
{
public:
    CompactPage() = default;
    // Null (see operator bool) if there is no memory.
    explicit CompactPage(const IndexPage& page);

    explicit operator bool() const { return m_heads != nullptr; }
    // Bytes of memory.
    std::size_t size() const { return m_length * sizeof(Head); }

    void Expand(IndexPage* page) const;
    // As SearchPage.
    PagePosition Search(const SoughtItem& wanted, int allowDuplicates) const;

    int count() const { return m_count; }
    bool IsLeaf() const { return !m_inner; }
    // Puts an item into a leaf that is not full, where a search for it came to.
    // False, with nothing changed, if there is no memory.
    bool InsertInLeaf(const PagePosition& at, const SoughtItem& item);
    void RemoveFromLeaf(int position);
    // Makes two halves of a full leaf, as if the item stood behind the one at
    // `position`, and tells the item between them. False if there is no memory.
    bool SplitLeaf(int position, const SoughtItem& item, int allowDuplicates, CompactPage* lower,
                   CompactPage* upper, IndexItem* middle) const;

private:
    // Of an item; the one of item 0 is empty.
    struct Head {
        // 255 less the number of bytes shared with the key before, and below that the
        // first byte of the rest, its letter folded.
        std::uint16_t order;
        std::uint16_t end; // bytes of the rests up to here
        std::uint32_t record;
    };

    static void MoveHeads(const Head* first, const Head* end, Head* to, int more);
    bool Allocate(int count, std::size_t bytes);
    int Shared(int item) const;
    int RestLength(int item) const;
    std::uint8_t* Rest(int item) const;
    std::uint8_t* RestsEnd() const;
    std::uint8_t* Children() const;
    std::uint32_t Child(int position) const;
    bool MakeRoom(int bytes);
    void MoveBehind(int position, int rest, int taken);
    bool Rebuild(int position, const SoughtItem& item);
    IndexItem ItemOfLeaf(int position) const;
    CompactPage PartOfLeaf(int first, int last) const;

    std::unique_ptr<Head[]> m_heads; // the block
    std::uint16_t m_length = 0; // of it, in heads
    std::uint8_t m_count = 0;
    bool m_inner = false;
};

} // namespace Agent
