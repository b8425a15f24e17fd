// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A connection to a database, SQLite's or PostgreSQL's, through Qt's drivers. It belongs to the
// thread that has made it.

#pragma once

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariant>
#include <cstdint>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

struct SqlSource {
    enum class Engine { Sqlite, PostgreSql };
    Engine engine = Engine::Sqlite;
    // The file of SQLite, which is there; or what PostgreSQL's library takes to connect:
    // "host=/run/postgresql dbname=pakmart".
    std::string place;
};

// A statement failed. It may succeed a little later if `isAway`: the database is not there,
// or busy for too long.
class SqlError : public std::runtime_error
{
public:
    SqlError(const std::string& text, bool away) : runtime_error(text), isAway(away) { }
    const bool isAway;
};

// All functions throw SqlError. The connection is of no use after that.
class SqlConnection
{
public:
    explicit SqlConnection(const SqlSource& source);
    ~SqlConnection();
    SqlConnection(const SqlConnection&) = delete;
    SqlConnection& operator=(const SqlConnection&) = delete;

    bool IsPostgreSql() const { return m_source.engine == SqlSource::Engine::PostgreSql; }

    // Statements are prepared once for each connection; each ? stands for a value.
    using Values = std::vector<QVariant>;
    // Returns the number of rows that it has changed.
    int Do(const std::string& statement, const Values& values = {});
    using Row = std::function<void(const QSqlQuery& row)>;
    void Read(const std::string& statement, const Values& values, const Row& row);
    // The first column of the only row.
    QVariant ReadOne(const std::string& statement, const Values& values = {});

    // Runs a statement that cannot be prepared: one about tables or settings.
    void Command(const std::string& statement);

    // The number of statements that all connections have run.
    static std::uint64_t Statements();

    // All that `work` does is done together, or nothing of it. Of several connections, one at a
    // time writes to SQLite.
    void InTransaction(const std::function<void()>& work);

private:
    void Open();
    void SetUp();
    QSqlQuery& Run(const std::string& statement, const Values& values);
    [[noreturn]] void Fail(const QSqlError& error) const;

    const SqlSource m_source;
    const QString m_name;
    QSqlDatabase m_database;
    std::map<std::string, QSqlQuery> m_prepared;
};
