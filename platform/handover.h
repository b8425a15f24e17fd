// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Changes of the machine by a user who is not root: the privileged helper makes them, if an
// administrator allows it.

#pragma once

#include "platform/arguments.h"
#include "platform/relay.h"

#include <string>

constexpr int notAllowed = 3; // the exit status where the administrator's permission is missing

// Whether this process may not do itself what the command line says.
bool NeedsHelper(const Arguments& arguments);

// Makes the plan, has the helper carry it out, and writes the output of that. Returns the exit
// status.
int HandOver(const Arguments& arguments, const Writer& write);
