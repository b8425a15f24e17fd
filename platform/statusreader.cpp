// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/statusreader.h"

#include <cstdlib>

void LineReader::Feed(const char* data, std::size_t size, const Handler& handler)
{
    for (const char* end = data + size; data < end; ++data) {
        const auto c = static_cast<unsigned char>(*data);
        if (c == '\n') {
            handler(m_line);
            m_line.clear();
        } else if (c >= 0x20 && c != 0x7F && m_line.size() < MaxLine) {
            m_line += char(c);
        }
    }
}

void LineReader::Finish(const Handler& handler)
{
    if (!m_line.empty())
        handler(m_line);
    m_line.clear();
}

std::optional<Status> ParseStatus(const std::string& line)
{
    const auto first = line.find(':');
    const auto second = first == line.npos ? first : line.find(':', first + 1);
    const auto third = second == line.npos ? second : line.find(':', second + 1);
    if (third == line.npos)
        return std::nullopt;
    const std::string kind = line.substr(0, first);
    if (kind != "dlstatus" && kind != "pmstatus")
        return std::nullopt;
    const std::string number = line.substr(second + 1, third - second - 1);
    char* end = nullptr;
    const double percent = std::strtod(number.c_str(), &end);
    if (number.empty() || *end || !(percent >= 0 && percent <= 100))
        return std::nullopt;
    return Status{ kind == "dlstatus" ? Status::Phase::Download : Status::Phase::Install,
                   line.substr(first + 1, second - first - 1), percent, line.substr(third + 1) };
}
