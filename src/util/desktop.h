// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// What the library does to the desktop around it: keep it alive during a wait,
/// show an error, ask for a policy, tell menus and panels to reload.

#pragma once

#include "export.h"

#include <QString>

/// One pass of the application's event processing, where there is an
/// application. Every wait of the library is a loop of this.
VANTRELAGENT_EXPORT void ProcessMessages();

/// Whether the process has a QApplication, which boxes and windows need. Without
/// one the library shows none: its texts go to its signals and, as warnings of the
/// category "vantrel.agent.request", to the log.
VANTRELAGENT_EXPORT bool CanShowWindows();

/// An error box without a parent; returns when the user has closed it. Without a
/// QApplication the text goes to the log instead.
/// @{
VANTRELAGENT_EXPORT void ShowErrorMsg(const char* text);
VANTRELAGENT_EXPORT void ShowErrorBox(const QString& text);
/// @}

/// Whether an available update may be offered now; asked with the question and
/// the caption a policy could show. Always true: there is no policy yet.
VANTRELAGENT_EXPORT bool okToDoUpdate(const QString& text, const QString& caption);

/// Tells the running applications of the session that installed applications
/// changed: message 32 with the value 1652, on the session bus. Without a bus
/// nothing happens.
VANTRELAGENT_EXPORT void BroadcastMenuChange();
