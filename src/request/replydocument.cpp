// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/replydocument.h"

#include "request/xmlgate.h"
#include "support/cconfigfile.h"
#include "util/diagnostics.h"
#include "util/paths.h"

#include <QByteArray>
#include <QDomDocument>
#include <QFile>

std::uint64_t MaxReplySize()
{
    constexpr long standard = 256L * 1024 * 1024;
    const long size = CConfigFile(SettingsFile(), false).GetLongValue("max reply size", standard);
    return std::uint64_t(size > 0 ? size : standard);
}

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

bool ReadReplyDocument(QIODevice& device, QDomDocument& document)
{
    if (!device.isSequential() && device.seek(0) && PassesGate(device, MaxReplySize())
        && device.seek(0)) {
        QString error;
        int line = 0;
        if (document.setContent(&device, &error, &line))
            return true;
        qCInfo(logRequest) << "an XML text has an error in line" << line << error;
    }
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
