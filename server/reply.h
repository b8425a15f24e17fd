// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The XML document of a reply, and texts in the form that a client reads in it.

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

    void Open(const std::string& name, const Attributes& attributes = {});
    void Close();

    // An element whose text the client decodes.
    void Text(const std::string& name, const std::string& value, const Attributes& attributes = {});
    // An element whose text the client does not decode.
    void PlainText(const std::string& name, const std::string& value);

    // Takes the whole document; the reply is empty afterwards.
    std::string Take();

private:
    void Start(const std::string& name, const Attributes& attributes);
    void end(const std::string& name);

    std::string m_xml;
    std::vector<std::string> m_open;
};

// The reply document of a failed call.
std::string FailedReply(const std::string& message);

// Text for the elements and attributes that a client takes through its URL
// decoding: a blank is written as '+'; every character that is special to that
// decoding or to XML, and every byte that is not printable ASCII, is written as %XX.
// Decoding gives back exactly `text`, which must be valid (TextFault).
std::string EncodeText(const std::string& text);
void AppendEncoded(std::string& result, const std::string& text);

// Text for the elements and attributes that a client does not decode. A control
// character, which XML cannot contain, becomes a question mark.
std::string EscapeXml(const std::string& text);
