// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A repository in the pool of a store: its index, the address of its archives, and its
// files as replies.

#pragma once

#include "httpmessage.h"

#include <map>
#include <string>
#include <vector>

// The file `Packages` of a repository is a Debian package index.

struct IndexedPackage {
    std::string stanza; // unchanged, with its last line end
    std::string name;
    std::string version;
    std::string homePage;
    long size = 0; // of the archive, in bytes; 0 when the index does not say
    std::vector<std::string> dependencies; // names; the first one of alternatives
};

// The packages of the index by the name of their archive (the last part of their
// Filename).
using PackageIndex = std::map<std::string, IndexedPackage>;

PackageIndex ParsePackageIndex(const std::string& text, const std::string& path);

// Throws StoreError for a package without a SHA256: a signature of the index would prove
// nothing about its archive.
void RequireSums(const PackageIndex& index, const std::string& path);

// A timestamp for the entries of the repository in `sources`, made of the text of its index:
// clients fetch the package lists again when it changes.
std::string TimestampOf(const std::string& packages);

// The file `Location` of a repository whose archives are on another server:
//
//     Archives: http://deb.debian.org/debian
//
// The address that each Filename of the index is taken from; it ends without a
// slash.
std::string ParseLocation(const std::string& text, const std::string& path);

// Answers a GET or HEAD for the file `path` below `pool`: whole, in part for a byte range
// (used to resume an interrupted download), or without content when it has not changed
// since the client got it. Status 404 when the file does not exist or must not be served.
void ServePoolFile(const std::string& pool, const std::string& path, const HttpRequest& request,
                   HttpReply& reply);
