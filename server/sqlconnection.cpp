// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "sqlconnection.h"

#include <QFile>
#include <QSqlError>
#include <algorithm>
#include <array>
#include <atomic>

namespace
{

// What the keeper of the store gives comes last, and so counts. A connection that does not answer
// is given up.
const char postgreSqlOptions[] = "connect_timeout=3 tcp_user_timeout=5000 "
                                 "application_name=pakmart-storeserver ";

std::atomic<std::uint64_t> statements{ 0 };

QString NextName()
{
    static std::atomic<unsigned> count{ 0 };
    return QStringLiteral("pakmart-%1").arg(++count);
}

// SQLite's codes have the kind in their last byte: 5 is busy, 6 is locked.
bool IsSqliteBusy(const QString& code)
{
    const int kind = code.toInt() & 0xFF;
    return kind == 5 || kind == 6;
}

// Without a code, the connection was lost. The classes: connections, resources, interventions
// by the database's keeper, conflicts of transactions, locks; and a server that only reads.
bool IsPostgreSqlAway(const QSqlError& error)
{
    const QString code = error.nativeErrorCode();
    if (error.type() == QSqlError::ConnectionError || code.isEmpty())
        return true;
    static const std::array<const char*, 6> away{ "08", "53", "57", "40", "55P03", "25006" };
    return std::any_of(away.begin(), away.end(),
                       [&code](const char* kind) { return code.startsWith(QLatin1String(kind)); });
}

} // namespace

SqlConnection::SqlConnection(const SqlSource& source) : m_source(source), m_name(NextName())
{
    try {
        Open();
        SetUp();
    } catch (const SqlError&) {
        m_prepared.clear();
        m_database = {};
        QSqlDatabase::removeDatabase(m_name);
        throw;
    }
}

SqlConnection::~SqlConnection()
{
    m_prepared.clear();
    m_database.close();
    m_database = {};
    QSqlDatabase::removeDatabase(m_name);
}

void SqlConnection::Open()
{
    const QString driver = IsPostgreSql() ? QStringLiteral("QPSQL") : QStringLiteral("QSQLITE");
    if (!QSqlDatabase::isDriverAvailable(driver))
        throw SqlError("Qt's database driver " + driver.toStdString() + " is not installed", false);
    m_database = QSqlDatabase::addDatabase(driver, m_name);
    if (IsPostgreSql()) {
        m_database.setConnectOptions(QLatin1String(postgreSqlOptions)
                                     + QString::fromStdString(m_source.place));
    } else {
        m_database.setDatabaseName(QFile::decodeName(m_source.place.c_str()));
        m_database.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=5000"));
    }
    if (!m_database.open())
        Fail(m_database.lastError());
}

// A commit is on the disk before the client has its reply.
void SqlConnection::SetUp()
{
    if (IsPostgreSql()) {
        Command("SET client_min_messages = warning");
        Command("SET statement_timeout = 10000");
        Command("SET lock_timeout = 5000");
        if (ReadOne("SELECT current_setting('server_encoding')").toString()
            != QLatin1String("UTF8"))
            throw SqlError("the database does not keep its texts in UTF-8", false);
        return;
    }
    if (ReadOne("PRAGMA journal_mode = WAL").toString() != QLatin1String("wal"))
        throw SqlError(m_source.place + ": the file system does not allow a write-ahead log",
                       false);
    Command("PRAGMA synchronous = FULL");
    Command("PRAGMA foreign_keys = ON");
}

void SqlConnection::Fail(const QSqlError& error) const
{
    const bool isAway
        = IsPostgreSql() ? IsPostgreSqlAway(error) : IsSqliteBusy(error.nativeErrorCode());
    const std::string place = IsPostgreSql() ? "PostgreSQL" : m_source.place;
    throw SqlError(place + ": " + error.text().simplified().toStdString(), isAway);
}

void SqlConnection::Command(const std::string& statement)
{
    QSqlQuery query(m_database);
    ++statements;
    if (!query.exec(QString::fromStdString(statement)))
        Fail(query.lastError());
}

QSqlQuery& SqlConnection::Run(const std::string& statement, const Values& values)
{
    auto found = m_prepared.find(statement);
    if (found == m_prepared.end()) {
        QSqlQuery query(m_database);
        if (!query.prepare(QString::fromStdString(statement)))
            Fail(query.lastError());
        found = m_prepared.emplace(statement, std::move(query)).first;
    }
    QSqlQuery& query = found->second;
    for (std::size_t i = 0; i < values.size(); ++i)
        query.bindValue(int(i), values[i]);
    ++statements;
    if (!query.exec())
        Fail(query.lastError());
    return query;
}

std::uint64_t SqlConnection::Statements()
{
    return statements;
}

int SqlConnection::Do(const std::string& statement, const Values& values)
{
    QSqlQuery& query = Run(statement, values);
    const int rows = query.numRowsAffected();
    query.finish();
    return rows;
}

// A failure between two rows ends them as well.
void SqlConnection::Read(const std::string& statement, const Values& values, const Row& row)
{
    QSqlQuery& query = Run(statement, values);
    while (query.next())
        row(query);
    if (query.lastError().isValid())
        Fail(query.lastError());
    query.finish();
}

QVariant SqlConnection::ReadOne(const std::string& statement, const Values& values)
{
    QVariant value;
    Read(statement, values, [&value](const QSqlQuery& row) { value = row.value(0); });
    return value;
}

void SqlConnection::InTransaction(const std::function<void()>& work)
{
    Command(IsPostgreSql() ? "BEGIN" : "BEGIN IMMEDIATE");
    try {
        work();
        Command("COMMIT");
    } catch (...) {
        QSqlQuery(m_database).exec(QStringLiteral("ROLLBACK"));
        throw;
    }
}
