// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/indexchange.h"

#include "store/pagecache.h"
#include "store/pagetransfer.h"

#include <algorithm>
#include <new>

namespace Agent
{

namespace
{

// Whether an item cannot sort below another. Keys that were cut for the file may seem
// equal to others, and may or may not be below them, unless one is a copy of the other.
bool IsNotBelow(const IndexFile* index, const IndexItem& item, const IndexItem& other)
{
    const int order
        = tacompkeys(item.key, other.key, item.record, other.record, index->allowDuplicates);
    if (index->keyLength < longestKey)
        return order >= 0;
    return (order == 0 && item.record == other.record) || CompareKeptKeys(item.key, other.key) > 0;
}

// The items inside the bounds are those after `below`, up to `last`.
struct ItemRange {
    int below;
    int last;
};

ItemRange FindWithin(const IndexFile* index, const IndexPage& page, const Bounds& bounds)
{
    ItemRange range{ 0, page.count };
    while (range.last > 0 && bounds.upper
           && IsNotBelow(index, page.items[range.last], *bounds.upper))
        --range.last;
    while (range.below < range.last && bounds.lower
           && IsNotBelow(index, *bounds.lower, page.items[range.below + 1]))
        ++range.below;
    return range;
}

// Keeps the error in taerror.
int Abandon(IndexFile* index)
{
    const std::int32_t error = taerror;
    TaOpenIndex(index);
    return SetError(error);
}

} // namespace

LeftOutItems::~LeftOutItems()
{
    for (const Page* left = m_last.get(); left; left = left->next.get())
        *left->page = left->before;
}

bool LeftOutItems::Remember(IndexPage* page)
{
    std::unique_ptr<Page> left(new (std::nothrow) Page{ page, *page, nullptr });
    if (!left)
        return false;
    left->next = std::move(m_last);
    m_last = std::move(left);
    return true;
}

int ItemsWithin(IndexFile* index, std::uint32_t number, const Bounds& bounds)
{
    IndexPage* page;
    if (tagetpage(index, number, &page) != 0)
        return -1;
    const auto [below, last] = FindWithin(index, *page, bounds);
    return last - below;
}

int FetchWithin(IndexFile* index, std::uint32_t number, const Bounds& bounds, LeftOutItems* leftOut,
                IndexPage** page)
{
    if (tagetpage(index, number, page) != 0)
        return -1;
    const auto [below, last] = FindWithin(index, **page, bounds);
    if (below == last)
        return SetError(taDamaged);
    if (last - below == (*page)->count)
        return 0;
    if (!leftOut->Remember(*page))
        return SetError(taNoMemory);
    IndexItem* const items = (*page)->items;
    (*page)->count = std::uint8_t(last - below);
    if (below == 0)
        return 0;
    (*page)->leftmost = items[below].child;
    std::copy(items + below + 1, items + last + 1, items + 1);
    return 0;
}

int Follow(IndexFile* index, std::uint32_t number, Way* way)
{
    for (int i = 0; i < way->depth; ++i)
        if ((*way)[i].number == number)
            return SetError(taDamaged);
    if (way->depth == deepestTree)
        return SetError(taDamaged);
    WayLevel& level = way->levels[std::size_t(way->depth)];
    level.number = number;
    level.bounds = way->BoundsOfNext();
    if (FetchWithin(index, number, level.bounds, &way->leftOut, &level.page) != 0)
        return -1;
    ++way->depth;
    return 0;
}

int FindEnd(IndexFile* index, const SoughtItem& wanted, WayEnd* end)
{
    *end = { { false, 0, 0, index->rootPage }, 0 };
    for (int depth = 0; end->at.child != 0 && !end->at.found; ++depth) {
        if (depth == deepestTree)
            return SetError(taDamaged);
        end->number = end->at.child;
        if (tasearchpage(index, end->number, wanted, &end->at) != 0)
            return -1;
    }
    return 0;
}

int BeginAtTheFile(IndexFile* index)
{
    index->current = index->dataFile;
    if (!index->dataFile->flushing && MULTIUSER == 0)
        return SetError(taNoError);
    if (HasChanges(index) && TaCloseIndex(index) != 0)
        return -1;
    return TaOpenIndex(index);
}

int BeginChange(IndexFile* index)
{
    ClearKey(index);
    return BeginAtTheFile(index);
}

int EndChange(IndexFile* index, int result)
{
    if (!index->dataFile->flushing && MULTIUSER == 0)
        return result;
    if (taerror == taNoError && TaCloseIndex(index) == 0)
        return result;
    return HasChanges(index) ? -1 : Abandon(index);
}

} // namespace Agent
