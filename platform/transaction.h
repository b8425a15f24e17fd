// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A run of apt-get for a command line, and its result.

#pragma once

#include "platform/arguments.h"
#include "platform/relay.h"

#include <string>
#include <vector>

constexpr int aptFailure = 100; // apt-get's own status for an error

// Runs apt-get below `root` and writes its output. Returns its exit status, with one
// exception: an install that did all that was requested, while dpkg failed for other
// packages, is a success, with a warning that names those.
// The packages that are shown to apt-get as installed, but are half-installed and needed by
// this install, which installs them again first. `status` becomes the status of the listing,
// if one was made.
std::vector<std::string> BrokenParts(const Arguments& arguments, const std::string& root,
                                     int& status);

int RunAptGet(const Arguments& arguments, const std::string& root, const Writer& write);
