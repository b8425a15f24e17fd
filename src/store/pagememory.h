// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The memory of pages. The first 2 MiB are ordinary memory. What is beyond them comes from
// one range of huge pages, which stays until the last page is gone and its indexes are
// closed: an index drops its pages whenever it is written, and the first use of memory that
// is new to the process costs more than reading a page into it. Huge pages also save most of
// the address translations of a search.

#pragma once

#include <cstddef>

namespace Agent
{

// The size of the range, and so the usual room for pages.
constexpr std::size_t pageRangeBytes = 64 * 1024 * 1024;

// Null if there is no memory.
void* TakePageMemory(std::size_t bytes) noexcept;
void ReturnPageMemory(void* block, std::size_t bytes) noexcept;

// Gives the range back to the system, if no page is in it.
void FreePageMemory();

// For std::unique_ptr.
struct ReturnBlock {
    std::size_t bytes;
    void operator()(void* block) const { ReturnPageMemory(block, bytes); }
};

} // namespace Agent
