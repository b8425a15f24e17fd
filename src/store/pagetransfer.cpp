// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/pagetransfer.h"

#include "store/indexchange.h"
#include "store/writepolicy.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>

namespace Agent
{

namespace
{

// Neighbours in one transfer.
std::uint8_t blockBytes[neighboursAtOnce * PackedLength(longestKey)];

// ---- free pages ----

bool IsPage(const IndexFile* index, const std::uint8_t* bytes)
{
    const auto pages = std::uint32_t(index->dataFile->header.recordCount);
    return bytes[0] > 0 && CanBePage(bytes, index->keyLength, pages);
}

// As in a free page with a link that looks like a count: it has zeros after that.
bool BeginsWithEqualItems(const Page& page)
{
    return page.Count() > 1 && page.Record(1) == page.Record(2)
        && std::strcmp(page.Key(1), page.Key(2)) == 0;
}

// Whether a record from the chain of free ones, in tarecbuf, is a page of the tree. This
// library clears a page after its link when it frees it, but other programs leave the items
// there, and the count of a page in use can look like a link. So the path to its first item
// decides: it leads through the page only if that is in use. 1, 0, or -1 if the path cannot
// be followed.
int IsPageInUse(IndexFile* index, std::uint32_t number)
{
    if (!IsPage(index, tarecbuf))
        return 0;
    const Page page(index->keyLength, tarecbuf);
    if (!page)
        return SetError(taNoMemory);
    if (BeginsWithEqualItems(page))
        return 0;
    WayEnd end;
    if (Descend(index, SoughtItem(page.Key(1), page.Record(1)), &end) != 0)
        return -1;
    const IndexLevel* const first = index->path;
    return std::any_of(first, first + index->depth,
                       [number](const IndexLevel& level) { return level.page == number; });
}

// ---- reading ----

// Not with flushing on, since pages then do not stay in memory for long.
bool ReadsAhead(const IndexFile* index)
{
    return index->fetches > fetchesAlone && PolicyOf(index->dataFile) == WritePolicy::AtClose
        && HasPageRoom(index, neighboursAtOnce);
}

// Like GetRec into tarecbuf, and also keeps those of the page's neighbours that are valid
// pages; the others may be free.
int ReadBlock(IndexFile* index, std::uint32_t number)
{
    DataFile* const file = index->dataFile;
    const auto length = std::size_t(file->recordLength);
    const std::uint32_t place = number % neighboursAtOnce;
    const std::uint32_t first = number - place;
    const std::uint32_t count
        = std::min(neighboursAtOnce, std::uint32_t(file->header.recordCount) - first);
    const std::uint32_t read = GetBigRec(file, first, blockBytes, count);
    if (taerror != taNoError)
        return -1;
    if (read <= place)
        return SetError(taReadFailed);
    for (std::uint32_t i = 0; i < read; ++i) {
        const std::uint8_t* const bytes = &blockBytes[i * length];
        if (i == place || first + i == 0 || IsInMemory(index, first + i) || !IsPage(index, bytes))
            continue;
        if (Page page(index->keyLength, bytes); page)
            KeepAhead(index, first + i, std::move(page));
    }
    std::memcpy(tarecbuf, &blockBytes[place * length], length);
    return 0;
}

// ---- writing ----

// The changed pages of an index, sorted. Those of one change need no memory, so that with
// flushing on no change fails after it has begun.
class ChangedPages
{
public:
    // False if there is no memory.
    template <typename Key> bool Collect(const IndexFile* index, Key order)
    {
        for (CachedPage* page = index->firstPage; page; page = page->nextOfOwner)
            m_count += page->dirty;
        if (m_count > m_few.size()) {
            m_many.reset(new (std::nothrow) CachedPage*[m_count]);
            if (!m_many)
                return false;
        }
        CachedPage** last = begin();
        for (CachedPage* page = index->firstPage; page; page = page->nextOfOwner)
            if (page->dirty)
                *last++ = page;
        std::sort(begin(), end(), [order](const CachedPage* a, const CachedPage* b) {
            return a->*order < b->*order;
        });
        return true;
    }

    CachedPage** begin() { return m_many ? m_many.get() : m_few.data(); }
    CachedPage** end() { return begin() + m_count; }

private:
    // A page and its sibling on each level, and the new ones.
    std::array<CachedPage*, 4 * deepestTree> m_few;
    std::unique_ptr<CachedPage*[]> m_many;
    std::size_t m_count = 0;
};

bool HasMovedRoot(const IndexFile* index)
{
    return index->dataFile->header.rootPage != std::int32_t(index->rootPage);
}

int WriteMovedRoot(IndexFile* index)
{
    DataFile* const file = index->dataFile;
    if (!HasMovedRoot(index))
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
        return SetError(taNoMemory);
    for (CachedPage* const page : pages) {
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
    const auto length = std::size_t(PackedLength(pages[0]->owner->keyLength));
    for (std::size_t i = 0; i < count; ++i)
        pages[i]->Pack(&blockBytes[i * length]);
    if (PutAllRecs(pages[0]->owner->dataFile, pages[0]->number, blockBytes, std::uint32_t(count))
        != 0)
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
        return SetError(taNoMemory);
    CachedPage** next = pages.begin();
    for (CachedPage** first = next; first != pages.end(); first = next) {
        while (next != pages.end() && next < first + neighboursAtOnce
               && (*next)->number == (*first)->number + std::uint32_t(next - first))
            ++next;
        if (WriteNeighbours(first, std::size_t(next - first)) != 0)
            return -1;
    }
    return 0;
}

} // namespace

int ReadPage(IndexFile* index, std::uint32_t number, Page* page)
{
    if (number == 0 || number >= std::uint32_t(index->dataFile->header.recordCount))
        return SetError(taDamaged);
    ++index->fetches;
    const int result
        = ReadsAhead(index) ? ReadBlock(index, number) : GetRec(index->dataFile, number, tarecbuf);
    if (result != 0)
        return -1;
    if (!IsPage(index, tarecbuf))
        return SetError(taDamaged);
    *page = Page(index->keyLength, tarecbuf);
    return SetError(*page ? taNoError : taNoMemory);
}

int WritePage(CachedPage* page)
{
    page->Pack(tarecbuf);
    if (PutRec(page->owner->dataFile, page->number, tarecbuf) != 0)
        return -1;
    page->dirty = false;
    return 0;
}

int AddPageRecord(IndexFile* index, std::uint32_t* number)
{
    static constexpr std::uint8_t empty[PackedLength(longestKey)]{};
    DataFile* const file = index->dataFile;
    const bool eachCall = PolicyOf(file) == WritePolicy::EachCall;
    if (eachCall && TaOpenFile(file) != 0)
        return -1;
    const DataFileHeader before = file->header;
    int result = newrec(file, number);
    const bool wasFree = file->header.recordCount == before.recordCount;
    if (result == 0 && wasFree) {
        const int used = IsPageInUse(index, *number);
        result = used > 0 ? SetError(taDamaged) : used;
    }
    if (result == 0)
        result = PutRec(file, *number, empty);
    if (result != 0) {
        file->header = before;
        return -1;
    }
    if (eachCall)
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
    return PolicyOf(index->dataFile) == WritePolicy::EachCall ? WriteInOrderOfChange(index)
                                                              : WriteInOrderOfFile(index);
}

} // namespace Agent
