// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The pages of all open indexes that are in memory: up to 64 MiB of those used most
// recently. A changed page is written when it has to leave memory or its index is written.
//
// A pointer to a page stays valid while an operation fetches fewer than PAGESTACKSIZE
// pages, which is far more than any operation needs: a change fetches all its pages before
// it modifies the first, and then cannot fail halfway. With flushing on, an operation marks
// its pages (taupdatepage) in such an order that the file contains every earlier item between
// any two writes.

#pragma once

#include "store/indexfile.h"
#include "store/page.h"
#include "store/tapage.h"

#include <new>

namespace Agent
{

// At least this number of pages is kept, whatever room they take.
constexpr int PAGESTACKSIZE = 512;

// The bytes for pages, with everything that is kept for each.
constexpr std::size_t standardPageRoom = pageRangeBytes;
void SetPageRoom(std::size_t bytes);

struct CachedPage : Page {
    CachedPage(IndexFile* index, std::uint32_t pageNumber, Page content)
        : Page(std::move(content)), owner(index), number(pageNumber)
    {
    }

    static void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept
    {
        return TakePageMemory(bytes);
    }
    static void operator delete(void* page) { ReturnPageMemory(page, sizeof(CachedPage)); }

    IndexFile* const owner;
    const std::uint32_t number;
    bool used = false; // since it last was the oldest
    bool dirty = false; // differs from the page in the file
    bool ahead = false; // read together with another one, and not asked for yet
    CachedPage* nextInBucket = nullptr;
    std::uint64_t changed = 0; // when; counted over all pages and roots
    CachedPage *older = nullptr, *newer = nullptr;
    CachedPage *previousOfOwner = nullptr, *nextOfOwner = nullptr;
};

// Undoes taupdatepage, for a page that no longer belongs to the tree.
void ForgetChanges(Page* page);

// Sets the root, at this point in the order of writes.
void SetRootPage(IndexFile* index, std::uint32_t number);

// Keeps a page that was read ahead, as the least recently used one.
void KeepAhead(IndexFile* index, std::uint32_t number, Page page);
bool IsInMemory(const IndexFile* index, std::uint32_t number);
// Whether all pages of an index have room in memory, and this number of pages fits in
// without another one leaving.
bool HasPageRoom(const IndexFile* index, std::uint32_t pages);

// Drops an index's pages, including changed ones.
void DropPages(IndexFile* index);

// Whether InitIndex was called.
bool HasPageCache();

} // namespace Agent
