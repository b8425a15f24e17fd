// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What apt-get is asked for, where its own answer to our words would not do.

#pragma once

#include "base/dpkgstatus.h"
#include "platform/arguments.h"

#include <string>
#include <vector>

using Agent::DpkgStatus;
using Agent::PackageState;

// Half-installed, or dpkg wants it reinstalled.
bool IsBroken(const PackageState& state);

// The words for apt-get:
// - an install may not take packages away unless that is allowed, and takes none
//   because the machine's settings clean up;
// - a package that is half-installed is installed again, which apt-get would leave
//   as it is, with exit status 0;
// - one that dpkg wants reinstalled can be removed nevertheless, and so can one on hold
//   that is asked for by its name;
// - a listing of files names those that the cache has, too.
std::vector<std::string> AptWords(const Arguments& arguments, const DpkgStatus& status);

// The same install, only as a listing of the files that it takes.
std::vector<std::string> ListingWords(const Arguments& arguments, const DpkgStatus& status);

// With the same options, to install these packages again instead.
std::vector<std::string> RepairWords(const Arguments& arguments,
                                     const std::vector<std::string>& packages);

// The package whose file a line of such a listing names; empty for any other line.
std::string PackageOfListing(const std::string& line);

// The same install, only simulated, as it would be next: "Inst" lines say what is
// still to be done.
std::vector<std::string> SimulationWords(const Arguments& arguments);

// Whether each package that is asked for is installed.
bool AllInstalled(const Arguments& arguments, const DpkgStatus& status);
