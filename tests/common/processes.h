// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Which processes there are. One that has ended and only waits to be collected is
// none.

#pragma once

#include <QDir>
#include <QFile>
#include <QList>

// What the kernel tells of a process behind its name: state, parent, group,
// session. Empty when it has ended.
inline QByteArrayList processFields(const QString& pid)
{
    QFile stat(QStringLiteral("/proc/") + pid + QStringLiteral("/stat"));
    if (!stat.open(QIODevice::ReadOnly))
        return {};
    const QByteArray text = stat.readAll();
    const QByteArrayList fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    return fields.value(0) == "Z" || fields.size() < 4 ? QByteArrayList() : fields;
}

inline bool isRunning(int pid)
{
    return !processFields(QString::number(pid)).isEmpty();
}

inline QStringList processesOfSession(int session)
{
    QStringList found;
    const QStringList all = QDir(QStringLiteral("/proc")).entryList({ QStringLiteral("[0-9]*") });
    for (const QString& pid : all) {
        if (processFields(pid).value(3).toInt() == session)
            found << pid;
    }
    return found;
}
