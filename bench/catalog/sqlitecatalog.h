// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The same catalog in SQLite: a table with the indexes of the catalog and the description in
// the row, and a table of dependencies with two indexes. No call waits for the disk.

#pragma once

#include "tests/db/debianindex.h"

#include <sqlite3.h>
#include <string>

class SqliteCatalog
{
public:
    // Opens a file; with `packages` the database is built from them, in one transaction.
    SqliteCatalog(const std::string& path, const std::vector<DebianPackage>* packages = nullptr);
    ~SqliteCatalog();
    SqliteCatalog(const SqliteCatalog&) = delete;
    SqliteCatalog& operator=(const SqliteCatalog&) = delete;

    // Reads a whole product. Returns the length of its description, or -1 if no product has
    // the number.
    int Find(int serial);
    // The names that a product depends on.
    QByteArrayList Dependencies(int serial);
    // Reads the products of a category by name, each whole. Returns their number.
    int Walk(const std::string& category);

private:
    void Build(const std::vector<DebianPackage>& packages);
    int ReadRow(sqlite3_stmt* row);

    sqlite3* m_database = nullptr;
    sqlite3_stmt* m_find = nullptr;
    sqlite3_stmt* m_depends = nullptr;
    sqlite3_stmt* m_walk = nullptr;
    QByteArray m_text;
};
