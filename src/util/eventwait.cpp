// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "util/eventwait.h"

#include "util/desktop.h"

#include <atomic>
#include <chrono>
#include <poll.h>
#include <thread>

namespace Agent
{

namespace
{

// Long enough to leave the processor idle, short enough that nobody sees it.
constexpr int rest = 2; // milliseconds

} // namespace

bool PassEvents(int fd)
{
    ProcessMessages();
    pollfd waiting = { fd, POLLIN, 0 };
    // An interrupted pause is just shorter.
    return poll(&waiting, 1, rest) > 0;
}

void PassEventsFor(int milliseconds)
{
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
    while (Clock::now() < end)
        PassEvents();
}

void PassEventsBeside(const std::function<void()>& work)
{
    std::atomic<bool> done{ false };
    std::thread thread([&work, &done] {
        work();
        done = true;
    });
    while (!done)
        PassEvents();
    thread.join();
}

} // namespace Agent
