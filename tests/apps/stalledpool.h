// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Stores with servers that answer everything except archives, which never arrive, or
// except requests that should fail. They run on the test's event loop.

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
    // Whether an archive has been requested.
    bool isAsked() const { return m_asked; }

protected:
    // Whether the request is answered here and not passed on.
    virtual bool take(QTcpSocket*, const QByteArray& request)
    {
        const bool archive = request.startsWith("GET /pool/") && request.contains("_all.deb ");
        m_asked = m_asked || archive;
        return archive;
    }

private:
    void pass(QTcpSocket* client)
    {
        const QByteArray request = client->readAll();
        if (take(client, request))
            return;
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

class FailingPool : public StalledPool
{
public:
    using StalledPool::StalledPool;

    // Answers requests that begin with `path` with this status; without a status, stops
    // that.
    void fail(const QByteArray& path, const QByteArray& status = QByteArray())
    {
        m_path = path;
        m_status = status;
    }
    // The number of failed requests.
    int failures() const { return m_failures; }

protected:
    bool take(QTcpSocket* client, const QByteArray& request) override
    {
        if (m_status.isEmpty() || !request.startsWith("GET " + m_path))
            return false;
        ++m_failures;
        client->write("HTTP/1.1 " + m_status
                      + "\r\nContent-Length: 4\r\nConnection: close\r\n\r\nbusy");
        client->disconnectFromHost();
        return true;
    }

private:
    QByteArray m_path, m_status;
    int m_failures = 0;
};
