// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The file `Packages` of a repository: a Debian package index.

#pragma once

#include <map>
#include <string>

// The stanzas of the index, each ending with its line end, by the name of the
// archive they describe (the last part of their Filename).
using PackageIndex = std::map<std::string, std::string>;

PackageIndex ParsePackageIndex(const std::string& text, const std::string& path);
