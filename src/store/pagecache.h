// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The pages of all open indexes that are in memory: a fixed number of buffers,
// the least recently used one given up first. Changed pages are written when
// their buffer is given up or their index is written back.
//
// A pointer to a page stays good while one operation fetches no more pages than
// PAGESTACKSIZE, which is far more than any operation needs: a change fetches
// all its pages before it touches the first, and then cannot fail half-way.

#pragma once

#include "store/indexfile.h"

// Buffers, 14.9 MiB of them when all are in use.
constexpr std::uint16_t PAGESTACKSIZE = 1900;

// The firstBuffer of an index that has no page in memory.
constexpr std::uint16_t noBuffer = 0xffff;

// The page's address, or -1 and null: it could not be read (or the page that
// had to make room could not be written), or is no page.
int tagetpage(IndexFile* index, std::uint32_t number, IndexPage** page);

// A page with a new number, a freed one first; all zeros.
int tanewpage(IndexFile* index, std::uint32_t* number, IndexPage** page);

// Says that a page was changed. Pages are written in the order of these calls,
// by their last one: an operation makes them so that the file is whole, for
// every item that was in it before, between any two writes.
void taupdatepage(IndexPage* page);

// Takes that back, for a page that no longer belongs to the tree.
void ForgetChanges(IndexPage* page);

// Sets the root, at this point of that order.
void SetRootPage(IndexFile* index, std::uint32_t number);

// Frees the page's record and its buffer.
int tareturnpage(IndexPage* page);

// Writes an index's changed pages. With flushing on, the header too where the
// root moved.
int WriteBackPages(IndexFile* index);

// Forgets an index's pages, changed ones too.
void DropPages(IndexFile* index);

// Whether InitIndex was called.
bool HasPageCache();
