// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

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
    std::array<IndexPage*, deepestTree + 1> pages;
    int count = 0;
};

// Returns 0 with the path to the leaf, without the leaf itself.
int FindParents(IndexFile* index, const SoughtItem& wanted, std::uint32_t leaf, Way* way)
{
    for (std::uint32_t number = index->rootPage; number != leaf;) {
        if (number == 0)
            return SetError(taDamaged);
        if (Follow(index, number, way) != 0)
            return -1;
        WayLevel& level = way->last();
        const PagePosition at = SearchPage(*level.page, wanted, index->allowDuplicates);
        if (at.found)
            return -1;
        level.position = at.position;
        number = level.page->Child(at.position);
    }
    return 0;
}

// Whether a leaf has room: 1 yes, perhaps after FetchWithin drops stale items; 0 no; -1
// if it cannot be read.
int HasRoom(IndexFile* index, std::uint32_t leaf, const Bounds& bounds)
{
    int count = taitemsof(index, leaf);
    if (count == pageItems && index->keyLength == longestKey)
        count = ItemsWithin(index, leaf, bounds);
    if (count < pageItems || index->keyLength == longestKey)
        return count < 0 ? -1 : count < pageItems;
    PagePosition at{};
    if (bounds.lower && tasearchpage(index, leaf, SoughtItem(*bounds.lower), &at) != 0)
        return -1;
    if (at.found || at.position > 0)
        return 1;
    at.position = pageItems;
    if (bounds.upper && tasearchpage(index, leaf, SoughtItem(*bounds.upper), &at) != 0)
        return -1;
    return at.found || at.position < pageItems;
}

int AddWithin(IndexFile* index, std::uint32_t leaf, const Bounds& bounds, const SoughtItem& item)
{
    IndexPage* page;
    LeftOutItems leftOut;
    if (FetchWithin(index, leaf, bounds, &leftOut, &page) != 0)
        return -1;
    // The two ways of finding items outside the bounds can only disagree if the items are
    // out of order.
    if (page->count == pageItems)
        return SetError(taDamaged);
    const PagePosition at = SearchPage(*page, item, index->allowDuplicates);
    if (at.found)
        return -1;
    leftOut.Forget();
    InsertItem(page, at.position, item.Item());
    taupdatepage(page);
    return 0;
}

int FullPagesAtTheEnd(Way& way)
{
    int full = 0;
    while (full < way.depth && way[way.depth - 1 - full].page->count == pageItems)
        ++full;
    return full;
}

int GiveBack(const NewPages& fresh)
{
    const std::int32_t error = taerror;
    for (int i = fresh.count - 1; i >= 0; --i)
        tareturnpage(fresh.pages[std::size_t(i)]);
    return SetError(error);
}

// Allocates all pages before the first one changes, so that nothing can fail after this.
int Allocate(IndexFile* index, int count, NewPages* fresh)
{
    for (; fresh->count < count; ++fresh->count) {
        const auto i = std::size_t(fresh->count);
        if (tanewpage(index, &fresh->numbers[i], &fresh->pages[i]) != 0)
            return GiveBack(*fresh);
    }
    return 0;
}

// Splits the full page a in the middle, as if `item` were after its item `position`; b
// gets the upper half. Returns the item between the halves.
IndexItem SplitPage(IndexPage* a, int position, const IndexItem& item, IndexPage* b,
                    std::uint32_t numberOfB)
{
    constexpr int half = pageOrder;
    IndexItem middle = item;
    if (position > half)
        middle = a->items[half + 1];
    else if (position < half)
        middle = a->items[half];
    const int kept = position > half ? half + 1 : half; // the items that stay in a
    std::copy(a->items + kept + 1, a->items + pageItems + 1, b->items + 1);
    b->count = std::uint8_t(pageItems - kept);
    a->count = std::uint8_t(position < half ? half - 1 : half);
    if (position > half)
        InsertItem(b, position - half - 1, item);
    else if (position < half)
        InsertItem(a, position, item);
    b->leftmost = middle.child;
    middle.child = numberOfB;
    return middle;
}

void MakeRoot(IndexFile* index, IndexPage* root, const IndexItem& item)
{
    root->count = 1;
    root->leftmost = index->rootPage;
    root->items[1] = item;
}

// Marks the changed inner pages, in the order that keeps every item findable after each
// write. The new leaf is written first, since nothing refers to it yet; then the other
// new pages; then, from the root down, the pages that give items away; and the split leaf
// last.
void MarkChanged(IndexFile* index, Way& way, int firstChanged, const NewPages& fresh,
                 bool rootMoved)
{
    for (int i = 1; i < fresh.count; ++i)
        taupdatepage(fresh.pages[std::size_t(i)]);
    if (rootMoved)
        SetRootPage(index, fresh.numbers[std::size_t(fresh.count - 1)]);
    for (int level = firstChanged; level < way.depth; ++level)
        taupdatepage(way[level].page);
}

int MakeFirstLeaf(IndexFile* index, const SoughtItem& item)
{
    std::uint32_t number;
    IndexPage* page;
    if (tanewpage(index, &number, &page) != 0)
        return -1;
    MakeRoot(index, page, item.Item());
    taupdatepage(page);
    SetRootPage(index, number);
    return 0;
}

// Splits the full leaf at the end of the path, and the pages above as far as they are
// full.
int Split(IndexFile* index, const WayEnd& end, Way& way, const SoughtItem& item)
{
    const int splits = FullPagesAtTheEnd(way);
    const bool rootMoves = splits == way.depth;
    if (rootMoves && way.depth + 1 >= deepestTree)
        return SetError(taDamaged);
    NewPages fresh;
    if (Allocate(index, 1 + splits + (rootMoves ? 1 : 0), &fresh) != 0)
        return -1;
    IndexItem middle;
    if (tasplitleaf(index, end.number, end.at.position, item, fresh.pages[0], &middle) != 0)
        return GiveBack(fresh);
    middle.child = fresh.numbers[0];
    way.leftOut.Forget();

    for (int i = 1; i <= splits; ++i) {
        WayLevel& level = way[way.depth - i];
        middle = SplitPage(level.page, level.position, middle, fresh.pages[std::size_t(i)],
                           fresh.numbers[std::size_t(i)]);
    }
    const int lastSplit = way.depth - splits;
    if (rootMoves)
        MakeRoot(index, fresh.pages[std::size_t(splits + 1)], middle);
    else
        InsertItem(way[lastSplit - 1].page, way[lastSplit - 1].position, middle);
    MarkChanged(index, way, rootMoves ? 0 : lastSplit - 1, fresh, rootMoves);
    taupdateleaf(index, end.number);
    return 0;
}

int Insert(IndexFile* index, const SoughtItem& item)
{
    WayEnd end;
    if (FindEnd(index, item, &end) != 0 || end.at.found)
        return -1;
    if (end.number == 0)
        return MakeFirstLeaf(index, item);
    if (taaddtoleaf(index, end.number, end.at, item))
        return 0;
    Way way;
    if (FindParents(index, item, end.number, &way) != 0)
        return -1;
    const Bounds bounds = way.BoundsOfNext();
    const int room = HasRoom(index, end.number, bounds);
    if (room < 0)
        return -1;
    return room > 0 ? AddWithin(index, end.number, bounds, item) : Split(index, end, way, item);
}

} // namespace

int AddKey(IndexFile* index, const std::uint32_t* record, char* key)
{
    if (!key)
        return SetError(taNullHandle);
    taxkey(key, index->keyLength);
    if (BeginChange(index) != 0)
        return -1;
    return EndChange(index, Insert(index, SoughtItem(key, *record)));
}
