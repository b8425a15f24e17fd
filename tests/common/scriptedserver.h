// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A web server on loopback, in the test's own process, that sends exactly the bytes that
// the test wants. It runs on the event loop, which every wait of the library processes.

#pragma once

#include <QHostAddress>
#include <QMap>
#include <QTcpServer>
#include <QTcpSocket>
#include <functional>

class ScriptedServer : public QTcpServer
{
public:
    // Writes the whole answer to the socket; `target` is the path with its query.
    using Answer = std::function<void(QTcpSocket* socket, const QByteArray& target)>;

    ScriptedServer()
    {
        if (!listen(QHostAddress::LocalHost))
            qFatal("cannot listen on loopback");
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = nextPendingConnection())
                serve(socket);
        });
    }

    QByteArray url(const QByteArray& path) const
    {
        return "http://127.0.0.1:" + QByteArray::number(serverPort()) + path;
    }

    static QByteArray http(const QByteArray& body, const QByteArray& status = "200 OK",
                           const QByteArray& headers = QByteArray())
    {
        return "HTTP/1.1 " + status
            + "\r\nContent-Type: text/xml\r\nContent-Length: " + QByteArray::number(body.size())
            + "\r\nConnection: close\r\n" + headers + "\r\n" + body;
    }

    // Answers requests for `path` with these bytes and closes the connection.
    void answer(const QByteArray& path, const QByteArray& bytes)
    {
        answer(path, [bytes](QTcpSocket* socket, const QByteArray&) {
            socket->write(bytes);
            socket->disconnectFromHost();
        });
    }
    void answer(const QByteArray& path, const Answer& function) { m_answers[path] = function; }

    // The requested targets, in order.
    QList<QByteArray> asked;
    QByteArray lastRequest; // with its headers

private:
    void serve(QTcpSocket* socket)
    {
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] {
            if (!socket->peek(64 * 1024).contains("\r\n\r\n"))
                return;
            lastRequest = socket->readAll();
            const QByteArray target = lastRequest.split(' ').value(1);
            asked.append(target);
            const QByteArray path = target.split('?').first();
            if (m_answers.contains(path))
                m_answers[path](socket, target);
            else
                answerMissing(socket);
        });
    }
    static void answerMissing(QTcpSocket* socket)
    {
        socket->write(http("<html><body>Not found</body></html>", "404 Not Found"));
        socket->disconnectFromHost();
    }

    QMap<QByteArray, Answer> m_answers;
};
