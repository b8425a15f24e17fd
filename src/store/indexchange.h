// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Ways from the root of an index to an item, and what inserting and deleting have in
// common.

#pragma once

#include "store/indexfile.h"
#include "store/page.h"

#include <array>
#include <memory>
#include <optional>

namespace Agent
{

// Where the way of an item ends: with the item, or in the leaf where it would be.
struct WayEnd {
    Page* page; // null in an empty tree
    std::uint32_t number;
    PagePosition at;
};

// Follows the way of an item, and puts it into the index's cursor. -1 without a cursor
// if a page cannot be read or the way is deeper than a tree may be.
int Descend(IndexFile* index, const SoughtItem& wanted, WayEnd* end);

// The former content of pages from which items were left out (see FetchWithin). If the
// change does not happen, the destructor restores it.
class LeftOutItems
{
public:
    LeftOutItems() = default;
    ~LeftOutItems();
    LeftOutItems(const LeftOutItems&) = delete;
    LeftOutItems& operator=(const LeftOutItems&) = delete;

    // -1 if there is no memory.
    int Remember(Page* page);
    // The change has happened, in all pages or only in this one, which was fetched last:
    // they stay as they are.
    void Forget() { m_last.reset(); }
    void Forget(const Page* last)
    {
        if (m_last && m_last->page == last)
            m_last = std::move(m_last->next);
    }

private:
    struct Former {
        Page* page;
        Page before;
        std::unique_ptr<Former> next;
    };

    std::unique_ptr<Former> m_last;
};

// The items in the pages above that all items of a page are between.
struct Bounds {
    std::optional<IndexItem> lower;
    std::optional<IndexItem> upper;
};

// A page on the path from the root to the place of a key.
struct WayLevel {
    std::uint32_t number;
    Page* page;
    Bounds bounds;
    int position; // of the next page's child; in a leaf, of the last item below the key

    // The bounds of the child to the right of item `position`.
    Bounds BoundsOfChild(int child) const
    {
        return { child > 0 ? page->Item(child) : bounds.lower,
                 child < page->count() ? page->Item(child + 1) : bounds.upper };
    }
};

// The way of a change: its pages are all in memory, and no page is on it twice.
struct Way {
    std::array<WayLevel, deepestTree> levels;
    int depth = 0;
    LeftOutItems leftOut;

    WayLevel& last() { return levels[std::size_t(depth - 1)]; }
    WayLevel& operator[](int level) { return levels[std::size_t(level)]; }
};

// Fetches a page for a change, without the items that lie outside its bounds:
// copies, left behind by a process that died between two writes, of items that
// have another place now. A page without any item inside is damage: it belongs to
// another place of the tree, or to none. Of keys of 150 characters only those first
// ones are compared that every page in the file keeps.
int FetchWithin(IndexFile* index, std::uint32_t number, const Bounds& bounds, LeftOutItems* leftOut,
                Page** page);

// Fetches so the page that the way goes on to and puts it at its end, position not
// yet set. What leads too deep or in a circle is damage.
int Follow(IndexFile* index, std::uint32_t number, Way* way);

// What every change and every lookup of an index begins with: with flushing on,
// at the file. A change that was written in part only is finished first.
int BeginAtTheFile(IndexFile* index);

// What every change begins and ends with. EndChange is given what the change
// came to and returns what is left of that. A change that could not begin is
// dropped from memory; one that could not be written stays there for the next
// operation, since a part of it may be in the file.
int BeginChange(IndexFile* index, char* key);
int EndChange(IndexFile* index, int result);

} // namespace Agent
