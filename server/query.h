// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The query text of a request, read as the agent writes it.

#pragma once

#include <string>
#include <vector>

// The values of a query like "?app_id[]=1&app_id[]=2", in order.
//
// Names and values are percent-decoded; a '+' is a plus sign, since package
// files have it in their names and the agent does not escape it.
class Query
{
public:
    struct Value {
        std::string decoded;
        std::string raw; // as it came
    };

    // `text` is what follows the '?'. Throws RequestError when it has more than
    // 512 parameters, or a broken escape or a zero byte in one.
    explicit Query(const std::string& text);

    std::vector<Value> values(const std::string& name) const;

private:
    struct Parameter {
        std::string name;
        Value value;
    };
    std::vector<Parameter> m_parameters;
};
