// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The XML document of a reply.

#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

// The reply of a call that succeeded, built from the outside in.
class Reply
{
public:
    using Attributes = std::map<std::string, std::string>;

    Reply();

    void open(const std::string& name, const Attributes& attributes = {});
    void close();

    // An element whose text the client decodes.
    void text(const std::string& name, const std::string& value, const Attributes& attributes = {});
    // An element whose text the client takes as it stands.
    void plainText(const std::string& name, const std::string& value);

    // The whole document; the reply is empty then.
    std::string take();

private:
    void start(const std::string& name, const Attributes& attributes);
    void end(const std::string& name);

    std::string m_xml;
    std::vector<std::string> m_open;
};

// The reply document of a call that failed.
std::string FailedReply(const std::string& message);
