// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The locks of the package tools. apt-get itself waits only for dpkg's, and gives up at
// once when another apt-get works on the archives or the package lists.

#pragma once

#include "platform/arguments.h"

#include <functional>
#include <string>
#include <vector>

// The lock files that a command takes, below `root`.
std::vector<std::string> LocksOf(const Arguments& arguments, const std::string& root);

// Waits until no other process holds one of `files`, at most `seconds` (forever if
// negative), and prints once that it waits. apt-get reports a lock that is still held
// afterwards. Returns 0, or the number of the signal that ended the wait; the end signals
// must be blocked (HoldEndSignals).
int WaitForLocks(const std::vector<std::string>& files, int seconds,
                 const std::function<void(const std::string&)>& say);
