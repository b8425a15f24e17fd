// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Allocations that fail when a test says so. The program's own operators new and
// delete: for one source file of a program, which is linked with --wrap=calloc.

#pragma once

#include <cstdlib>
#include <new>

// Allocations of the process while a piece of work goes on.
class Memory
{
public:
    // The k-th allocation fails, counted from 0, or all from that one on.
    static void FailFrom(int k, bool forGood)
    {
        s_left = k;
        s_forGood = forGood;
        s_failing = true;
        s_failed = false;
    }
    // Whether there was a k-th one.
    static bool Heal()
    {
        s_failing = false;
        return s_failed;
    }
    static bool Fails()
    {
        if (!s_failing || s_left-- > 0)
            return false;
        s_failed = true;
        s_failing = s_forGood;
        s_left = 0;
        return true;
    }
    static void* Take(std::size_t size)
    {
        void* const memory = Fails() ? nullptr : std::malloc(size);
        s_inUse += memory != nullptr;
        return memory;
    }
    static void Give(void* memory)
    {
        s_inUse -= memory != nullptr;
        std::free(memory);
    }
    // None fails, and none counts, for the length of a block.
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
    // Allocations that were not given back.
    static long inUse() { return s_inUse; }

private:
    inline static bool s_failing = false, s_forGood = false, s_failed = false;
    inline static int s_left = 0;
    inline static long s_inUse = 0;
};

inline void* TakeOrThrow(std::size_t size)
{
    if (void* const memory = Memory::Take(size))
        return memory;
    throw std::bad_alloc();
}

// clang-format off
void* operator new(std::size_t size) { return TakeOrThrow(size); }
void* operator new[](std::size_t size) { return TakeOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Memory::Take(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Memory::Take(size); }
void operator delete(void* memory) noexcept { Memory::Give(memory); }
void operator delete[](void* memory) noexcept { Memory::Give(memory); }
void operator delete(void* memory, std::size_t) noexcept { Memory::Give(memory); }
void operator delete[](void* memory, std::size_t) noexcept { Memory::Give(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { Memory::Give(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { Memory::Give(memory); }
// clang-format on

// The linker has the program call this one.
extern "C" void* __real_calloc(std::size_t count, std::size_t size);
extern "C" void* __wrap_calloc(std::size_t count, std::size_t size)
{
    return Memory::Fails() ? nullptr : __real_calloc(count, size);
}
