// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What apt-get gets: command lines, adjusted where it would not do what is wanted, and
// settings.

#pragma once

#include "base/dpkgstatus.h"
#include "platform/arguments.h"

#include <string>
#include <vector>

using Agent::DpkgStatus;
using Agent::PackageState;

// Whether a package is half-installed, or dpkg wants it reinstalled.
bool IsBroken(const PackageState& state);

// The words for apt-get:
// - an install removes no packages unless that is allowed, not even unused ones that the
//   machine's settings would remove;
// - a half-installed package is reinstalled; apt-get alone would leave it as it is and
//   exit with 0;
// - a package can be removed even if dpkg wants it reinstalled, or if it is on hold and
//   requested by name;
// - a listing of files includes those that the cache already has.
std::vector<std::string> AptWords(const Arguments& arguments, const DpkgStatus& status);

// The same install, only as a listing of the files that it needs.
std::vector<std::string> ListingWords(const Arguments& arguments, const DpkgStatus& status);

// With the same options, to reinstall these packages instead.
std::vector<std::string> RepairWords(const Arguments& arguments,
                                     const std::vector<std::string>& packages);

// The package whose file a line of such a listing names; empty for any other line.
std::string PackageOfListing(const std::string& line);

// The same install, only simulated: "Inst" lines say what is still to be done.
std::vector<std::string> SimulationWords(const Arguments& arguments);

// Whether each requested package is installed.
bool AllInstalled(const Arguments& arguments, const DpkgStatus& status);

// The text of an apt configuration file that takes precedence over all others: no
// prompts, a wait for locks, literal names; with a private root, everything is below it
// and the machine's own configuration does not apply. With `ownSources` the store's
// sources are the only ones. `root` is the private root, empty without one. `statusFd` is
// the descriptor for machine-readable progress. `statusFile`, unless empty, is read instead
// of dpkg's status.
std::string AptSettings(const std::string& root, bool ownSources, int statusFd,
                        const std::string& statusFile = std::string());

// The same for a simulation: without the planner's log, which apt writes in place of that of the
// last change, and which takes half of the simulation's time.
std::string SimulationSettings(const std::string& root, bool ownSources, int statusFd,
                               const std::string& statusFile);

// Whether that text can contain a path.
bool CanBeQuoted(const std::string& path);
