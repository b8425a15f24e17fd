// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Deleting an item. Usually its leaf keeps enough items, and nothing else changes. An item
// of an inner page is replaced by the one before it, which is in a leaf. A page with too few
// items then gets some from a sibling, or is joined with it and the item between them, which
// the page above loses; so this may continue up to the root.

#include "store/indexchange.h"
#include "store/pagecache.h"
#include "store/pagetransfer.h"
#include "store/writepolicy.h"

#include <algorithm>

using namespace Agent;

namespace
{

// The minimum items of a page that is read, except the root: one less than normal, since
// a process may have died before the page was refilled.
constexpr int fewestItems = pageOrder - 1;

// A page that lacks one item, and the sibling that it borrows from or is joined with. The
// joined page is the left one of both.
struct Shortage {
    WayLevel* page;
    WayLevel* parent; // its position is that of the page
    Page* sibling;
    std::uint32_t siblingNumber;
    bool siblingIsRight;
    bool endsInMerge;

    Page* Gainer() const { return endsInMerge && !siblingIsRight ? sibling : page->page; }
    Page* Loser() const { return Gainer() == sibling ? page->page : sibling; }
};

struct Shortages {
    std::array<Shortage, deepestTree> list;
    int count = 0;
};

// Pages that no longer belong to the tree, in the order in which they left it.
struct LeftPages {
    std::array<Page*, deepestTree + 1> list;
    int count = 0;

    // Its last state must never be written, since the file still refers to the page.
    void Add(Page* page)
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
        WayLevel& level = way->Last();
        level.position = level.page->Count();
        if (*levelOfItem < 0) {
            const PagePosition at = level.page->Search(wanted, index->allowDuplicates);
            level.position = at.found ? at.position - 1 : at.position;
            if (at.found)
                *levelOfItem = way->depth - 1;
        }
        number = level.page->Child(level.position);
    }
    return *levelOfItem >= 0 ? 0 : -1;
}

int TimesChild(const Page& page, std::uint32_t number)
{
    int times = 0;
    for (int i = 0; i <= page.Count(); ++i)
        times += page.Child(i) == number;
    return times;
}

// Whether the two pages of a shortage can be joined or share their items. Their parent
// must have each of them once, so that no link to a freed page remains. And no page may
// be below one of them that is also above it, or below the other one.
bool HaveSoundChildren(const Shortage& shortage, Way& way)
{
    const Page& page = *shortage.page->page;
    const Page& sibling = *shortage.sibling;
    const Page& parent = *shortage.parent->page;
    if (TimesChild(parent, shortage.page->number) != 1
        || TimesChild(parent, shortage.siblingNumber) != 1)
        return false;
    if (page.IsLeaf())
        return true;
    const auto isBelow = [&](std::uint32_t number) {
        return TimesChild(page, number) + TimesChild(sibling, number) > 0;
    };
    for (int level = 0; &way[level] != shortage.page; ++level)
        if (isBelow(way[level].number))
            return false;
    for (int i = 0; i <= sibling.Count(); ++i)
        if (TimesChild(page, sibling.Child(i)) > 0)
            return false;
    return !isBelow(shortage.page->number) && !isBelow(shortage.siblingNumber);
}

// Fetches the sibling to the right; for the last child, the one to the left.
int FetchSibling(IndexFile* index, Way& way, int level, Shortage* shortage)
{
    WayLevel& parent = way[level - 1];
    WayLevel& page = way[level];
    const bool right = parent.position < parent.page->Count();
    const int position = parent.position + (right ? 1 : -1);
    const std::uint32_t number = parent.page->Child(position);
    for (int i = 0; i < way.depth; ++i)
        if (way[i].number == number)
            return SetError(taDamaged);
    Page* sibling;
    if (FetchWithin(index, number, parent.BoundsOfChild(position), &way.leftOut, &sibling) != 0)
        return -1;
    if (sibling->Count() < fewestItems || sibling->IsLeaf() != page.page->IsLeaf())
        return SetError(taDamaged);
    *shortage = { &page, &parent, sibling, number, right, sibling->Count() <= pageOrder };
    return HaveSoundChildren(*shortage, way) ? 0 : SetError(taDamaged);
}

// Finds the shortages that the loss of one item in the leaf causes, from the leaf up.
// Fetches every page they need, so that nothing can fail after this.
int FindShortages(IndexFile* index, Way& way, Shortages* shortages)
{
    for (int level = way.depth - 1; level > 0; --level) {
        if (way[level].page->Count() > pageOrder)
            return 0;
        if (way[level].page->Count() < fewestItems)
            return SetError(taDamaged);
        Shortage& shortage = shortages->list[std::size_t(shortages->count)];
        if (FetchSibling(index, way, level, &shortage) != 0)
            return -1;
        for (int i = 0; i < shortages->count; ++i)
            if (shortages->list[std::size_t(i)].siblingNumber == shortage.siblingNumber)
                return SetError(taDamaged);
        ++shortages->count;
        if (!shortage.endsInMerge)
            return 0;
    }
    return 0;
}

// Removes the item from its leaf, or replaces it by the item before it.
void TakeOut(Way& way, int levelOfItem)
{
    WayLevel& holder = way[levelOfItem];
    const int place = holder.position + 1;
    Page* const leaf = way.Last().page;
    if (levelOfItem == way.depth - 1) {
        leaf->Remove(place);
    } else {
        holder.page->Replace(place, leaf->Item(leaf->Count()));
        leaf->Remove(leaf->Count());
    }
}

// Moves the first item of the right page between the two, and the one there to the left
// page, and the other way.
void MoveToLeft(Page* left, IndexItem* between, Page* right)
{
    between->child = right->Child(0);
    left->Insert(left->Count(), *between);
    *between = right->Item(1);
    right->SetLeftmost(between->child);
    right->Remove(1);
}
void MoveToRight(Page* left, IndexItem* between, Page* right)
{
    between->child = right->Child(0);
    right->Insert(0, *between);
    *between = left->Item(left->Count());
    right->SetLeftmost(between->child);
    left->Remove(left->Count());
}

// Joins the page with its sibling and the item between them in the parent, or moves items
// of the sibling until both have about the same number.
void Rebalance(const Shortage& shortage)
{
    Page* const parent = shortage.parent->page;
    Page* const left = shortage.siblingIsRight ? shortage.page->page : shortage.sibling;
    Page* const right = shortage.siblingIsRight ? shortage.sibling : shortage.page->page;
    const int place = shortage.parent->position + (shortage.siblingIsRight ? 1 : 0);
    IndexItem between = parent->Item(place);
    if (shortage.endsInMerge) {
        between.child = right->Child(0);
        left->Insert(left->Count(), between);
        left->Append(*right, 1, right->Count());
        parent->Remove(place);
        return;
    }
    for (int moved = (shortage.sibling->Count() - pageOrder + 1) / 2; moved > 0; --moved)
        shortage.siblingIsRight ? MoveToLeft(left, &between, right)
                                : MoveToRight(left, &between, right);
    parent->Replace(place, between);
}

// Marks the changed pages, in the order that keeps every item findable after each write.
// First the page that got an item of the leaf: until it is written, that item is still in
// the leaf. Then, of each shortage, the page that gains items, the parent, and the page that
// loses them.
void MarkChanged(Way& way, int levelOfItem, const Shortages& shortages, LeftPages* left)
{
    if (levelOfItem < way.depth - 1)
        taupdatepage(way[levelOfItem].page);
    taupdatepage(way.Last().page);
    for (int i = 0; i < shortages.count; ++i) {
        const Shortage& shortage = shortages.list[std::size_t(i)];
        taupdatepage(shortage.Gainer());
        taupdatepage(shortage.parent->page);
        if (shortage.endsInMerge)
            left->Add(shortage.Loser());
        else
            taupdatepage(shortage.Loser());
    }
}

// With flushing on, a page is freed only when nothing in the file refers to it any more.
int FreePages(IndexFile* index, const LeftPages& left)
{
    if (left.count > 0 && PolicyOf(index->dataFile) == WritePolicy::EachCall
        && WriteBackPages(index) != 0)
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

    const WayLevel& holder = way[levelOfItem];
    *record = holder.page->Record(holder.position + 1);
    TakeOut(way, levelOfItem);
    for (int i = 0; i < shortages.count; ++i)
        Rebalance(shortages.list[std::size_t(i)]);
    way.leftOut.Forget();
    LeftPages left;
    MarkChanged(way, levelOfItem, shortages, &left);
    Page* const root = way[0].page;
    if (root->Count() == 0) {
        SetRootPage(index, root->Child(0));
        left.Add(root);
    }
    return FreePages(index, left);
}

int Delete(IndexFile* index, const SoughtItem& wanted, std::uint32_t* record)
{
    WayEnd end;
    if (Descend(index, wanted, &end) != 0 || !end.at.found)
        return -1;
    const int least = end.number == index->rootPage ? 1 : pageOrder;
    if (!end.page->IsLeaf() || end.page->Count() <= least)
        return RemoveAndRebalance(index, wanted, record);
    *record = end.at.record;
    end.page->Remove(end.at.position);
    taupdatepage(end.page);
    return 0;
}

} // namespace

int DeleteKey(IndexFile* index, std::uint32_t* record, char* key)
{
    if (BeginChange(index, key) != 0)
        return -1;
    return EndChange(index, Delete(index, SoughtItem(key, *record), record));
}
