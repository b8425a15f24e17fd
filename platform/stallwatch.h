// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Notices a server that sends almost nothing, for ever. apt's own time limit is for each
// read, so a byte now and then satisfies it.

#pragma once

#include <chrono>
#include <string>

class StallWatch
{
public:
    // `folder` is where apt writes unfinished downloads. At least 1 KB a second has to
    // arrive there, on average over `seconds`, while there is one.
    StallWatch(std::string folder, int seconds)
        : m_folder(std::move(folder)), m_seconds(seconds) { }

    // To be called often. Whether the download has stalled.
    bool HasStalled();

private:
    using Clock = std::chrono::steady_clock;

    const std::string m_folder;
    const int m_seconds;
    Clock::time_point m_since;
    long long m_size = -1; // at that time; -1 without a download
};
