// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The agent's data folder on the test's machine image.

#pragma once

#include <QDir>
#include <QFile>
#include <QString>
#include <QStringList>

inline QString DataFolder()
{
    return QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"))
        + QStringLiteral("/usr/share/apps/vantrelagent");
}

inline QString DataPath(const QString& name)
{
    return DataFolder() + QLatin1Char('/') + name;
}

// "<none>" if the file cannot be read.
inline QByteArray ReadDataFile(const QString& name)
{
    QFile file(DataPath(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<none>");
}

inline void WriteDataFile(const QString& name, const QByteArray& text)
{
    QFile file(DataPath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        qFatal("cannot write a file of the data folder");
}

// The files in it, except the settings.
inline QStringList DataFiles()
{
    QStringList names = QDir(DataFolder()).entryList(QDir::Files | QDir::Hidden | QDir::System);
    names.removeAll(QStringLiteral(".vauf"));
    return names;
}
