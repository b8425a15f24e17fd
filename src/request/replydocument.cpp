// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/replydocument.h"

#include "request/xmlgate.h"
#include "request/xmlsource.h"
#include "util/diagnostics.h"

#include <QBuffer>
#include <QByteArray>
#include <QDomDocument>
#include <QFile>
#include <QXmlStreamReader>

namespace
{

constexpr int pieceSize = 64 * 1024;

void AddElement(const QXmlStreamReader& reader, QDomDocument& document, QDomNode& parent)
{
    QDomElement element = document.createElement(reader.qualifiedName().toString());
    const QXmlStreamAttributes attributes = reader.attributes();
    for (const QXmlStreamAttribute& attribute : attributes)
        element.setAttribute(attribute.qualifiedName().toString(), attribute.value().toString());
    parent = parent.appendChild(element);
}

// As Qt's own builder does it, but the same with each of its versions: text of blanks
// alone is left out, unless it is CDATA.
bool Build(QXmlStreamReader& reader, QDomDocument& document)
{
    document.setContent(QByteArray());
    QDomNode parent = document;
    while (!reader.atEnd()) {
        const auto token = reader.readNext();
        const QString text = reader.text().toString();
        if (token == QXmlStreamReader::StartElement)
            AddElement(reader, document, parent);
        else if (token == QXmlStreamReader::EndElement)
            parent = parent.parentNode();
        else if (token == QXmlStreamReader::Characters && reader.isCDATA())
            parent.appendChild(document.createCDATASection(text));
        else if (token == QXmlStreamReader::Characters && !reader.isWhitespace())
            parent.appendChild(document.createTextNode(text));
        else if (token == QXmlStreamReader::Comment)
            parent.appendChild(document.createComment(text));
        else if (token == QXmlStreamReader::ProcessingInstruction)
            parent.appendChild(document.createProcessingInstruction(
                reader.processingInstructionTarget().toString(),
                reader.processingInstructionData().toString()));
        else if (token == QXmlStreamReader::EntityReference)
            parent.appendChild(document.createEntityReference(reader.name().toString()));
    }
    return !reader.hasError();
}

bool ReadTwice(QIODevice& device, QDomDocument& document, std::uint64_t maxBytes)
{
    if (!device.seek(0) || !PassesGate(device, maxBytes, pieceSize) || !device.seek(0))
        return false;
    XmlSource source(device);
    QXmlStreamReader reader(&source);
    reader.setNamespaceProcessing(false);
    if (Build(reader, document))
        return true;
    qCInfo(logRequest, "an XML text has an error in line %lld: %s", reader.lineNumber(),
           qUtf8Printable(reader.errorString()));
    return false;
}

// What fits a piece is kept instead.
bool ReadOnce(QIODevice& device, QDomDocument& document, std::uint64_t maxBytes)
{
    QByteArray text = device.seek(0) ? device.readAll() : QByteArray();
    QBuffer buffer(&text);
    return buffer.open(QIODevice::ReadOnly) && ReadTwice(buffer, document, maxBytes);
}

} // namespace

bool PassesGate(QIODevice& device, std::uint64_t maxBytes, int chunk)
{
    XmlGate gate(maxBytes);
    QByteArray buffer(chunk, Qt::Uninitialized);
    qint64 size;
    while ((size = device.read(buffer.data(), chunk)) > 0) {
        if (!gate.Feed(buffer.constData(), std::size_t(size)))
            break;
    }
    if (size == 0)
        gate.Finish();
    if (gate.refusal())
        qCInfo(logRequest, "refused an XML text in its first %llu bytes: %s",
               static_cast<unsigned long long>(gate.bytes()), gate.refusal());
    return size == 0 && !gate.refusal();
}

bool ReadReplyDocument(QIODevice& device, QDomDocument& document, std::uint64_t maxBytes)
{
    const auto read = device.size() <= pieceSize ? ReadOnce : ReadTwice;
    if (!device.isSequential() && read(device, document, maxBytes))
        return true;
    // A parser that finds an error leaves what it has built so far.
    document.setContent(QByteArray());
    return false;
}

bool ReadReplyDocument(const QString& fileName, QDomDocument& document)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        document.setContent(QByteArray());
        return false;
    }
    return ReadReplyDocument(file, document);
}
