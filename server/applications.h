// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What AppStream says of the applications of an archive: names, summaries, descriptions and
// categories that are made for people. A package that is no application keeps its own.

#pragma once

#include "debianindex.h"

#include <map>
#include <string>

struct ArchiveApplication {
    std::string name; // one line
    std::string summary; // one line
    std::string description; // lines, an empty one as a single dot; may be empty
    std::string category; // in words; empty if it has none of the main ones
    std::string icon; // the name of a file in the archive of icons; may be empty
};

using ArchiveApplications = std::map<std::string, ArchiveApplication>; // by package

// Reads a catalog of AppStream as an archive publishes it: XML if its name says so, otherwise
// YAML (DEP-11), plain or compressed. Texts are those without a language. What is not an
// application, or has a text that a store cannot have, is passed over. Throws StoreError when
// the file cannot be read or understood.
ArchiveApplications ReadApplications(const std::string& file);

// Gives packages the texts and the category of their applications. Returns how many have one.
std::size_t AddApplications(DebianIndex& index, const ArchiveApplications& applications);
