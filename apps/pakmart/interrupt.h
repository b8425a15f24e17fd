// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Ctrl-C and SIGTERM: the current work is asked to end, and requests that wait for the
// server are aborted. This ends the library's waits, so that it can clean up.

#pragma once

#include <functional>

namespace Interrupt
{

// Catches the two signals from now on; an application object must exist.
void install();

// Whether one has come.
bool received();

// An action for each such signal, as long as the object lives. It runs in the event loop.
class Handler
{
public:
    explicit Handler(std::function<void()> handler);
    ~Handler();
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;
};

} // namespace Interrupt
