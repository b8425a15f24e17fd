// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The signals that ask a program to end.

#pragma once

#include <csignal>

// SIGINT, SIGTERM and SIGHUP, without those we were started to ignore (as nohup
// does): they stay ignored, by apt-get too.
sigset_t EndSignals();

// Keeps them waiting until they are let through (Child::Start does), so that none
// is lost while there is no child yet to pass it on to.
void HoldEndSignals();
