// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The XML document of a reply.

#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

// The reply of a successful call, built from the outside in.
class Reply
{
public:
    using Attributes = std::map<std::string, std::string>;

    Reply();

    void open(const std::string& name, const Attributes& attributes = {});
    void close();

    // An element whose text the client decodes.
    void text(const std::string& name, const std::string& value, const Attributes& attributes = {});
    // An element whose text the client does not decode.
    void plainText(const std::string& name, const std::string& value);

    // Takes the whole document; the reply is empty afterwards.
    std::string take();

private:
    void start(const std::string& name, const Attributes& attributes);
    void end(const std::string& name);

    std::string m_xml;
    std::vector<std::string> m_open;
};

// The reply document of a failed call.
std::string FailedReply(const std::string& message);
