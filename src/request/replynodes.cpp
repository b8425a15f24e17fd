// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/replynodes.h"

#include <QDomDocument>
#include <QXmlStreamReader>

namespace Agent
{

namespace
{

// Makes a copy: a string shared with the reader would keep the reader's whole buffer.
template <typename View> QString Copy(const View& text)
{
    return QString(text.data(), text.size());
}

} // namespace

QDomElement MakeElement(const QXmlStreamReader& reader, QDomDocument& document)
{
    QDomElement element = document.createElement(reader.qualifiedName().toString());
    const QXmlStreamAttributes attributes = reader.attributes();
    for (const QXmlStreamAttribute& attribute : attributes)
        element.setAttribute(attribute.qualifiedName().toString(), attribute.value().toString());
    return element;
}

// Like Qt's own builder, but the same in every version of Qt: text that consists of
// blanks is left out, unless it is CDATA.
void AddNode(const QXmlStreamReader& reader, QDomDocument& document, QDomNode& parent)
{
    switch (reader.tokenType()) {
    case QXmlStreamReader::StartElement:
        parent = parent.appendChild(MakeElement(reader, document));
        break;
    case QXmlStreamReader::EndElement:
        parent = parent.parentNode();
        break;
    case QXmlStreamReader::Characters:
        if (reader.isCDATA())
            parent.appendChild(document.createCDATASection(Copy(reader.text())));
        else if (!reader.isWhitespace())
            parent.appendChild(document.createTextNode(Copy(reader.text())));
        break;
    case QXmlStreamReader::Comment:
        parent.appendChild(document.createComment(Copy(reader.text())));
        break;
    case QXmlStreamReader::ProcessingInstruction:
        parent.appendChild(
            document.createProcessingInstruction(reader.processingInstructionTarget().toString(),
                                                 reader.processingInstructionData().toString()));
        break;
    case QXmlStreamReader::EntityReference:
        parent.appendChild(document.createEntityReference(reader.name().toString()));
        break;
    default:
        break;
    }
}

} // namespace Agent
