// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The pages of all open indexes that are in memory, in the order of their last
// use. Those used last stand unpacked in buffers, where they are worked on; the
// others in a compact form, many times smaller, and as many of them as there is
// room for. Changed pages are written when they have to leave memory or their
// index is written back.
//
// A pointer to a page stays good while one operation fetches no more pages than
// PAGESTACKSIZE, which is far more than any operation needs: a change fetches
// all its pages before it touches the first, and then cannot fail half-way.

#pragma once

#include "store/indexfile.h"
#include "store/indexpage.h"

namespace Agent
{

// Buffers, 4 MiB of them.
constexpr std::uint16_t PAGESTACKSIZE = 512;

// Bytes for pages in compact form, and what is kept of all pages in memory.
constexpr std::size_t standardCompactRoom = 9 * 1024 * 1024;
void SetCompactRoom(std::size_t bytes);

// The page's address, or -1 and null: it could not be read (or the page that
// had to make room could not be written), or is no page.
int tagetpage(IndexFile* index, std::uint32_t number, IndexPage** page);

// Looks for an item in a page, in whichever form the page is in memory.
int tasearchpage(IndexFile* index, std::uint32_t number, const SoughtItem& wanted,
                 PagePosition* position);

// Puts an item into a leaf, where the last search came to, or takes one out there,
// in whichever form the leaf is in memory. False, with nothing changed, if more pages
// than this one would have to change.
bool taaddtoleaf(IndexFile* index, std::uint32_t number, const PagePosition& at,
                 const SoughtItem& item);
bool taremovefromleaf(IndexFile* index, std::uint32_t number, int position);

// The number of items of a page, or -1.
int taitemsof(IndexFile* index, std::uint32_t number);

// Splits a full leaf in its compact form, as if the item stood behind the one at
// `position`. A fresh page gets the upper half and is marked as changed, but has
// no buffer then; the leaf is still to be marked, by taupdateleaf.
int tasplitleaf(IndexFile* index, std::uint32_t number, int position, const SoughtItem& item,
                IndexPage* fresh, IndexItem* middle);

// A page with a new number, a freed one first; without items.
int tanewpage(IndexFile* index, std::uint32_t* number, IndexPage** page);

// Says that a page was changed. With flushing on, pages are written in the order of
// these calls, by their last one: an operation makes them so that the file is whole,
// for every item that was in it before, between any two writes. Without, they are
// written in the order of the file.
void taupdatepage(IndexPage* page);
void taupdateleaf(IndexFile* index, std::uint32_t number);

// Takes that back, for a page that no longer belongs to the tree.
void ForgetChanges(IndexPage* page);

// Sets the root, at this point of that order.
void SetRootPage(IndexFile* index, std::uint32_t number);

// Frees the page's record and its buffer.
int tareturnpage(IndexPage* page);

// Forgets an index's pages, changed ones too.
void DropPages(IndexFile* index);

// Whether InitIndex was called.
bool HasPageCache();

} // namespace Agent

using Agent::tagetpage;
using Agent::tanewpage;
using Agent::tareturnpage;
using Agent::taupdatepage;
