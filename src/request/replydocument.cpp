// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/replydocument.h"

#include "request/xmlgate.h"

#include <QBuffer>
#include <QByteArray>
#include <QDomDocument>
#include <QFile>

namespace
{

constexpr int pieceSize = 64 * 1024;

bool ReadTwice(QIODevice& device, QDomDocument& document, std::uint64_t maxBytes)
{
    return device.seek(0) && PassesGate(device, maxBytes, pieceSize) && device.seek(0)
        && document.setContent(&device);
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
            return false;
    }
    return size == 0 && gate.Finish();
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
