// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/indexchange.h"

#include "store/pagecache.h"
#include "store/pagetransfer.h"

#include <algorithm>

namespace
{

// The reason in taerror outlives it.
int Abandon(IndexFile* index)
{
    const std::int32_t error = taerror;
    TaOpenIndex(index);
    return SetError(error);
}

} // namespace

int FetchWithin(IndexFile* index, std::uint32_t number, const Bounds& bounds, IndexPage** page)
{
    if (tagetpage(index, number, page) != 0)
        return -1;
    // There the end of a full page's last key is lost, and with it what it bounds.
    if (index->keyLength == longestKey)
        return 0;
    const auto isBefore = [index](const IndexItem& a, const IndexItem& b) {
        return tacompkeys(a.key, b.key, a.record, b.record, index->allowDuplicates) < 0;
    };
    IndexItem* const items = (*page)->items;
    int last = (*page)->count;
    while (last > 0 && bounds.upper && !isBefore(items[last], *bounds.upper))
        --last;
    int below = 0;
    while (below < last && bounds.lower && !isBefore(*bounds.lower, items[below + 1]))
        ++below;
    if (below == last)
        return SetError(taDamaged);
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
    if (FetchWithin(index, number, level.bounds, &level.page) != 0)
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
    index->dataFile->headerDirty = 1;
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
