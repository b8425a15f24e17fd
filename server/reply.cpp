// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "reply.h"

#include "base/text.h"

#include <array>
#include <cstddef>

namespace
{

const char declaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

} // namespace

Reply::Reply() : m_xml(std::string(declaration) + "<agentfunction resultcode=\"OK\">\n") { }

std::string Reply::Take()
{
    return std::move(m_xml.append("</agentfunction>\n"));
}

void Reply::Start(const std::string& name, const Attributes& attributes)
{
    m_xml.append(m_open.size() + 1, ' ') += '<';
    m_xml += name;
    for (const auto& [key, value] : attributes) {
        m_xml.append(" ").append(key).append("=\"");
        AppendEncoded(m_xml, value);
        m_xml += '"';
    }
    m_xml += '>';
}

void Reply::end(const std::string& name)
{
    m_xml.append("</").append(name).append(">\n");
}

void Reply::Open(const std::string& name, const Attributes& attributes)
{
    Start(name, attributes);
    m_xml += '\n';
    m_open.push_back(name);
}

void Reply::Close()
{
    const std::string name = m_open.back();
    m_open.pop_back();
    m_xml.append(m_open.size() + 1, ' ');
    end(name);
}

void Reply::Text(const std::string& name, const std::string& value, const Attributes& attributes)
{
    Start(name, attributes);
    AppendEncoded(m_xml, value);
    end(name);
}

void Reply::PlainText(const std::string& name, const std::string& value)
{
    Start(name, {});
    m_xml += EscapeXml(value);
    end(name);
}

std::string FailedReply(const std::string& message)
{
    return std::string(declaration) + "<agentfunction resultcode=\"FAILED\" msg=\""
        + EscapeXml(message) + "\"/>\n";
}

namespace
{

// The bytes that a client's decoding leaves unchanged.
std::array<bool, 256> PlainBytes()
{
    static const std::string special = " %+\\<>&\"'";
    std::array<bool, 256> plain{};
    for (unsigned i = 0; i < plain.size(); ++i)
        plain[i] = Agent::IsPrintable(char(i)) && special.find(char(i)) == std::string::npos;
    return plain;
}

} // namespace

std::string EncodeText(const std::string& text)
{
    std::string result;
    AppendEncoded(result, text);
    return result;
}

void AppendEncoded(std::string& result, const std::string& text)
{
    static const std::array<bool, 256> plain = PlainBytes();
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at;
        while (end < text.size() && plain[static_cast<unsigned char>(text[end])])
            ++end;
        result.append(text, at, end - at);
        if (end < text.size() && text[end] == ' ') {
            result += '+';
        } else if (end < text.size()) {
            Agent::AppendEscaped(result, text[end]);
        }
        at = end + 1;
    }
}

std::string EscapeXml(const std::string& text)
{
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '&':
            result += "&amp;";
            break;
        case '"':
            result += "&quot;";
            break;
        case '\'':
            result += "&apos;";
            break;
        default:
            result += static_cast<unsigned char>(c) < 32 || c == 127 ? '?' : c;
        }
    }
    return result;
}
