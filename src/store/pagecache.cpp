// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/pagecache.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace
{

using BufferNumber = std::uint16_t;
constexpr BufferNumber none = noBuffer;

// A change needs at most a page and its sibling on each level, a new page on
// each, and a new root.
static_assert(PAGESTACKSIZE > 3 * deepestTree + 1 && PAGESTACKSIZE < none);

// What is known of a buffer beside its page image.
struct Buffer {
    IndexFile* owner; // null: free
    std::uint32_t number; // of the page
    bool dirty;
    std::uint64_t changed; // on pageClock
    BufferNumber older, newer; // neighbours by last use
    BufferNumber nextInBucket;
    BufferNumber previousOfOwner, nextOfOwner;
};

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

constexpr std::size_t buckets = 4096;

// The images come from calloc and stay untouched until they are used, so that
// small indexes take little memory.
std::unique_ptr<IndexPage[], Free> tapagestk;
std::unique_ptr<Buffer[]> bufferStates;
std::unique_ptr<BufferNumber[]> bucketHeads;
BufferNumber oldest = none;
BufferNumber newest = none;
std::uint64_t pageClock = 0;

BufferNumber& Bucket(const IndexFile* owner, std::uint32_t number)
{
    const auto address = reinterpret_cast<std::uintptr_t>(owner) >> 4;
    const std::uint64_t mixed = (address ^ number) * 0x9e3779b97f4a7c15u;
    return bucketHeads[mixed >> 52];
}
static_assert(buckets == std::size_t(1) << (64 - 52));

// ---- the order of use ----

void Unlink(BufferNumber n)
{
    const Buffer& b = bufferStates[n];
    (b.older == none ? oldest : bufferStates[b.older].newer) = b.newer;
    (b.newer == none ? newest : bufferStates[b.newer].older) = b.older;
}

void LinkNewest(BufferNumber n)
{
    Buffer& b = bufferStates[n];
    b.older = newest;
    b.newer = none;
    (newest == none ? oldest : bufferStates[newest].newer) = n;
    newest = n;
}

void LinkOldest(BufferNumber n)
{
    Buffer& b = bufferStates[n];
    b.older = none;
    b.newer = oldest;
    (oldest == none ? newest : bufferStates[oldest].older) = n;
    oldest = n;
}

void Touch(BufferNumber n)
{
    if (n == newest)
        return;
    Unlink(n);
    LinkNewest(n);
}

// ---- who owns what ----

BufferNumber FindBuffer(const IndexFile* owner, std::uint32_t number)
{
    BufferNumber n = Bucket(owner, number);
    while (n != none && (bufferStates[n].owner != owner || bufferStates[n].number != number))
        n = bufferStates[n].nextInBucket;
    return n;
}

void Take(BufferNumber n, IndexFile* owner, std::uint32_t number)
{
    Buffer& b = bufferStates[n];
    b.owner = owner;
    b.number = number;
    b.dirty = false;
    BufferNumber& bucket = Bucket(owner, number);
    b.nextInBucket = bucket;
    bucket = n;
    b.previousOfOwner = none;
    b.nextOfOwner = owner->firstBuffer;
    if (owner->firstBuffer != none)
        bufferStates[owner->firstBuffer].previousOfOwner = n;
    owner->firstBuffer = n;
}

void Release(BufferNumber n)
{
    Buffer& b = bufferStates[n];
    if (!b.owner)
        return;
    BufferNumber* link = &Bucket(b.owner, b.number);
    while (*link != n)
        link = &bufferStates[*link].nextInBucket;
    *link = b.nextInBucket;
    if (b.nextOfOwner != none)
        bufferStates[b.nextOfOwner].previousOfOwner = b.previousOfOwner;
    (b.previousOfOwner == none ? b.owner->firstBuffer : bufferStates[b.previousOfOwner].nextOfOwner)
        = b.nextOfOwner;
    b.owner = nullptr;
    b.dirty = false;
}

void ReleaseFirst(BufferNumber n)
{
    Release(n);
    Unlink(n);
    LinkOldest(n);
}

BufferNumber NumberOf(const IndexPage* page)
{
    return BufferNumber(page - tapagestk.get());
}

// ---- transfers ----

int WritePage(BufferNumber n)
{
    Buffer& b = bufferStates[n];
    PackPage(tapagestk[n], b.owner->keyLength, tarecbuf);
    if (PutRec(b.owner->dataFile, b.number, tarecbuf) != 0)
        return -1;
    b.dirty = false;
    return 0;
}

int ReadPage(IndexFile* index, std::uint32_t number, IndexPage* page)
{
    const auto pages = std::uint32_t(index->dataFile->header.recordCount);
    if (number == 0 || number >= pages)
        return SetError(taDamaged);
    if (GetRec(index->dataFile, number, tarecbuf) != 0)
        return -1;
    const bool sound = UnpackPage(tarecbuf, index->keyLength, pages, page) && page->count > 0;
    return SetError(sound ? taNoError : taDamaged);
}

// Makes the buffer used longest ago free.
int GiveUpOldest(BufferNumber* n)
{
    *n = oldest;
    if (bufferStates[*n].dirty && WritePage(*n) != 0)
        return -1;
    Release(*n);
    return 0;
}

std::vector<BufferNumber> ChangedPages(const IndexFile* index)
{
    std::vector<BufferNumber> changed;
    for (BufferNumber n = index->firstBuffer; n != none; n = bufferStates[n].nextOfOwner)
        if (bufferStates[n].dirty)
            changed.push_back(n);
    std::sort(changed.begin(), changed.end(), [](BufferNumber a, BufferNumber b) {
        return bufferStates[a].changed < bufferStates[b].changed;
    });
    return changed;
}

int WriteMovedRoot(IndexFile* index)
{
    DataFile* const file = index->dataFile;
    if (!file->flushing || file->header.rootPage == std::int32_t(index->rootPage))
        return 0;
    file->header.rootPage = std::int32_t(index->rootPage);
    TaCloseFile(file);
    return taerror == taNoError ? 0 : -1;
}

} // namespace

int InitIndex()
{
    if (tapagestk)
        return SetError(taNoError);
    void* const images = std::calloc(PAGESTACKSIZE, sizeof(IndexPage));
    if (!images)
        return SetError(taNoMemory);
    tapagestk.reset(static_cast<IndexPage*>(images));
    bufferStates = std::make_unique<Buffer[]>(PAGESTACKSIZE);
    bucketHeads = std::make_unique<BufferNumber[]>(buckets);
    std::fill_n(bucketHeads.get(), buckets, none);
    oldest = newest = none;
    for (BufferNumber n = 0; n < PAGESTACKSIZE; ++n)
        LinkNewest(n);
    return SetError(taNoError);
}

void UnInitIndex()
{
    tapagestk.reset();
    bufferStates.reset();
    bucketHeads.reset();
}

bool HasPageCache()
{
    return tapagestk != nullptr;
}

int tagetpage(IndexFile* index, std::uint32_t number, IndexPage** page)
{
    *page = nullptr;
    BufferNumber n = FindBuffer(index, number);
    if (n == none) {
        if (GiveUpOldest(&n) != 0 || ReadPage(index, number, &tapagestk[n]) != 0)
            return -1;
        Take(n, index, number);
    }
    Touch(n);
    *page = &tapagestk[n];
    return 0;
}

int tanewpage(IndexFile* index, std::uint32_t* number, IndexPage** page)
{
    *page = nullptr;
    // A chain of free pages that leads to one in use is damage.
    if (FindBuffer(index, FirstRec(index->dataFile)) != none)
        return SetError(taDamaged);
    BufferNumber n;
    if (GiveUpOldest(&n) != 0)
        return -1;
    std::memset(static_cast<void*>(&tapagestk[n]), 0, sizeof(IndexPage));
    static constexpr std::uint8_t empty[PackedLength(longestKey)]{};
    if (AddRec(index->dataFile, number, empty) != 0)
        return -1;
    Take(n, index, *number);
    Touch(n);
    *page = &tapagestk[n];
    return 0;
}

void taupdatepage(IndexPage* page)
{
    Buffer& b = bufferStates[NumberOf(page)];
    b.dirty = true;
    b.changed = ++pageClock;
}

void ForgetChanges(IndexPage* page)
{
    bufferStates[NumberOf(page)].dirty = false;
}

void SetRootPage(IndexFile* index, std::uint32_t number)
{
    index->rootPage = number;
    index->rootChange = ++pageClock;
}

int tareturnpage(IndexPage* page)
{
    const BufferNumber n = NumberOf(page);
    const Buffer& b = bufferStates[n];
    DataFile* const file = b.owner->dataFile;
    const std::uint32_t number = b.number;
    ReleaseFirst(n);
    return DeleteRec(file, number);
}

int WriteBackPages(IndexFile* index)
{
    for (const BufferNumber n : ChangedPages(index)) {
        if (bufferStates[n].changed > index->rootChange && WriteMovedRoot(index) != 0)
            return -1;
        if (WritePage(n) != 0)
            return -1;
    }
    return WriteMovedRoot(index);
}

void DropPages(IndexFile* index)
{
    while (index->firstBuffer != none)
        ReleaseFirst(index->firstBuffer);
}
