// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/indexchange.h"

#include "store/pagecache.h"

namespace
{

// The reason in taerror outlives it.
int Abandon(IndexFile* index)
{
    const std::int32_t error = taerror;
    DropPages(index);
    index->rootPage = std::uint32_t(index->dataFile->header.rootPage);
    TaOpenIndex(index);
    return SetError(error);
}

} // namespace

int Follow(IndexFile* index, std::uint32_t number, Way* way)
{
    for (int i = 0; i < way->depth; ++i)
        if ((*way)[i].number == number)
            return SetError(taDamaged);
    if (way->depth == deepestTree)
        return SetError(taDamaged);
    WayLevel& level = way->levels[std::size_t(way->depth)];
    level.number = number;
    if (tagetpage(index, number, &level.page) != 0)
        return -1;
    ++way->depth;
    return 0;
}

int BeginChange(IndexFile* index)
{
    SetError(taNoError);
    index->current = index->dataFile;
    index->dataFile->headerDirty = 1;
    ClearKey(index);
    return index->dataFile->flushing || MULTIUSER != 0 ? TaOpenIndex(index) : 0;
}

int EndChange(IndexFile* index, int result)
{
    if (!index->dataFile->flushing && !MULTIUSER)
        return result;
    if (taerror != taNoError || TaCloseIndex(index) != 0)
        return Abandon(index);
    return result;
}
