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

inline void WriteStatusFile(const QByteArray& text)
{
    QDir().mkpath(QFileInfo(StatusFile()).path());
    QFile file(StatusFile());
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        qFatal("cannot write the status file");
}
