// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The package index of a Debian archive, as apt keeps it, plain or compressed.
//
// An index is not trusted: a package is left out, with a message, if its fields could lead
// outside the archive, if its name is invalid, or if the package tools could not check
// its archive.

#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// The maximum size of a product's description, in bytes.
constexpr std::size_t longestDescription = 16 * 1024;

// One package of the index.
struct ArchivePackage {
    std::string name;
    std::string version;
    std::string archive; // the last part of its file name
    std::string title; // for people: its name, unless an application has a better one
    std::string category; // its section ("unknown" without a valid one), or an application's
    std::string description; // one line, or with the long description below it
    std::string descriptionMd5; // the key of the long one in a translation file
    std::string stanza; // as in the index, except for dropped fields
    std::string icon; // the file name of its application's icon, if there is one
    std::string picture; // the icon itself: a PNG file
};

struct DebianIndex {
    std::map<std::string, ArchivePackage> packages; // by name: the newest version of each
    std::vector<std::string> leftOut; // "FILE:LINE: why", for the first ones
    std::size_t leftOutCount = 0;
    std::size_t older = 0; // versions that are not the newest
};

// Notes something that is left out, and why.
void LeaveOut(DebianIndex& index, const std::string& reason);

// Throws StoreError when the file cannot be read, holds no package at all or is
// larger than a server would serve.
DebianIndex ReadDebianIndex(const std::string& file);

// Gives each package the long description that a translation file of the archive
// has for it. Returns how many it had.
std::size_t AddLongDescriptions(DebianIndex& index, const std::string& file);

// The address of the archive that apt has fetched this file from, out of its
// name; empty if the name is not one of apt's.
std::string ArchiveOf(const std::string& file);
