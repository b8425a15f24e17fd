// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "sqlpersonaldata.h"

#include "sqlschema.h"
#include "storefile.h"

#include <QUuid>
#include <algorithm>

namespace
{

QString Text(const std::string& text)
{
    return QString::fromStdString(text);
}

std::string TextOf(const QSqlQuery& row, int column)
{
    return row.value(column).toString().toStdString();
}

qlonglong Number(std::int64_t number)
{
    return number;
}

// The account's row is locked until the end, so that two new profiles are not mixed.
qlonglong LockAccount(SqlConnection& connection, const std::string& name)
{
    connection.Do("INSERT INTO account (name) VALUES (?) ON CONFLICT (name) DO NOTHING",
                  { Text(name) });
    connection.Do("UPDATE account SET name = name WHERE name = ?", { Text(name) });
    return connection.ReadOne("SELECT id FROM account WHERE name = ?", { Text(name) }).toLongLong();
}

void Replace(SqlConnection& connection, const std::string& account, const Profile& profile)
{
    const qlonglong id = LockAccount(connection, account);
    connection.Do("DELETE FROM application WHERE account = ?", { id });
    int place = 0;
    for (const Application& application : profile)
        connection.Do("INSERT INTO application (account, place, serial, name, package) "
                      "VALUES (?, ?, ?, ?, ?)",
                      { id, place++, Number(application.serial), Text(application.name),
                        Text(application.package) });
}

// The numbers of the rows have gaps at most, so they are counted by the first and the last:
// that takes no longer for many. False if there are too many already.
bool Record(SqlConnection& connection, const QString& request, const Registration& registration,
            std::int64_t most)
{
    const int added = connection.Do(
        "INSERT INTO registration (request, time, builder) "
        "SELECT CAST(? AS TEXT), CAST(? AS BIGINT), CAST(? AS TEXT) "
        "WHERE coalesce((SELECT max(id) FROM registration) - (SELECT min(id) FROM registration) "
        "+ 1, 0) < ? ON CONFLICT (request) DO NOTHING",
        { request, Number(registration.time), Text(registration.builder), Number(most) });
    return added == 1
        || connection.ReadOne("SELECT count(*) FROM registration WHERE request = ?", { request })
               .toInt()
        == 1;
}

// Remembers a file. False if it was taken over before.
bool IsNew(SqlConnection& connection, const char* kind, const std::string& sum)
{
    return !sum.empty()
        && connection.Do("INSERT INTO imported (kind, sum) VALUES (?, ?) ON CONFLICT DO NOTHING",
                         { QLatin1String(kind), Text(sum) })
        == 1;
}

void TakeOver(SqlConnection& connection, const PersonalImport& import)
{
    LockOthersOut(connection);
    if (IsNew(connection, "profile", import.profileSum)) {
        if (connection.ReadOne("SELECT count(*) FROM account").toInt() > 0)
            throw StoreError("the file `profile` is not that of the database: `pakmart-storeserver "
                             "personal set-profile` puts it there; then remove it here");
        Replace(connection, theAccount, import.profile);
    }
    if (!IsNew(connection, "registrations", import.registrationsSum))
        return;
    qlonglong line = 0;
    for (const Registration& registration : import.registrations)
        connection.Do("INSERT INTO registration (request, time, builder) VALUES (?, ?, ?)",
                      { Text(import.registrationsSum + ':' + std::to_string(++line)),
                        Number(registration.time), Text(registration.builder) });
}

} // namespace

SqlPersonalData::SqlPersonalData(SqlSource source, std::int64_t mostRegistrations)
    : m_database(std::move(source)), m_mostRegistrations(mostRegistrations)
{
}

PersonalFault SqlPersonalData::Prepare()
{
    return m_database.Run(UpdateSchema);
}

PersonalFault SqlPersonalData::Import(const PersonalImport& import)
{
    return m_database.Run([&](SqlConnection& connection) {
        connection.InTransaction([&] { TakeOver(connection, import); });
    });
}

PersonalFault SqlPersonalData::Check()
{
    return m_database.Run([](SqlConnection& connection) {
        connection.ReadOne("SELECT max(version) FROM schema_version");
    });
}

PersonalFault SqlPersonalData::ReadProfile(const std::string& account, Profile& profile)
{
    return m_database.Run([&](SqlConnection& connection) {
        profile.clear();
        connection.Read("SELECT serial, application.name, package FROM application "
                        "JOIN account ON account.id = application.account "
                        "WHERE account.name = ? ORDER BY place",
                        { Text(account) }, [&profile](const QSqlQuery& row) {
                            profile.push_back({ long(row.value(0).toLongLong()), TextOf(row, 1),
                                                TextOf(row, 2) });
                        });
    });
}

PersonalFault SqlPersonalData::WriteProfile(const std::string& account, const Profile& profile)
{
    return m_database.Run([&](SqlConnection& connection) {
        connection.InTransaction([&] { Replace(connection, account, profile); });
    });
}

PersonalFault SqlPersonalData::AddRegistration(const Registration& registration)
{
    const QString request = QUuid::createUuid().toString(QUuid::Id128);
    return m_database.Run([&](SqlConnection& connection) {
        if (!Record(connection, request, registration, m_mostRegistrations))
            throw StoreError("the database has " + std::to_string(m_mostRegistrations)
                             + " registrations and takes no more: `pakmart-storeserver personal "
                               "forget` removes old ones");
    });
}

// In parts, since there may be more than fit into memory.
PersonalFault SqlPersonalData::ReadRegistrations(const Take& take)
{
    qlonglong last = 0;
    std::vector<Registration> part;
    do {
        qlonglong next = last;
        const PersonalFault fault = m_database.Run([&](SqlConnection& connection) {
            part.clear();
            connection.Read("SELECT id, time, builder FROM registration WHERE id > ? "
                            "ORDER BY id LIMIT 1000",
                            { last }, [&](const QSqlQuery& row) {
                                next = row.value(0).toLongLong();
                                part.push_back({ row.value(1).toLongLong(), TextOf(row, 2) });
                            });
        });
        if (fault)
            return fault;
        last = next;
        for (const Registration& registration : part)
            take(registration);
    } while (!part.empty());
    return {};
}

// A second try finds nothing to delete where the first one was done, but its answer was lost.
PersonalFault SqlPersonalData::ForgetRegistrations(std::int64_t before, int& count)
{
    count = 0;
    return m_database.Run([&](SqlConnection& connection) {
        connection.InTransaction([&] {
            count = std::max(
                count,
                connection.Do("DELETE FROM registration WHERE time < ?", { Number(before) }));
        });
    });
}
