// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// The lists that the pieces of an install hand to each other.

#pragma once

#include <map>
#include <string>
#include <vector>

/// Texts in order: package names, URLs, file names, the lines of a log.
using PackageNameArray = std::vector<std::string>;

/// Lines of the package front end's output, in output order.
using AptGetMessages = std::vector<std::string>;

/// Package name to size text ("0" until the size is known).
using AptGetPackages = std::map<std::string, std::string>;
