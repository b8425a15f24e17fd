// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/replydocument.h"

#include "request/xmlgate.h"
#include "request/xmlsource.h"
#include "util/diagnostics.h"
#include "util/qtcompat.h"

#include <QBuffer>
#include <QByteArray>
#include <QDomDocument>
#include <QFile>
#include <QXmlStreamReader>

namespace
{

constexpr int pieceSize = 64 * 1024;

// How a text is read, and why it is refused.
struct Reading {
    XmlGate gate;
    GoOn goOn;
    QString why;

    bool GoesOn() const { return !goOn || goOn(); }
};

// The parser's way to a device: it asks before each piece whether to go on.
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

bool Passes(QIODevice& device, Reading& reading, int chunk)
{
    QByteArray buffer(chunk, Qt::Uninitialized);
    XmlGate& gate = reading.gate;
    qint64 size = -1;
    while (reading.GoesOn() && (size = device.read(buffer.data(), chunk)) > 0) {
        if (!gate.Feed(buffer.constData(), std::size_t(size)))
            break;
    }
    if (size == 0)
        gate.Finish();
    if (gate.refusal()) {
        reading.why = QLatin1String(gate.refusal());
        qCInfo(logRequest, "refused an XML text in its first %llu bytes: %s",
               static_cast<unsigned long long>(gate.bytes()), gate.refusal());
    }
    return size == 0 && !gate.refusal();
}

bool ReadTwice(QIODevice& device, QDomDocument& document, Reading& reading)
{
    if (!device.seek(0) || !Passes(device, reading, pieceSize) || !device.seek(0))
        return false;
    AskingDevice asking(device, reading);
    // Qt's other parser, which is the default of Qt 5 alone, takes the same text otherwise.
    XmlSource source(asking);
    QXmlStreamReader reader(&source);
    reader.setNamespaceProcessing(false);
    QString error;
    int line = 0;
    if (SetContent(document, reader, error, line))
        return reading.GoesOn();
    reading.why = error + QLatin1String(", line ") + QString::number(line);
    qCInfo(logRequest, "an XML text has an error in line %d: %s", line, qUtf8Printable(error));
    return false;
}

// What fits a piece is kept instead.
bool ReadOnce(QIODevice& device, QDomDocument& document, Reading& reading)
{
    QByteArray text = device.seek(0) ? device.readAll() : QByteArray();
    QBuffer buffer(&text);
    return buffer.open(QIODevice::ReadOnly) && ReadTwice(buffer, document, reading);
}

bool Read(QIODevice& device, QDomDocument& document, Reading& reading)
{
    const auto read = device.size() <= pieceSize ? ReadOnce : ReadTwice;
    if (!device.isSequential() && read(device, document, reading))
        return true;
    // A parser that finds an error leaves what it has built so far.
    document.setContent(QByteArray());
    return false;
}

bool ReadFile(const QString& fileName, QDomDocument& document, Reading reading)
{
    QFile file(fileName);
    if (file.open(QIODevice::ReadOnly))
        return Read(file, document, reading);
    document.setContent(QByteArray());
    return false;
}

} // namespace

bool PassesGate(QIODevice& device, std::uint64_t maxBytes, int chunk)
{
    Reading reading{ XmlGate(maxBytes), GoOn(), QString() };
    return Passes(device, reading, chunk);
}

bool ReadReplyDocument(QIODevice& device, QDomDocument& document, std::uint64_t maxBytes,
                       QString* why, const GoOn& goOn)
{
    Reading reading{ XmlGate(maxBytes), goOn, QString() };
    const bool read = Read(device, document, reading);
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
    return ReadFile(
        fileName, document,
        { XmlGate(ReadTransferLimits().size, XmlGate::escapedLength), GoOn(), QString() });
}
