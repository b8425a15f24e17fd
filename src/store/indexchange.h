// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Shared by insertion into an index and deletion from it.

#pragma once

#include "store/indexfile.h"
#include "store/indexpage.h"
#include "store/soughtitem.h"

#include <array>
#include <memory>

namespace Agent
{

// The former content of pages from which items were left out (see FetchWithin). If the
// change does not happen, the destructor restores it.
class LeftOutItems
{
public:
    LeftOutItems() = default;
    ~LeftOutItems();
    LeftOutItems(const LeftOutItems&) = delete;
    LeftOutItems& operator=(const LeftOutItems&) = delete;

    // False if there is no memory.
    bool Remember(IndexPage* page);
    // The change has happened: the pages stay as they are.
    void Forget() { m_last.reset(); }

private:
    struct Page {
        IndexPage* page;
        IndexPage before;
        std::unique_ptr<Page> next;
    };

    std::unique_ptr<Page> m_last;
};

// The items in the pages above that enclose all items of a page; null for no bound.
struct Bounds {
    const IndexItem* lower;
    const IndexItem* upper;
};

// A page on the path from the root to the place of a key.
struct WayLevel {
    std::uint32_t number;
    IndexPage* page;
    Bounds bounds;
    int position; // of the next page's child; in a leaf, of the last item below the key

    // The bounds of the child to the right of item `position`.
    Bounds BoundsOfChild(int child) const
    {
        return { child > 0 ? &page->items[child] : bounds.lower,
                 child < page->count ? &page->items[child + 1] : bounds.upper };
    }
};

// A path through the tree. All of its pages are in memory, and each occurs once.
struct Way {
    std::array<WayLevel, deepestTree> levels;
    int depth = 0;
    LeftOutItems leftOut;

    WayLevel& last() { return levels[std::size_t(depth - 1)]; }
    // The bounds of the next page.
    Bounds BoundsOfNext()
    {
        return depth > 0 ? last().BoundsOfChild(last().position) : Bounds{ nullptr, nullptr };
    }
    WayLevel& operator[](int level) { return levels[std::size_t(level)]; }
};

// Fetches a page for a change, without the items outside its bounds. Such items are
// copies, left by a process that died between two writes, of items that are now
// elsewhere. A page without any item inside its bounds is damage: it belongs to another
// place of the tree, or to none. Of keys of 150 characters only the first bytes are
// compared, which every page in the file keeps. ItemsWithin returns how many items this
// would leave; -1 if the page cannot be read.
int ItemsWithin(IndexFile* index, std::uint32_t number, const Bounds& bounds);
int FetchWithin(IndexFile* index, std::uint32_t number, const Bounds& bounds, LeftOutItems* leftOut,
                IndexPage** page);

// Fetches the next page and appends it to the path; its position is not set yet. A path
// that is too long or circular is damage.
int Follow(IndexFile* index, std::uint32_t number, Way* way);

// The end of an item's path: the item itself, or the leaf where it would be. No page is
// fetched into a buffer for this.
struct WayEnd {
    PagePosition at;
    std::uint32_t number; // of the page; 0 in an empty tree
};
int FindEnd(IndexFile* index, const SoughtItem& wanted, WayEnd* end);

// Begins every change and lookup of an index: with flushing on, it re-reads the header. A
// change that was only partly written is finished first.
int BeginAtTheFile(IndexFile* index);

// Begin and end every change. EndChange gets the result of the change and returns the
// final result. A change that could not begin is dropped from memory. One that could not
// be written stays in memory for the next operation, since a part of it may be in the
// file.
int BeginChange(IndexFile* index);
int EndChange(IndexFile* index, int result);

} // namespace Agent
