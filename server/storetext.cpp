// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "server/storetext.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace
{

std::string Percent(unsigned char c)
{
    static const char digits[] = "0123456789ABCDEF";
    return { '%', digits[c >> 4], digits[c & 15] };
}

std::string DecodePercent(const std::string& text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool escape = text[i] == '%' && i + 2 < text.size()
            && std::isxdigit(static_cast<unsigned char>(text[i + 1]))
            && std::isxdigit(static_cast<unsigned char>(text[i + 2]));
        result += escape ? char(std::stoi(text.substr(i + 1, 2), nullptr, 16)) : text[i];
        i += escape ? 2 : 0;
    }
    return result;
}

} // namespace

std::string EscapeXml(const std::string& text)
{
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '"':
            result += "&quot;";
            break;
        default:
            result += static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? '?' : c;
        }
    }
    return result;
}

std::string EncodeForAgent(const std::string& text)
{
    // A text of blanks only would be taken for indentation, and dropped.
    const bool blank = text.find_first_not_of(' ') == std::string::npos;
    std::string encoded;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const bool plain = byte >= 0x20 && byte < 0x7F && !std::strchr("%+\\", c);
        if (plain && !(blank && c == ' '))
            encoded += c;
        else
            encoded += Percent(byte);
    }
    return EscapeXml(encoded);
}

std::vector<std::pair<std::string, std::string>> QueryParameters(const std::string& target)
{
    std::vector<std::pair<std::string, std::string>> parameters;
    const auto question = target.find('?');
    if (question == target.npos)
        return parameters;
    for (std::size_t start = question + 1; start < target.size();) {
        const auto end = std::min(target.find('&', start), target.size());
        const std::string part = target.substr(start, end - start);
        const auto equals = part.find('=');
        if (equals != part.npos)
            parameters.emplace_back(DecodePercent(part.substr(0, equals)),
                                    DecodePercent(part.substr(equals + 1)));
        start = end + 1;
    }
    return parameters;
}
