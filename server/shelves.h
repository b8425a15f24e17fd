// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What stands in a store: the files that its keeper writes, each read into what it means.

#pragma once

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
    // What else the catalog is to say, by the names of its elements, in the order
    // of the file.
    std::vector<std::pair<std::string, std::string>> details;

    // One of them; null when there is none.
    const std::string* detail(const std::string& element) const;
};

using Products = std::map<long, Product>; // by serial number

Products ParseProducts(const std::string& text, const std::string& path);

// The file `categories`, which a store may lack: what there is to say of a category beside
// its name.

struct Category {
    long serial = 0;
    std::string homePage;
};

using Categories = std::map<std::string, Category>; // by name

Categories ParseCategories(const std::string& text, const std::string& path);

// The categories that products are in. One that `listed` lacks gets the smallest
// free number, in the order of the names.
Categories CategoriesOf(const Products& products, const Categories& listed);

// The file `aisles`, which a store may lack: each with the categories in it.

struct Aisle {
    std::string name;
    std::string description;
    std::vector<std::string> categories;
};

using Aisles = std::vector<Aisle>;

Aisles ParseAisles(const std::string& text, const std::string& path);

// The file `profile`, which a store may lack: the applications that belong to the account
// of whoever asks. This server knows of one account.

struct Application {
    long serial = 0;
    std::string name;
    std::string package;
};

using Profile = std::vector<Application>;

Profile ParseProfile(const std::string& text, const std::string& path);

// The file `sources`: the lines that clients put into their private lists of package
// sources, one stanza for each.

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

// The file `updates`, which a store may lack: the packages of the operating system that
// clients are to bring up to date.

// The names of the packages, in the file's order.
using Updates = std::vector<std::string>;

Updates ParseUpdates(const std::string& text, const std::string& path);
