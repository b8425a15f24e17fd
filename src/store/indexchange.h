// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Paths from the root of an index to an item, shared by lookups and changes, and what
// insertion and deletion share.

#pragma once

#include "store/indexfile.h"
#include "store/page.h"

#include <array>
#include <memory>
#include <optional>

namespace Agent
{

// The end of an item's path: the item itself, or the leaf where it would be.
struct WayEnd {
    Page* page; // null in an empty tree
    std::uint32_t number;
    PagePosition at;
};

// Follows the path to an item, and stores it as the index's cursor. -1, without a cursor,
// if a page cannot be read or the path is longer than that of the deepest tree.
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

// The items in the pages above that enclose all items of a page.
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
                 child < page->Count() ? page->Item(child + 1) : bounds.upper };
    }
};

// The path of a change. All of its pages are in memory, and each occurs once.
struct Way {
    std::array<WayLevel, deepestTree> levels;
    int depth = 0;
    LeftOutItems leftOut;

    WayLevel& Last() { return levels[std::size_t(depth - 1)]; }
    WayLevel& operator[](int level) { return levels[std::size_t(level)]; }
};

// Fetches a page for a change, without the items outside its bounds. Such items are
// copies, left by a process that died between two writes, of items that are now
// elsewhere. A page without any item inside its bounds is damage: it belongs to another
// place of the tree, or to none. Of keys of 150 characters only the first bytes are
// compared, which every page in the file keeps.
int FetchWithin(IndexFile* index, std::uint32_t number, const Bounds& bounds, LeftOutItems* leftOut,
                Page** page);

// Fetches the next page and appends it to the path; its position is not set yet. A path
// that is too long or circular is damage.
int Follow(IndexFile* index, std::uint32_t number, Way* way);

// Begins every change and lookup of an index: with flushing on, it re-reads the header. A
// change that was only partly written is finished first.
int BeginAtTheFile(IndexFile* index);

// Begin and end every change. EndChange gets the result of the change and returns the
// final result. A change that could not begin is dropped from memory. One that could not
// be written stays in memory for the next operation, since a part of it may be in the
// file.
int BeginChange(IndexFile* index, char* key);
int EndChange(IndexFile* index, int result);

} // namespace Agent
