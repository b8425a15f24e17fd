// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Personal data in two files of the store's folder, for a store with one account.
//
//     profile         the applications of the account (shelves.h); none if it is missing
//     registrations   a line for each, if the file exists: the store's keeper makes it, empty,
//                     to record the calls. It has at most 64 MB.
//
// The profile is read again when it has changed.

#pragma once

#include "personaldata.h"
#include "storefile.h"

class PersonalFiles : public PersonalData
{
public:
    explicit PersonalFiles(const std::string& folder);

    // Only the profile counts: calls are refused while the other file cannot be written.
    PersonalFault Check() override;
    PersonalFault ReadProfile(const std::string& account, Profile& profile) override;
    PersonalFault WriteProfile(const std::string& account, const Profile& profile) override;
    PersonalFault AddRegistration(const Registration& registration) override;
    PersonalFault ReadRegistrations(const Take& take) override;

private:
    const std::string m_folder;
    std::mutex m_writing; // the profile
    CachedFile<Profile> m_profile;
};

// The registrations of such a file; throws StoreError, naming the path and the line, for a
// malformed one.
std::vector<Registration> ParseRegistrations(const std::string& text, const std::string& path);
