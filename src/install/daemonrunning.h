// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// Whether the package daemon runs.

#pragma once

#include <vantrelagent/export.h>

/// True when another process holds the daemon's single-instance lock "pakmartd".
/// With `bStart` the daemon's start script is run first, up to three times until the
/// daemon appears (and once even if it runs already). Each time the check waits at most
/// ten seconds for the end of the script, and a moment longer for the daemon; events
/// are processed meanwhile. If the lock is free, the check itself takes it for an
/// instant.
VANTRELAGENT_EXPORT bool DaemonRunning(bool bStart);
