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

PathWatch::PathWatch(const QString& folder, const QString& file, QObject* parent)
    : QObject(parent), m_folder(QDir::cleanPath(folder)),
      m_file(file.isEmpty() ? QString() : m_folder + QLatin1Char('/') + file)
{
    m_delay.setSingleShot(true);
    m_delay.setInterval(collectFor);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, &PathWatch::note);
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, &PathWatch::note);
    connect(&m_delay, &QTimer::timeout, this, [this] {
        watch();
        emit changed();
    });
    watch();
}

void PathWatch::note()
{
    if (!m_delay.isActive())
        m_delay.start();
}

// Folders and files are made, replaced and removed at any time.
void PathWatch::watch()
{
    const QString nearest = NearestTo(m_folder);
    const QStringList old = m_watcher.directories();
    if (old != QStringList(nearest)) {
        if (!old.isEmpty())
            m_watcher.removePaths(old);
        m_watcher.addPath(nearest);
    }
    if (!m_file.isEmpty() && m_watcher.files().isEmpty() && QFileInfo::exists(m_file))
        m_watcher.addPath(m_file);
}

} // namespace Pakmart
