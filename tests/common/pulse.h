// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Measures how long the event loop was blocked: the longest time between two ticks of a
// timer of 10 ms, as long as the object lives.

#pragma once

#include <QElapsedTimer>
#include <QTimer>
#include <algorithm>

class Pulse
{
public:
    // Milliseconds that no gap takes. A busy machine makes any gap longer, ThreadSanitizer even
    // more so; what is promised is 50.
#ifdef __SANITIZE_THREAD__
    static constexpr qint64 tooLong = 5000;
#else
    static constexpr qint64 tooLong = 1000;
#endif

    Pulse()
    {
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { beat(); });
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.start(10);
        m_since.start();
    }
    int beats() const
    {
        return m_beats;
    }
    // In milliseconds, including the time since the last tick.
    qint64 longestGap() const
    {
        return std::max(m_longest, m_since.elapsed());
    }

private:
    void beat()
    {
        m_longest = std::max(m_longest, m_since.restart());
        ++m_beats;
    }

    QTimer m_timer;
    QElapsedTimer m_since;
    qint64 m_longest = 0;
    int m_beats = 0;
};
