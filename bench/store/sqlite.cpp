// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// SQLite: a table and four indexes. The record is the row: its key texts are columns and the
// rest is a blob, so that two rows fit into a page and nothing is stored twice. No fsync and
// no mutexes. With its cheapest settings it has no journal, locks the file only once, and
// reads through a map of the file. Shared, it has the default settings, so that other
// processes can use the file in turn.

#include "store/contender.h"

#include <cstring>
#include <sqlite3.h>

namespace
{

struct Settings {
    bool transactionEach;
    std::vector<const char*> pragmas;
};

const Settings cheapest{ false,
                         { "PRAGMA journal_mode = OFF", "PRAGMA locking_mode = EXCLUSIVE",
                           "PRAGMA mmap_size = 8000000000",
                           // As much as our page cache.
                           "PRAGMA cache_size = -15300" } };
// A large cache makes short transactions slower, so the default size is used here.
const Settings cheapestEach{ true,
                             { "PRAGMA journal_mode = OFF", "PRAGMA locking_mode = EXCLUSIVE",
                               "PRAGMA mmap_size = 8000000000" } };
const Settings shared{ false, {} };
const Settings sharedEach{ true, {} };

// A prepared statement that is run again and again.
class Statement
{
public:
    Statement(sqlite3* database, const char* text)
    {
        Require(sqlite3_prepare_v2(database, text, -1, &m_statement, nullptr) == SQLITE_OK, text);
    }
    ~Statement() { sqlite3_finalize(m_statement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    void Text(int place, const char* text)
    {
        sqlite3_bind_text(m_statement, place, text, -1, SQLITE_STATIC);
    }
    void Blob(int place, const char* bytes, int size)
    {
        sqlite3_bind_blob(m_statement, place, bytes, size, SQLITE_STATIC);
    }
    // Whether there is a row.
    bool Step()
    {
        const int result = sqlite3_step(m_statement);
        Require(result == SQLITE_ROW || result == SQLITE_DONE, "sqlite3_step");
        return result == SQLITE_ROW;
    }
    void Reset() { sqlite3_reset(m_statement); }
    std::uint32_t Number(int column)
    {
        return std::uint32_t(sqlite3_column_int64(m_statement, column));
    }
    const void* Value(int column, int* size)
    {
        const void* const value = sqlite3_column_blob(m_statement, column);
        *size = sqlite3_column_bytes(m_statement, column);
        return value;
    }

private:
    sqlite3_stmt* m_statement = nullptr;
};

class Sqlite : public Contender
{
public:
    Sqlite(const std::string& folder, const Settings& settings)
        : m_each(settings.transactionEach),
          m_database(Open(folder + "/products.db", settings.pragmas)),
          m_insert(m_database,
                   "INSERT INTO products(name, category, serial, rank, text)"
                   " VALUES(?, ?, ?, ?, ?)"),
          m_delete(m_database, "DELETE FROM products WHERE name = ?"),
          m_find(m_database, "SELECT id FROM products WHERE name = ?"),
          m_fetch(m_database,
                  "SELECT name, category, serial, rank, text FROM products"
                  " WHERE name = ?"),
          m_walk(m_database, "SELECT name, id FROM products ORDER BY name"),
          m_begin(m_database, "BEGIN"), m_commit(m_database, "COMMIT")
    {
    }

    ~Sqlite() override { sqlite3_close_v2(m_database); }

    void Insert(const Product& product) override
    {
        Begin();
        m_insert.Text(1, product.name);
        m_insert.Text(2, product.category);
        m_insert.Text(3, product.serial);
        m_insert.Text(4, product.rank);
        m_insert.Blob(5, TextOf(product), textLength);
        Run(m_insert);
    }

    void Delete(const Product& product) override
    {
        Begin();
        m_delete.Text(1, product.name);
        Run(m_delete);
        Require(sqlite3_changes(m_database) == 1, "delete");
    }

    void Commit() override
    {
        if (sqlite3_get_autocommit(m_database) == 0)
            Run(m_commit);
    }

    std::uint32_t Find(const char* name) override
    {
        m_find.Text(1, name);
        const std::uint32_t number = m_find.Step() ? m_find.Number(0) : 0;
        m_find.Reset();
        return number;
    }

    const std::uint8_t* Fetch(const char* name) override
    {
        m_fetch.Text(1, name);
        const bool found = m_fetch.Step();
        if (found) {
            static constexpr int offsets[]
                = { nameOffset, categoryOffset, serialOffset, rankOffset, textOffset };
            std::memset(m_record, 0, textOffset);
            for (int column = 0; column < int(std::size(offsets)); ++column) {
                int size;
                const void* const value = m_fetch.Value(column, &size);
                Require(offsets[column] + size <= recordLength, "column size");
                std::memcpy(m_record + offsets[column], value, std::size_t(size));
            }
        }
        m_fetch.Reset();
        return found ? m_record : nullptr;
    }

    void Walk(const Visit& visit) override
    {
        while (m_walk.Step()) {
            int size;
            const auto* const name = static_cast<const char*>(m_walk.Value(0, &size));
            visit(name, std::size_t(size), m_walk.Number(1));
        }
        m_walk.Reset();
    }

private:
    static void Run(sqlite3* database, const char* text)
    {
        Require(sqlite3_exec(database, text, nullptr, nullptr, nullptr) == SQLITE_OK, text);
    }

    static sqlite3* Open(const std::string& path, const std::vector<const char*>& pragmas)
    {
        sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
        sqlite3* database = nullptr;
        const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
        Require(sqlite3_open_v2(path.c_str(), &database, flags, nullptr) == SQLITE_OK, "open");
        Run(database, "PRAGMA synchronous = OFF");
        for (const char* const pragma : pragmas)
            Run(database, pragma);
        Run(database,
            "CREATE TABLE products(id INTEGER PRIMARY KEY, name TEXT, category TEXT,"
            " serial TEXT, rank TEXT, text BLOB)");
        Run(database, "CREATE UNIQUE INDEX names ON products(name)");
        Run(database, "CREATE INDEX shelves ON products(category, name)");
        Run(database, "CREATE INDEX serials ON products(serial)");
        Run(database, "CREATE INDEX ranks ON products(rank)");
        return database;
    }

    void Begin()
    {
        if (!m_each && sqlite3_get_autocommit(m_database) != 0)
            Run(m_begin);
    }

    void Run(Statement& statement)
    {
        Require(!statement.Step(), "a row");
        statement.Reset();
    }

    const bool m_each;
    sqlite3* const m_database;
    Statement m_insert, m_delete, m_find, m_fetch, m_walk, m_begin, m_commit;
    Record m_record;
};

} // namespace

ContenderPtr MakeSqlite(const std::string& folder)
{
    return std::make_unique<Sqlite>(folder, cheapest);
}

ContenderPtr MakeSqliteEach(const std::string& folder)
{
    return std::make_unique<Sqlite>(folder, cheapestEach);
}

ContenderPtr MakeSqliteShared(const std::string& folder)
{
    return std::make_unique<Sqlite>(folder, shared);
}

ContenderPtr MakeSqliteSharedEach(const std::string& folder)
{
    return std::make_unique<Sqlite>(folder, sharedEach);
}
