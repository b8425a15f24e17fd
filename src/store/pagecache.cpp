// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/pagecache.h"

#include "store/pagetransfer.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

namespace Agent
{

namespace
{

// A change needs at most a page and its sibling on each level, a new page on each and a
// new root; for a new page that may be one of the tree, the way to it is followed.
static_assert(PAGESTACKSIZE > 2 * deepestTree + (deepestTree + 1) * (deepestTree + 1));

constexpr int bucketBits = 15;
// Bytes that a page takes at most.
constexpr std::size_t mostOfPage = sizeof(CachedPage) + pageItems * sizeof(IndexItem) + 64;

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

// Every page is in three lists: that of its bucket, by which it is found, that of all
// pages by last use, and that of its index.
struct PageCache {
    std::unique_ptr<CachedPage*[], Free> buckets;
    CachedPage* oldest = nullptr;
    CachedPage* newest = nullptr;
    CachedPage* last = nullptr; // asked for
    int count = 0;
    std::size_t used = 0; // bytes
    std::uint64_t clock = 0; // of changes
};

PageCache cache;
std::size_t pageRoom = standardPageRoom;

CachedPage*& Bucket(const IndexFile* owner, std::uint32_t number)
{
    const std::uint64_t mixed = reinterpret_cast<std::uintptr_t>(owner) * 0x9e3779b97f4a7c15u;
    return cache.buckets[((mixed >> (64 - bucketBits)) + number) & ((1u << bucketBits) - 1)];
}

CachedPage* Lookup(const IndexFile* owner, std::uint32_t number)
{
    CachedPage* page = Bucket(owner, number);
    // A search is about to read it, and usually it is in none of the nearer processor
    // caches. This is what a page of the usual 35 items needs.
    for (std::size_t at = 0; at < 1024; at += 64)
        __builtin_prefetch(reinterpret_cast<const char*>(page) + at);
    while (page && (page->number != number || page->owner != owner))
        page = page->nextInBucket;
    return page;
}

// ---- the order of use ----

void Unlink(CachedPage* page)
{
    (page->older ? page->older->newer : cache.oldest) = page->newer;
    (page->newer ? page->newer->older : cache.newest) = page->older;
}

void LinkNewest(CachedPage* page)
{
    page->older = cache.newest;
    page->newer = nullptr;
    (cache.newest ? cache.newest->newer : cache.oldest) = page;
    cache.newest = page;
}

void LinkOldest(CachedPage* page)
{
    page->older = nullptr;
    page->newer = cache.oldest;
    (cache.oldest ? cache.oldest->older : cache.newest) = page;
    cache.oldest = page;
}

// ---- pages come and go ----

// With what the allocator adds.
std::size_t RoomOf(const CachedPage* page)
{
    return sizeof *page + page->Memory() + 32;
}

// Adds a page that is still to get its place in the order of use.
CachedPage* Add(IndexFile* owner, std::uint32_t number, Page content)
{
    auto* const page = new (std::nothrow) CachedPage(owner, number, std::move(content));
    if (!page)
        return nullptr;
    CachedPage*& bucket = Bucket(owner, number);
    page->nextInBucket = bucket;
    bucket = page;
    page->nextOfOwner = owner->firstPage;
    if (owner->firstPage)
        owner->firstPage->previousOfOwner = page;
    owner->firstPage = page;
    ++cache.count;
    cache.used += RoomOf(page);
    return page;
}

void Drop(CachedPage* page)
{
    if (page == cache.last)
        cache.last = nullptr;
    Unlink(page);
    CachedPage** link = &Bucket(page->owner, page->number);
    while (*link != page)
        link = &(*link)->nextInBucket;
    *link = page->nextInBucket;
    if (page->nextOfOwner)
        page->nextOfOwner->previousOfOwner = page->previousOfOwner;
    (page->previousOfOwner ? page->previousOfOwner->nextOfOwner : page->owner->firstPage)
        = page->nextOfOwner;
    cache.used -= RoomOf(page);
    --cache.count;
    delete page;
}

// Pages leave memory until there is room for another. A page that was used since it last
// was the oldest is spared that time. This comes close to the order of last use, and a
// search only has to set a mark.
int MakeRoom()
{
    while (cache.count >= PAGESTACKSIZE && cache.used + mostOfPage > pageRoom) {
        CachedPage* const page = cache.oldest;
        if (page->used) {
            page->used = false;
            Unlink(page);
            LinkNewest(page);
            continue;
        }
        if (page->dirty && WritePage(page) != 0)
            return -1;
        Drop(page);
    }
    return 0;
}

int AddNewest(IndexFile* index, std::uint32_t number, Page content, CachedPage** page)
{
    *page = Add(index, number, std::move(content));
    if (!*page)
        return SetError(taNoMemory);
    LinkNewest(*page);
    return 0;
}

int Fetch(IndexFile* index, std::uint32_t number, CachedPage** page)
{
    Page content;
    if (MakeRoom() != 0 || ReadPage(index, number, &content) != 0)
        return -1;
    return AddNewest(index, number, std::move(content), page);
}

} // namespace

bool HasPageCache()
{
    return cache.buckets != nullptr;
}

void SetPageRoom(std::size_t bytes)
{
    pageRoom = bytes;
}

bool HasPageRoom(const IndexFile* index, std::uint32_t pages)
{
    const auto all = std::uint64_t(index->dataFile->header.recordCount);
    return all * std::uint64_t(PackedLength(index->keyLength)) <= pageRoom
        && cache.used + pages * mostOfPage <= pageRoom;
}

bool IsInMemory(const IndexFile* index, std::uint32_t number)
{
    return Lookup(index, number) != nullptr;
}

void ForgetChanges(Page* page)
{
    static_cast<CachedPage*>(page)->dirty = false;
}

void SetRootPage(IndexFile* index, std::uint32_t number)
{
    index->rootPage = number;
    index->dataFile->headerDirty = 1;
    index->rootChange = ++cache.clock;
}

void KeepAhead(IndexFile* index, std::uint32_t number, Page page)
{
    if (CachedPage* const kept = Add(index, number, std::move(page))) {
        kept->ahead = true;
        LinkOldest(kept);
    }
}

void DropPages(IndexFile* index)
{
    index->fetches = 0;
    // Dropping the first page makes the next one the first.
    while (index->firstPage)
        Drop(index->firstPage); // NOLINT(clang-analyzer-cplusplus.NewDelete)
}

} // namespace Agent

using namespace Agent;

int InitIndex()
{
    if (!cache.buckets)
        cache.buckets.reset(static_cast<CachedPage**>(
            std::calloc(std::size_t(1) << bucketBits, sizeof(CachedPage*))));
    return SetError(cache.buckets ? taNoError : taNoMemory);
}

void UnInitIndex()
{
    while (cache.oldest)
        Drop(cache.oldest);
    FreePageMemory();
    cache.buckets.reset();
}

int tagetpage(IndexFile* index, std::uint32_t number, Page** page)
{
    *page = nullptr;
    // The steps of a walk mostly stay on one page.
    if (cache.last && cache.last->number == number && cache.last->owner == index) {
        *page = cache.last;
        return 0;
    }
    CachedPage* found = Lookup(index, number);
    if (found) {
        found->used = true;
        found->ahead = false;
    } else if (Fetch(index, number, &found) != 0) {
        return -1;
    }
    *page = cache.last = found;
    return 0;
}

int tanewpage(IndexFile* index, std::uint32_t* number, Page** page)
{
    *page = nullptr;
    // A chain of free pages that leads to a page in use is damage.
    const CachedPage* const there = Lookup(index, FirstRec(index->dataFile));
    if (there && !there->ahead)
        return SetError(taDamaged);
    Page empty(index->keyLength);
    if (!empty)
        return SetError(taNoMemory);
    if (MakeRoom() != 0 || AddPageRecord(index, number) != 0)
        return -1;
    if (CachedPage* const free = Lookup(index, *number)) // read ahead
        Drop(free);
    CachedPage* added;
    if (AddNewest(index, *number, std::move(empty), &added) != 0) {
        DeleteRec(index->dataFile, *number);
        return SetError(taNoMemory);
    }
    *page = added;
    return 0;
}

void taupdatepage(Page* page)
{
    auto* const changed = static_cast<CachedPage*>(page);
    changed->dirty = true;
    changed->changed = ++cache.clock;
}

int tareturnpage(Page* page)
{
    auto* const returned = static_cast<CachedPage*>(page);
    DataFile* const file = returned->owner->dataFile;
    const std::uint32_t number = returned->number;
    Drop(returned);
    return DeleteRec(file, number);
}
