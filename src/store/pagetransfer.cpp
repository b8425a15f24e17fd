// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/pagetransfer.h"

#include "store/pagecache.h"
#include "store/soughtitem.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

namespace Agent
{

namespace
{

// Writes the page in the form of the file.
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

// As in a free page with a link that looks like a count: it has zeros after that.
bool BeginsWithEqualItems(const IndexPage& page)
{
    const IndexItem* const items = page.items;
    return page.count > 1 && items[1].record == items[2].record
        && std::strcmp(items[1].key, items[2].key) == 0;
}

// Whether the path to an item leads through a page. -1 if it cannot be followed.
int LeadsThrough(IndexFile* index, const SoughtItem& item, std::uint32_t page)
{
    PagePosition at(false, 0, 0, index->rootPage);
    for (int depth = 0; at.child != 0; ++depth) {
        const std::uint32_t number = at.child;
        if (number == page)
            return 1;
        if (depth == deepestTree)
            return SetError(taDamaged);
        if (tasearchpage(index, number, item, &at) != 0)
            return -1;
        if (at.found)
            return 0;
    }
    return 0;
}

// Whether a record from the chain of free ones is a page of the tree. This library clears
// a page after its link when it frees it, but other programs leave the items there, and
// the count of a page in use can look like a link. So the path to its first item decides:
// it leads through the page only if that is in use. 1, 0, or -1 if the path cannot be
// followed.
int IsPageInUse(IndexFile* index, std::uint32_t number, const std::uint8_t* bytes)
{
    static IndexPage image;
    if (!Unpack(index, bytes, &image) || BeginsWithEqualItems(image))
        return 0;
    return LeadsThrough(index, SoughtItem(image.items[1]), number);
}

// Not with flushing on, since pages then do not stay in memory for long.
bool ReadsAhead(const IndexFile* index, std::size_t room)
{
    const DataFile* const file = index->dataFile;
    const auto size = std::size_t(file->header.recordCount) * std::size_t(file->recordLength);
    return index->fetches > fetchesAlone && !file->flushing && MULTIUSER == 0 && size <= room
        && cachedPages.room() + neighboursAtOnce * sizeof(IndexPage) <= room;
}

// Keeps a neighbour that was read ahead, if it is a valid page; it may be free.
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

// Like GetRec, and also keeps the page's neighbours.
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

// The changed pages of an index. Those of a single operation need no allocation.
class ChangedPages
{
public:
    // Collects them in the order of that member. False if there is no memory.
    template <typename Key> bool Collect(const IndexFile* index, Key CachedPage::*order)
    {
        std::size_t count = 0;
        for (const CachedPage* page = index->firstPage; page; page = page->nextOfOwner)
            count += page->dirty;
        if (count > few) {
            m_many.reset(new (std::nothrow) CachedPage*[count]);
            m_first = m_end = m_many.get();
        }
        if (!m_first) {
            SetError(taNoMemory);
            return false;
        }
        for (CachedPage* page = index->firstPage; page; page = page->nextOfOwner)
            if (page->dirty)
                *m_end++ = page;
        std::sort(m_first, m_end,
                  [order](CachedPage* a, CachedPage* b) { return a->*order < b->*order; });
        return true;
    }

    CachedPage** begin() const { return m_first; }
    CachedPage** end() const { return m_end; }

private:
    static constexpr std::size_t few = 64;

    CachedPage* m_few[few];
    std::unique_ptr<CachedPage*[]> m_many;
    CachedPage** m_first = m_few;
    CachedPage** m_end = m_few;
};

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

// With flushing on, writes the changes of one operation. They were marked in an order
// that keeps every item of the file findable between any two writes, and the header is
// written at the point where the root moved. Other processes see the file in these
// states, and so does a process after a crash.
int WriteInOrderOfChange(IndexFile* index)
{
    ChangedPages pages;
    if (!pages.Collect(index, &CachedPage::changed))
        return -1;
    for (CachedPage* page : pages) {
        if (page->changed > index->rootChange && WriteMovedRoot(index) != 0)
            return -1;
        if (WritePage(page) != 0)
            return -1;
    }
    return WriteMovedRoot(index);
}

// Writes them in one transfer.
int WriteNeighbours(CachedPage* const* pages, std::size_t count)
{
    static std::uint8_t bytes[neighboursAtOnce * PackedLength(longestKey)];
    const IndexFile* const index = pages[0]->owner;
    const auto length = std::size_t(PackedLength(index->keyLength));
    for (std::size_t i = 0; i < count; ++i)
        Pack(pages[i], &bytes[i * length]);
    if (PutAllRecs(index->dataFile, pages[0]->number, bytes, std::uint32_t(count)) != 0)
        return -1;
    for (std::size_t i = 0; i < count; ++i)
        pages[i]->dirty = false;
    return 0;
}

// Without flushing, the file is complete once its header is written, after all pages.
int WriteInOrderOfFile(IndexFile* index)
{
    ChangedPages pages;
    if (!pages.Collect(index, &CachedPage::number))
        return -1;
    CachedPage** next = pages.begin();
    for (CachedPage** first = next; first != pages.end(); first = next) {
        while (next != pages.end() && next < first + neighboursAtOnce
               && (*next)->number == (*first)->number + (next - first))
            ++next;
        if (WriteNeighbours(first, std::size_t(next - first)) != 0)
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

int AddPageRecord(IndexFile* index, std::uint32_t* number)
{
    static constexpr std::uint8_t empty[PackedLength(longestKey)]{};
    DataFile* const file = index->dataFile;
    if (file->flushing && TaOpenFile(file) != 0)
        return -1;
    const DataFileHeader before = file->header;
    int result = newrec(file, number);
    const bool wasFree = file->header.recordCount == before.recordCount;
    if (result == 0 && wasFree) {
        const int used = IsPageInUse(index, *number, tarecbuf);
        result = used > 0 ? SetError(taDamaged) : used;
    }
    if (result == 0)
        result = PutRec(file, *number, empty);
    if (result != 0) {
        file->header = before;
        return -1;
    }
    if (file->flushing)
        TaCloseFile(file);
    return taerror == taNoError ? 0 : -1;
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

} // namespace Agent
