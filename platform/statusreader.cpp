// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/statusreader.h"

#include <cstdlib>

namespace
{

// The length of the character at `at`; 0 where there is none to be shown.
std::size_t PlainCharacter(const std::string& text, std::size_t at)
{
    const auto byte = [&text](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u;
    };
    const unsigned lead = byte(at), second = byte(at + 1);
    if (lead < 0x80)
        return lead >= 0x20 && lead != 0x7F;
    const std::size_t length = lead < 0xC2 ? 0
        : lead < 0xE0                      ? 2
        : lead < 0xF0                      ? 3
        : lead < 0xF5                      ? 4
                                           : 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80)
            return 0;
    }
    // Longer forms of what has a shorter one, and the second control characters.
    const bool wrong
        = (lead == 0xE0 || lead == 0xC2) ? second < 0xA0 : lead == 0xF0 && second < 0x90;
    return wrong ? 0 : length;
}

} // namespace

std::string PlainText(const std::string& text)
{
    std::string plain;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = PlainCharacter(text, at);
        plain.append(text, at, length);
        at += length ? length : 1;
    }
    return plain;
}

void LineReader::Feed(const char* data, std::size_t size, const Handler& handler)
{
    for (const char* end = data + size; data < end; ++data) {
        if (*data == '\n') {
            handler(PlainText(m_line));
            m_line.clear();
        } else if (m_line.size() < MaxLine) {
            m_line += *data;
        }
    }
}

void LineReader::Finish(const Handler& handler)
{
    if (!m_line.empty())
        handler(PlainText(m_line));
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
