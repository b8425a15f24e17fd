// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Waiting for something outside the process while the host's window stays responsive.

#pragma once

#include "util/desktop.h"

#include <QElapsedTimer>
#include <functional>

namespace Agent
{

// One pass of the event loop, then a pause of a few milliseconds, which ends early
// when `fd` can be read or its other end is closed. Returns whether it can be read
// (true at its end, too). Without a descriptor (-1) it only passes and pauses. A wait
// is a loop of this.
bool PassEvents(int fd = -1);

// Passes events for this time.
void PassEventsFor(int milliseconds);

// Passes events while `work` runs in a thread of its own, until it has returned: for a
// system call that may take seconds, such as a sync. It must not touch anything that a
// slot may touch.
void PassEventsBeside(const std::function<void()>& work);

// Keeps the application responsive during long work of the library itself. Call Breathe() as often
// as the work allows: it processes events when the last pass was long enough ago, so short work
// never does.
class Pacer
{
public:
    Pacer() { m_since.start(); }
    void Breathe()
    {
        constexpr qint64 pause = 10; // milliseconds
        if (!m_since.hasExpired(pause))
            return;
        ProcessMessages();
        m_since.restart();
    }

private:
    QElapsedTimer m_since;
};

} // namespace Agent
