// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "bench/catalog/sqlitecatalog.h"

#include <cstdio>
#include <cstdlib>

namespace
{

const char schema[] = R"(
    CREATE TABLE products (serial INTEGER, category TEXT COLLATE NOCASE, name TEXT COLLATE NOCASE,
        package TEXT COLLATE NOCASE, version TEXT, vendor TEXT, copyright TEXT, price TEXT,
        installed INTEGER, hidden INTEGER, released TEXT, review TEXT, ranking TEXT,
        subranking TEXT, vantrel TEXT, downloads INTEGER, size INTEGER, categoryurl TEXT,
        url TEXT, author TEXT, description TEXT);
    CREATE INDEX k1 ON products (category, name);
    CREATE INDEX k2 ON products (name);
    CREATE UNIQUE INDEX k3 ON products (package);
    CREATE UNIQUE INDEX k4 ON products (serial);
    CREATE TABLE depends (parent INTEGER, name TEXT COLLATE NOCASE);
    CREATE UNIQUE INDEX d1 ON depends (parent, name);
    CREATE UNIQUE INDEX d2 ON depends (name, parent);
)";

void Run(sqlite3* database, const char* sql)
{
    char* error = nullptr;
    if (sqlite3_exec(database, sql, nullptr, nullptr, &error) != SQLITE_OK) {
        std::fprintf(stderr, "sqlite: %s\n", error);
        std::abort();
    }
}

sqlite3_stmt* Prepare(sqlite3* database, const char* sql)
{
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database, sql, -1, &statement, nullptr) != SQLITE_OK) {
        std::fprintf(stderr, "sqlite: %s\n", sqlite3_errmsg(database));
        std::abort();
    }
    return statement;
}

void Bind(sqlite3_stmt* statement, int at, const QByteArray& text)
{
    sqlite3_bind_text(statement, at, text.constData(), text.size(), SQLITE_STATIC);
}

} // namespace

SqliteCatalog::SqliteCatalog(const std::string& path, const std::vector<DebianPackage>* packages)
{
    if (packages)
        std::remove(path.c_str());
    if (sqlite3_open(path.c_str(), &m_database) != SQLITE_OK)
        std::abort();
    Run(m_database, "PRAGMA synchronous = OFF");
    if (packages)
        Build(*packages);
    m_find = Prepare(m_database, "SELECT * FROM products WHERE serial = ?");
    m_depends = Prepare(m_database, "SELECT name FROM depends WHERE parent = ? ORDER BY name");
    m_walk = Prepare(m_database, "SELECT * FROM products WHERE category = ? ORDER BY name");
}

SqliteCatalog::~SqliteCatalog()
{
    for (sqlite3_stmt* statement : { m_find, m_depends, m_walk })
        sqlite3_finalize(statement);
    sqlite3_close(m_database);
}

void SqliteCatalog::Build(const std::vector<DebianPackage>& packages)
{
    Run(m_database, schema);
    Run(m_database, "BEGIN");
    sqlite3_stmt* product
        = Prepare(m_database,
                  "INSERT OR IGNORE INTO products VALUES (?, ?, ?, ?, ?, ?, '', '', 0, 0, '', "
                  "'', '', '', '', ?, ?, '', ?, '', ?)");
    sqlite3_stmt* dependency = Prepare(m_database, "INSERT OR IGNORE INTO depends VALUES (?, ?)");
    int serial = 0;
    for (const DebianPackage& package : packages) {
        sqlite3_bind_int(product, 1, ++serial);
        Bind(product, 2, package.section);
        Bind(product, 3, package.name);
        Bind(product, 4, package.name);
        Bind(product, 5, package.version);
        Bind(product, 6, package.maintainer);
        sqlite3_bind_int(product, 7, package.installedSize);
        sqlite3_bind_int(product, 8, package.size);
        Bind(product, 9, package.homepage);
        Bind(product, 10, package.description);
        sqlite3_step(product);
        sqlite3_reset(product);
        for (const QByteArray& name : package.depends) {
            sqlite3_bind_int(dependency, 1, serial);
            Bind(dependency, 2, name);
            sqlite3_step(dependency);
            sqlite3_reset(dependency);
        }
    }
    sqlite3_finalize(product);
    sqlite3_finalize(dependency);
    Run(m_database, "COMMIT");
}

// Fetches every column, since the catalog reads every field of a record.
int SqliteCatalog::ReadRow(sqlite3_stmt* row)
{
    int bytes = 0;
    for (int column = 0; column < sqlite3_column_count(row); ++column) {
        const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
        bytes = sqlite3_column_bytes(row, column);
        m_text = QByteArray(text, bytes);
    }
    return bytes;
}

int SqliteCatalog::Find(int serial)
{
    sqlite3_bind_int(m_find, 1, serial);
    const int bytes = sqlite3_step(m_find) == SQLITE_ROW ? ReadRow(m_find) : -1;
    sqlite3_reset(m_find);
    return bytes;
}

QByteArrayList SqliteCatalog::Dependencies(int serial)
{
    QByteArrayList names;
    sqlite3_bind_int(m_depends, 1, serial);
    while (sqlite3_step(m_depends) == SQLITE_ROW)
        names << QByteArray(reinterpret_cast<const char*>(sqlite3_column_text(m_depends, 0)),
                            sqlite3_column_bytes(m_depends, 0));
    sqlite3_reset(m_depends);
    return names;
}

int SqliteCatalog::Walk(const std::string& category)
{
    int products = 0;
    sqlite3_bind_text(m_walk, 1, category.c_str(), -1, SQLITE_STATIC);
    for (; sqlite3_step(m_walk) == SQLITE_ROW; ++products)
        ReadRow(m_walk);
    sqlite3_reset(m_walk);
    return products;
}
