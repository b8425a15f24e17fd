// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Ctrl-C and SIGTERM: what is under way is asked to end, and the requests that wait
// for the server are aborted. Their end is the end of what the library waits for, so
// that it cleans up behind itself.

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
