// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A store as plain files. docs/server-protocol.md describes them.

#pragma once

#include <stdexcept>
#include <string>
#include <vector>

// What is wrong with a store's files, with the file and the line.
class StoreError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

struct Program {
    std::string name, path, smallIcon, largeIcon, menu;
};

struct Product {
    long serial = 0;
    std::string name, package, category, description;
    std::vector<Program> programs;
};

struct Source {
    bool deps = false; // for the tree that dependencies are worked out on
    std::string timestamp;
    std::string entry; // "@URL@" stands for the server's own address
};

class Store
{
public:
    // `folder` holds the files "products" and "sources". They are read anew by
    // each call, so that a change counts from the next request on. Throws
    // StoreError.
    explicit Store(const std::string& folder) : m_folder(folder) { }

    std::vector<Product> Products() const;
    std::vector<Source> Sources() const;
    std::string Folder() const { return m_folder; }

private:
    std::string m_folder;
};
