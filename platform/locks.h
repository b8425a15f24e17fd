// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The locks of the package tools. apt-get itself waits for dpkg's only, and gives
// up at once when another apt-get is at the archives or the package lists.

#pragma once

#include "platform/arguments.h"

#include <functional>
#include <string>
#include <vector>

// The lock files that a command takes, below `root`.
std::vector<std::string> LocksOf(const Arguments& arguments, const std::string& root);

// Waits until no other process holds one of `files`, `seconds` at most (for ever
// if that is negative; what is still held then, apt-get reports), and says so once.
// Returns 0, or the number of the signal that ended the wait: the end signals are held
// (HoldEndSignals).
int WaitForLocks(const std::vector<std::string>& files, int seconds,
                 const std::function<void(const std::string&)>& say);
