// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/treereader.h"

#include "catalog/cxmlnode.h"
#include "util/urltext.h"

#include <QXmlStreamReader>

namespace Agent
{

namespace
{

// For a moment only: the reader's text is not copied.
template <typename View> std::string Decoded(const View& text)
{
    return url_decode_utf8(QString::fromRawData(text.data(), text.size()));
}

template <typename Take> void ForEachAttribute(const QXmlStreamReader& reader, const Take& take)
{
    const QXmlStreamAttributes attributes = reader.attributes();
    for (const QXmlStreamAttribute& attribute : attributes) {
        const auto name = attribute.qualifiedName();
        take(QString::fromRawData(name.data(), name.size()).toStdString(),
             Decoded(attribute.value()));
    }
}

} // namespace

TreeReader::TreeReader() = default;
TreeReader::~TreeReader() = default;

// As ReadNode sees a document: text that consists of blanks is left out, unless it is CDATA, which
// becomes a node without its text, like comments.
void TreeReader::Take(const QXmlStreamReader& reader)
{
    if (reader.tokenType() == QXmlStreamReader::StartElement)
        return Open(reader);
    if (m_open.empty())
        return;
    switch (reader.tokenType()) {
    case QXmlStreamReader::EndElement:
        m_open.pop_back();
        break;
    case QXmlStreamReader::Characters:
        if (reader.isCDATA())
            AddNamed("#cdata-section");
        else if (!reader.isWhitespace())
            SetValue(reader);
        break;
    case QXmlStreamReader::Comment:
        AddNamed("#comment");
        break;
    case QXmlStreamReader::ProcessingInstruction:
        AddNamed(Decoded(reader.processingInstructionTarget()));
        break;
    case QXmlStreamReader::EntityReference:
        AddNamed(Decoded(reader.name()));
        break;
    default:
        break;
    }
}

void TreeReader::Open(const QXmlStreamReader& reader)
{
    if (m_open.empty())
        return OpenRoot(reader);
    auto child = std::make_unique<CXMLNode>(nullptr);
    child->Name(Decoded(reader.qualifiedName()));
    ForEachAttribute(reader, [&child](const std::string& name, const std::string& value) {
        child->AddAttribute(name, value);
    });
    CXMLNode* const opened = child.get();
    Add(std::move(child));
    m_open.push_back(opened);
}

void TreeReader::OpenRoot(const QXmlStreamReader& reader)
{
    m_name = Decoded(reader.qualifiedName());
    ForEachAttribute(reader, [this](std::string&& name, std::string&& value) {
        m_attributes.emplace_back(std::move(name), std::move(value));
    });
    m_open.push_back(nullptr);
}

void TreeReader::Add(std::unique_ptr<CXMLNode> child)
{
    if (m_open.back())
        m_open.back()->AddChild(child.release());
    else
        m_children.push_back(std::move(child));
}

void TreeReader::AddNamed(const std::string& name)
{
    auto child = std::make_unique<CXMLNode>(nullptr);
    child->Name(name);
    Add(std::move(child));
}

// Of several texts the last one counts.
void TreeReader::SetValue(const QXmlStreamReader& reader)
{
    if (m_open.back())
        m_open.back()->Value(Decoded(reader.text()));
    else
        m_value = std::make_unique<std::string>(Decoded(reader.text()));
}

void TreeReader::GiveTo(CXMLNode& tree)
{
    tree.Name(m_name);
    for (const auto& [name, value] : m_attributes)
        tree.AddAttribute(name, value);
    if (m_value)
        tree.Value(*m_value);
    for (std::unique_ptr<CXMLNode>& child : m_children)
        tree.AddChild(child.release());
    m_children.clear();
}

} // namespace Agent
