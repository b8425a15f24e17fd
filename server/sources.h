// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The file `sources` of a store: the lines that clients put into their private
// lists of package sources, one stanza for each.

#pragma once

#include <string>
#include <vector>

struct SourceEntry {
    std::string entry; // an apt line; "@SERVER@" in it stands for the server's address
    std::string timestamp;
};

// The entries for one tree of the client: "dep", or "plain" for the other.
struct SourcesList {
    std::string type;
    std::vector<SourceEntry> entries;
};

std::vector<SourcesList> ParseSources(const std::string& text, const std::string& path);
