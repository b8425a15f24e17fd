// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Ctrl-C and SIGTERM: the work under way is asked to end, and requests that wait for the
// server are aborted. This ends the waits of the library, so that it cleans up.

#pragma once

#include <functional>

namespace Interrupt
{

// Catches the two signals from now on; there must be an application.
void install();

// Whether one has come.
bool received();

// What is to be done when one comes, as long as the object lives; at each one. It runs
// in the event loop.
class Handler
{
public:
    explicit Handler(std::function<void()> handler);
    ~Handler();
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;
};

} // namespace Interrupt
