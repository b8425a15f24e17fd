// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/replynode.h"

#include <QXmlStreamReader>

namespace Agent
{

namespace
{

using Kind = ReplyNode::Kind;

// A copy: a string shared with the reader would keep the reader's whole buffer.
template <typename View> QString Copy(const View& text)
{
    return QString(text.data(), text.size());
}

void Append(ReplyNode& parent, Kind kind, const QString& words)
{
    parent.children.push_back({ kind, words, {}, {} });
}

// Text that consists of blanks is left out, unless it is CDATA.
void AppendText(ReplyNode& parent, const QXmlStreamReader& reader)
{
    if (reader.isCDATA())
        Append(parent, Kind::CData, Copy(reader.text()));
    else if (!reader.isWhitespace())
        Append(parent, Kind::Text, Copy(reader.text()));
}

} // namespace

QString ReplyNode::Name() const
{
    return kind == Kind::Text ? QStringLiteral("#text")
        : kind == Kind::CData ? QStringLiteral("#cdata-section")
                              : words;
}

QString ReplyNode::Attribute(QLatin1String wanted) const
{
    for (const auto& [key, text] : attributes)
        if (key == wanted)
            return text;
    return QString();
}

QString ReplyNode::Text() const
{
    QString text;
    for (const ReplyNode& child : children) {
        if (child.kind == Kind::Text || child.kind == Kind::CData)
            text += child.words;
        else if (child.IsElement())
            text += child.Text();
    }
    return text;
}

ReplyNode ReadElement(const QXmlStreamReader& reader)
{
    ReplyNode element;
    element.words = Copy(reader.qualifiedName());
    const QXmlStreamAttributes attributes = reader.attributes();
    element.attributes.reserve(std::size_t(attributes.size()));
    for (const QXmlStreamAttribute& attribute : attributes)
        element.attributes.emplace_back(Copy(attribute.qualifiedName()), Copy(attribute.value()));
    return element;
}

void AddNode(const QXmlStreamReader& reader, std::vector<ReplyNode*>& open)
{
    ReplyNode& parent = *open.back();
    switch (reader.tokenType()) {
    case QXmlStreamReader::StartElement:
        parent.children.push_back(ReadElement(reader));
        open.push_back(&parent.children.back());
        break;
    case QXmlStreamReader::EndElement:
        open.pop_back();
        break;
    case QXmlStreamReader::Characters:
        AppendText(parent, reader);
        break;
    case QXmlStreamReader::Comment:
        Append(parent, Kind::Other, QStringLiteral("#comment"));
        break;
    case QXmlStreamReader::ProcessingInstruction:
        Append(parent, Kind::Other, Copy(reader.processingInstructionTarget()));
        break;
    case QXmlStreamReader::EntityReference:
        Append(parent, Kind::Other, Copy(reader.name()));
        break;
    default:
        break;
    }
}

} // namespace Agent
