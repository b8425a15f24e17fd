// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store/pagememory.h"

#include "store/indexpage.h"

#include <array>
#include <cstdint>
#include <new>
#include <sys/mman.h>

namespace Agent
{

namespace
{

// The sanitizer notices that a dropped page is used only if its memory is really free.
#ifdef __SANITIZE_ADDRESS__
constexpr bool usesRange = false;
#elif defined(__has_feature)
constexpr bool usesRange = !__has_feature(address_sanitizer);
#else
constexpr bool usesRange = true;
#endif

constexpr std::size_t hugePage = 2 * 1024 * 1024;
constexpr std::size_t ordinaryBytes = hugePage; // a small index should not take a huge page

// Blocks have whole cache lines.
constexpr std::size_t unit = 64;
constexpr std::size_t longestBlock = sizeof(IndexPage) + unit;

struct Block {
    Block* next;
};

// Blocks are taken from the beginning of the range on. Returned ones wait in a list of their
// size.
struct Range {
    std::uint8_t* mapped = nullptr;
    std::uint8_t* begin = nullptr;
    std::size_t taken = 0;
    std::size_t inUse = 0;
    std::array<Block*, longestBlock / unit> returned{};

    bool Contains(const void* block) const
    {
        return std::uintptr_t(block) - std::uintptr_t(begin) < taken;
    }
    bool Reserve();
    void* Take(std::size_t bytes);
    void Return(void* block, std::size_t bytes);
    void Release();
};

Range range;
std::size_t ordinaryInUse = 0;

// Memory is only used when it is first written.
bool Range::Reserve()
{
    if (mapped)
        return true;
    void* const address = mmap(nullptr, pageRangeBytes + hugePage, PROT_READ | PROT_WRITE,
                               MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (address == MAP_FAILED)
        return false;
    mapped = static_cast<std::uint8_t*>(address);
    begin = mapped + (hugePage - std::uintptr_t(mapped) % hugePage) % hugePage;
    madvise(begin, pageRangeBytes, MADV_HUGEPAGE);
    return true;
}

void* Range::Take(std::size_t bytes)
{
    Block*& first = returned.at(bytes / unit);
    if (!first && (!Reserve() || taken + bytes > pageRangeBytes))
        return nullptr;
    inUse += bytes;
    if (Block* const block = first) {
        first = block->next;
        return block;
    }
    taken += bytes;
    return begin + taken - bytes;
}

void Range::Return(void* block, std::size_t bytes)
{
    Block*& first = returned.at(bytes / unit);
    first = new (block) Block{ first };
    inUse -= bytes;
    if (inUse > 0)
        return;
    returned = {};
    taken = 0;
}

void Range::Release()
{
    if (mapped)
        munmap(mapped, pageRangeBytes + hugePage);
    *this = Range();
}

} // namespace

void* TakePageMemory(std::size_t bytes) noexcept
{
    bytes = (bytes + unit - 1) / unit * unit;
    if (usesRange && ordinaryInUse + bytes > ordinaryBytes)
        if (void* const block = range.Take(bytes))
            return block;
    void* const block = ::operator new(bytes, std::nothrow);
    ordinaryInUse += block ? bytes : 0;
    return block;
}

void ReturnPageMemory(void* block, std::size_t bytes) noexcept
{
    bytes = (bytes + unit - 1) / unit * unit;
    if (range.Contains(block))
        return range.Return(block, bytes);
    ::operator delete(block);
    ordinaryInUse -= bytes;
}

void FreePageMemory()
{
    if (range.inUse == 0)
        range.Release();
}

} // namespace Agent
