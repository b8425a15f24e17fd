// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "reply.h"

#include "text.h"

namespace
{

const char declaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

} // namespace

Reply::Reply() : m_xml(std::string(declaration) + "<agentfunction resultcode=\"OK\">\n") { }

std::string Reply::take()
{
    return std::move(m_xml.append("</agentfunction>\n"));
}

void Reply::start(const std::string& name, const Attributes& attributes)
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

void Reply::open(const std::string& name, const Attributes& attributes)
{
    start(name, attributes);
    m_xml += '\n';
    m_open.push_back(name);
}

void Reply::close()
{
    const std::string name = m_open.back();
    m_open.pop_back();
    m_xml.append(m_open.size() + 1, ' ');
    end(name);
}

void Reply::text(const std::string& name, const std::string& value, const Attributes& attributes)
{
    start(name, attributes);
    AppendEncoded(m_xml, value);
    end(name);
}

void Reply::plainText(const std::string& name, const std::string& value)
{
    start(name, {});
    m_xml += EscapeXml(value);
    end(name);
}

std::string FailedReply(const std::string& message)
{
    return std::string(declaration) + "<agentfunction resultcode=\"FAILED\" msg=\""
        + EscapeXml(message) + "\"/>\n";
}
