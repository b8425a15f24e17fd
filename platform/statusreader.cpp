// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/statusreader.h"

#include "base/utf8.h"

#include <cstdlib>

namespace
{

// The length of the character at `at`; 0 for an invalid one and for control characters: the
// first 32, delete, and U+0080 to U+009F.
std::size_t PlainCharacter(const std::string& text, std::size_t at)
{
    const std::size_t length = Agent::Utf8Length(text, at);
    const auto byte = static_cast<unsigned char>(text[at]);
    const bool isControl = length == 1
        ? byte < 0x20 || byte == 0x7F
        : byte == 0xC2 && static_cast<unsigned char>(text[at + 1]) < 0xA0;
    return length == 0 || isControl ? 0 : length;
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
        } else if (m_line.size() < maxLine) {
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
