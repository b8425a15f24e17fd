// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// nginx in front of a store server, as a process of the test.
//
//     const quint16 port = Nginx::freePort();
//     Nginx nginx(dir, "server { listen 127.0.0.1:" + QByteArray::number(port) + "; ... }");
//     QVERIFY2(nginx.start(port), nginx.log());

#pragma once

#include <QDir>
#include <QFile>
#include <QHostAddress>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <csignal>
#include <unistd.h>
#include <utility>

class Nginx
{
public:
    // `folder` gets all its files; `sites` is what stands in the http block.
    Nginx(const QString& folder, const QByteArray& sites) : m_folder(folder)
    {
        QDir().mkpath(folder);
        write(QStringLiteral("sites.conf"), sites);
        write(QStringLiteral("nginx.conf"),
              QByteArray(geteuid() == 0 ? "user root;\n" : "")
                  + "daemon off;\nworker_processes 1;\npid nginx.pid;\nerror_log stderr;\n"
                    "events {}\nhttp {\naccess_log off;\nclient_body_temp_path body;\n"
                    "proxy_temp_path proxy;\nfastcgi_temp_path fastcgi;\n"
                    "uwsgi_temp_path uwsgi;\nscgi_temp_path scgi;\ninclude sites.conf;\n}\n");
    }
    ~Nginx()
    {
        m_process.terminate();
        if (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(60000))
            m_process.kill();
        m_process.waitForFinished();
    }
    Nginx(const Nginx&) = delete;
    Nginx& operator=(const Nginx&) = delete;

    // A site with other words in some places, all of which have to be there.
    static QByteArray replaced(QByteArray text,
                               const QList<std::pair<QByteArray, QByteArray>>& words)
    {
        for (const auto& [from, to] : words) {
            if (!text.contains(from))
                qFatal("the site has no '%s'", from.constData());
            text.replace(from, to);
        }
        return text;
    }

    static bool isThere() { return !QByteArray(NGINX).isEmpty(); }
    // A port that was free a moment ago.
    static quint16 freePort()
    {
        QTcpServer server;
        return server.listen(QHostAddress::LocalHost) ? server.serverPort() : 0;
    }

    // Whether nginx accepts its configuration.
    bool check()
    {
        m_process.start(QStringLiteral(NGINX), words() + QStringList{ QStringLiteral("-t") });
        return m_process.waitForFinished(60000) && m_process.exitCode() == 0;
    }
    // Starts it, and waits until it serves `port`.
    bool start(quint16 port)
    {
        m_process.start(QStringLiteral(NGINX), words());
        for (int tries = 0; tries < 3000; ++tries) {
            QTcpSocket socket;
            socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
            if (socket.waitForConnected(1000))
                return true;
            if (m_process.waitForFinished(20))
                return false;
        }
        return false;
    }
    // Has it read the configuration again, which takes a moment.
    bool reload() { return kill(pid_t(m_process.processId()), SIGHUP) == 0; }
    QByteArray log() { return m_process.readAllStandardError(); }

private:
    QStringList words() const
    {
        return { QStringLiteral("-p"), m_folder, QStringLiteral("-c"),
                 QStringLiteral("nginx.conf") };
    }
    void write(const QString& name, const QByteArray& text) const
    {
        QFile file(m_folder + QLatin1Char('/') + name);
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
            qFatal("cannot write %s", qPrintable(file.fileName()));
    }

    const QString m_folder;
    QProcess m_process;
};
