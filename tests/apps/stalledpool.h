// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A store whose server answers everything but never sends an archive. It runs on
// the test's event loop.

#pragma once

#include "tests/server/serverprocess.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <memory>

class StalledPool : public QTcpServer
{
public:
    explicit StalledPool(const QString& store)
    {
        if (!listen(QHostAddress::LocalHost))
            qFatal("cannot listen on loopback");
        m_server = std::make_unique<ServerProcess>(
            store, QStringList{ QStringLiteral("--public-url"), url() });
        if (!m_server->isRunning())
            qFatal("the server does not run");
        connect(this, &QTcpServer::newConnection, this, [this] {
            if (QTcpSocket* client = nextPendingConnection())
                connect(client, &QTcpSocket::readyRead, this, [this, client] { pass(client); });
        });
    }
    QString url() const { return QStringLiteral("http://127.0.0.1:%1").arg(serverPort()); }
    int end(int signal) { return m_server->end(signal); }
    // Whether an archive has been asked for.
    bool isAsked() const { return m_asked; }

private:
    void pass(QTcpSocket* client)
    {
        const QByteArray request = client->readAll();
        if (request.startsWith("GET /pool/") && request.contains("_all.deb ")) {
            m_asked = true;
            return;
        }
        auto* upstream = new QTcpSocket(client);
        upstream->connectToHost(QStringLiteral("127.0.0.1"), m_server->port());
        connect(upstream, &QTcpSocket::readyRead, client,
                [=] { client->write(upstream->readAll()); });
        connect(upstream, &QTcpSocket::disconnected, client, &QTcpSocket::disconnectFromHost);
        upstream->write(request);
    }

    std::unique_ptr<ServerProcess> m_server;
    bool m_asked = false;
};
