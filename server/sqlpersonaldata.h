// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Personal data in a database, which several servers may share if it is PostgreSQL's.

#pragma once

#include "sqldatabase.h"

// The files of a store, and the sums of their texts: an empty one for no file.
struct PersonalImport {
    std::string profileSum;
    Profile profile;
    std::string registrationsSum;
    std::vector<Registration> registrations;
};

class SqlPersonalData : public PersonalData
{
public:
    // At most `mostRegistrations` are kept; later calls are refused.
    explicit SqlPersonalData(SqlSource source, std::int64_t mostRegistrations = 10'000'000);

    // Makes the tables, or brings them to this version.
    PersonalFault Prepare();

    // Takes over what it has not taken over before, all or nothing. Broken if there is a profile
    // already, and the file has another.
    PersonalFault Import(const PersonalImport& import);

    PersonalFault Check() override;
    PersonalFault ReadProfile(const std::string& account, Profile& profile) override;
    PersonalFault WriteProfile(const std::string& account, const Profile& profile) override;
    PersonalFault AddRegistration(const Registration& registration) override;
    PersonalFault ReadRegistrations(const Take& take) override;

    // Removes the registrations before a time, and counts them.
    PersonalFault ForgetRegistrations(std::int64_t before, int& count);

private:
    SqlDatabase m_database;
    const std::int64_t m_mostRegistrations;
};
