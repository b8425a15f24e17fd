// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "personalimport.h"

#include "base/wholefile.h"
#include "content.h"
#include "personalfiles.h"
#include "shelves.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iostream>

namespace
{

const int mostNames = 1000;

// False if there is no such file.
bool ReadIfThere(const std::string& store, const std::string& name, std::string& text)
{
    struct stat info = {};
    if (!OpenBelow(store, name, info) && errno == ENOENT)
        return false;
    text = ReadStoreFile(store, name).text;
    return true;
}

// An earlier file of that name is kept as well.
bool RenameToFree(const std::string& file)
{
    std::string target = file + ".imported";
    for (int number = 2; number < mostNames; ++number) {
        if (renameat2(AT_FDCWD, file.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0)
            return Agent::SyncFolder(Agent::FolderOf(file));
        if (errno != EEXIST)
            return false;
        target = file + ".imported-" + std::to_string(number);
    }
    return false;
}

void SetAside(const std::string& file)
{
    if (!RenameToFree(file))
        std::cerr << "pakmart-storeserver: " + file + " is in the database now, but cannot be "
                + "renamed: " + std::strerror(errno) + '\n';
}

} // namespace

void ImportPersonalFiles(const std::string& store, SqlPersonalData& data)
{
    const std::string profile = store + "/profile";
    const std::string registrations = store + "/registrations";
    PersonalImport import;
    std::string text;
    if (ReadIfThere(store, "profile", text)) {
        import.profile = ParseProfile(text, profile);
        import.profileSum = Sha256Of(text);
    }
    if (ReadIfThere(store, "registrations", text)) {
        import.registrations = ParseRegistrations(text, registrations);
        import.registrationsSum = Sha256Of(text);
    }
    if (import.profileSum.empty() && import.registrationsSum.empty())
        return;
    if (const PersonalFault fault = data.Import(import))
        throw StoreError(fault.kind == PersonalFault::Kind::Broken ? store + ": " + fault.text
                                                                   : fault.text);
    if (!import.profileSum.empty())
        SetAside(profile);
    if (!import.registrationsSum.empty())
        SetAside(registrations);
}
