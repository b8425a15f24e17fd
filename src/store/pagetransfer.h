// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Pages on their way from the file into memory and back.

#pragma once

#include "store/pagecache.h"

namespace Agent
{

// Pages next to each other in the file are read and written together, up to 16 in one
// transfer. They are read so once an index was asked for 32 pages one by one, as most
// of them will be wanted then, if all pages of the index have room in memory.
constexpr std::uint32_t neighboursAtOnce = 16;
constexpr std::uint32_t fetchesAlone = 32;

// Reads a page that is not in memory. Its neighbours may be there then, as if they had
// been used longest ago. What cannot be a page is damage; a neighbour that cannot be one
// is left out.
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
