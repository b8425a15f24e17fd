// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "query.h"

#include "storeerror.h"
#include "text.h"

#include <algorithm>

namespace
{

using Size = std::string::size_type;

const Size kMostParameters = 512;

std::string Decoded(const std::string& text)
{
    std::string result;
    if (!DecodePercent(text, result))
        throw RequestError("There is an incomplete percent escape in " + Quoted(text) + '.');
    if (result.find('\0') != std::string::npos)
        throw RequestError("There is a zero byte in " + Quoted(text) + '.');
    return result;
}

} // namespace

Query::Query(const std::string& text)
{
    for (Size start = 0; start < text.size();) {
        const Size end = std::min(text.find('&', start), text.size());
        const std::string parameter = text.substr(start, end - start);
        start = end + 1;
        if (parameter.empty())
            continue;
        if (m_parameters.size() == kMostParameters)
            throw RequestError("The request has more than 512 parameters.");
        const Size equals = std::min(parameter.find('='), parameter.size());
        const std::string raw = parameter.substr(std::min(equals + 1, parameter.size()));
        m_parameters.push_back({ Decoded(parameter.substr(0, equals)), { Decoded(raw), raw } });
    }
}

std::vector<Query::Value> Query::values(const std::string& name) const
{
    std::vector<Value> result;
    for (const Parameter& parameter : m_parameters) {
        if (parameter.name == name)
            result.push_back(parameter.value);
    }
    return result;
}
