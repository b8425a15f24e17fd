// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/progress.h"

#include "base/text.h"

#include <algorithm>

namespace
{

// dpkg's progress with a package, derived from its message. Each package goes through these
// steps in this order.
int StepPercent(const std::string& text)
{
    const auto begins = [&text](const char* word) { return Agent::BeginsWith(text, word); };
    if (begins("Installed") || begins("Removed") || begins("Completely removed"))
        return 100;
    if (begins("Configuring"))
        return 80;
    if (begins("Preparing to configure"))
        return 60;
    if (begins("Unpacking") || begins("Removing"))
        return 40;
    return 20;
}

} // namespace

void Progress::BeginItem(const std::string& name, double bytes)
{
    m_before += m_size;
    m_size = bytes;
    m_name = name;
    ++m_number;
}

// apt reports the progress of all downloads together; that of the current one is what
// remains after the finished ones.
int Progress::DownloadPercent(double percent) const
{
    if (m_total <= 0 || m_size <= 0)
        return int(percent);
    const double bytes = m_total * percent / 100 - m_before;
    return std::clamp(int(bytes * 100 / m_size), 0, 100);
}

std::string Progress::Line(const Status& status)
{
    const bool download = status.phase == Status::Phase::Download;
    m_downloads = m_downloads || download;
    const double half = status.percent / 2;
    const double share = download ? half : m_downloads ? 50 + half : status.percent;
    m_overall = std::clamp(int(share), m_overall, 100);
    const int item = download ? DownloadPercent(status.percent) : StepPercent(status.text);
    const std::string what = !download ? status.item
        : m_number == 0                ? "Connecting"
                                       : std::to_string(m_number) + ' ' + m_name;
    return std::to_string(m_overall) + "% [" + what + ' ' + std::to_string(item) + "%]";
}
