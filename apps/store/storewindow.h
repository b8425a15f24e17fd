// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The window of the store: its pages, and where it is told to go.

#pragma once

#include "address.h"
#include "desktop.h"
#include "preferences.h"

#include <QQmlApplicationEngine>
#include <QQuickWindow>

class StoreWindow : public QObject
{
    Q_OBJECT

public:
    explicit StoreWindow(QObject* parent = nullptr);

    QQmlEngine& engine() { return m_engine; }
    // Null before open(), and if the pages cannot be loaded.
    QQuickWindow* window() const;

    // Shows the window. False if that is not possible; why is a warning of the engine.
    bool open();
    void go(const Address& address);
    // Brings the window to the front, for a second start of the program.
    void raise();

private:
    Desktop m_desktop;
    Preferences m_preferences;
    QQmlApplicationEngine m_engine; // goes first
};
