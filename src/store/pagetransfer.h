// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The way of pages from the file and back.

#pragma once

#include "store/cachedpages.h"

namespace Agent
{

// Pages that are neighbours in the file are read and written together, up to so many.
// They are read so once an index was asked for so many pages one by one, as most of
// them will be wanted then, if all of them have room in memory.
constexpr std::uint32_t neighboursAtOnce = 16;
constexpr std::uint32_t fetchesAlone = 32;

// Reads a page that is not in memory. Its neighbours may be there then too, in compact
// form, as if they had been used longest ago: if all pages of the index would fit into
// `room` bytes and that many are not in use yet. What cannot be a page is damage; a
// neighbour that cannot be one is left out.
int ReadPage(IndexFile* index, std::uint32_t number, std::size_t room, IndexPage* page);

int WritePage(CachedPage* page);

// As AddRec, for an empty page. A page out of the chain of free ones that is in the
// tree is damage.
int AddPageRecord(IndexFile* index, std::uint32_t* number);

// Whether an index has pages in memory, or a root, that its file does not have.
bool HasChanges(const IndexFile* index);

// Writes an index's changed pages. With flushing on, they are written in the order of
// the last changes, and the header too where the root moved; without, in the order
// of the file.
int WriteBackPages(IndexFile* index);

} // namespace Agent
