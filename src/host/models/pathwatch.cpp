// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/pathwatch.h"

#include <QDir>
#include <QFileInfo>

namespace Pakmart
{

namespace
{

constexpr int collectFor = 100; // milliseconds

// The folder, or the nearest one above that exists.
QString NearestTo(QString folder)
{
    while (!QFileInfo(folder).isDir() && folder != QLatin1String("/"))
        folder = QFileInfo(folder).path();
    return folder;
}

} // namespace

PathWatch::PathWatch(const QString& folder, QObject* parent)
    : QObject(parent), m_folder(QDir::cleanPath(folder))
{
    m_delay.setSingleShot(true);
    m_delay.setInterval(collectFor);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, [this] {
        if (!m_delay.isActive())
            m_delay.start();
    });
    connect(&m_delay, &QTimer::timeout, this, [this] {
        Watch();
        emit Changed();
    });
    Watch();
}

// Folders are made and removed at any time.
void PathWatch::Watch()
{
    const QString nearest = NearestTo(m_folder);
    const QStringList old = m_watcher.directories();
    if (old == QStringList(nearest))
        return;
    if (!old.isEmpty())
        m_watcher.removePaths(old);
    m_watcher.addPath(nearest);
}

} // namespace Pakmart
