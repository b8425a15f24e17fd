// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/translator.h"

#include "base/text.h"

#include <cctype>
#include <cstdlib>
#include <sstream>
#include <vector>

using Agent::BeginsWith;
using Agent::IsDigit;

namespace
{

// Removes the blank before the units of sizes: "0 B/1,234 kB" becomes "0B/1,234kB".
std::string JoinSizes(const std::string& text)
{
    std::string joined;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool beforeUnit = text[i] == ' ' && i > 0 && IsDigit(text[i - 1])
            && i + 1 < text.size()
            && (text[i + 1] == 'B' || (i + 2 < text.size() && text[i + 2] == 'B'));
        if (!beforeUnit)
            joined += text[i];
    }
    return joined;
}

// Reduces a "Get:" line to the fields that the readers count: number, site, section,
// package, version. apt may add the architecture of the index after the section, and that
// of the package after the package.
std::string TranslateGet(const std::string& line, Progress& progress)
{
    const auto bracket = line.find(" [");
    const std::string size
        = bracket == line.npos ? std::string() : JoinSizes(line.substr(bracket + 1));
    std::vector<std::string> fields;
    std::istringstream words(line.substr(0, bracket));
    for (std::string word; words >> word;)
        fields.push_back(word);
    // A refresh fetches files that are not packages.
    if (fields.size() < 5)
        return JoinSizes(line);
    const std::string& name = fields[fields.size() == 5 ? 3 : fields.size() - 3];
    progress.BeginItem(name, size.empty() ? 0 : SizeInBytes(size.substr(1)));
    std::string result
        = fields[0] + ' ' + fields[1] + ' ' + fields[2] + ' ' + name + ' ' + fields.back();
    return size.empty() ? result : result + ' ' + size;
}

} // namespace

double SizeInBytes(const std::string& text)
{
    std::string digits;
    std::size_t i = 0;
    for (; i < text.size() && (IsDigit(text[i]) || text[i] == ',' || text[i] == '.'); ++i) {
        if (text[i] != ',')
            digits += text[i];
    }
    while (i < text.size() && text[i] == ' ')
        ++i;
    const double factor = i < text.size() && text[i] == 'k' ? 1e3
        : i < text.size() && text[i] == 'M'                 ? 1e6
        : i < text.size() && text[i] == 'G'                 ? 1e9
                                                            : 1;
    return std::strtod(digits.c_str(), nullptr) * factor;
}

std::string Translate(const std::string& line, Progress& progress)
{
    const char needs[] = "Need to get ";
    if (BeginsWith(line, needs)) {
        const std::string joined = JoinSizes(line);
        progress.SetTotal(SizeInBytes(joined.substr(sizeof needs - 1)));
        return joined;
    }
    if (line == "The following packages have unmet dependencies:")
        return "E: " + line;
    return BeginsWith(line, "Get:") ? TranslateGet(line, progress) : line;
}

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
