// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/errorlines.h"

#include <sstream>

namespace
{

bool BeginsWith(const std::string& line, const char* text)
{
    return line.rfind(text, 0) == 0;
}

} // namespace

std::optional<std::string> ErrorLines::Take(const std::string& line)
{
    NoteRemovals(line);
    if (!BeginsWith(line, "E:"))
        return line;
    if (m_holdsBack && BeginsWith(line, "E: Sub-process ")
        && line.find("dpkg returned an error code") != std::string::npos) {
        m_held.push_back(line);
        return std::nullopt;
    }
    m_others = true;
    return BeginsWith(line, "E: Packages need to be removed but remove is disabled") ? Named(line)
                                                                                     : line;
}

void ErrorLines::NoteRemovals(const std::string& line)
{
    if (line == "The following packages will be REMOVED:") {
        m_inRemovals = true;
        m_removals.clear();
        return;
    }
    m_inRemovals = m_inRemovals && BeginsWith(line, "  ");
    if (!m_inRemovals)
        return;
    std::istringstream names(line);
    for (std::string name; names >> name;) {
        if (name.back() == '*') // purged
            name.pop_back();
        m_removals.push_back(name);
    }
}

// The line with as many names as fit into it.
std::string ErrorLines::Named(const std::string& line) const
{
    constexpr std::size_t longest = 1900;
    std::string text = line.substr(0, line.find_last_not_of('.') + 1);
    std::size_t count = 0;
    for (; count < m_removals.size() && text.size() < longest; ++count)
        text += (count == 0 ? ": " : ", ") + m_removals[count];
    if (count < m_removals.size())
        text += " and " + std::to_string(m_removals.size() - count) + " more";
    return text;
}
