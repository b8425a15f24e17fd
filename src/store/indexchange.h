// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What inserting into an index and deleting from it have in common.

#pragma once

#include "store/indexfile.h"
#include "store/indexpage.h"
#include "store/soughtitem.h"

#include <array>
#include <memory>

namespace Agent
{

// What pages were before items were left out of them (see FetchWithin). Unless the
// change comes about they are that again when this goes.
class LeftOutItems
{
public:
    LeftOutItems() = default;
    ~LeftOutItems();
    LeftOutItems(const LeftOutItems&) = delete;
    LeftOutItems& operator=(const LeftOutItems&) = delete;

    // False if there is no memory.
    bool Remember(IndexPage* page);
    // The pages stay as they are.
    void Forget() { m_last.reset(); }

private:
    struct Page {
        IndexPage* page;
        IndexPage before;
        std::unique_ptr<Page> next;
    };

    std::unique_ptr<Page> m_last;
};

// The items in the pages above that all items of a page stand between; null
// where there is none.
struct Bounds {
    const IndexItem* lower;
    const IndexItem* upper;
};

// A page on the way from the root to where a key belongs.
struct WayLevel {
    std::uint32_t number;
    IndexPage* page;
    Bounds bounds;
    int position; // of the child the way goes on to; in a leaf, of the last item below the key

    // Those of the child right of item `position`.
    Bounds BoundsOfChild(int child) const
    {
        return { child > 0 ? &page->items[child] : bounds.lower,
                 child < page->count ? &page->items[child + 1] : bounds.upper };
    }
};

// Pages on a way are all in memory, and no page is on it twice.
struct Way {
    std::array<WayLevel, deepestTree> levels;
    int depth = 0;
    LeftOutItems leftOut;

    WayLevel& last() { return levels[std::size_t(depth - 1)]; }
    // Of the page that the way goes on to.
    Bounds BoundsOfNext()
    {
        return depth > 0 ? last().BoundsOfChild(last().position) : Bounds{ nullptr, nullptr };
    }
    WayLevel& operator[](int level) { return levels[std::size_t(level)]; }
};

// Fetches a page for a change, without the items that lie outside its bounds:
// copies, left behind by a process that died between two writes, of items that
// have another place now. A page without any item inside is damage: it belongs to
// another place of the tree, or to none. Of keys of 150 characters only those first
// ones are compared that every page in the file keeps.
// ItemsWithin says how many items it leaves; -1 if the page cannot be read.
int ItemsWithin(IndexFile* index, std::uint32_t number, const Bounds& bounds);
int FetchWithin(IndexFile* index, std::uint32_t number, const Bounds& bounds, LeftOutItems* leftOut,
                IndexPage** page);

// Fetches the page that the way goes on to and puts it at its end, position not
// yet set. What leads too deep or in a circle is damage.
int Follow(IndexFile* index, std::uint32_t number, Way* way);

// Where the way of an item ends: with the item, or at the leaf where it would be.
// No page is fetched into a buffer for it.
struct WayEnd {
    PagePosition at;
    std::uint32_t number; // of the page; 0 in an empty tree
};
int FindEnd(IndexFile* index, const SoughtItem& wanted, WayEnd* end);

// What every change and every lookup of an index begins with: with flushing on,
// at the file. A change that was written in part only is finished first.
int BeginAtTheFile(IndexFile* index);

// What every change begins and ends with. EndChange is given what the change
// came to and returns what is left of that. A change that could not begin is
// dropped from memory; one that could not be written stays there for the next
// operation, since a part of it may be in the file.
int BeginChange(IndexFile* index);
int EndChange(IndexFile* index, int result);

} // namespace Agent
