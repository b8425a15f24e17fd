// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The settings for apt-get: how it behaves, and in which root it works.

#pragma once

#include <string>

// The text of an apt configuration file that takes precedence over all others: no
// prompts, a wait for locks, literal names; with a private root, everything is below it
// and the machine's own configuration does not apply. With `ownSources` the store's
// sources are the only ones and need no signature; each archive is still checked against
// the checksum in the index. `root` is the private root, empty without one. `statusFd` is
// the descriptor for machine-readable progress. `statusFile`, unless empty, is read instead
// of dpkg's status.
std::string AptSettings(const std::string& root, bool ownSources, int statusFd,
                        const std::string& statusFile = std::string());

// Whether that text can contain a path.
bool CanBeQuoted(const std::string& path);
