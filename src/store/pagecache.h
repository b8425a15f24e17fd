// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The pages of all open indexes that are in memory: up to 64 MiB of those used most
// recently. A changed page is written when it has to leave memory or its index is written.
//
// A pointer to a page stays valid while an operation fetches fewer than PAGESTACKSIZE
// pages, which is far more than any operation needs: a change fetches all its pages before
// it modifies the first, and then cannot fail halfway.

#pragma once

#include "store/indexfile.h"
#include "store/page.h"

#include <new>

namespace Agent
{

// At least this number of pages is kept, whatever room they take.
constexpr int PAGESTACKSIZE = 512;

// The bytes for pages, with everything that is kept for each.
constexpr std::size_t standardPageRoom = 64 * 1024 * 1024;
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

// Returns the page's address; -1 and null if it could not be read, is not a valid page,
// or the page that had to leave memory could not be written.
int tagetpage(IndexFile* index, std::uint32_t number, Page** page);

// Makes an empty page with a new number, preferably a freed one.
int tanewpage(IndexFile* index, std::uint32_t* number, Page** page);

// Marks a page as changed. With flushing on, pages are written in the order of their last
// such call: operations choose that order so that the file contains every earlier item
// between any two writes. Without flushing, they are written in the order of the file.
void taupdatepage(Page* page);

// Undoes that, for a page that no longer belongs to the tree.
void ForgetChanges(Page* page);

// Sets the root, at this point in the order of writes.
void SetRootPage(IndexFile* index, std::uint32_t number);

// Frees the page's record and its memory.
int tareturnpage(Page* page);

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

using Agent::tagetpage;
using Agent::tanewpage;
using Agent::tareturnpage;
using Agent::taupdatepage;
