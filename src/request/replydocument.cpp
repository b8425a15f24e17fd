// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/replydocument.h"

#include "request/xmlgate.h"
#include "util/diagnostics.h"

#include <QBuffer>
#include <QByteArray>
#include <QDomDocument>
#include <QFile>

namespace
{

constexpr int pieceSize = 64 * 1024;

bool ReadTwice(QIODevice& device, QDomDocument& document, std::uint64_t maxBytes, QString& why)
{
    if (!device.seek(0) || !PassesGate(device, maxBytes, pieceSize, &why) || !device.seek(0))
        return false;
    QString error;
    int line = 0;
    if (document.setContent(&device, &error, &line))
        return true;
    why = error + QLatin1String(", line ") + QString::number(line);
    qCInfo(logRequest, "an XML text has an error in line %d: %s", line, qUtf8Printable(error));
    return false;
}

// What fits a piece is kept instead.
bool ReadOnce(QIODevice& device, QDomDocument& document, std::uint64_t maxBytes, QString& why)
{
    QByteArray text = device.seek(0) ? device.readAll() : QByteArray();
    QBuffer buffer(&text);
    return buffer.open(QIODevice::ReadOnly) && ReadTwice(buffer, document, maxBytes, why);
}

} // namespace

bool PassesGate(QIODevice& device, std::uint64_t maxBytes, int chunk, QString* why)
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
    if (why && gate.refusal())
        *why = QLatin1String(gate.refusal());
    if (gate.refusal())
        qCInfo(logRequest, "refused an XML text in its first %llu bytes: %s",
               static_cast<unsigned long long>(gate.bytes()), gate.refusal());
    return size == 0 && !gate.refusal();
}

bool ReadReplyDocument(QIODevice& device, QDomDocument& document, std::uint64_t maxBytes,
                       QString* why)
{
    QString reason;
    const auto read = device.size() <= pieceSize ? ReadOnce : ReadTwice;
    if (!device.isSequential() && read(device, document, maxBytes, reason))
        return true;
    if (why)
        *why = reason;
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
