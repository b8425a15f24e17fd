// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// Whether the package daemon runs.

#pragma once

#include "../util/export.h"

/// True when another process holds the daemon's single-instance lock "pakmartd".
/// With `bStart` the daemon's start script is run first, up to three times while
/// the daemon does not show (and once even if it runs already). Each time the check
/// waits for the end of the script, for ten seconds at most, and a moment longer for
/// the daemon; events are processed meanwhile. It takes the lock itself for an
/// instant when nobody holds it.
VANTRELAGENT_EXPORT bool DaemonRunning(bool bStart);
