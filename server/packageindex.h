// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The file `Packages` of a repository: a Debian package index.

#pragma once

#include <map>
#include <string>
#include <vector>

struct IndexedPackage {
    std::string stanza; // as it stands, with its last line end
    std::string name;
    std::string version;
    std::string homePage;
    long size = 0; // of the archive, in bytes; 0 when the index does not say
    std::vector<std::string> dependencies; // names; of alternatives the first
};

// The packages of the index by the name of their archive (the last part of their
// Filename).
using PackageIndex = std::map<std::string, IndexedPackage>;

PackageIndex ParsePackageIndex(const std::string& text, const std::string& path);
