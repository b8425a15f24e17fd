// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// How the library acts on the desktop: it keeps windows responsive during a wait,
/// shows errors, asks for a policy, and makes menus and panels reload.

#pragma once

#include <QString>
#include <vantrelagent/export.h>

/// One pass of the application's event processing, if there is an application.
/// Every wait of the library is a loop of this.
VANTRELAGENT_EXPORT void ProcessMessages();

namespace Agent
{

/// Whether the process has a QApplication, which boxes and windows need. Without
/// one the library shows none: its texts go to its signals and, as warnings of the
/// category "vantrel.agent.request", to the log.
VANTRELAGENT_EXPORT bool CanShowWindows();

} // namespace Agent

/// An error box without a parent; returns when the user has closed it. Without a
/// QApplication the text goes to the log instead.
VANTRELAGENT_EXPORT void ShowErrorMsg(const char* text);

namespace Agent
{

/// ShowErrorMsg for any text.
VANTRELAGENT_EXPORT void ShowErrorBox(const QString& text);

} // namespace Agent

/// Whether an available update may be offered now. The arguments are the question and
/// the caption that a policy could show. Always true: there is no policy yet.
VANTRELAGENT_EXPORT bool okToDoUpdate(const QString& text, const QString& caption);

namespace Agent
{

/// Notifies the running applications of the session that installed applications
/// have changed: message 32 with the value 1652, on the session bus. Without a bus
/// it does nothing.
VANTRELAGENT_EXPORT void BroadcastMenuChange();

} // namespace Agent
