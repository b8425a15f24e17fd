// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/indexchange.h"
#include "store/pagecache.h"

#include <algorithm>

namespace
{

// A page short of one item, and the sibling that helps it out.
struct Shortage {
    WayLevel* page;
    WayLevel* parent; // its position is that of the page
    IndexPage* sibling;
    std::uint32_t siblingNumber;
    bool siblingIsRight;

    bool EndsInMerge() const { return sibling->count == pageOrder; }
};

struct Shortages {
    std::array<Shortage, deepestTree> list;
    int count = 0;
};

// Pages that no longer belong to the tree, in the order in which they left it.
struct LeftPages {
    std::array<IndexPage*, deepestTree + 1> list;
    int count = 0;

    // Its last state must never reach the file, where it is still referred to.
    void Add(IndexPage* page)
    {
        ForgetChanges(page);
        list[std::size_t(count++)] = page;
    }
};

// The way to a leaf: to the item's if it is in one, else to that of the last
// item before it. -1 if the item is not there.
int FindItem(IndexFile* index, const IndexItem& wanted, Way* way, int* levelOfItem)
{
    *levelOfItem = -1;
    for (std::uint32_t number = index->rootPage; number != 0;) {
        if (Follow(index, number, way) != 0)
            return -1;
        WayLevel& level = way->last();
        const IndexPage& page = *level.page;
        if (*levelOfItem >= 0) {
            level.position = page.count;
        } else {
            const PagePosition at = SearchPage(page, wanted, index->allowDuplicates);
            level.position = at.found ? at.position - 1 : at.position;
            if (at.found)
                *levelOfItem = way->depth - 1;
        }
        number = page.Child(level.position);
    }
    return *levelOfItem >= 0 ? 0 : -1;
}

// The sibling to the right, for the last child the one to the left.
int FetchSibling(IndexFile* index, Way& way, int level, Shortage* shortage)
{
    WayLevel& parent = way[level - 1];
    WayLevel& page = way[level];
    const bool right = parent.position < parent.page->count;
    const std::uint32_t number = parent.page->Child(parent.position + (right ? 1 : -1));
    for (int i = 0; i < way.depth; ++i)
        if (way[i].number == number)
            return SetError(taDamaged);
    IndexPage* sibling;
    if (tagetpage(index, number, &sibling) != 0)
        return -1;
    const bool alike = (sibling->leftmost == 0) == (page.page->leftmost == 0);
    if (sibling->count < pageOrder || !alike)
        return SetError(taDamaged);
    *shortage = { &page, &parent, sibling, number, right };
    return 0;
}

// What the loss of one item in the leaf leads to, from the leaf up. Every page
// for it is then in memory, so that nothing can fail after that.
int FindShortages(IndexFile* index, Way& way, Shortages* shortages)
{
    for (int level = way.depth - 1; level > 0; --level) {
        if (way[level].page->count > pageOrder)
            return 0;
        if (way[level].page->count < pageOrder)
            return SetError(taDamaged);
        Shortage& shortage = shortages->list[std::size_t(shortages->count)];
        if (FetchSibling(index, way, level, &shortage) != 0)
            return -1;
        for (int i = 0; i < shortages->count; ++i)
            if (shortages->list[std::size_t(i)].siblingNumber == shortage.siblingNumber)
                return SetError(taDamaged);
        ++shortages->count;
        if (!shortage.EndsInMerge())
            return 0;
    }
    return 0;
}

void RemoveItem(IndexPage* page, int position)
{
    std::copy(page->items + position + 1, page->items + page->count + 1, page->items + position);
    --page->count;
}

// Takes the item out of its leaf, or puts the one before it in its place.
// Returns its record number.
std::uint32_t TakeOut(Way& way, int levelOfItem)
{
    WayLevel& holder = way[levelOfItem];
    IndexItem& item = holder.page->items[holder.position + 1];
    const std::uint32_t record = item.record;
    WayLevel& leaf = way.last();
    if (levelOfItem == way.depth - 1) {
        RemoveItem(leaf.page, leaf.position + 1);
    } else {
        const std::uint32_t child = item.child;
        item = leaf.page->items[leaf.page->count];
        item.child = child;
        --leaf.page->count;
        // First of all: until this page is written the moved item is in the leaf.
        taupdatepage(holder.page);
    }
    taupdatepage(leaf.page);
    return record;
}

// A page of 24 items gets c's item between and `k - 1` items of its right
// sibling, whose k-th takes the place between.
void BorrowFromRight(IndexPage* a, IndexPage* c, int s, IndexPage* b, std::uint32_t numberOfB)
{
    const int k = (b->count - pageOrder + 1) / 2;
    a->items[pageOrder] = c->items[s + 1];
    a->items[pageOrder].child = b->leftmost;
    std::copy(b->items + 1, b->items + k, a->items + pageOrder + 1);
    c->items[s + 1] = b->items[k];
    c->items[s + 1].child = numberOfB;
    b->leftmost = b->items[k].child;
    std::copy(b->items + k + 1, b->items + b->count + 1, b->items + 1);
    b->count = std::uint8_t(b->count - k);
    a->count = std::uint8_t(pageOrder - 1 + k);
}

void MergeWithRight(IndexPage* a, IndexPage* c, int s, const IndexPage* b)
{
    a->items[pageOrder] = c->items[s + 1];
    a->items[pageOrder].child = b->leftmost;
    std::copy(b->items + 1, b->items + pageOrder + 1, a->items + pageOrder + 1);
    a->count = pageItems;
    RemoveItem(c, s + 1);
}

void BorrowFromLeft(IndexPage* a, std::uint32_t numberOfA, IndexPage* c, int s, IndexPage* b)
{
    const int k = (b->count + 1 - pageOrder) / 2;
    const int given = b->count + 1 - k; // b's item that takes the place between
    std::copy_backward(a->items + 1, a->items + pageOrder, a->items + pageOrder + k);
    a->items[k] = c->items[s];
    a->items[k].child = a->leftmost;
    std::copy(b->items + given + 1, b->items + given + k, a->items + 1);
    a->leftmost = b->items[given].child;
    c->items[s] = b->items[given];
    c->items[s].child = numberOfA;
    b->count = std::uint8_t(given - 1);
    a->count = std::uint8_t(pageOrder - 1 + k);
}

void MergeIntoLeft(const IndexPage* a, IndexPage* c, int s, IndexPage* b)
{
    IndexItem& between = b->items[pageOrder + 1];
    between = c->items[s];
    between.child = a->leftmost;
    std::copy(a->items + 1, a->items + pageOrder, b->items + pageOrder + 2);
    b->count = pageItems;
    --c->count;
}

// Marks the pages in the order in which each one written leaves a file where
// every item is found: first the one that gains items, then the parent, then
// the one that loses them.
void Rebalance(const Shortage& shortage, LeftPages* left)
{
    IndexPage* const a = shortage.page->page;
    IndexPage* const b = shortage.sibling;
    IndexPage* const c = shortage.parent->page;
    const int s = shortage.parent->position;
    const bool merge = shortage.EndsInMerge();
    IndexPage* const gainer = merge && !shortage.siblingIsRight ? b : a;
    IndexPage* const loser = gainer == a ? b : a;
    if (merge)
        shortage.siblingIsRight ? MergeWithRight(a, c, s, b) : MergeIntoLeft(a, c, s, b);
    else if (shortage.siblingIsRight)
        BorrowFromRight(a, c, s, b, shortage.siblingNumber);
    else
        BorrowFromLeft(a, shortage.page->number, c, s, b);
    taupdatepage(gainer);
    taupdatepage(c);
    merge ? left->Add(loser) : taupdatepage(loser);
}

// With flushing on, a page is given back once nothing in the file refers to it
// any more.
int FreePages(IndexFile* index, const LeftPages& left)
{
    if (left.count > 0 && index->dataFile->flushing && WriteBackPages(index) != 0)
        return -1;
    for (int i = 0; i < left.count; ++i)
        if (tareturnpage(left.list[std::size_t(i)]) != 0)
            return -1;
    return 0;
}

int Delete(IndexFile* index, std::uint32_t* record, const char* key)
{
    Way way;
    Shortages shortages;
    int levelOfItem;
    if (FindItem(index, MakeItem(key, *record), &way, &levelOfItem) != 0
        || FindShortages(index, way, &shortages) != 0)
        return -1;

    LeftPages left;
    *record = TakeOut(way, levelOfItem);
    for (int i = 0; i < shortages.count; ++i)
        Rebalance(shortages.list[std::size_t(i)], &left);
    IndexPage* const root = way[0].page;
    if (root->count == 0) {
        SetRootPage(index, root->leftmost);
        left.Add(root);
    }
    return FreePages(index, left);
}

} // namespace

int DeleteKey(IndexFile* index, std::uint32_t* record, char* key)
{
    taxkey(key, index->keyLength);
    if (BeginChange(index) != 0)
        return -1;
    return EndChange(index, Delete(index, record, key));
}
