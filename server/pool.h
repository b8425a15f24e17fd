// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A repository in the pool of a store: its index, where its archives are, and its files
// as replies.

#pragma once

#include "httpmessage.h"

#include <map>
#include <string>
#include <vector>

// The file `Packages` of a repository is a Debian package index.

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

// The file `Location` of a repository whose archives are kept by somebody else:
//
//     Archives: http://deb.debian.org/debian
//
// The address that each Filename of the index is taken from; it ends without a
// slash.
std::string ParseLocation(const std::string& text, const std::string& path);

// Answers a GET or HEAD for the file `path` below `pool`: whole, in part for a
// byte range (a client goes on with an interrupted download so), or not at all
// when it has not changed since the client got it. Status 404 when there is no
// such file, or none that may be shown.
void ServePoolFile(const std::string& pool, const std::string& path, const HttpRequest& request,
                   HttpReply& reply);
