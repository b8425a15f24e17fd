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
