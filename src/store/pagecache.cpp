// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/pagecache.h"

#include "store/compactpage.h"
#include "store/pageheads.h"
#include "store/soughtitem.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

// What is known of a page in memory. It has a buffer, or a compact form, or,
// if it was not changed since it got its buffer, both.
struct CachedPage {
    IndexFile* owner;
    std::uint32_t number;
    bool dirty; // not in the file as it is here
    bool ahead; // read with another one, and not asked for yet
    CachedPage* nextInBucket;
    IndexPage* buffer;
    CompactPage compact;
    CachedPage *older, *newer; // neighbours by last use, among those with a buffer or without
    std::uint64_t changed; // on pageClock
    CachedPage *previousOfOwner, *nextOfOwner;
};

namespace
{

// A change needs at most a page and its sibling on each level, a new page on
// each, and a new root.
static_assert(PAGESTACKSIZE > 3 * deepestTree + 1);

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

constexpr int bucketBits = 14;
constexpr std::size_t buckets = std::size_t(1) << bucketBits;

// Pages by their last use.
struct UseOrder {
    CachedPage* oldest = nullptr;
    CachedPage* newest = nullptr;

    void Unlink(CachedPage* page)
    {
        (page->older ? page->older->newer : oldest) = page->newer;
        (page->newer ? page->newer->older : newest) = page->older;
    }
    void LinkNewest(CachedPage* page)
    {
        page->older = newest;
        page->newer = nullptr;
        (newest ? newest->newer : oldest) = page;
        newest = page;
    }
    void LinkOldest(CachedPage* page)
    {
        page->older = nullptr;
        page->newer = oldest;
        (oldest ? oldest->older : newest) = page;
        oldest = page;
    }
    void Touch(CachedPage* page)
    {
        if (page == newest)
            return;
        Unlink(page);
        LinkNewest(page);
    }
};

struct PageCache {
    // From calloc: buffers that were never used take no memory.
    std::unique_ptr<IndexPage[], Free> tapagestk;
    std::unique_ptr<CachedPage*[]> holders; // of the buffers, by number
    std::unique_ptr<PageHeads[]> heads; // of inner pages, by buffer
    std::vector<IndexPage*> freeBuffers;
    std::unique_ptr<CachedPage*[]> bucketHeads;
    UseOrder buffered;
    UseOrder compacted;
    std::size_t room = 0; // bytes in use outside the buffers
};

PageCache cache;
std::size_t compactRoom = standardCompactRoom;
std::uint64_t pageClock = 0;

// ---- which pages are there ----

CachedPage*& Bucket(const IndexFile* owner, std::uint32_t number)
{
    const auto address = reinterpret_cast<std::uintptr_t>(owner) >> 4;
    const std::uint64_t mixed = (address ^ number) * 0x9e3779b97f4a7c15u;
    return cache.bucketHeads[mixed >> (64 - bucketBits)];
}

bool Is(const CachedPage* page, const IndexFile* owner, std::uint32_t number)
{
    return page->number == number && page->owner == owner;
}

// The page, if none was used after it: a change follows a search.
CachedPage* FindNewest(const IndexFile* owner, std::uint32_t number)
{
    for (CachedPage* const newest : { cache.buffered.newest, cache.compacted.newest })
        if (newest && Is(newest, owner, number))
            return newest;
    return nullptr;
}

CachedPage* FindPage(const IndexFile* owner, std::uint32_t number)
{
    CachedPage* page = Bucket(owner, number);
    while (page && !Is(page, owner, number))
        page = page->nextInBucket;
    return page;
}

std::size_t NumberOf(const IndexPage* buffer)
{
    return std::size_t(buffer - cache.tapagestk.get());
}

CachedPage& PageOf(const IndexPage* buffer)
{
    return *cache.holders[NumberOf(buffer)];
}

std::size_t RoomFor(const CompactPage& compact)
{
    return compact ? compact.size() + 16 : 0; // with what the allocator adds
}

void SetCompact(CachedPage* page, CompactPage compact)
{
    cache.room -= RoomFor(page->compact);
    cache.room += RoomFor(compact);
    page->compact = std::move(compact);
}

UseOrder& OrderOf(const CachedPage* page)
{
    return page->buffer ? cache.buffered : cache.compacted;
}

void SetBuffer(CachedPage* page, IndexPage* buffer)
{
    page->buffer = buffer;
    cache.holders[NumberOf(buffer)] = page;
    cache.heads[NumberOf(buffer)].Forget();
    cache.buffered.LinkNewest(page);
}

// Forgets a page, whatever became of it. Its buffer is free then.
void Remove(CachedPage* page)
{
    OrderOf(page).Unlink(page);
    CachedPage** link = &Bucket(page->owner, page->number);
    while (*link != page)
        link = &(*link)->nextInBucket;
    *link = page->nextInBucket;
    if (page->nextOfOwner)
        page->nextOfOwner->previousOfOwner = page->previousOfOwner;
    (page->previousOfOwner ? page->previousOfOwner->nextOfOwner : page->owner->firstPage)
        = page->nextOfOwner;
    if (page->buffer)
        cache.freeBuffers.push_back(page->buffer);
    cache.room -= RoomFor(page->compact) + sizeof *page;
    delete page;
}

// Adds a page, which is still to get a form and a place in its order. Null if there
// is no memory.
CachedPage* AddPage(IndexFile* owner, std::uint32_t number)
{
    auto* const page = new (std::nothrow) CachedPage{};
    if (!page)
        return nullptr;
    page->owner = owner;
    page->number = number;
    CachedPage*& bucket = Bucket(owner, number);
    page->nextInBucket = bucket;
    bucket = page;
    page->nextOfOwner = owner->firstPage;
    if (owner->firstPage)
        owner->firstPage->previousOfOwner = page;
    owner->firstPage = page;
    cache.room += sizeof *page;
    return page;
}

int AddInBuffer(IndexFile* owner, std::uint32_t number, IndexPage* buffer)
{
    CachedPage* const page = AddPage(owner, number);
    if (!page) {
        cache.freeBuffers.push_back(buffer);
        return SetError(taNoMemory);
    }
    SetBuffer(page, buffer);
    return 0;
}

// ---- transfers ----

// The page's bytes in the file.
void Pack(const CachedPage* page, std::uint8_t* bytes)
{
    static IndexPage expanded;
    if (!page->buffer)
        page->compact.Expand(&expanded);
    PackPage(page->buffer ? *page->buffer : expanded, page->owner->keyLength, bytes);
}

int WritePage(CachedPage* page)
{
    Pack(page, tarecbuf);
    if (PutRec(page->owner->dataFile, page->number, tarecbuf) != 0)
        return -1;
    page->dirty = false;
    return 0;
}

bool Unpack(const IndexFile* index, const std::uint8_t* bytes, IndexPage* page)
{
    const auto pages = std::uint32_t(index->dataFile->header.recordCount);
    return UnpackPage(bytes, index->keyLength, pages, page) && page->count > 0;
}

// ---- pages read with the one that is asked for ----

// With flushing on, the pages are not kept for long.
bool ReadsAhead(const IndexFile* index)
{
    const DataFile* const file = index->dataFile;
    const auto size = std::size_t(file->header.recordCount) * std::size_t(file->recordLength);
    return index->fetches > fetchesAlone && !file->flushing && MULTIUSER == 0 && size <= compactRoom
        && cache.room + neighboursAtOnce * sizeof(IndexPage) <= compactRoom;
}

// Keeps a page that nobody has asked for, if it is one: it may be free.
void KeepAhead(IndexFile* index, std::uint32_t number, const std::uint8_t* bytes)
{
    static IndexPage image;
    if (number == 0 || FindPage(index, number) || !Unpack(index, bytes, &image))
        return;
    CompactPage compact(image);
    CachedPage* const page = compact ? AddPage(index, number) : nullptr;
    if (!page)
        return;
    SetCompact(page, std::move(compact));
    page->ahead = true;
    cache.compacted.LinkOldest(page);
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

int ReadPage(IndexFile* index, std::uint32_t number, IndexPage* page)
{
    const auto pages = std::uint32_t(index->dataFile->header.recordCount);
    if (number == 0 || number >= pages)
        return SetError(taDamaged);
    ++index->fetches;
    const int result = ReadsAhead(index) ? ReadBlock(index, number, tarecbuf)
                                         : GetRec(index->dataFile, number, tarecbuf);
    if (result != 0)
        return -1;
    return SetError(Unpack(index, tarecbuf, page) ? taNoError : taDamaged);
}

// ---- room ----

// Pages leave memory, the one used longest ago first, until there is room.
int MakeRoom()
{
    while (cache.room > compactRoom && cache.compacted.oldest) {
        CachedPage* const page = cache.compacted.oldest;
        if (page->dirty && WritePage(page) != 0)
            return -1;
        Remove(page);
    }
    return 0;
}

// Takes the page's buffer.
int Compact(CachedPage* page)
{
    if (!page->compact)
        SetCompact(page, CompactPage(*page->buffer));
    if (!page->compact)
        return SetError(taNoMemory);
    cache.freeBuffers.push_back(page->buffer);
    cache.buffered.Unlink(page);
    page->buffer = nullptr;
    cache.compacted.LinkNewest(page);
    return 0;
}

int TakeBuffer(IndexPage** buffer)
{
    if (cache.freeBuffers.empty() && Compact(cache.buffered.oldest) != 0)
        return -1;
    *buffer = cache.freeBuffers.back();
    cache.freeBuffers.pop_back();
    return 0;
}

int Expand(CachedPage* page)
{
    IndexPage* buffer;
    if (TakeBuffer(&buffer) != 0)
        return -1;
    page->compact.Expand(buffer);
    cache.compacted.Unlink(page);
    SetBuffer(page, buffer);
    return 0;
}

int Fetch(IndexFile* index, std::uint32_t number)
{
    IndexPage* buffer;
    if (TakeBuffer(&buffer) != 0)
        return -1;
    if (ReadPage(index, number, buffer) == 0)
        return AddInBuffer(index, number, buffer);
    cache.freeBuffers.push_back(buffer);
    return -1;
}

// The page, read into a buffer if it is not in memory, as the one used last.
int Find(IndexFile* index, std::uint32_t number, CachedPage** page)
{
    *page = FindPage(index, number);
    if (*page) {
        (*page)->ahead = false;
        OrderOf(*page).Touch(*page);
        return 0;
    }
    if (MakeRoom() != 0 || Fetch(index, number) != 0)
        return -1;
    *page = cache.buffered.newest;
    return 0;
}

// Leaves change too often for heads.
PagePosition SearchBuffer(const IndexPage& page, const SoughtItem& wanted, int allowDuplicates)
{
    return page.leftmost != 0 ? cache.heads[NumberOf(&page)].Search(page, wanted, allowDuplicates)
                              : SearchPage(page, wanted, allowDuplicates);
}

void MarkChanged(CachedPage* page)
{
    page->dirty = true;
    page->changed = ++pageClock;
}

int ItemsOf(const CachedPage& page)
{
    return page.buffer ? page.buffer->count : page.compact.count();
}

bool InsertInCompact(CachedPage* page, const PagePosition& at, const SoughtItem& item)
{
    cache.room -= RoomFor(page->compact);
    const bool done = page->compact.InsertInLeaf(at, item);
    cache.room += RoomFor(page->compact);
    if (done)
        MarkChanged(page);
    return done;
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

int InitIndex()
{
    if (cache.tapagestk)
        return SetError(taNoError);
    void* const images = std::calloc(PAGESTACKSIZE, sizeof(IndexPage));
    if (!images)
        return SetError(taNoMemory);
    cache.tapagestk.reset(static_cast<IndexPage*>(images));
    cache.holders = std::make_unique<CachedPage*[]>(PAGESTACKSIZE);
    cache.heads = std::make_unique<PageHeads[]>(PAGESTACKSIZE);
    cache.bucketHeads = std::make_unique<CachedPage*[]>(buckets);
    cache.freeBuffers.reserve(PAGESTACKSIZE);
    for (int n = PAGESTACKSIZE; n-- > 0;)
        cache.freeBuffers.push_back(&cache.tapagestk[std::size_t(n)]);
    return SetError(taNoError);
}

void UnInitIndex()
{
    for (UseOrder* order : { &cache.buffered, &cache.compacted })
        while (order->oldest)
            Remove(order->oldest);
    cache = PageCache();
}

bool HasPageCache()
{
    return cache.tapagestk != nullptr;
}

void SetCompactRoom(std::size_t bytes)
{
    compactRoom = bytes;
}

int tagetpage(IndexFile* index, std::uint32_t number, IndexPage** page)
{
    *page = nullptr;
    // The steps of a walk mostly stay on one page.
    CachedPage* found = cache.buffered.newest;
    if (!(found && Is(found, index, number)) && Find(index, number, &found) != 0)
        return -1;
    if (!found->buffer && Expand(found) != 0)
        return -1;
    *page = found->buffer;
    return 0;
}

int tasearchpage(IndexFile* index, std::uint32_t number, const SoughtItem& wanted,
                 PagePosition* position)
{
    CachedPage* found;
    if (Find(index, number, &found) != 0)
        return -1;
    *position = found->buffer ? SearchBuffer(*found->buffer, wanted, index->allowDuplicates)
                              : found->compact.Search(wanted, index->allowDuplicates);
    return 0;
}

int tanewpage(IndexFile* index, std::uint32_t* number, IndexPage** page)
{
    static constexpr std::uint8_t empty[PackedLength(longestKey)]{};
    *page = nullptr;
    // A chain of free pages that leads to one in use is damage.
    CachedPage* const there = FindPage(index, FirstRec(index->dataFile));
    if (there && !there->ahead)
        return SetError(taDamaged);
    if (there)
        Remove(there);
    IndexPage* buffer;
    if (MakeRoom() != 0 || TakeBuffer(&buffer) != 0)
        return -1;
    buffer->count = 0;
    buffer->leftmost = 0;
    if (AddRec(index->dataFile, number, empty) != 0) {
        cache.freeBuffers.push_back(buffer);
        return -1;
    }
    if (AddInBuffer(index, *number, buffer) != 0)
        return -1;
    *page = buffer;
    return 0;
}

bool taaddtoleaf(IndexFile* index, std::uint32_t number, const PagePosition& at,
                 const SoughtItem& item)
{
    CachedPage* const page = FindNewest(index, number);
    if (!page || ItemsOf(*page) == pageItems)
        return false;
    if (page->buffer) {
        InsertItem(page->buffer, at.position, item.Item());
        taupdatepage(page->buffer);
        return true;
    }
    return InsertInCompact(page, at, item);
}

bool taremovefromleaf(IndexFile* index, std::uint32_t number, int position)
{
    CachedPage* const page = FindNewest(index, number);
    const int least = number == index->rootPage ? 1 : pageOrder;
    if (!page || ItemsOf(*page) <= least)
        return false;
    if (page->buffer) {
        RemoveItem(page->buffer, position);
        taupdatepage(page->buffer);
        return true;
    }
    page->compact.RemoveFromLeaf(position);
    MarkChanged(page);
    return true;
}

int taitemsof(IndexFile* index, std::uint32_t number)
{
    CachedPage* page;
    return Find(index, number, &page) == 0 ? ItemsOf(*page) : -1;
}

int tasplitleaf(IndexFile* index, std::uint32_t number, int position, const SoughtItem& item,
                IndexPage* fresh, IndexItem* middle)
{
    CachedPage* leaf;
    if (Find(index, number, &leaf) != 0 || (leaf->buffer && Compact(leaf) != 0))
        return -1;
    CompactPage lower;
    CompactPage upper;
    if (!leaf->compact.SplitLeaf(position, item, index->allowDuplicates, &lower, &upper, middle))
        return SetError(taNoMemory);
    SetCompact(leaf, std::move(lower));
    CachedPage& other = PageOf(fresh);
    SetCompact(&other, std::move(upper));
    MarkChanged(&other);
    return Compact(&other);
}

void taupdatepage(IndexPage* page)
{
    CachedPage& changed = PageOf(page);
    cache.heads[NumberOf(page)].Forget();
    MarkChanged(&changed);
    SetCompact(&changed, CompactPage());
}

void taupdateleaf(IndexFile* index, std::uint32_t number)
{
    MarkChanged(FindPage(index, number));
}

void ForgetChanges(IndexPage* page)
{
    PageOf(page).dirty = false;
}

void SetRootPage(IndexFile* index, std::uint32_t number)
{
    index->rootPage = number;
    index->rootChange = ++pageClock;
}

int tareturnpage(IndexPage* page)
{
    CachedPage* const returned = &PageOf(page);
    DataFile* const file = returned->owner->dataFile;
    const std::uint32_t number = returned->number;
    Remove(returned);
    return DeleteRec(file, number);
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

void DropPages(IndexFile* index)
{
    index->fetches = 0;
    // Removing the first page makes the next one the first.
    while (index->firstPage)
        Remove(index->firstPage); // NOLINT(clang-analyzer-cplusplus.NewDelete)
}
