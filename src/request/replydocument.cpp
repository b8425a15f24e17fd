// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/replydocument.h"

#include "request/xmlgate.h"
#include "request/xmlsource.h"
#include "util/logrequest.h"

#include <QBuffer>
#include <QByteArray>
#include <QDomDocument>
#include <QFile>
#include <QXmlStreamReader>

namespace Agent
{

namespace
{

constexpr int pieceSize = 64 * 1024;

// Makes a copy: a string shared with the reader would keep the reader's whole buffer.
template <typename View> QString Copy(const View& text)
{
    return QString(text.data(), text.size());
}

// The element whose start tag was read last.
QDomElement MakeElement(const QXmlStreamReader& reader, QDomDocument& document)
{
    QDomElement element = document.createElement(reader.qualifiedName().toString());
    const QXmlStreamAttributes attributes = reader.attributes();
    for (const QXmlStreamAttribute& attribute : attributes)
        element.setAttribute(attribute.qualifiedName().toString(), attribute.value().toString());
    return element;
}

// Adds what was read last to the node that is open, or opens or closes one: `parent`. Like Qt's
// own builder, but the same in every version of Qt: text that consists of blanks is left out,
// unless it is CDATA.
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

bool ReadAll(QXmlStreamReader& reader, const TakeToken& take)
{
    while (!reader.atEnd()) {
        reader.readNext();
        take(reader);
    }
    return !reader.hasError();
}

// How a text is read, and why it is refused.
struct Reading {
    XmlGate gate;
    GoOn goOn;
    QString why;

    bool GoesOn() const { return !goOn || goOn(); }
};

// The device that the parser reads: it asks before each piece whether to go on.
class AskingDevice : public QIODevice
{
public:
    AskingDevice(QIODevice& device, const Reading& reading) : m_device(device), m_reading(reading)
    {
        open(QIODevice::ReadOnly);
    }
    qint64 size() const override { return m_device.size(); }

protected:
    qint64 readData(char* data, qint64 size) override
    {
        return m_reading.GoesOn() ? m_device.read(data, size) : -1;
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    QIODevice& m_device;
    const Reading& m_reading;
};

bool PassesSilently(QIODevice& device, Reading& reading, int chunk)
{
    QByteArray buffer(chunk, Qt::Uninitialized);
    XmlGate& gate = reading.gate;
    qint64 size = -1;
    while (reading.GoesOn() && (size = device.read(buffer.data(), chunk)) > 0) {
        if (!gate.Feed(buffer.constData(), std::size_t(size)))
            break;
    }
    return size == 0 && gate.Finish();
}

bool Passes(QIODevice& device, Reading& reading, int chunk)
{
    const bool passes = PassesSilently(device, reading, chunk);
    const XmlGate& gate = reading.gate;
    if (gate.Refusal()) {
        reading.why = QLatin1String(gate.Refusal());
        qCInfo(logRequest, "refused an XML text in its first %llu bytes: %s",
               static_cast<unsigned long long>(gate.Bytes()), gate.Refusal());
    }
    return passes;
}

// Reads the text once for the gate and once for the parser, so that the parser never sees
// the beginning of a text that is refused later. Both read it in pieces, so a large text is
// never in memory as a whole.
bool ReadTwice(QIODevice& device, const TakeToken& take, Reading& reading)
{
    if (!device.seek(0) || !Passes(device, reading, pieceSize) || !device.seek(0))
        return false;
    AskingDevice asking(device, reading);
    XmlSource source(asking);
    QXmlStreamReader reader(&source);
    reader.setNamespaceProcessing(false);
    if (ReadAll(reader, take))
        return reading.GoesOn();
    reading.why
        = reader.errorString() + QLatin1String(", line ") + QString::number(reader.lineNumber());
    qCInfo(logRequest, "an XML text has an error in line %lld: %s", reader.lineNumber(),
           qUtf8Printable(reader.errorString()));
    return false;
}

// A text that fits into one piece is read from the device only once and kept in memory.
bool ReadOnce(QIODevice& device, const TakeToken& take, Reading& reading)
{
    QByteArray text = device.seek(0) ? device.readAll() : QByteArray();
    QBuffer buffer(&text);
    return buffer.open(QIODevice::ReadOnly) && ReadTwice(buffer, take, reading);
}

bool Read(QIODevice& device, const TakeToken& take, Reading& reading)
{
    const auto read = device.size() <= pieceSize ? ReadOnce : ReadTwice;
    return !device.isSequential() && read(device, take, reading);
}

bool ReadDocument(QIODevice& device, QDomDocument& document, Reading& reading)
{
    document.setContent(QByteArray());
    QDomNode parent = document;
    if (Read(
            device, [&](const QXmlStreamReader& reader) { AddNode(reader, document, parent); },
            reading))
        return true;
    // After an error there is what has been built so far.
    document.setContent(QByteArray());
    return false;
}

bool ReadFile(const QString& fileName, QDomDocument& document, Reading reading)
{
    QFile file(fileName);
    if (file.open(QIODevice::ReadOnly))
        return ReadDocument(file, document, reading);
    document.setContent(QByteArray());
    return false;
}

Reading ReadingOfSaved()
{
    return { XmlGate(ReadTransferLimits().size, XmlGate::escapedLength), GoOn(), QString() };
}

} // namespace

bool PassesGate(QIODevice& device, std::uint64_t maxBytes, int chunk)
{
    Reading reading{ XmlGate(maxBytes), GoOn(), QString() };
    return Passes(device, reading, chunk);
}

bool MayBeReadInPieces(QIODevice& device, std::uint64_t maxBytes, const GoOn& goOn)
{
    Reading reading{ XmlGate(maxBytes, 1, XmlGate::Use::Pieces), goOn, QString() };
    return !device.isSequential() && device.seek(0) && PassesSilently(device, reading, pieceSize);
}

bool ReadReplyDocument(QIODevice& device, QDomDocument& document, std::uint64_t maxBytes,
                       QString* why, const GoOn& goOn, XmlGate::Use use)
{
    Reading reading{ XmlGate(maxBytes, 1, use), goOn, QString() };
    const bool read = ReadDocument(device, document, reading);
    if (why)
        *why = reading.why;
    return read;
}

bool ReadReplyDocument(const QString& fileName, QDomDocument& document)
{
    return ReadFile(fileName, document, { XmlGate(ReadTransferLimits().size), GoOn(), QString() });
}

bool ReadSavedDocument(const QString& fileName, QDomDocument& document)
{
    return ReadFile(fileName, document, ReadingOfSaved());
}

bool ReadSavedTokens(const QString& fileName, const TakeToken& take)
{
    QFile file(fileName);
    Reading reading = ReadingOfSaved();
    return file.open(QIODevice::ReadOnly) && Read(file, take, reading);
}

} // namespace Agent
