// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The contents of a store: parses the files that its keeper writes.

#pragma once

#include "personaldata.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

// The file `products`: one stanza for each product.

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
    // The other fields for the catalog, by the names of its elements, in the order of
    // the file.
    std::vector<std::pair<std::string, std::string>> details;

    // One of them; null for a missing one.
    const std::string* Detail(const std::string& element) const;
};

using Products = std::map<long, Product>; // by serial number

Products ParseProducts(const std::string& text, const std::string& path);

// The optional file `categories`: the properties of a category in addition to its name.

struct Category {
    long serial = 0;
    std::string homePage;
};

using Categories = std::map<std::string, Category>; // by name

Categories ParseCategories(const std::string& text, const std::string& path);

// The categories that have products. Those that are not in `listed` get the smallest
// free numbers, in the order of the names.
Categories CategoriesOf(const Products& products, const Categories& listed);

// The optional file `aisles`: each aisle with its categories.

struct Aisle {
    std::string name;
    std::string description;
    std::vector<std::string> categories;
};

using Aisles = std::vector<Aisle>;

Aisles ParseAisles(const std::string& text, const std::string& path);

// The optional file `profile`: the applications of the client's account. This server has
// only one account.

Profile ParseProfile(const std::string& text, const std::string& path);
std::string ProfileText(const Profile& profile); // as ParseProfile reads it

// The file `sources`: the lines that clients put into their private lists of package
// sources, one stanza for each.

struct SourceEntry {
    std::string entry; // an apt line; "@SERVER@" is replaced by the server's address
    std::string timestamp;
};

// The entries for one tree of the client: "dep", or "plain" for the other.
struct SourcesList {
    std::string type;
    std::vector<SourceEntry> entries;
};

std::vector<SourcesList> ParseSources(const std::string& text, const std::string& path);

// The optional file `updates`: the packages of the operating system that clients are to
// update.

// The names of the packages, in the file's order.
using Updates = std::vector<std::string>;

Updates ParseUpdates(const std::string& text, const std::string& path);
