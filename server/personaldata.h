// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What the store keeps about its customers: the profiles of accounts, and which system builders
// machines come from.
//
// personalfiles.h keeps it in the store's folder, sqlpersonaldata.h in a database. All functions
// may be called from several threads. What could not be done is said by the value returned;
// nothing is changed then.

#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

struct Application {
    long serial = 0;
    std::string name;
    std::string package;
};

using Profile = std::vector<Application>;

// A machine reported its system builder.
struct Registration {
    std::int64_t time = 0; // seconds since 1970, UTC
    std::string builder; // text without line ends
};

// Why something could not be done, for the keeper of the store. Away: it may work a little
// later, as when a database is started again.
struct [[nodiscard]] PersonalFault {
    enum class Kind { None, Away, Broken };
    Kind kind = Kind::None;
    std::string text;

    explicit operator bool() const { return kind != Kind::None; }
};

// Agents send nothing that identifies an account, so all use this one.
constexpr char theAccount[] = "default";

class PersonalData
{
public:
    PersonalData() = default;
    virtual ~PersonalData() = default;
    PersonalData(const PersonalData&) = delete;
    PersonalData& operator=(const PersonalData&) = delete;

    // Whether all of it can be read now.
    virtual PersonalFault Check() = 0;

    // The applications of an account in their order; none if there is no such account.
    virtual PersonalFault ReadProfile(const std::string& account, Profile& profile) = 0;
    // Replaces them all at once.
    virtual PersonalFault WriteProfile(const std::string& account, const Profile& profile) = 0;

    virtual PersonalFault AddRegistration(const Registration& registration) = 0;
    // Passes all registrations to `take`, in the order in which they came.
    using Take = std::function<void(const Registration& registration)>;
    virtual PersonalFault ReadRegistrations(const Take& take) = 0;
};

// A registration as a line without its end, "2026-01-31T12:00:00Z 0000000042", and back: false
// for a malformed line.
std::string LineOf(const Registration& registration);
bool ParseRegistration(const std::string& line, Registration& registration);

// A time as 2026-01-31T12:00:00Z, and back: false for any other text.
std::string TimeText(std::int64_t time);
bool ParseTime(const std::string& text, std::int64_t& time);
