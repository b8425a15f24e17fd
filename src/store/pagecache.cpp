// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/pagecache.h"

#include "store/cachedpages.h"
#include "store/pagetransfer.h"
#include "store/soughtitem.h"

namespace Agent
{

namespace
{

// A change needs at most a page, its sibling and a new page on each level, and a new
// root.
static_assert(PAGESTACKSIZE > 3 * deepestTree + 1);

std::size_t compactRoom = standardCompactRoom;
std::uint64_t pageClock = 0;

int AddInBuffer(IndexFile* owner, std::uint32_t number, IndexPage* buffer)
{
    CachedPage* const page = cachedPages.Add(owner, number);
    if (!page) {
        cachedPages.FreeBuffer(buffer);
        return SetError(taNoMemory);
    }
    cachedPages.SetBuffer(page, buffer);
    return 0;
}

// Removes the least recently used pages from memory until there is room.
int MakeRoom()
{
    while (cachedPages.room() > compactRoom && cachedPages.compacted.oldest) {
        CachedPage* const page = cachedPages.compacted.oldest;
        if (page->dirty && WritePage(page) != 0)
            return -1;
        cachedPages.Remove(page);
    }
    return 0;
}

// Makes the page compact and frees its buffer.
int Compact(CachedPage* page)
{
    if (!page->compact)
        cachedPages.SetCompact(page, CompactPage(*page->buffer));
    if (!page->compact)
        return SetError(taNoMemory);
    cachedPages.FreeBuffer(page->buffer);
    cachedPages.buffered.Unlink(page);
    page->buffer = nullptr;
    cachedPages.compacted.LinkNewest(page);
    return 0;
}

int TakeBuffer(IndexPage** buffer)
{
    *buffer = cachedPages.TakeFreeBuffer();
    if (*buffer)
        return 0;
    if (Compact(cachedPages.buffered.oldest) != 0)
        return -1;
    *buffer = cachedPages.TakeFreeBuffer();
    return 0;
}

int Expand(CachedPage* page)
{
    IndexPage* buffer;
    if (TakeBuffer(&buffer) != 0)
        return -1;
    page->compact.Expand(buffer);
    cachedPages.compacted.Unlink(page);
    cachedPages.SetBuffer(page, buffer);
    return 0;
}

int Fetch(IndexFile* index, std::uint32_t number)
{
    IndexPage* buffer;
    if (TakeBuffer(&buffer) != 0)
        return -1;
    if (ReadPage(index, number, compactRoom, buffer) == 0)
        return AddInBuffer(index, number, buffer);
    cachedPages.FreeBuffer(buffer);
    return -1;
}

// Returns the page as the most recently used one; reads it into a buffer if it is not in
// memory.
int Find(IndexFile* index, std::uint32_t number, CachedPage** page)
{
    *page = cachedPages.Find(index, number);
    if (*page) {
        (*page)->ahead = false;
        cachedPages.OrderOf(*page).Touch(*page);
        return 0;
    }
    if (MakeRoom() != 0 || Fetch(index, number) != 0)
        return -1;
    *page = cachedPages.buffered.newest;
    return 0;
}

// Leaves change too often for PageHeads.
PagePosition SearchBuffer(const IndexPage& page, const SoughtItem& wanted, int allowDuplicates)
{
    return page.leftmost != 0 ? cachedPages.HeadsOf(&page).Search(page, wanted, allowDuplicates)
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
    const std::size_t before = page->compact.size();
    if (!page->compact.InsertInLeaf(at, item))
        return false;
    cachedPages.CompactHasChanged(page, before);
    MarkChanged(page);
    return true;
}

} // namespace

bool HasPageCache()
{
    return cachedPages.isAllocated();
}

void SetCompactRoom(std::size_t bytes)
{
    compactRoom = bytes;
}

int tagetpage(IndexFile* index, std::uint32_t number, IndexPage** page)
{
    *page = nullptr;
    // Most steps of a walk stay on one page.
    CachedPage* found = cachedPages.FindNewestInBuffer(index, number);
    if (!found && Find(index, number, &found) != 0)
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
    *page = nullptr;
    // A chain of free pages that leads to one in use is damage.
    CachedPage* const there = cachedPages.Find(index, FirstRec(index->dataFile));
    if (there && !there->ahead)
        return SetError(taDamaged);
    if (there)
        cachedPages.Remove(there);
    IndexPage* buffer;
    if (MakeRoom() != 0 || TakeBuffer(&buffer) != 0)
        return -1;
    buffer->count = 0;
    buffer->leftmost = 0;
    if (AddPageRecord(index, number) != 0) {
        cachedPages.FreeBuffer(buffer);
        return -1;
    }
    // The free page may have been read ahead just now, while AddPageRecord searched the
    // tree.
    if (CachedPage* const ahead = cachedPages.Find(index, *number))
        cachedPages.Remove(ahead);
    if (AddInBuffer(index, *number, buffer) != 0) {
        DeleteRec(index->dataFile, *number);
        return SetError(taNoMemory);
    }
    *page = buffer;
    return 0;
}

bool taaddtoleaf(IndexFile* index, std::uint32_t number, const PagePosition& at,
                 const SoughtItem& item)
{
    CachedPage* const page = cachedPages.FindNewest(index, number);
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
    CachedPage* const page = cachedPages.FindNewest(index, number);
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
    // The leaf may have left memory and changed meanwhile.
    if (!leaf->compact.IsLeaf() || leaf->compact.count() != pageItems)
        return SetError(taDamaged);
    CompactPage lower;
    CompactPage upper;
    if (!leaf->compact.SplitLeaf(position, item, index->allowDuplicates, &lower, &upper, middle))
        return SetError(taNoMemory);
    cachedPages.SetCompact(leaf, std::move(lower));
    CachedPage& other = cachedPages.PageOf(fresh);
    cachedPages.SetCompact(&other, std::move(upper));
    MarkChanged(&other);
    return Compact(&other);
}

void taupdatepage(IndexPage* page)
{
    CachedPage& changed = cachedPages.PageOf(page);
    cachedPages.HeadsOf(page).Forget();
    MarkChanged(&changed);
    cachedPages.SetCompact(&changed, CompactPage());
}

void taupdateleaf(IndexFile* index, std::uint32_t number)
{
    MarkChanged(cachedPages.Find(index, number));
}

void ForgetChanges(IndexPage* page)
{
    cachedPages.PageOf(page).dirty = false;
}

void SetRootPage(IndexFile* index, std::uint32_t number)
{
    index->rootPage = number;
    index->dataFile->headerDirty = 1;
    index->rootChange = ++pageClock;
}

int tareturnpage(IndexPage* page)
{
    CachedPage* const returned = &cachedPages.PageOf(page);
    DataFile* const file = returned->owner->dataFile;
    const std::uint32_t number = returned->number;
    cachedPages.Remove(returned);
    return DeleteRec(file, number);
}

void DropPages(IndexFile* index)
{
    index->fetches = 0;
    // Removing the first page makes the next one the first.
    while (index->firstPage)
        cachedPages.Remove(index->firstPage); // NOLINT(clang-analyzer-cplusplus.NewDelete)
}

} // namespace Agent

int InitIndex()
{
    if (Agent::HasPageCache() || Agent::cachedPages.Allocate(Agent::PAGESTACKSIZE))
        return SetError(taNoError);
    return SetError(taNoMemory);
}

void UnInitIndex()
{
    Agent::cachedPages.Clear();
}
