// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/pagetransfer.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

namespace
{

// The page's bytes in the file.
void Pack(const CachedPage* page, std::uint8_t* bytes)
{
    static IndexPage expanded;
    if (!page->buffer)
        page->compact.Expand(&expanded);
    PackPage(page->buffer ? *page->buffer : expanded, page->owner->keyLength, bytes);
}

bool Unpack(const IndexFile* index, const std::uint8_t* bytes, IndexPage* page)
{
    const auto pages = std::uint32_t(index->dataFile->header.recordCount);
    return UnpackPage(bytes, index->keyLength, pages, page) && page->count > 0;
}

// With flushing on, the pages are not kept for long.
bool ReadsAhead(const IndexFile* index, std::size_t room)
{
    const DataFile* const file = index->dataFile;
    const auto size = std::size_t(file->header.recordCount) * std::size_t(file->recordLength);
    return index->fetches > fetchesAlone && !file->flushing && MULTIUSER == 0 && size <= room
        && cachedPages.room() + neighboursAtOnce * sizeof(IndexPage) <= room;
}

// Keeps a page that nobody has asked for, if it is one: it may be free.
void KeepAhead(IndexFile* index, std::uint32_t number, const std::uint8_t* bytes)
{
    static IndexPage image;
    if (number == 0 || cachedPages.Find(index, number) || !Unpack(index, bytes, &image))
        return;
    CompactPage compact(image);
    CachedPage* const page = compact ? cachedPages.Add(index, number) : nullptr;
    if (!page)
        return;
    cachedPages.SetCompact(page, std::move(compact));
    page->ahead = true;
    cachedPages.compacted.LinkOldest(page);
}

// As GetRec, and keeps the page's neighbours.
int ReadBlock(IndexFile* index, std::uint32_t number, std::uint8_t* bytesOfPage)
{
    DataFile* const file = index->dataFile;
    const auto length = std::size_t(file->recordLength);
    const std::uint32_t first = number - number % neighboursAtOnce;
    const std::uint32_t count
        = std::min(neighboursAtOnce, std::uint32_t(file->header.recordCount) - first);
    const std::unique_ptr<std::uint8_t[]> bytes(new (std::nothrow) std::uint8_t[count * length]);
    if (!bytes)
        return GetRec(file, number, bytesOfPage);
    const std::uint32_t read = GetBigRec(file, first, bytes.get(), count);
    if (taerror != taNoError)
        return -1;
    if (read <= number - first)
        return SetError(taReadFailed);
    for (std::uint32_t i = 0; i < read; ++i)
        if (first + i != number)
            KeepAhead(index, first + i, &bytes[i * length]);
    std::memcpy(bytesOfPage, &bytes[(number - first) * length], length);
    return 0;
}

template <typename Key>
std::vector<CachedPage*> ChangedPages(const IndexFile* index, Key CachedPage::*order)
{
    std::vector<CachedPage*> changed;
    for (CachedPage* page = index->firstPage; page; page = page->nextOfOwner)
        if (page->dirty)
            changed.push_back(page);
    std::sort(changed.begin(), changed.end(),
              [order](CachedPage* a, CachedPage* b) { return a->*order < b->*order; });
    return changed;
}

bool HasMovedRoot(const IndexFile* index)
{
    return index->dataFile->header.rootPage != std::int32_t(index->rootPage);
}

int WriteMovedRoot(IndexFile* index)
{
    DataFile* const file = index->dataFile;
    if (!file->flushing || !HasMovedRoot(index))
        return 0;
    const std::int32_t before = file->header.rootPage;
    file->header.rootPage = std::int32_t(index->rootPage);
    TaCloseFile(file);
    if (taerror == taNoError)
        return 0;
    file->header.rootPage = before;
    return -1;
}

// Between any two writes the file is whole.
int WriteInOrderOfChange(IndexFile* index)
{
    for (CachedPage* page : ChangedPages(index, &CachedPage::changed)) {
        if (page->changed > index->rootChange && WriteMovedRoot(index) != 0)
            return -1;
        if (WritePage(page) != 0)
            return -1;
    }
    return WriteMovedRoot(index);
}

// In one transfer.
int WriteNeighbours(CachedPage* const* pages, std::size_t count, std::vector<std::uint8_t>& bytes)
{
    const IndexFile* const index = pages[0]->owner;
    const auto length = std::size_t(PackedLength(index->keyLength));
    bytes.resize(neighboursAtOnce * length);
    for (std::size_t i = 0; i < count; ++i)
        Pack(pages[i], &bytes[i * length]);
    if (PutAllRecs(index->dataFile, pages[0]->number, bytes.data(), std::uint32_t(count)) != 0)
        return -1;
    for (std::size_t i = 0; i < count; ++i)
        pages[i]->dirty = false;
    return 0;
}

// Without flushing the file is whole once its header is written, behind all pages.
int WriteInOrderOfFile(IndexFile* index)
{
    const std::vector<CachedPage*> pages = ChangedPages(index, &CachedPage::number);
    std::vector<std::uint8_t> bytes;
    for (std::size_t first = 0, next = 0; first < pages.size(); first = next) {
        while (next < pages.size() && next < first + neighboursAtOnce
               && pages[next]->number == pages[first]->number + (next - first))
            ++next;
        if (WriteNeighbours(&pages[first], next - first, bytes) != 0)
            return -1;
    }
    return 0;
}

} // namespace

int ReadPage(IndexFile* index, std::uint32_t number, std::size_t room, IndexPage* page)
{
    const auto pages = std::uint32_t(index->dataFile->header.recordCount);
    if (number == 0 || number >= pages)
        return SetError(taDamaged);
    ++index->fetches;
    const int result = ReadsAhead(index, room) ? ReadBlock(index, number, tarecbuf)
                                               : GetRec(index->dataFile, number, tarecbuf);
    if (result != 0)
        return -1;
    return SetError(Unpack(index, tarecbuf, page) ? taNoError : taDamaged);
}

int WritePage(CachedPage* page)
{
    Pack(page, tarecbuf);
    if (PutRec(page->owner->dataFile, page->number, tarecbuf) != 0)
        return -1;
    page->dirty = false;
    return 0;
}

bool HasChanges(const IndexFile* index)
{
    if (HasMovedRoot(index))
        return true;
    const CachedPage* page = index->firstPage;
    while (page && !page->dirty)
        page = page->nextOfOwner;
    return page != nullptr;
}

int WriteBackPages(IndexFile* index)
{
    return index->dataFile->flushing ? WriteInOrderOfChange(index) : WriteInOrderOfFile(index);
}
