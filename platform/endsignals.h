// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The signals that ask a program to end.

#pragma once

#include <csignal>

// SIGINT, SIGTERM and SIGHUP, except those that were already ignored at the start (as by
// nohup): they stay ignored, by apt-get too.
sigset_t EndSignals();

// Blocks them until they are let through (by Child::Start), so that none is lost while
// there is no child yet to pass it on to.
void HoldEndSignals();
