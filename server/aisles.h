// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The file `aisles` of a store, which it may lack: the aisles, each with the
// categories that stand in it.

#pragma once

#include <string>
#include <vector>

struct Aisle {
    std::string name;
    std::string description;
    std::vector<std::string> categories;
};

using Aisles = std::vector<Aisle>;

Aisles ParseAisles(const std::string& text, const std::string& path);
