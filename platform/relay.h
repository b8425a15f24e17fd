// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The output of the front end: apt-get's lines, with progress lines between them.

#pragma once

#include "platform/child.h"
#include "platform/progress.h"

#include <chrono>
#include <functional>
#include <string>

// Writes a line; false when nobody reads it.
using Writer = std::function<bool(const std::string& line)>;

class Relay
{
public:
    // After a silence of this length the last progress line is repeated, so that a
    // reader that blocks for the next byte gets one.
    static constexpr std::chrono::milliseconds silence{ 200 };

    // With `progress`, status lines become progress lines.
    Relay(Child& child, bool progress, const Writer& write)
        : m_child(child), m_wanted(progress), m_write(write)
    {
    }

    void Line(const std::string& line); // one of apt-get's, ready to print
    void StatusLine(const std::string& line); // one from the status descriptor
    // To be called often.
    void Tick();

    // Receives the sizes in apt-get's lines.
    Progress& Sizes() { return m_progress; }

private:
    bool MayGoOn() const;

    Child& m_child;
    const bool m_wanted;
    const Writer& m_write;
    Progress m_progress;
    std::string m_lastProgress;
    std::string m_last;
    std::chrono::steady_clock::time_point m_time;
};
