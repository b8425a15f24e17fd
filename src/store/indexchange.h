// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What inserting into an index and deleting from it have in common.

#pragma once

#include "store/indexfile.h"

#include <array>

// A page on the way from the root to where a key belongs.
struct WayLevel {
    std::uint32_t number;
    IndexPage* page;
    int position; // of the child the way goes on to; in a leaf, of the last item below the key
};

// Pages on a way are all in memory, and no page is on it twice.
struct Way {
    std::array<WayLevel, deepestTree> levels;
    int depth = 0;

    WayLevel& last() { return levels[std::size_t(depth - 1)]; }
    WayLevel& operator[](int level) { return levels[std::size_t(level)]; }
};

// Fetches a page and puts it at the end of the way, position not yet set. What
// leads too deep or in a circle is damage.
int Follow(IndexFile* index, std::uint32_t number, Way* way);

// What every change of an index begins and ends with: with flushing on, at the
// file. EndChange is given what the change came to and returns what is left of
// that. A change that failed is dropped from memory.
int BeginChange(IndexFile* index);
int EndChange(IndexFile* index, int result);
