// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A page in few bytes, for the part of the page cache that was not used recently: each
// key is stored without the prefix that it shares with the key before it. This form is
// made for speed, and never written to a file.
//
// It is one block of memory: at the front a head for each item (and, in an inner page,
// the children); from the end backwards the rests, that is the bytes of each key after
// the shared prefix; and free bytes in between.
//
// A search goes through the heads from the first one on, and knows how many bytes the
// previous key has in common with the wanted one. An item that shares more with the
// previous key than that sorts below the wanted one, like that key; one that shares less
// sorts above. Only for an item that shares exactly as much its rest has to be compared.
// Both decisions are one comparison of 16-bit numbers, so a search touches few rests.

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
    // The size in memory, in bytes.
    std::size_t size() const { return m_length * sizeof(Head); }

    void Expand(IndexPage* page) const;
    // As SearchPage.
    PagePosition Search(const SoughtItem& wanted, int allowDuplicates) const;

    int count() const { return m_count; }
    bool IsLeaf() const { return !m_inner; }
    // Inserts an item into a leaf that is not full, at the position found by a search for
    // it. False, with nothing changed, if there is no memory.
    bool InsertInLeaf(const PagePosition& at, const SoughtItem& item);
    void RemoveFromLeaf(int position);
    // Splits a full leaf into two halves, as if the item were after the one at
    // `position`, and returns the item between them. False if there is no memory.
    bool SplitLeaf(int position, const SoughtItem& item, int allowDuplicates, CompactPage* lower,
                   CompactPage* upper, IndexItem* middle) const;

private:
    // The head of an item; that of item 0 is empty.
    struct Head {
        // High byte: 255 minus the number of bytes shared with the key before. Low byte:
        // the first byte of the rest, with its case folded.
        std::uint16_t order;
        std::uint16_t end; // bytes of the rests up to and including this one
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
