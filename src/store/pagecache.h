// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The pages of all open indexes that are in memory, in the order of their last use. The
// most recently used ones are unpacked in buffers, where they are changed. The others are
// in a compact form, which is many times smaller, as long as there is room. Changed pages
// are written when they have to leave memory or their index is written back.
//
// A pointer to a page stays valid while an operation fetches at most PAGESTACKSIZE pages,
// which is far more than any operation needs: a change fetches all its pages before it
// modifies the first, and then cannot fail halfway.

#pragma once

#include "store/indexfile.h"
#include "store/indexpage.h"

namespace Agent
{

// The number of buffers; they take 4 MiB.
constexpr std::uint16_t PAGESTACKSIZE = 512;

// The bytes for pages in compact form, and for the entries of all pages in memory.
constexpr std::size_t standardCompactRoom = 9 * 1024 * 1024;
void SetCompactRoom(std::size_t bytes);

// Returns the page's address; -1 and null if it could not be read, is not a valid page,
// or the page that had to leave memory could not be written.
int tagetpage(IndexFile* index, std::uint32_t number, IndexPage** page);

// Searches a page for an item, in whichever form the page is in memory.
int tasearchpage(IndexFile* index, std::uint32_t number, const SoughtItem& wanted,
                 PagePosition* position);

// Inserts an item into a leaf, at the position found by the last search, or removes the
// one there, in whichever form the leaf is in memory. False, with nothing changed, if
// more pages than this one would have to change.
bool taaddtoleaf(IndexFile* index, std::uint32_t number, const PagePosition& at,
                 const SoughtItem& item);
bool taremovefromleaf(IndexFile* index, std::uint32_t number, int position);

// The number of items of a page, or -1.
int taitemsof(IndexFile* index, std::uint32_t number);

// Splits a full leaf in its compact form, as if the item were after the one at
// `position`. A new page gets the upper half; it is marked as changed, and has no buffer.
// The leaf itself still has to be marked with taupdateleaf.
int tasplitleaf(IndexFile* index, std::uint32_t number, int position, const SoughtItem& item,
                IndexPage* fresh, IndexItem* middle);

// Makes an empty page with a new number, preferably a freed one.
int tanewpage(IndexFile* index, std::uint32_t* number, IndexPage** page);

// Marks a page as changed. With flushing on, pages are written in the order of their last
// such call: operations choose that order so that the file contains every earlier item
// between any two writes. Without flushing, they are written in the order of the file.
void taupdatepage(IndexPage* page);
void taupdateleaf(IndexFile* index, std::uint32_t number);

// Undoes that, for a page that no longer belongs to the tree.
void ForgetChanges(IndexPage* page);

// Sets the root, at this point in the order of writes.
void SetRootPage(IndexFile* index, std::uint32_t number);

// Frees the page's record and its buffer.
int tareturnpage(IndexPage* page);

// Drops an index's pages, including changed ones.
void DropPages(IndexFile* index);

// Whether InitIndex was called.
bool HasPageCache();

} // namespace Agent

using Agent::tagetpage;
using Agent::tanewpage;
using Agent::tareturnpage;
using Agent::taupdatepage;
