// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// The pages of an index, for programs that look into them or repair them. A page of an
/// open index is in the page cache, in a form of its own; its image is a plain struct,
/// which can be packed into the form of the file.

#pragma once

#include "indexfile.h"

#include <cstdint>
#include <vantrelagent/export.h>

namespace Agent
{

/// A page in the page cache.
class Page;

constexpr int pageOrder = 25; ///< minimum items per page, except in the root
constexpr int pageItems = 2 * pageOrder; ///< maximum items per page
constexpr int longestKey = 150; ///< characters

/// An item of a page; 160 bytes.
struct IndexItem {
    std::uint32_t record; ///< of the data file
    std::uint32_t child; ///< page of the keys up to the next item; 0 in a leaf
    char key[152]; ///< zero-terminated
};

/// The image of a page; 8,168 bytes.
struct IndexPage {
    std::uint8_t count; ///< items in use, 0 to 50
    std::uint8_t unused[3]; ///< zero
    std::uint32_t leftmost; ///< page of the keys below item 1; 0 in a leaf
    IndexItem items[pageItems + 1]; ///< item 0 is not used

    /// The child to the right of item `position`; 0 means the leftmost one.
    std::uint32_t Child(int position) const
    {
        return position == 0 ? leftmost : items[position].child;
    }
};

/// Copies a page in memory.
VANTRELAGENT_EXPORT void ReadPageImage(const Page* page, IndexPage* image);
/// Gives a page in memory another content, for taupdatepage to mark. -1, with the page
/// unchanged, if it cannot have that: more than 50 items, or children on some sides only.
VANTRELAGENT_EXPORT int WritePageImage(Page* page, const IndexPage& image);

} // namespace Agent

/// Fetches a page, whose address stays valid until the next call for an index. -1, and
/// null, if it could not be read or is not a valid page, or if the page that had to leave
/// memory could not be written.
VANTRELAGENT_EXPORT int tagetpage(IndexFile* index, std::uint32_t number, Agent::Page** page);
/// Makes an empty page with a new number, preferably a freed one.
VANTRELAGENT_EXPORT int tanewpage(IndexFile* index, std::uint32_t* number, Agent::Page** page);
/// Marks a page as changed. With flushing on, pages are written in the order of their last
/// such call, otherwise in the order of the file.
VANTRELAGENT_EXPORT void taupdatepage(Agent::Page* page);
/// Frees a page's record and its memory.
VANTRELAGENT_EXPORT int tareturnpage(Agent::Page* page);

/// The order of an index: by key without regard to the case of ASCII letters, then, if
/// equal keys are allowed, by record number. -1, 0 or 1.
VANTRELAGENT_EXPORT int tacompkeys(const char* a, const char* b, std::uint32_t recordA,
                                   std::uint32_t recordB, int allowDuplicates);
/// Cuts a key.
VANTRELAGENT_EXPORT void taxkey(char* key, int length);

/// Converts an image in place into the form of the file, which has (keyLength + 9) * 50 + 8
/// bytes, unused ones zero.
VANTRELAGENT_EXPORT void tapack(Agent::IndexPage* page, int keyLength);
/// The reverse; false, with the bytes unchanged, if they cannot be a page.
VANTRELAGENT_EXPORT bool taunpack(Agent::IndexPage* page, int keyLength);
