// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/indexchange.h"

#include "store/pagecache.h"
#include "store/pagetransfer.h"
#include "store/writepolicy.h"

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

// Keeps the error in taerror.
int Abandon(IndexFile* index)
{
    const std::int32_t error = taerror;
    TaOpenIndex(index);
    return SetError(error);
}

} // namespace

int Descend(IndexFile* index, const SoughtItem& wanted, WayEnd* end)
{
    ClearKey(index);
    *end = { nullptr, 0, { false, 0, 0, index->rootPage } };
    while (end->at.child != 0 && !end->at.found) {
        end->number = end->at.child;
        if (index->depth == deepestTree || tagetpage(index, end->number, &end->page) != 0) {
            const std::int32_t error = index->depth == deepestTree ? taDamaged : taerror;
            ClearKey(index);
            return SetError(error);
        }
        end->at = end->page->Search(wanted, index->allowDuplicates);
        index->path[index->depth++] = { end->number, std::int16_t(end->at.position) };
    }
    return 0;
}

LeftOutItems::~LeftOutItems()
{
    for (Former* former = m_last.get(); former; former = former->next.get())
        *former->page = std::move(former->before);
}

int LeftOutItems::Remember(Page* page)
{
    std::unique_ptr<Former> former(new (std::nothrow) Former{ page, page->Copy(), nullptr });
    if (!former || !former->before)
        return SetError(taNoMemory);
    former->next = std::move(m_last);
    m_last = std::move(former);
    return 0;
}

int FetchWithin(IndexFile* index, std::uint32_t number, const Bounds& bounds, LeftOutItems* leftOut,
                Page** fetched)
{
    if (tagetpage(index, number, fetched) != 0)
        return -1;
    Page& page = **fetched;
    int below = 0; // items outside, and the last one inside
    int last = page.Count();
    while (last > 0 && bounds.upper && IsNotBelow(index, page.Item(last), *bounds.upper))
        --last;
    while (below < last && bounds.lower && IsNotBelow(index, *bounds.lower, page.Item(below + 1)))
        ++below;
    if (below == last)
        return SetError(taDamaged);
    if (last - below == page.Count())
        return 0;
    if (leftOut->Remember(&page) != 0)
        return -1;
    page.Truncate(last);
    page.SetLeftmost(page.Child(below));
    for (; below > 0; --below)
        page.Remove(below);
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
    level.bounds = way->depth > 0 ? way->Last().BoundsOfChild(way->Last().position) : Bounds{};
    if (FetchWithin(index, number, level.bounds, &way->leftOut, &level.page) != 0)
        return -1;
    ++way->depth;
    return 0;
}

int BeginAtTheFile(IndexFile* index)
{
    index->current = index->dataFile;
    if (PolicyOf(index->dataFile) != WritePolicy::EachCall)
        return SetError(taNoError);
    if (HasChanges(index) && TaCloseIndex(index) != 0)
        return -1;
    return TaOpenIndex(index);
}

int BeginChange(IndexFile* index, char* key)
{
    if (!key)
        return SetError(taNullHandle);
    taxkey(key, index->keyLength);
    ClearKey(index);
    return BeginAtTheFile(index);
}

int EndChange(IndexFile* index, int result)
{
    ClearKey(index);
    if (PolicyOf(index->dataFile) != WritePolicy::EachCall)
        return result;
    if (taerror == taNoError && TaCloseIndex(index) == 0)
        return result;
    return HasChanges(index) ? -1 : Abandon(index);
}

} // namespace Agent
