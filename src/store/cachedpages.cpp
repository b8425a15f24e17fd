// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/cachedpages.h"

#include <new>

namespace Agent
{

CachedPages cachedPages;

namespace
{

std::size_t RoomFor(const CompactPage& compact)
{
    return compact ? compact.size() + 16 : 0; // including the allocator's overhead
}

} // namespace

bool CachedPages::Allocate(std::size_t buffers)
{
    try {
        m_holders = std::make_unique<CachedPage*[]>(buffers);
        m_heads = std::make_unique<PageHeads[]>(buffers);
        m_buckets = std::make_unique<CachedPage*[]>(std::size_t(1) << bucketBits);
        m_freeBuffers.reserve(buffers);
        m_buffers.reset(static_cast<IndexPage*>(std::calloc(buffers, sizeof(IndexPage))));
    } catch (const std::bad_alloc&) {
    }
    if (!m_buffers) {
        *this = CachedPages();
        return false;
    }
    for (std::size_t n = buffers; n-- > 0;)
        FreeBuffer(&m_buffers[n]);
    return true;
}

void CachedPages::Clear()
{
    for (UseOrder* order : { &buffered, &compacted })
        while (order->oldest)
            Remove(order->oldest);
    *this = CachedPages();
}

CachedPage* CachedPages::Add(IndexFile* owner, std::uint32_t number)
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
    m_room += sizeof *page;
    return page;
}

void CachedPages::Remove(CachedPage* page)
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
        FreeBuffer(page->buffer);
    m_room -= RoomFor(page->compact) + sizeof *page;
    delete page;
}

void CachedPages::SetCompact(CachedPage* page, CompactPage compact)
{
    m_room -= RoomFor(page->compact);
    m_room += RoomFor(compact);
    page->compact = std::move(compact);
}

IndexPage* CachedPages::TakeFreeBuffer()
{
    if (m_freeBuffers.empty())
        return nullptr;
    IndexPage* const buffer = m_freeBuffers.back();
    m_freeBuffers.pop_back();
    return buffer;
}

void CachedPages::SetBuffer(CachedPage* page, IndexPage* buffer)
{
    page->buffer = buffer;
    m_holders[NumberOf(buffer)] = page;
    HeadsOf(buffer).Forget();
    buffered.LinkNewest(page);
}

} // namespace Agent
