// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A store as files for a web server: each answer that is the same for everybody, to the byte as
// the store server would send it.

#pragma once

#include "exportfolder.h"

#include <ctime>
#include <string>

struct ExportOptions {
    std::string store;
    std::string folder; // that gets the files
    std::string publicUrl; // the address at which the web server is reached
    std::string signKey; // as for the server; empty: nothing is signed
    std::string origin = "Pakmart";
    std::time_t keep = 24 * 60 * 60; // seconds for which an old version stays
};

// The products and archives up to which each has a statement of its own in an exported store that
// is signed. Beyond that the answers about one product are left to the server: each signature
// takes some 15 ms, and nginx keeps all statements in memory.
constexpr std::size_t mostSignedOnes = 1000;

// Throws StoreError; the version before is then as it was.
ExportResult ExportStore(const ExportOptions& options);
