// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The pages in memory: which pages there are, the form of each, and the order of their
// last use.

#pragma once

#include "store/compactpage.h"
#include "store/indexfile.h"
#include "store/indexpage.h"
#include "store/pageheads.h"

#include <cstdlib>
#include <memory>
#include <vector>

namespace Agent
{

// A page in memory. It has a buffer, or a compact form, or both if it was not changed
// since it got its buffer.
struct CachedPage {
    IndexFile* owner;
    std::uint32_t number;
    bool dirty; // differs from the page in the file
    bool ahead; // read together with another one, and not asked for yet
    CachedPage* nextInBucket;
    IndexPage* buffer;
    CompactPage compact;
    CachedPage *older, *newer; // neighbours by last use, among those with a buffer or without
    std::uint64_t changed; // on pageClock
    CachedPage *previousOfOwner, *nextOfOwner;
};

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

class CachedPages
{
public:
    // Allocates this number of buffers. False if there is no memory.
    bool Allocate(std::size_t buffers);
    bool isAllocated() const { return m_buffers != nullptr; }
    // Forgets all pages and frees the memory.
    void Clear();

    CachedPage* Find(const IndexFile* owner, std::uint32_t number) const
    {
        CachedPage* page = Bucket(owner, number);
        while (page && !Is(page, owner, number))
            page = page->nextInBucket;
        return page;
    }
    // The page, if it is the most recently used one of those in buffers, or of all.
    CachedPage* FindNewestInBuffer(const IndexFile* owner, std::uint32_t number) const
    {
        return IfIs(buffered.newest, owner, number);
    }
    CachedPage* FindNewest(const IndexFile* owner, std::uint32_t number) const
    {
        CachedPage* const page = FindNewestInBuffer(owner, number);
        return page ? page : IfIs(compacted.newest, owner, number);
    }

    // Adds a page, still without a form and a place in an order. Null if there is no
    // memory.
    CachedPage* Add(IndexFile* owner, std::uint32_t number);
    // Forgets a page, in whatever state it is. This frees its buffer.
    void Remove(CachedPage* page);

    // Sets the page's compact form, or removes it.
    void SetCompact(CachedPage* page, CompactPage compact);
    // Call it when a page's compact form has changed; `before` is its previous size.
    void CompactHasChanged(const CachedPage* page, std::size_t before)
    {
        m_room += page->compact.size() - before;
    }
    // Bytes in use outside the buffers.
    std::size_t room() const { return m_room; }

    // Null if none is free.
    IndexPage* TakeFreeBuffer();
    void FreeBuffer(IndexPage* buffer) { m_freeBuffers.push_back(buffer); }
    // Puts the page into the buffer, as the most recently used one.
    void SetBuffer(CachedPage* page, IndexPage* buffer);
    CachedPage& PageOf(const IndexPage* buffer) const { return *m_holders[NumberOf(buffer)]; }
    PageHeads& HeadsOf(const IndexPage* buffer) const { return m_heads[NumberOf(buffer)]; }

    UseOrder& OrderOf(const CachedPage* page) { return page->buffer ? buffered : compacted; }

    UseOrder buffered;
    UseOrder compacted; // pages without a buffer

private:
    static constexpr int bucketBits = 14;

    static bool Is(const CachedPage* page, const IndexFile* owner, std::uint32_t number)
    {
        return page->number == number && page->owner == owner;
    }
    static CachedPage* IfIs(CachedPage* page, const IndexFile* owner, std::uint32_t number)
    {
        return page && Is(page, owner, number) ? page : nullptr;
    }
    CachedPage*& Bucket(const IndexFile* owner, std::uint32_t number) const
    {
        const auto address = reinterpret_cast<std::uintptr_t>(owner) >> 4;
        const std::uint64_t mixed = (address ^ number) * 0x9e3779b97f4a7c15u;
        return m_buckets[mixed >> (64 - bucketBits)];
    }
    std::size_t NumberOf(const IndexPage* buffer) const
    {
        return std::size_t(buffer - m_buffers.get());
    }

    struct Free {
        void operator()(void* memory) const { std::free(memory); }
    };

    // From calloc, so that unused buffers take no memory.
    std::unique_ptr<IndexPage[], Free> m_buffers;
    std::unique_ptr<CachedPage*[]> m_holders; // the page in each buffer, by number
    std::unique_ptr<PageHeads[]> m_heads; // of inner pages, by buffer
    std::vector<IndexPage*> m_freeBuffers;
    std::unique_ptr<CachedPage*[]> m_buckets;
    std::size_t m_room = 0;
};

extern CachedPages cachedPages;

} // namespace Agent
