// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The site for an exported store as it comes, but without TLS.

#pragma once

#include "nginx.h"

inline QByteArray ExportedSite(const QString& exported, quint16 port, quint16 serverPort)
{
    QFile file(QStringLiteral(SITE));
    const QByteArray here = "127.0.0.1:";
    return Nginx::replaced(
        file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray(),
        { { "/srv/pakmart-export", QFile::encodeName(exported) },
          { "listen 80;", "listen " + here + QByteArray::number(Nginx::freePort()) + ';' },
          { "listen 443 ssl", "listen " + here + QByteArray::number(port) },
          { "server 127.0.0.1:8080", "server " + here + QByteArray::number(serverPort) },
          { "ssl_certificate /etc/ssl/store.example.pem;", "" },
          { "ssl_certificate_key /etc/ssl/private/store.example.key;", "" } });
}
