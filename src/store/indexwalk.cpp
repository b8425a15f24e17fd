// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/indexchange.h"
#include "store/pagecache.h"

#include <cstdlib>
#include <cstring>

using namespace Agent;

namespace
{

IndexLevel& Deepest(IndexFile* index)
{
    return index->path[index->depth - 1];
}

int FailWithoutPosition(IndexFile* index, std::int32_t error)
{
    ClearKey(index);
    return SetError(error);
}

int Push(IndexFile* index, std::uint32_t number, Page** page)
{
    if (tagetpage(index, number, page) != 0)
        return FailWithoutPosition(index, taerror);
    if (index->depth == deepestTree)
        return FailWithoutPosition(index, taDamaged);
    index->path[index->depth++] = { number, 0 };
    return 0;
}

// Fetches the page of the deepest level. A position outside the page means damage, or a
// change through another handle.
int FetchDeepest(IndexFile* index, Page** page)
{
    const IndexLevel& level = Deepest(index);
    if (tagetpage(index, level.page, page) != 0)
        return FailWithoutPosition(index, taerror);
    if (level.position < 0 || level.position > (*page)->Count())
        return FailWithoutPosition(index, taDamaged);
    return 0;
}

// A walk that takes more steps in one direction than the file can hold items is circular.
int CountStep(IndexFile* index, int direction)
{
    index->steps += direction;
    const std::int64_t most = std::int64_t(pageItems) * index->dataFile->header.recordCount;
    return std::llabs(index->steps) > most ? FailWithoutPosition(index, taDamaged) : 0;
}

int TakeItem(IndexFile* index, const Page& page, std::uint32_t* record, char* key)
{
    const int item = Deepest(index).position;
    std::strcpy(key, page.Key(item));
    *record = page.Record(item);
    return SetError(taNoError);
}

int AtTheEnd(IndexFile* index)
{
    ClearKey(index);
    return -1;
}

// Begins every lookup.
int BeginLookup(IndexFile* index, char* key)
{
    if (!key)
        return SetError(taNullHandle);
    taxkey(key, index->keyLength);
    return BeginAtTheFile(index);
}

} // namespace

int tafindkey(IndexFile* index, std::uint32_t* record, const char* key)
{
    if (!key)
        return SetError(taNullHandle);
    WayEnd end;
    if (Descend(index, SoughtItem(key, 0), &end) != 0)
        return -1;
    SetError(taNoError);
    if (end.at.found) {
        *record = end.at.record;
        return 0;
    }
    while (index->depth > 0 && Deepest(index).position == 0)
        --index->depth;
    return -1;
}

int FindKey(IndexFile* index, std::uint32_t* record, char* key)
{
    if (BeginLookup(index, key) != 0)
        return -1;
    if (tafindkey(index, record, key) == 0)
        return 0;
    if (taerror != taNoError || !index->allowDuplicates)
        return -1;
    char wanted[longestKey + 1];
    std::strcpy(wanted, key); // which BeginLookup has cut
    return NextKey(index, record, key) == 0 && std::strcmp(wanted, key) == 0 ? 0 : -1;
}

int SearchKey(IndexFile* index, std::uint32_t* record, char* key)
{
    if (BeginLookup(index, key) != 0)
        return -1;
    if (tafindkey(index, record, key) == 0)
        return 0;
    return taerror == taNoError ? NextKey(index, record, key) : -1;
}

int FindPrevKey(IndexFile* index, std::uint32_t* record, char* key)
{
    if (SearchKey(index, record, key) == 0)
        return PrevKey(index, record, key);
    if (taerror != taNoError)
        return -1;
    // All keys are below the wanted one: a step back from the first item starts over at
    // the end.
    key[0] = 0;
    if (SearchKey(index, record, key) != 0)
        return -1;
    if (PrevKey(index, record, key) == 0)
        return 0;
    return taerror == taNoError ? PrevKey(index, record, key) : -1;
}

int NextKey(IndexFile* index, std::uint32_t* record, char* key)
{
    if (SetError(key ? taNoError : taNullHandle) != 0)
        return -1;
    Page* page = nullptr;
    std::uint32_t number = index->rootPage;
    if (index->depth > 0) {
        if (FetchDeepest(index, &page) != 0)
            return -1;
        number = page->Child(Deepest(index).position);
    }
    for (; number != 0; number = page->Child(0))
        if (Push(index, number, &page) != 0)
            return -1;
    if (!page) // an empty index
        return -1;
    while (index->depth >= 2 && Deepest(index).position == page->Count()) {
        --index->depth;
        if (FetchDeepest(index, &page) != 0)
            return -1;
    }
    if (Deepest(index).position == page->Count())
        return AtTheEnd(index);
    ++Deepest(index).position;
    return CountStep(index, 1) == 0 ? TakeItem(index, *page, record, key) : -1;
}

int PrevKey(IndexFile* index, std::uint32_t* record, char* key)
{
    if (SetError(key ? taNoError : taNullHandle) != 0)
        return -1;
    Page* page = nullptr;
    std::uint32_t number = index->rootPage;
    if (index->depth > 0) {
        if (FetchDeepest(index, &page) != 0)
            return -1;
        if (Deepest(index).position == 0)
            return FailWithoutPosition(index, taDamaged);
        number = page->Child(--Deepest(index).position);
    }
    while (number != 0) {
        if (Push(index, number, &page) != 0)
            return -1;
        Deepest(index).position = std::int16_t(page->Count());
        number = page->Child(page->Count());
    }
    if (!page) // an empty index
        return -1;
    while (index->depth >= 2 && Deepest(index).position == 0) {
        --index->depth;
        if (FetchDeepest(index, &page) != 0)
            return -1;
    }
    if (Deepest(index).position == 0)
        return AtTheEnd(index);
    return CountStep(index, -1) == 0 ? TakeItem(index, *page, record, key) : -1;
}

void ClearKey(IndexFile* index)
{
    index->depth = 0;
    index->steps = 0;
}
