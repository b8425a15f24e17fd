// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What the reader of the front end gets: apt-get's lines, and progress lines between
// them.

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
    // A silence of this length brings the last progress line once more, so that a
    // reader that waits for the next byte gets one.
    static constexpr std::chrono::milliseconds Silence{ 200 };

    // With `progress` what the status descriptor says becomes progress lines.
    Relay(Child& child, bool progress, const Writer& write)
        : m_child(child), m_wanted(progress), m_write(write)
    {
    }

    void Line(const std::string& line); // one of apt-get's, as it is to be printed
    void StatusLine(const std::string& line); // one of the status descriptor's
    // To be called often.
    void Tick();

    // What the sizes in apt-get's lines go to.
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
