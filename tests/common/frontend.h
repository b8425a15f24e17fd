// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A package front end that prints exactly the bytes that the test wants, and records the
// arguments of its calls.

#pragma once

#include <QDir>
#include <QFile>
#include <QString>
#include <QStringList>

class ScriptedFrontEnd
{
public:
    ScriptedFrontEnd()
    {
        for (const char* name : { "vos-apt-get", "dpkg" })
            install(QLatin1String(name), "exit 0");
    }

    // Makes "/usr/bin/NAME" of the machine image a script with these shell commands.
    void install(const QString& name, const QByteArray& commands)
    {
        QFile::remove(path(name));
        QFile file(path(name));
        if (!file.open(QIODevice::WriteOnly))
            qFatal("cannot write the scripted front end");
        file.write("#!/bin/sh\necho \"" + name.toLatin1() + " $*\" >> " + log().toLocal8Bit() + "\n"
                   + commands + '\n');
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    // The front end prints these bytes for an install and ends with `status`.
    void says(const QByteArray& bytes, int status = 0)
    {
        QFile file(dir() + QStringLiteral("/says"));
        if (!file.open(QIODevice::WriteOnly))
            qFatal("cannot write what the front end says");
        file.write(bytes);
        install(QStringLiteral("vos-apt-get"),
                "case \" $* \" in *' install '*) cat " + file.fileName().toLocal8Bit() + "; exit "
                    + QByteArray::number(status) + ";; esac");
    }

    void forget() { QFile::remove(log()); }
    // The calls so far, one line per call.
    QStringList calls() const
    {
        QFile file(log());
        if (!file.open(QIODevice::ReadOnly))
            return {};
        QStringList lines = QString::fromLocal8Bit(file.readAll()).split(QLatin1Char('\n'));
        lines.removeLast();
        return lines;
    }

    static QString path(const QString& name)
    {
        return QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT")) + QStringLiteral("/usr/bin/")
            + name;
    }

private:
    static QString dir() { return QString::fromLocal8Bit(qgetenv("TEST_DIR")); }
    static QString log() { return dir() + QStringLiteral("/calls"); }
};
