// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// "--plan": runs apt-get's resolver without changing anything, and prints the result for
// programs.

#pragma once

#include "platform/arguments.h"
#include "platform/relay.h"

#include <string>

// Prints errors and warnings, then the plan if there is one. Returns apt-get's exit status.
int PrintPlan(const Arguments& arguments, const std::string& root, const Writer& write);
