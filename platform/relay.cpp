// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/relay.h"

#include "base/text.h"
#include "platform/statusreader.h"

void Relay::Line(const std::string& line)
{
    if (!m_write(line))
        m_child.Interrupt();
    m_last = line;
    m_time = std::chrono::steady_clock::now();
}

void Relay::StatusLine(const std::string& line)
{
    const auto told = ParseStatus(line);
    if (!told)
        return;
    if (told->phase == Status::Phase::Install)
        m_child.DpkgWorks();
    // Not a package: this only says that dpkg starts another run.
    if (!m_wanted || told->item == "dpkg-exec")
        return;
    const std::string text = m_progress.Line(*told);
    if (text != m_lastProgress)
        Line(text);
    m_lastProgress = text;
}

void Relay::Tick()
{
    const auto quiet = std::chrono::steady_clock::now() - m_time;
    if (!m_lastProgress.empty() && quiet >= silence && !MayGoOn())
        Line(m_lastProgress);
}

// Whether the next line may continue the last one: a progress line in between would end an
// error or a list of packages for the reader.
bool Relay::MayGoOn() const
{
    for (const char* beginning : { "E:", "W:", "The following", " " }) {
        if (Agent::BeginsWith(m_last, beginning))
            return true;
    }
    return false;
}
