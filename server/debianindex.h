// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The package index of a Debian archive, as apt keeps it, plain or compressed.
//
// An index comes from somebody else: whatever could lead outside the archive,
// could be no package's name or goes unchecked by the package tools is left out,
// with a word on why.

#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

// One package of the index.
struct ArchivePackage {
    std::string name;
    std::string version;
    std::string archive; // the last part of its file name
    std::string section; // "unknown" where the index has none that could be one
    std::string description; // one line, or with the long description below it
    std::string descriptionMd5; // by which a translation file has the long one
    std::string stanza; // as it stands in the index, but for what was dropped
};

struct DebianIndex {
    std::map<std::string, ArchivePackage> packages; // by name: the newest version of each
    std::vector<std::string> leftOut; // "FILE:LINE: why", for the first ones
    std::size_t leftOutCount = 0;
    std::size_t older = 0; // versions that are not the newest
};

// Throws StoreError when the file cannot be read, holds no package at all or is
// larger than a server would serve.
DebianIndex ReadDebianIndex(const std::string& file);

// Gives each package the long description that a translation file of the archive
// has for it. Returns how many it had.
std::size_t AddLongDescriptions(DebianIndex& index, const std::string& file);

// The address of the archive that apt has fetched this file from, out of its
// name; empty for a name that is none of apt's.
std::string ArchiveOf(const std::string& file);
