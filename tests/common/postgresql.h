// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A database server of PostgreSQL as a process of the test, reached through a socket in its own
// folder. It keeps nothing on the disk for good.
//
//     PostgreSql server(folder);
//     QVERIFY2(server.start(), server.log());
//     server.makeDatabase("first");
//     SqlSource{ SqlSource::Engine::PostgreSql, server.place("first") };

#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QThread>
#include <csignal>
#include <sys/stat.h>
#include <unistd.h>

class PostgreSql
{
public:
    // `folder` is made, below one that the user nobody may enter: root may not run it.
    explicit PostgreSql(const QString& folder) : m_folder(folder) { }
    ~PostgreSql() { stop(); }
    PostgreSql(const PostgreSql&) = delete;
    PostgreSql& operator=(const PostgreSql&) = delete;

    static bool isThere() { return !QByteArray(POSTGRESQL).isEmpty(); }
    static QString program(const char* name)
    {
        return QStringLiteral(POSTGRESQL "/") + QLatin1String(name);
    }

    // The first start makes the data. Waits until it answers.
    bool start()
    {
        if (!QFileInfo::exists(m_folder) && !makeData())
            return false;
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.start(QStringLiteral("setpriv"),
                        user()
                            + QStringList{ program("postgres"), QStringLiteral("-D"),
                                           m_folder + QLatin1String("/data"), QStringLiteral("-k"),
                                           m_folder, QStringLiteral("-c"),
                                           QStringLiteral("listen_addresses="),
                                           QStringLiteral("-c"), QStringLiteral("fsync=off") });
        for (int tries = 0; tries < 3000; ++tries) {
            if (run("psql", { arguments("postgres"), QStringLiteral("-c"), QStringLiteral(";") }))
                return true;
            if (m_process.waitForFinished(20))
                return false;
        }
        return false;
    }
    // Ends all connections and the server: with SIGINT in an orderly way.
    bool stop(int signal = SIGINT)
    {
        if (m_process.state() == QProcess::NotRunning)
            return false;
        ::kill(pid_t(m_process.processId()), signal);
        return m_process.waitForFinished(60000);
    }

    bool makeDatabase(const char* name)
    {
        return tell("postgres", "CREATE DATABASE " + QByteArray(name));
    }
    // Runs statements of SQL as the database's owner.
    bool tell(const char* database, const QByteArray& statements)
    {
        return run("psql",
                   { arguments(database), QStringLiteral("-qtAXv"),
                     QStringLiteral("ON_ERROR_STOP=1"), QStringLiteral("-c"),
                     QString::fromUtf8(statements) });
    }
    // Of its socket.
    const QString& folder() const { return m_folder; }
    // How to connect, for programs of the test.
    QByteArray place(const char* database) const
    {
        return "host=" + m_folder.toLocal8Bit() + " user=keeper dbname=" + database;
    }
    QString arguments(const char* database) const
    {
        return QStringLiteral("--dbname=") + QString::fromLocal8Bit(place(database));
    }

    // Runs one of PostgreSQL's programs to its end, without a settings file of anybody.
    bool run(const char* name, const QStringList& words)
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(program(name), words);
        const bool hasEnded = process.waitForFinished(60000);
        m_said = process.readAll();
        return hasEnded && process.exitCode() == 0;
    }
    const QByteArray& said() const { return m_said; }
    QByteArray log() { return m_said + m_process.readAll(); }

private:
    // The server ends with the test, however that ends.
    static QStringList user()
    {
        QStringList words{ QStringLiteral("--pdeathsig"), QStringLiteral("QUIT") };
        if (geteuid() == 0)
            words << QStringLiteral("--reuid=65534") << QStringLiteral("--regid=65534")
                  << QStringLiteral("--clear-groups");
        return words;
    }
    bool makeData()
    {
        const QByteArray folder = m_folder.toLocal8Bit();
        if (!QDir().mkpath(m_folder)
            || (geteuid() == 0
                && (::chown(folder.constData(), 65534, 65534) != 0
                    || ::chmod(qgetenv("TEST_DIR").constData(), 0711) != 0)))
            return false;
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QStringLiteral("setpriv"),
                      user()
                          + QStringList{ program("initdb"), QStringLiteral("-D"),
                                         m_folder + QLatin1String("/data"), QStringLiteral("-A"),
                                         QStringLiteral("trust"), QStringLiteral("-U"),
                                         QStringLiteral("keeper"), QStringLiteral("-E"),
                                         QStringLiteral("UTF8"), QStringLiteral("--locale=C"),
                                         QStringLiteral("--no-sync") });
        const bool hasEnded = process.waitForFinished(120000);
        m_said = process.readAll();
        return hasEnded && process.exitCode() == 0;
    }

    const QString m_folder;
    QProcess m_process;
    QByteArray m_said;
};
