// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The file `products` of a store: one stanza for each product.

#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

// One program of a product, as the desktop starts it.
struct Program {
    std::string name;
    std::string path;
    std::string smallIcon;
    std::string largeIcon;
    std::string menu;
};

struct Product {
    long serial = 0;
    std::string name;
    std::string category;
    std::string package;
    std::string description;
    std::vector<Program> programs;
    // What else the catalog is to say, by the names of its elements, in the order
    // of the file.
    std::vector<std::pair<std::string, std::string>> details;

    // One of them; null when there is none.
    const std::string* detail(const std::string& element) const;
};

using Products = std::map<long, Product>; // by serial number

Products ParseProducts(const std::string& text, const std::string& path);
