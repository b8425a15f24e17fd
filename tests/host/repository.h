// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The test's machine image with apt-get and dpkg, and a repository on loopback whose packages
// are made on the spot.

#pragma once

#include "tests/common/scriptedserver.h"
#include "tests/common/testarchive.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <memory>

class Repository
{
public:
    using Package = TestArchive::Package;

    ScriptedServer server;
    const QString root = QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"));

    // A new machine without packages, with an empty repository.
    bool setUp()
    {
        for (const char* folder : { "/var", "/usr/bin", "/usr/share" })
            QDir(root + QLatin1String(folder)).removeRecursively();
        QDir(tree()).removeRecursively();
        m_archive = std::make_unique<TestArchive>();
        const QStringList words{ QStringLiteral("--front-end"), QStringLiteral(VOS_APT_GET), root };
        return QProcess::execute(QStringLiteral(MKROOT), words) == 0
            && QDir().mkpath(lists() + QStringLiteral("/partial"))
            && QDir().mkpath(tree() + QStringLiteral("/deps/apt"))
            && write(tree() + QStringLiteral("/deps/apt/vos-sources.list"),
                     "deb " + server.url("/r") + " . .\n")
            && placeIndex();
    }

    // Adds a package to the repository.
    void add(const Package& package)
    {
        m_archive->add(package);
        const QByteArray bytes = m_archive->contents(m_archive->fileOf(package));
        server.answer(pathOf(package), ScriptedServer::http(bytes));
        if (!placeIndex())
            qFatal("cannot write the index");
    }
    QByteArray index() const { return m_archive->index(); }
    // Removes what the package tools have kept of their downloads.
    void forgetArchives() const
    {
        QDir archives(root + QStringLiteral("/var/cache/apt/archives"));
        for (const QString& name : archives.entryList({ QStringLiteral("*.deb") }, QDir::Files))
            archives.remove(name);
    }
    QByteArray archiveOf(const Package& package) const
    {
        return m_archive->contents(m_archive->fileOf(package));
    }
    QByteArray pathOf(const Package& package) const
    {
        return "/r/./" + QFileInfo(m_archive->fileOf(package)).fileName().toLatin1();
    }

    // The private tree, and the package lists in it.
    static QString tree() { return QDir::homePath() + QStringLiteral("/.vos-apt-get"); }
    static QString lists() { return tree() + QStringLiteral("/deps/lists"); }

private:
    static bool write(const QString& path, const QByteArray& text)
    {
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
    }
    // Places the index as the store's client does.
    bool placeIndex()
    {
        return write(lists()
                         + QStringLiteral("/127.0.0.1:%1_r_dists_._._binary-i386_Packages")
                               .arg(server.serverPort()),
                     m_archive->index());
    }

    std::unique_ptr<TestArchive> m_archive;
};
