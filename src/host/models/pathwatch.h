// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Reports that something in a folder has changed. The folder need not exist yet.

#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QTimer>

namespace Pakmart
{

class PathWatch : public QObject
{
    Q_OBJECT

public:
    explicit PathWatch(const QString& folder, QObject* parent = nullptr);

Q_SIGNALS:
    // Several changes in short order are one.
    void Changed();

private:
    void Watch();

    const QString m_folder;
    QFileSystemWatcher m_watcher;
    QTimer m_delay;
};

} // namespace Pakmart
