// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Moves pages between the file and memory.
//
// A transfer of one page costs four system calls, so pages that are next to each other in
// the file are transferred together where that is known to pay. What is read is checked
// here, once: everything after that may rely on the counts, the children and the ends of
// keys of a page in memory, but not on the order of its items.

#pragma once

#include "store/pagecache.h"

namespace Agent
{

// Adjacent pages move in one transfer of up to 16. Reading ahead starts after 32 single
// reads of an index, since most of its pages will be wanted then, and only if all of them
// have room in memory.
constexpr std::uint32_t neighboursAtOnce = 16;
constexpr std::uint32_t fetchesAlone = 32;

// Reads a page that is not in memory. Its neighbours may be put into memory as well, as
// the least recently used pages. A record that cannot be a page is damage; a neighbour
// that cannot be one is skipped, since it may be free.
int ReadPage(IndexFile* index, std::uint32_t number, Page* page);

int WritePage(CachedPage* page);

// Like AddRec, for an empty page. A page from the chain of free ones that is also in the
// tree is damage.
int AddPageRecord(IndexFile* index, std::uint32_t* number);

// Whether an index has pages in memory, or a root, that its file does not have.
bool HasChanges(const IndexFile* index);

// Writes an index's changed pages. With flushing on, they are written in the order of
// their last changes, with the header at the point where the root moved; without
// flushing, in the order of the file.
int WriteBackPages(IndexFile* index);

} // namespace Agent
