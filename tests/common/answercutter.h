// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A proxy in front of a database server of PostgreSQL, which can end a connection after the server
// has done what was asked, and before the client hears of it.
//
//     AnswerCutter cutter(folder, postgresqlFolder);
//     cutter.cut("COMMIT");
//     ... SqlSource{ ..., "host=" + folder + " user=keeper dbname=first" } ...
//     QCOMPARE(cutter.left(), 0);

#pragma once

#include "base/descriptor.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <array>
#include <cstring>
#include <list>
#include <mutex>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

class AnswerCutter
{
public:
    // `folder` is made; clients name it as the host. `server` is the folder of the server's socket.
    AnswerCutter(const QString& folder, const QString& server)
        : m_folder(QFile::encodeName(folder)), m_server(socketIn(server))
    {
        QDir().mkpath(folder);
        sockaddr_un address = addressOf(socketIn(folder));
        m_listener = newSocket();
        if (bind(m_listener.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0
            || listen(m_listener.Get(), 64) != 0)
            qFatal("cannot listen in %s", qPrintable(folder));
        m_accepting = std::thread([this] { accept(); });
    }
    // The clients have closed their connections by then.
    ~AnswerCutter()
    {
        shutdown(m_listener.Get(), SHUT_RDWR);
        m_accepting.join();
        for (std::thread& one : m_passing)
            one.join();
    }
    AnswerCutter(const AnswerCutter&) = delete;
    AnswerCutter& operator=(const AnswerCutter&) = delete;

    const QByteArray& folder() const { return m_folder; }

    // Cuts the answers to the next requests with this text.
    void cut(const QByteArray& text, int times = 1)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_text = text;
        m_left = times;
    }
    // How many have not come.
    int left() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_left;
    }

private:
    static QByteArray socketIn(const QString& folder)
    {
        return QFile::encodeName(folder) + "/.s.PGSQL.5432";
    }
    static sockaddr_un addressOf(const QByteArray& path)
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        if (path.size() >= int(sizeof address.sun_path))
            qFatal("the path of a socket is too long: %s", path.constData());
        std::memcpy(address.sun_path, path.constData(), std::size_t(path.size()));
        return address;
    }
    static Agent::Descriptor newSocket()
    {
        return Agent::Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    }

    void accept()
    {
        for (;;) {
            Agent::Descriptor client(accept4(m_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
            if (!client)
                return;
            m_passing.emplace_back([this, from = std::move(client)] { pass(from.Get()); });
        }
    }
    bool isToBeCut(const QByteArray& request)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const bool isIt = m_left > 0 && request.contains(m_text);
        m_left -= isIt ? 1 : 0;
        return isIt;
    }
    // Moves what has come; empty at the end.
    static QByteArray move(int from, int to)
    {
        std::array<char, 65536> part{};
        const ssize_t count = read(from, part.data(), part.size());
        const bool isMoved = count > 0
            && (to < 0 || send(to, part.data(), std::size_t(count), MSG_NOSIGNAL) == count);
        return isMoved ? QByteArray(part.data(), int(count)) : QByteArray();
    }
    // "Ready for query", the last message of each answer.
    static void takeAnswer(int server)
    {
        for (QByteArray answer, part; !answer.right(6).startsWith(QByteArray("Z\0\0\0\5", 5));
             answer += part) {
            part = move(server, -1);
            if (part.isEmpty())
                return;
        }
    }
    void pass(int client)
    {
        const Agent::Descriptor server = newSocket();
        sockaddr_un address = addressOf(m_server);
        if (connect(server.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
            return;
        std::array<pollfd, 2> ends{ { { client, POLLIN, 0 }, { server.Get(), POLLIN, 0 } } };
        while (poll(ends.data(), ends.size(), -1) > 0) {
            if (ends[1].revents != 0 && move(server.Get(), client).isEmpty())
                return;
            if (ends[0].revents == 0)
                continue;
            const QByteArray request = move(client, server.Get());
            if (isToBeCut(request))
                takeAnswer(server.Get());
            else if (!request.isEmpty())
                continue;
            return;
        }
    }

    const QByteArray m_folder, m_server;
    Agent::Descriptor m_listener;
    std::thread m_accepting;
    std::list<std::thread> m_passing; // one for each connection
    mutable std::mutex m_mutex; // for the rest
    QByteArray m_text;
    int m_left = 0;
};
