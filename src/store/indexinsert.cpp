// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/indexchange.h"
#include "store/pagecache.h"

#include <algorithm>

namespace
{

// The pages an insertion adds: one for each page it splits, from the leaf up,
// and a new root if the old one is split.
struct NewPages {
    std::array<std::uint32_t, deepestTree + 1> numbers;
    std::array<IndexPage*, deepestTree + 1> pages;
    int count = 0;
};

// 0 with the way to where the item belongs, -1 if an equal one is there.
int FindPlace(IndexFile* index, const IndexItem& item, Way* way)
{
    const SoughtItem wanted(item);
    for (std::uint32_t number = index->rootPage; number != 0;) {
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

// All pages are there before the first one changes, so that nothing can fail
// after that.
int Allocate(IndexFile* index, int count, NewPages* fresh)
{
    for (; fresh->count < count; ++fresh->count) {
        const auto i = std::size_t(fresh->count);
        if (tanewpage(index, &fresh->numbers[i], &fresh->pages[i]) != 0)
            return GiveBack(*fresh);
    }
    return 0;
}

// Splits the full page a around its middle, as if `item` stood behind its item
// `position`; b takes the upper half. Returns the item between the halves.
IndexItem Split(IndexPage* a, int position, const IndexItem& item, IndexPage* b,
                std::uint32_t numberOfB)
{
    constexpr int half = pageOrder;
    IndexItem middle = item;
    if (position > half)
        middle = a->items[half + 1];
    else if (position < half)
        middle = a->items[half];
    const int kept = position > half ? half + 1 : half; // of a's items not in b's
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

// Says which pages changed, in the order in which each page written leaves a
// file where every item is found: first what nothing refers to yet, then from
// the root down what gives items away.
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

// Splits pages, from the leaf up, as far as they are full.
int InsertAndSplit(IndexFile* index, IndexItem item)
{
    Way way;
    if (FindPlace(index, item, &way) != 0)
        return -1;
    const int splits = FullPagesAtTheEnd(way);
    const bool rootMoves = splits == way.depth;
    if (rootMoves && way.depth == deepestTree)
        return SetError(taDamaged);
    NewPages fresh;
    if (Allocate(index, splits + (rootMoves ? 1 : 0), &fresh) != 0)
        return -1;

    for (int i = 0; i < splits; ++i) {
        WayLevel& level = way[way.depth - 1 - i];
        item = Split(level.page, level.position, item, fresh.pages[std::size_t(i)],
                     fresh.numbers[std::size_t(i)]);
    }
    const int lastSplit = way.depth - splits;
    if (rootMoves)
        MakeRoot(index, fresh.pages[std::size_t(splits)], item);
    else
        InsertItem(way[lastSplit - 1].page, way[lastSplit - 1].position, item);
    MarkChanged(index, way, rootMoves ? 0 : lastSplit - 1, fresh, rootMoves);
    if (splits > 0) {
        tacompactpage(way.last().page);
        tacompactpage(fresh.pages[0]);
    }
    return 0;
}

int Insert(IndexFile* index, const IndexItem& item)
{
    WayEnd end;
    if (FindEnd(index, SoughtItem(item), &end) != 0 || end.at.found)
        return -1;
    if (end.number != 0 && taaddtoleaf(index, end.number, end.at, item))
        return 0;
    return InsertAndSplit(index, item);
}

} // namespace

int AddKey(IndexFile* index, const std::uint32_t* record, char* key)
{
    taxkey(key, index->keyLength);
    if (BeginChange(index) != 0)
        return -1;
    return EndChange(index, Insert(index, MakeItem(key, *record)));
}
