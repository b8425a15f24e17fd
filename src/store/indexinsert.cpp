// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Inserting an item. Mostly its leaf has room, and that is all. A full leaf is split
// into two of 25 items, and the item between them goes into the page above, which may be
// full, too, and so on; where the root is split, the tree gets one level more. The pages
// above are looked at with care (see FetchWithin), and all pages are in memory before the
// first one changes; where the memory for a new one is missing, all are again what they were.

#include "store/indexchange.h"
#include "store/pagecache.h"

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

// 0 with the way to the leaf at the end of it.
int FindWay(IndexFile* index, const SoughtItem& wanted, std::uint32_t leaf, Way* way)
{
    std::uint32_t number = index->rootPage;
    do {
        if (number == 0)
            return SetError(taDamaged);
        if (Follow(index, number, way) != 0)
            return -1;
        const PagePosition at = way->last().page->Search(wanted, index->allowDuplicates);
        if (at.found)
            return -1;
        way->last().position = at.position;
        number = at.child;
    } while (way->last().number != leaf);
    return 0;
}

// Whether a search of a full leaf comes to its ends for what is around it. Where it does
// not, the leaf is in no order, and its halves would not be what they seem.
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

// Splits a full page around its middle, as if *item were after the one at its position;
// a new page takes the upper half. *item is the one between the halves then.
int SplitPage(const WayLevel& level, IndexItem* item, Page* fresh, std::uint32_t numberOfFresh,
              ReplacedPages* replaced)
{
    const Page& page = *level.page;
    const ItemRow row(page, level.position, *item, page, level.position + 1);
    IndexItem middle = row.Item(pageOrder + 1);
    *fresh = row.Some(middle.child, pageOrder + 2, row.count());
    if (!*fresh)
        return SetError(taNoMemory);
    if (replaced->Replace(level.page, row.Some(page.Child(0), 1, pageOrder)) != 0)
        return -1;
    middle.child = numberOfFresh;
    *item = middle;
    return 0;
}

int MakeRoot(IndexFile* index, Page* root, const IndexItem& item)
{
    *root = Page(index->keyLength, index->rootPage, { item });
    return SetError(*root ? taNoError : taNoMemory);
}

// Says which pages changed, in the order in which each page written leaves a file where
// every item is found: first the new pages, from the leaf up, to which nothing refers
// yet, then from the root down the pages that give items away, the split leaf last.
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
    if (MakeRoot(index, fresh.pages[0], item.item()) != 0)
        return GiveBack(&fresh);
    taupdatepage(fresh.pages[0]);
    SetRootPage(index, fresh.numbers[0]);
    return 0;
}

// Makes the new pages, and the split ones what they will be, from the leaf up. What
// remains is the item that the last one passes up.
int SplitPages(Way& way, int splits, const NewPages& fresh, IndexItem* item)
{
    for (int i = 0; i < splits; ++i)
        if (SplitPage(way[way.depth - 1 - i], item, fresh.pages[std::size_t(i)],
                      fresh.numbers[std::size_t(i)], &way.replaced)
            != 0)
            return -1;
    return 0;
}

// Splits the full leaf at the end of the way, and the pages above as far as they
// are full.
int Split(IndexFile* index, Way& way, const SoughtItem& wanted)
{
    const int splits = FullPagesAtTheEnd(way);
    const bool rootMoves = splits == way.depth;
    if (!IsInOrder(index, way.last()) || (rootMoves && way.depth == deepestTree))
        return SetError(taDamaged);
    NewPages fresh;
    if (Allocate(index, splits + (rootMoves ? 1 : 0), &fresh) != 0)
        return -1;
    const int firstSplit = way.depth - splits;
    IndexItem item = wanted.item();
    if (SplitPages(way, splits, fresh, &item) != 0
        || (rootMoves && MakeRoot(index, fresh.pages[std::size_t(splits)], item) != 0))
        return GiveBack(&fresh);
    if (!rootMoves)
        way[firstSplit - 1].page->Insert(way[firstSplit - 1].position, item);
    way.replaced.Keep();
    MarkChanged(index, way, rootMoves ? 0 : firstSplit - 1, fresh, rootMoves);
    return 0;
}

int AddToLeaf(Page* leaf, int position, const SoughtItem& item)
{
    leaf->Insert(position, item.item());
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
    const WayLevel& leaf = way.last();
    if (leaf.page->IsFull())
        return Split(index, way, item);
    way.replaced.Keep(leaf.page);
    return AddToLeaf(leaf.page, leaf.position, item);
}

} // namespace

int AddKey(IndexFile* index, const std::uint32_t* record, char* key)
{
    if (BeginChange(index, key) != 0)
        return -1;
    return EndChange(index, Insert(index, SoughtItem(key, *record)));
}
