// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Builds real packages, and the index of a flat repository with them.

#pragma once

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

class TestArchive
{
public:
    struct Package {
        QByteArray name;
        QByteArray version = "1.0";
        QByteArray depends = QByteArray();
        int size = 100; // of its one file, at least; in bytes
        QByteArray conffile = QByteArray(); // the text of a configuration file
        QByteArray fields = QByteArray(); // more lines of its control file
        QByteArray failing = QByteArray(); // the scripts that fail: "prerm postinst"
    };

    // Builds the package; its one program prints its name and version.
    void add(const Package& package)
    {
        const QString tree = m_dir.filePath(QStringLiteral("tree"));
        QDir(tree).removeRecursively();
        QByteArray control = "Package: " + package.name + "\nVersion: " + package.version
            + "\nArchitecture: all\nMaintainer: T <t@t.example>\nDescription: t\n";
        if (!package.depends.isEmpty())
            control += "Depends: " + package.depends + '\n';
        control += package.fields;
        write(tree, "/DEBIAN/control", control);
        for (const QByteArray& script : package.failing.simplified().split(' '))
            if (!script.isEmpty())
                write(tree, "/DEBIAN/" + script, "#!/bin/sh\nexit 1\n");
        QByteArray random;
        for (quint32 i = 0, seed = 1; int(i) < package.size; ++i)
            random += char('a' + (seed = seed * 1664525u + 1013904223u) % 26);
        write(tree, "/usr/bin/" + package.name,
              "#!/bin/sh\necho " + package.name + ' ' + package.version + "\nexit\n" + random);
        if (!package.conffile.isEmpty()) {
            write(tree, "/etc/" + package.name + ".conf", package.conffile);
            write(tree, "/DEBIAN/conffiles", "/etc/" + package.name + ".conf\n");
        }
        const QString file = fileOf(package);
        QProcess dpkg;
        dpkg.start(QStringLiteral("dpkg-deb"),
                   { QStringLiteral("-Znone"), QStringLiteral("--root-owner-group"),
                     QStringLiteral("--build"), tree, file });
        if (!dpkg.waitForFinished() || dpkg.exitCode() != 0)
            qFatal("dpkg-deb: %s", dpkg.readAllStandardError().constData());
        const QByteArray bytes = contents(file);
        m_index += control + "Filename: ./" + QFileInfo(file).fileName().toLatin1()
            + "\nSize: " + QByteArray::number(bytes.size()) + "\nSHA256: "
            + QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex() + "\n\n";
    }

    QString fileOf(const Package& package) const
    {
        return m_dir.filePath(
            QString::fromLatin1(package.name + '_' + package.version + "_all.deb"));
    }
    QByteArray index() const { return m_index; }
    QByteArray contents(const QString& file) const
    {
        QFile source(file);
        return source.open(QIODevice::ReadOnly) ? source.readAll() : QByteArray();
    }

private:
    static void write(const QString& tree, const QByteArray& name, const QByteArray& text)
    {
        QFile file(tree + QString::fromLatin1(name));
        QDir().mkpath(QFileInfo(file).path());
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
            qFatal("cannot write a package's file");
        file.setPermissions(QFile::Permissions(0x7755));
    }

    QTemporaryDir m_dir;
    QByteArray m_index;
};
