// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The test's machine image with apt-get and dpkg, the demo store, and a store server that
// serves it: the environment of pakmart on a user's machine.
//
//     DemoMachine machine;
//     QVERIFY(machine.setUp());
//     const DemoMachine::Result result = machine.pakmart({ "install", "1001" });

#pragma once

#include "support/cconfigfile.h"
#include "tests/server/serverprocess.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <memory>

class DemoMachine
{
public:
    struct Result {
        int status = -1;
        QString out, err;
    };

    const QString root = QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"));
    const QString dir = QString::fromLocal8Bit(qgetenv("TEST_DIR"));

    // Sets everything up and starts the server.
    bool setUp()
    {
        if (QProcess::execute(QStringLiteral(MKROOT),
                              { QStringLiteral("--front-end"), QStringLiteral(VOS_APT_GET), root })
            != 0)
            return false;
        m_server = std::make_unique<ServerProcess>(ServerProcess::makeDemoStore(dir));
        return m_server->isRunning() && useServer(url());
    }
    QString store() const { return dir + QStringLiteral("/store"); }
    QString url() const { return m_server->url(); }
    int endServer(int signal) { return m_server->end(signal); }

    // Writes the store's address to the settings.
    bool useServer(const QString& url) const
    {
        const QString file = root + QStringLiteral("/usr/share/apps/vantrelagent/.vauf");
        return CConfigFile(file.toStdString(), true)
            .SetValue("agent api url", url.toStdString() + "/getagentapi.php", true);
    }

    // Trusts the packages and replies of the store at this address, with the key in a file.
    bool trustStore(const QString& publicKey, const QByteArray& address) const
    {
        const QString etc = root + QStringLiteral("/etc/pakmart/");
        QDir().mkpath(etc + QStringLiteral("keys"));
        QFile::remove(etc + QStringLiteral("keys/store.gpg"));
        return QFile::copy(publicKey, etc + QStringLiteral("keys/store.gpg"))
            && WriteTextFile(etc + QStringLiteral("stores.d/store.sources"),
                             "Types: deb\nURIs: " + address
                                 + "/pool/main\nSuites: ./\nSigned-By: "
                                   "/etc/pakmart/keys/store.gpg\nRelease-Origin: Pakmart\n"
                                   "Release-Suite: main\n")
            && WriteTextFile(etc + QStringLiteral("settings"),
                             "[Stores]\nRequireSignedReplies=yes\n");
    }

    // Runs pakmart to its end.
    static Result pakmart(const QStringList& words, const QByteArray& input = QByteArray())
    {
        QProcess process;
        process.start(QStringLiteral(PAKMART), words);
        process.write(input);
        process.closeWriteChannel();
        if (!process.waitForFinished(120000))
            qFatal("pakmart does not end");
        return { process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                 QString::fromUtf8(process.readAllStandardOutput()),
                 QString::fromUtf8(process.readAllStandardError()) };
    }

    QByteArray dpkgStatus() const
    {
        QFile status(root + QStringLiteral("/var/lib/dpkg/status"));
        return status.open(QIODevice::ReadOnly) ? status.readAll() : QByteArray();
    }

    // The files that an install has left in the private tree; there should be none.
    QStringList leftInTree() const
    {
        const QString tree = QDir::homePath() + QStringLiteral("/.vos-apt-get");
        QStringList left = QDir(root + QStringLiteral("/tmp"))
                               .entryList({ QStringLiteral("*.xml") }, QDir::Files | QDir::Hidden);
        if (QFile::exists(tree + QStringLiteral("/apt/vos-sources.list")))
            left << QStringLiteral("/apt/vos-sources.list");
        return left + QDir(tree + QStringLiteral("/lists")).entryList(QDir::Files);
    }

private:
    std::unique_ptr<ServerProcess> m_server;
};
