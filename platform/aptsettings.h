// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// How apt-get is to behave for us, and where it works.

#pragma once

#include <string>

// The text of an apt configuration file that holds before any other: no
// prompts, patience with locks, names taken literally; with a private root,
// everything below it and nothing of the machine's own configuration. With
// `ownSources` the store's sources are the only ones, and they need no
// signature: each archive is still checked against the sum in the index.
// `root` is the private root, empty without one. `statusFd` is where the machine-readable
// progress goes, `statusFile` what is read in the place of dpkg's status, unless it is empty.
std::string AptSettings(const std::string& root, bool ownSources, int statusFd,
                        const std::string& statusFile = std::string());

// Whether a path can stand in that text.
bool CanBeQuoted(const std::string& path);
