// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/indexchange.h"
#include "store/pagecache.h"
#include "store/pagetransfer.h"

#include <algorithm>

using namespace Agent;

namespace
{

// The minimum items of a page that is read, except the root: one less than normal, since
// a process may have died before the page was refilled.
constexpr int fewestItems = pageOrder - 1;

// A page that lacks one item, and the sibling that it borrows from or is joined with.
struct Shortage {
    WayLevel* page;
    WayLevel* parent; // its position is that of the page
    IndexPage* sibling;
    std::uint32_t siblingNumber;
    bool siblingIsRight;

    bool EndsInMerge() const { return sibling->count <= pageOrder; }
};

struct Shortages {
    std::array<Shortage, deepestTree> list;
    int count = 0;
};

// Pages that no longer belong to the tree, in the order in which they left it.
struct LeftPages {
    std::array<IndexPage*, deepestTree + 1> list;
    int count = 0;

    // Its last state must never be written, since the file still refers to the page.
    void Add(IndexPage* page)
    {
        ForgetChanges(page);
        list[std::size_t(count++)] = page;
    }
};

// The path to a leaf: the item's if it is in a leaf, otherwise that of the last item
// before it. -1 if there is no such item.
int FindItem(IndexFile* index, const SoughtItem& wanted, Way* way, int* levelOfItem)
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

int TimesChild(const IndexPage& page, std::uint32_t number)
{
    int times = page.leftmost == number;
    for (int i = 1; i <= page.count; ++i)
        times += page.items[i].child == number;
    return times;
}

// Whether the two pages of a shortage can be joined or share their items. Their parent
// must have each of them once, so that no link to a freed page remains. And no page may
// be below one of them that is also above it, or below the other one.
bool HaveSoundChildren(const Shortage& shortage, Way& way)
{
    const IndexPage& page = *shortage.page->page;
    const IndexPage& sibling = *shortage.sibling;
    const IndexPage& parent = *shortage.parent->page;
    if (TimesChild(parent, shortage.page->number) != 1
        || TimesChild(parent, shortage.siblingNumber) != 1)
        return false;
    if (page.leftmost == 0)
        return true;
    const auto isBelow = [&](std::uint32_t number) {
        return TimesChild(page, number) + TimesChild(sibling, number) > 0;
    };
    for (int level = 0; &way[level] != shortage.page; ++level)
        if (isBelow(way[level].number))
            return false;
    for (int i = 0; i <= sibling.count; ++i)
        if (TimesChild(page, sibling.Child(i)) > 0)
            return false;
    return !isBelow(shortage.page->number) && !isBelow(shortage.siblingNumber);
}

// Fetches the sibling to the right; for the last child, the one to the left.
int FetchSibling(IndexFile* index, Way& way, int level, Shortage* shortage)
{
    WayLevel& parent = way[level - 1];
    WayLevel& page = way[level];
    const bool right = parent.position < parent.page->count;
    const int position = parent.position + (right ? 1 : -1);
    const std::uint32_t number = parent.page->Child(position);
    for (int i = 0; i < way.depth; ++i)
        if (way[i].number == number)
            return SetError(taDamaged);
    IndexPage* sibling;
    if (FetchWithin(index, number, parent.BoundsOfChild(position), &way.leftOut, &sibling) != 0)
        return -1;
    const bool alike = (sibling->leftmost == 0) == (page.page->leftmost == 0);
    if (sibling->count < fewestItems || !alike)
        return SetError(taDamaged);
    *shortage = { &page, &parent, sibling, number, right };
    return HaveSoundChildren(*shortage, way) ? 0 : SetError(taDamaged);
}

// Finds the shortages that the loss of one item in the leaf causes, from the leaf up.
// Fetches every page they need, so that nothing can fail after this.
int FindShortages(IndexFile* index, Way& way, Shortages* shortages)
{
    for (int level = way.depth - 1; level > 0; --level) {
        if (way[level].page->count > pageOrder)
            return 0;
        if (way[level].page->count < fewestItems)
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

// Removes the item from its leaf, or replaces it by the item before it. Returns its
// record number.
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
        // This page is written first: until then the moved item is still in the leaf.
        taupdatepage(holder.page);
    }
    taupdatepage(leaf.page);
    return record;
}

// The left page a gets the item between from the parent c, and `k - 1` items of its right
// sibling b, of which the k-th becomes the item between.
void BorrowFromRight(IndexPage* a, IndexPage* c, int s, IndexPage* b, std::uint32_t numberOfB)
{
    const int k = (b->count - pageOrder + 1) / 2;
    IndexItem* const end = a->items + a->count + 1;
    *end = c->items[s + 1];
    end->child = b->leftmost;
    std::copy(b->items + 1, b->items + k, end + 1);
    c->items[s + 1] = b->items[k];
    c->items[s + 1].child = numberOfB;
    b->leftmost = b->items[k].child;
    std::copy(b->items + k + 1, b->items + b->count + 1, b->items + 1);
    b->count = std::uint8_t(b->count - k);
    a->count = std::uint8_t(a->count + k);
}

// Appends the item between and the right page's items to the left page.
void Join(IndexPage* left, const IndexPage* right, const IndexItem& between)
{
    IndexItem* const end = left->items + left->count + 1;
    *end = between;
    end->child = right->leftmost;
    std::copy(right->items + 1, right->items + right->count + 1, end + 1);
    left->count = std::uint8_t(left->count + 1 + right->count);
}

void BorrowFromLeft(IndexPage* a, std::uint32_t numberOfA, IndexPage* c, int s, IndexPage* b)
{
    const int k = (b->count + 1 - pageOrder) / 2;
    const int given = b->count + 1 - k; // b's item that becomes the item between
    std::copy_backward(a->items + 1, a->items + a->count + 1, a->items + a->count + 1 + k);
    a->items[k] = c->items[s];
    a->items[k].child = a->leftmost;
    std::copy(b->items + given + 1, b->items + given + k, a->items + 1);
    a->leftmost = b->items[given].child;
    c->items[s] = b->items[given];
    c->items[s].child = numberOfA;
    b->count = std::uint8_t(given - 1);
    a->count = std::uint8_t(a->count + k);
}

void Merge(const Shortage& shortage)
{
    IndexPage* const a = shortage.page->page;
    IndexPage* const c = shortage.parent->page;
    const int s = shortage.parent->position;
    const int between = shortage.siblingIsRight ? s + 1 : s;
    if (shortage.siblingIsRight)
        Join(a, shortage.sibling, c->items[between]);
    else
        Join(shortage.sibling, a, c->items[between]);
    RemoveItem(c, between);
}

// Marks the pages in the order that keeps every item findable after each write: first the
// page that gains items, then the parent, then the page that loses them.
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
        Merge(shortage);
    else if (shortage.siblingIsRight)
        BorrowFromRight(a, c, s, b, shortage.siblingNumber);
    else
        BorrowFromLeft(a, shortage.page->number, c, s, b);
    taupdatepage(gainer);
    taupdatepage(c);
    merge ? left->Add(loser) : taupdatepage(loser);
}

// With flushing on, a page is freed only when nothing in the file refers to it any more.
int FreePages(IndexFile* index, const LeftPages& left)
{
    if (left.count > 0 && index->dataFile->flushing && WriteBackPages(index) != 0)
        return -1;
    for (int i = 0; i < left.count; ++i)
        if (tareturnpage(left.list[std::size_t(i)]) != 0)
            return -1;
    return 0;
}

// Removes the item and refills the pages that then lack items.
int RemoveAndRebalance(IndexFile* index, const SoughtItem& wanted, std::uint32_t* record)
{
    Way way;
    Shortages shortages;
    int levelOfItem;
    if (FindItem(index, wanted, &way, &levelOfItem) != 0
        || FindShortages(index, way, &shortages) != 0)
        return -1;

    way.leftOut.Forget();
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

int Delete(IndexFile* index, const SoughtItem& wanted, std::uint32_t* record)
{
    WayEnd end;
    if (FindEnd(index, wanted, &end) != 0 || !end.at.found)
        return -1;
    if (end.at.child != 0 || !taremovefromleaf(index, end.number, end.at.position))
        return RemoveAndRebalance(index, wanted, record);
    *record = end.at.record;
    return 0;
}

} // namespace

int DeleteKey(IndexFile* index, std::uint32_t* record, char* key)
{
    if (!key)
        return SetError(taNullHandle);
    taxkey(key, index->keyLength);
    if (BeginChange(index) != 0)
        return -1;
    return EndChange(index, Delete(index, SoughtItem(key, *record), record));
}
