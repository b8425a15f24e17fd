// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Inserting an item. Usually its leaf has room, and nothing else changes. A full leaf is
// split into two of 25 items, and the item between them goes into the page above, which may
// be full as well, and so on; if the root is split, the tree gets one more level. For a
// split the pages above are checked (see FetchWithin), and all pages are in memory before
// the first one changes, so that nothing can fail after this.

#include "store/indexchange.h"
#include "store/pagecache.h"

#include <algorithm>

using namespace Agent;

namespace
{

// The pages that an insertion adds: one for each page it splits, from the leaf up, and a
// new root if the old one is split.
struct NewPages {
    std::array<std::uint32_t, deepestTree + 1> numbers;
    std::array<Page*, deepestTree + 1> pages;
    int count = 0;
};

// Returns 0 with the path to the leaf.
int FindWay(IndexFile* index, const SoughtItem& wanted, std::uint32_t leaf, Way* way)
{
    std::uint32_t number = index->rootPage;
    do {
        if (number == 0)
            return SetError(taDamaged);
        if (Follow(index, number, way) != 0)
            return -1;
        const PagePosition at = way->Last().page->Search(wanted, index->allowDuplicates);
        if (at.found)
            return -1;
        way->Last().position = at.position;
        number = at.child;
    } while (way->Last().number != leaf);
    return 0;
}

// Whether searching a full leaf for the items around it ends at its two ends. If not, the
// leaf is out of order, and its halves would not be two ranges of keys.
bool IsInOrder(IndexFile* index, const WayLevel& leaf)
{
    if (index->keyLength == longestKey) // which may seem equal to a bound
        return true;
    const auto position = [&](const IndexItem& bound) {
        const PagePosition at
            = leaf.page->Search(SoughtItem(bound.key, bound.record), index->allowDuplicates);
        return at.found ? -1 : at.position;
    };
    return (!leaf.bounds.lower || position(*leaf.bounds.lower) == 0)
        && (!leaf.bounds.upper || position(*leaf.bounds.upper) == pageItems);
}

int FullPagesAtTheEnd(Way& way)
{
    int full = 0;
    while (full < way.depth && way[way.depth - 1 - full].page->IsFull())
        ++full;
    return full;
}

int GiveBack(NewPages* fresh)
{
    const std::int32_t error = taerror;
    while (fresh->count > 0)
        tareturnpage(fresh->pages[std::size_t(--fresh->count)]);
    return SetError(error);
}

int Allocate(IndexFile* index, int count, NewPages* fresh)
{
    for (; fresh->count < count; ++fresh->count) {
        const auto i = std::size_t(fresh->count);
        if (tanewpage(index, &fresh->numbers[i], &fresh->pages[i]) != 0)
            return GiveBack(fresh);
    }
    return 0;
}

// Splits a full page in the middle, as if *item were after the one at its position; a new
// page gets the upper half. *item becomes the item between the halves.
void SplitPage(const WayLevel& level, IndexItem* item, Page* fresh, std::uint32_t numberOfFresh)
{
    constexpr int half = pageOrder;
    Page* const page = level.page;
    const int kept = level.position < half ? half - 1 : half;
    const int moved = level.position > half ? half + 2 : half + 1; // the first one
    const IndexItem middle = level.position == half ? *item : page->Item(kept + 1);
    fresh->Append(*page, moved, pageItems);
    page->Truncate(kept);
    fresh->SetLeftmost(middle.child);
    if (level.position < half)
        page->Insert(level.position, *item);
    else if (level.position > half)
        fresh->Insert(level.position - half - 1, *item);
    *item = middle;
    item->child = numberOfFresh;
}

void MakeRoot(IndexFile* index, Page* root, const IndexItem& item)
{
    root->SetLeftmost(index->rootPage);
    root->Insert(0, item);
}

// Marks the changed pages, in the order that keeps every item findable after each write:
// first the new pages, from the leaf up, since nothing refers to them yet; then, from the
// root down, the pages that give items away; and the split leaf last.
void MarkChanged(IndexFile* index, Way& way, int firstChanged, const NewPages& fresh,
                 bool rootMoved)
{
    for (int i = 0; i < fresh.count; ++i)
        taupdatepage(fresh.pages[std::size_t(i)]);
    if (rootMoved)
        SetRootPage(index, fresh.numbers[std::size_t(fresh.count - 1)]);
    for (int level = firstChanged; level < way.depth; ++level)
        taupdatepage(way[level].page);
}

int MakeFirstLeaf(IndexFile* index, const SoughtItem& item)
{
    NewPages fresh;
    if (Allocate(index, 1, &fresh) != 0)
        return -1;
    MakeRoot(index, fresh.pages[0], item.Item());
    taupdatepage(fresh.pages[0]);
    SetRootPage(index, fresh.numbers[0]);
    return 0;
}

// Splits the full leaf at the end of the path, and the pages above as far as they are
// full.
int Split(IndexFile* index, Way& way, const SoughtItem& wanted)
{
    const int splits = FullPagesAtTheEnd(way);
    const bool rootMoves = splits == way.depth;
    if (!IsInOrder(index, way.Last()) || (rootMoves && way.depth == deepestTree))
        return SetError(taDamaged);
    NewPages fresh;
    if (Allocate(index, splits + (rootMoves ? 1 : 0), &fresh) != 0)
        return -1;
    IndexItem item = wanted.Item();
    for (int i = 0; i < splits; ++i)
        SplitPage(way[way.depth - 1 - i], &item, fresh.pages[std::size_t(i)],
                  fresh.numbers[std::size_t(i)]);
    const int parent = way.depth - splits - 1;
    if (rootMoves)
        MakeRoot(index, fresh.pages[std::size_t(splits)], item);
    else
        way[parent].page->Insert(way[parent].position, item);
    way.leftOut.Forget();
    MarkChanged(index, way, std::max(parent, 0), fresh, rootMoves);
    return 0;
}

int AddToLeaf(Page* leaf, int position, const SoughtItem& item)
{
    leaf->Insert(position, item.Item());
    taupdatepage(leaf);
    return 0;
}

int Insert(IndexFile* index, const SoughtItem& item)
{
    WayEnd end;
    if (Descend(index, item, &end) != 0 || end.at.found)
        return -1;
    if (!end.page)
        return MakeFirstLeaf(index, item);
    if (!end.page->IsFull())
        return AddToLeaf(end.page, end.at.position, item);
    Way way;
    if (FindWay(index, item, end.number, &way) != 0)
        return -1;
    const WayLevel& leaf = way.Last();
    if (leaf.page->IsFull())
        return Split(index, way, item);
    way.leftOut.Forget(leaf.page);
    return AddToLeaf(leaf.page, leaf.position, item);
}

} // namespace

int AddKey(IndexFile* index, const std::uint32_t* record, char* key)
{
    if (BeginChange(index, key) != 0)
        return -1;
    return EndChange(index, Insert(index, SoughtItem(key, *record)));
}
