// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What is wrong with a store, file by file.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

struct StoreReport {
    // Why a server would not start with it: "FILE:LINE: REASON", the first fault of each file.
    std::vector<std::string> refused;
    // What a server would start without, or could not deliver: "FILE: REASON".
    std::vector<std::string> leftOut;
    std::size_t products = 0;
    std::size_t repositories = 0;
    std::size_t archives = 0; // that are here, and are the ones of the index

    bool IsClean() const { return refused.empty() && leftOut.empty(); }
};

// Reads all of the store, archives included. `isSigned`: as for a server that signs it.
StoreReport CheckStore(const std::string& folder, bool isSigned);
