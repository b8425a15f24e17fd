// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// dpkg's status file on the test's machine image.

#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>

inline QString StatusFile()
{
    return QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"))
        + QStringLiteral("/var/lib/dpkg/status");
}

inline QByteArray StatusText()
{
    QFile file(StatusFile());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The words of dpkg's status for a package; "none" for an unknown one.
inline QByteArray StatusWords(const QByteArray& package)
{
    const QByteArray text = StatusText();
    const QByteArray begin = "Package: " + package + "\nStatus: ";
    const int at = int(text.indexOf(begin));
    return at < 0 ? QByteArray("none") : text.mid(at + begin.size()).split('\n').first();
}

inline void WriteStatusFile(const QByteArray& text)
{
    QDir().mkpath(QFileInfo(StatusFile()).path());
    QFile file(StatusFile());
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        qFatal("cannot write the status file");
}

// Puts a package into a state in which an interrupted dpkg, or a failed script, leaves it.
inline void SetStatusWords(const QByteArray& package, const QByteArray& words)
{
    const QByteArray begin = "Package: " + package + "\nStatus: ";
    const QByteArray old = begin + StatusWords(package) + '\n';
    QByteArray text = StatusText();
    if (!text.contains(old))
        qFatal("%s is not in the status file", package.constData());
    WriteStatusFile(text.replace(old, begin + words + '\n'));
}
