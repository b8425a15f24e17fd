// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Makes allocations fail on demand. Replaces operators new and delete: include it in one
// source file of a program only, and link the program with --wrap=calloc.

#pragma once

#include <cstdlib>
#include <new>

// Controls and counts the process's allocations during a piece of work.
class Memory
{
public:
    // The k-th allocation fails, counted from 0, or all from that one on.
    static void failFrom(int k, bool forGood)
    {
        s_left = k;
        s_forGood = forGood;
        s_failing = true;
        s_failed = false;
    }
    // Ends that. Returns whether there was a k-th allocation.
    static bool heal()
    {
        s_failing = false;
        return s_failed;
    }
    static bool fails()
    {
        if (!s_failing || s_left-- > 0)
            return false;
        s_failed = true;
        s_failing = s_forGood;
        s_left = 0;
        return true;
    }
    static void* take(std::size_t size)
    {
        void* const memory = fails() ? nullptr : std::malloc(size);
        s_inUse += memory != nullptr;
        return memory;
    }
    static void give(void* memory)
    {
        s_inUse -= memory != nullptr;
        std::free(memory);
    }
    // During a scope, no allocation fails, and none is counted.
    class Pause
    {
    public:
        Pause() : m_wasFailing(s_failing) { s_failing = false; }
        ~Pause() { s_failing = m_wasFailing; }
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;

    private:
        const bool m_wasFailing;
    };
    // The number of allocations that were not freed.
    static long inUse() { return s_inUse; }

private:
    inline static bool s_failing = false, s_forGood = false, s_failed = false;
    inline static int s_left = 0;
    inline static long s_inUse = 0;
};

inline void* TakeOrThrow(std::size_t size)
{
    if (void* const memory = Memory::take(size))
        return memory;
    throw std::bad_alloc();
}

// clang-format off
void* operator new(std::size_t size) { return TakeOrThrow(size); }
void* operator new[](std::size_t size) { return TakeOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Memory::take(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Memory::take(size); }
void operator delete(void* memory) noexcept { Memory::give(memory); }
void operator delete[](void* memory) noexcept { Memory::give(memory); }
void operator delete(void* memory, std::size_t) noexcept { Memory::give(memory); }
void operator delete[](void* memory, std::size_t) noexcept { Memory::give(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { Memory::give(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { Memory::give(memory); }
// clang-format on

// With --wrap, the linker redirects calls of calloc to this function.
extern "C" void* __real_calloc(std::size_t count, std::size_t size);
extern "C" void* __wrap_calloc(std::size_t count, std::size_t size)
{
    return Memory::fails() ? nullptr : __real_calloc(count, size);
}
