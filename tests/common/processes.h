// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The running processes. One that has ended but is not reaped yet does not count.
// Children that do not outlive a test that fails or is killed.

#pragma once

#include <QDir>
#include <QFile>
#include <QList>
#include <csignal>
#include <sys/prctl.h>

// The fields after the name in a process's stat file: state, parent, group, session.
// Empty if it has ended.
inline QByteArrayList ProcessFields(const QString& pid)
{
    QFile stat(QStringLiteral("/proc/") + pid + QStringLiteral("/stat"));
    if (!stat.open(QIODevice::ReadOnly))
        return {};
    const QByteArray text = stat.readAll();
    const QByteArrayList fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    return fields.value(0) == "Z" || fields.size() < 4 ? QByteArrayList() : fields;
}

inline bool IsRunning(int pid)
{
    return !ProcessFields(QString::number(pid)).isEmpty();
}

// The processes whose field has this value.
inline QStringList ProcessesWith(int field, qint64 value)
{
    QStringList found;
    const QStringList all = QDir(QStringLiteral("/proc")).entryList({ QStringLiteral("[0-9]*") });
    for (const QString& pid : all) {
        if (ProcessFields(pid).value(field).toLongLong() == value)
            found << pid;
    }
    return found;
}

inline QStringList ProcessesOfSession(int session)
{
    return ProcessesWith(3, session);
}

inline QStringList ChildrenOf(qint64 parent)
{
    return ProcessesWith(1, parent);
}

// For a child that would otherwise wait or work until it is killed.
inline void EndWithParent()
{
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0)
        qFatal("cannot end with the parent");
}
