// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Reports that something in a folder has changed: its list of files, and the content of one
// file. Neither need exist yet.

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
    // The name of the file may be empty.
    explicit PathWatch(const QString& folder, const QString& file = QString(),
                       QObject* parent = nullptr);

Q_SIGNALS:
    // Several changes in short order are one.
    void changed();

private:
    void watch();

    void note();

    const QString m_folder;
    const QString m_file;
    QFileSystemWatcher m_watcher;
    QTimer m_delay;
};

} // namespace Pakmart
