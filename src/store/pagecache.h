// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The pages of all open indexes that are in memory: up to 64 MiB of them, those used
// last. A changed page is written when it has to leave memory or its index is written.
//
// A pointer to a page stays good while one operation fetches less than PAGESTACKSIZE
// pages, which is more than any operation needs: a change fetches all its pages before
// it touches the first, and then cannot fail half-way.

#pragma once

#include "store/indexfile.h"
#include "store/page.h"

namespace Agent
{

// At least so many pages are kept, whatever room they take.
constexpr int PAGESTACKSIZE = 512;

// Bytes for pages and what is kept of them.
constexpr std::size_t standardPageRoom = 64 * 1024 * 1024;
void SetPageRoom(std::size_t bytes);

struct CachedPage : Page {
    CachedPage(IndexFile* index, std::uint32_t pageNumber, Page content)
        : Page(std::move(content)), owner(index), number(pageNumber)
    {
    }

    IndexFile* const owner;
    const std::uint32_t number;
    bool used = false; // since it last was the oldest
    bool dirty = false; // not in the file as it is here
    bool ahead = false; // read with another one, and not asked for yet
    CachedPage* nextInBucket = nullptr;
    std::uint64_t changed = 0; // when; counted over all pages and roots
    CachedPage *older = nullptr, *newer = nullptr;
    CachedPage *previousOfOwner = nullptr, *nextOfOwner = nullptr;
};

// The page, or -1 and null: it could not be read (or the page that had to make room
// could not be written), or is no page.
int tagetpage(IndexFile* index, std::uint32_t number, Page** page);

// A page with a new number, a freed one first; without items.
int tanewpage(IndexFile* index, std::uint32_t* number, Page** page);

// Says that a page was changed. With flushing on, pages are written in the order of
// these calls, by their last one: an operation makes them so that the file is whole,
// for every item that was in it before, between any two writes. Without, they are
// written in the order of the file.
void taupdatepage(Page* page);

// Takes that back, for a page that no longer belongs to the tree.
void ForgetChanges(Page* page);

// Sets the root, at this point in the order of writes.
void SetRootPage(IndexFile* index, std::uint32_t number);

// Frees the page's record and its memory.
int tareturnpage(Page* page);

// Keeps a page that nobody asked for, in the place of the page used longest ago.
void KeepAhead(IndexFile* index, std::uint32_t number, Page page);
bool IsInMemory(const IndexFile* index, std::uint32_t number);
// Whether all pages of an index have room in memory, and so many without another one
// leaving.
bool HasPageRoom(const IndexFile* index, std::uint32_t pages);

// Forgets all pages of an index, changed ones too.
void DropPages(IndexFile* index);
// Gives the memory of the pages back to the system if there is none left.
void GiveMemoryBack();

// Whether InitIndex was called.
bool HasPageCache();

} // namespace Agent

using Agent::tagetpage;
using Agent::tanewpage;
using Agent::tareturnpage;
using Agent::taupdatepage;
