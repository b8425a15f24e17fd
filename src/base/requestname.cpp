// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/requestname.h"

#include "base/text.h"

#include <algorithm>

namespace Agent
{

namespace
{

constexpr std::string_view kept = "-._~";
constexpr std::string_view separators = "/?&=+:;,@!$'()*";

bool IsIn(std::string_view characters, char c)
{
    return characters.find(c) != std::string_view::npos;
}

// "http://host:port" in one form.
std::string ServerName(std::string_view server)
{
    std::string name;
    for (const char c : server)
        name += c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
    for (const auto& [scheme, port] :
         { std::pair<std::string_view, std::string_view>{ "http://", ":80" },
           { "https://", ":443" } }) {
        if (BeginsWith(name, scheme) && EndsWith(name, port))
            name.resize(name.size() - port.size());
    }
    return name;
}

} // namespace

std::string RequestName(std::string_view url)
{
    const auto scheme = url.find("://");
    const auto server = scheme == std::string_view::npos ? 0 : scheme + 3;
    const std::size_t path = std::min(url.find_first_of("/?", server), url.size());
    std::string name = ServerName(url.substr(0, path));
    for (std::size_t at = path; at < url.size(); ++at) {
        const int escaped = url[at] == '%' ? EscapedByte(url, at) : -1;
        const char c = escaped < 0 ? url[at] : char(escaped);
        if (IsLetterOrDigit(c) || IsIn(kept, c) || (escaped < 0 && IsIn(separators, c)))
            name += c;
        else
            AppendEscaped(name, c);
        at += escaped < 0 ? 0 : 2;
    }
    return name;
}

} // namespace Agent
