// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The test's machine image with apt-get and dpkg, and the demo store, served by the real store
// server or, where its answers must be wrong, by a scripted one.

#pragma once

#include "support/cconfigfile.h"
#include "tests/common/scriptedserver.h"
#include "tests/server/serverprocess.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <csignal>
#include <memory>

class StoreMachine
{
public:
    const QString root = QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"));
    const QString dir = QString::fromLocal8Bit(qgetenv("TEST_DIR"));

    // A new machine without packages and without what a store has sent.
    bool setUp()
    {
        for (const QString& folder : { root + QStringLiteral("/var"), root + QStringLiteral("/usr"),
                                       dir + QStringLiteral("/store"), tree() })
            QDir(folder).removeRecursively();
        const QStringList words{ QStringLiteral("--front-end"), QStringLiteral(VOS_APT_GET), root };
        return QProcess::execute(QStringLiteral(MKROOT), words) == 0;
    }
    // Starts the real server.
    bool serve()
    {
        m_server = std::make_unique<ServerProcess>(ServerProcess::makeDemoStore(dir));
        return m_server->isRunning() && use(m_server->url().toLatin1() + "/getagentapi.php");
    }
    bool endServer() { return m_server->end(SIGTERM) == 0; }
    QString url() const { return m_server->url(); }

    // Makes a scripted server the store: its directory, and what it answers to a function.
    bool useScripted(const QList<QByteArray>& functions)
    {
        QByteArray list;
        for (const QByteArray& name : functions)
            list += "<api><name>" + name + "</name><url>" + scripted.url("/" + name)
                + "</url></api>";
        scripted.answer("/getagentapi.php",
                        ScriptedServer::http(reply("<getagentapi>" + list + "</getagentapi>")));
        return use(scripted.url("/getagentapi.php"));
    }
    static QByteArray reply(const QByteArray& body,
                            const QByteArray& attributes = "resultcode=\"OK\"")
    {
        return "<?xml version=\"1.0\"?><agentfunction " + attributes + ">" + body
            + "</agentfunction>";
    }
    // Answers with nothing, and leaves the connection open.
    void stall(const QByteArray& path)
    {
        scripted.answer(path, [](QTcpSocket*, const QByteArray&) {});
    }

    bool use(const QByteArray& directory, const char* silence = "120") const
    {
        CConfigFile settings(settingsFile().toStdString(), true);
        return settings.SetValue("response timeout", silence, true)
            && settings.SetValue("agent api url", directory.toStdString(), true);
    }
    QString settingsFile() const
    {
        return root + QStringLiteral("/usr/share/apps/vantrelagent/.vauf");
    }
    QString data(const char* name) const
    {
        return root + QStringLiteral("/usr/share/apps/vantrelagent/") + QLatin1String(name);
    }
    QByteArray contents(const QString& path) const
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    static QString tree() { return QDir::homePath() + QStringLiteral("/.vos-apt-get"); }

    // What the tasks of dead jobs may have left.
    QStringList spoolFiles() const
    {
        return QDir(root + QStringLiteral("/tmp"))
            .entryList({ QStringLiteral("*.xml") }, QDir::Files);
    }

    ScriptedServer scripted;

private:
    std::unique_ptr<ServerProcess> m_server;
};
