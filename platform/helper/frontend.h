// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Runs the package front end with nothing of the caller's and little of ours: a fixed
// environment, no open file but the pipe.

#pragma once

#include "base/descriptor.h"

#include <string>
#include <sys/types.h>
#include <vector>

struct FrontEnd {
    pid_t process = -1; // -1 if it could not be started
    Agent::Descriptor output; // the end to read its output and errors from
};

FrontEnd StartFrontEnd(const std::vector<std::string>& words);
