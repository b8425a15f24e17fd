// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What the user has set in the window, in pakmart-storerc of the user's configuration.

#pragma once

#include <QObject>
#include <QString>

class Preferences : public QObject
{
    Q_OBJECT
    // Whether the user is told of updates after logging in; not unless that was switched on.
    Q_PROPERTY(bool notifies READ notifies NOTIFY changed)

public:
    explicit Preferences(QObject* parent = nullptr) : QObject(parent) { }

    static bool notifies();
    // False if the configuration cannot be written: then the setting is what it was.
    Q_INVOKABLE bool setNotifies(bool notifies);
    // The path of the file.
    Q_INVOKABLE static QString file();

Q_SIGNALS:
    void changed();
};
