// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Keeps the application responsive during long work of the library itself.

#pragma once

#include "util/desktop.h"

#include <QElapsedTimer>

namespace Agent
{

// Call Breathe() as often as the work allows: it processes events when the last pass
// was long enough ago, so short work never does.
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
