// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "personalfiles.h"

#include "base/text.h"
#include "shelves.h"
#include "stanza.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

using namespace Agent;

namespace
{

const off_t mostRegistrations = 64 * 1024 * 1024; // bytes
const char registrationsFile[] = "registrations";

// The text of an error, or of what else went wrong, as a value.
template <class Work> PersonalFault Try(const Work& work)
{
    try {
        work();
        return {};
    } catch (const StoreError& error) {
        return { PersonalFault::Kind::Broken, error.what() };
    }
}

void Append(const std::string& name, const std::string& line)
{
    const Descriptor file(
        open(name.c_str(), O_WRONLY | O_APPEND | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    if (!file && errno == ENOENT)
        return;
    struct stat info = {};
    if (!file || fstat(file.Get(), &info) != 0)
        throw StoreError(name + ": " + std::strerror(errno));
    if (!S_ISREG(info.st_mode) || info.st_size >= mostRegistrations)
        throw StoreError(name + ": this is not a regular file, or it is full");
    // One call, so that lines from several threads are not mixed.
    if (write(file.Get(), line.data(), line.size()) != ssize_t(line.size()))
        throw StoreError(name + ": a registration could not be written");
}

} // namespace

PersonalFiles::PersonalFiles(const std::string& folder)
    : m_folder(folder), m_profile(folder, "profile", ParseProfile)
{
}

PersonalFault PersonalFiles::Check()
{
    return Try([this] { m_profile.GetIfThere(); });
}

PersonalFault PersonalFiles::ReadProfile(const std::string& account, Profile& profile)
{
    return Try([&] { profile = account == theAccount ? *m_profile.GetIfThere() : Profile(); });
}

PersonalFault PersonalFiles::WriteProfile(const std::string& account, const Profile& profile)
{
    return Try([&] {
        if (account != theAccount)
            throw StoreError(m_folder + ": the files of a store are for one account, not for "
                             + Quoted(account));
        const std::lock_guard<std::mutex> lock(m_writing);
        Replacement(m_folder, "profile", ProfileText(profile)).Commit();
    });
}

PersonalFault PersonalFiles::AddRegistration(const Registration& registration)
{
    return Try([&] { Append(m_folder + '/' + registrationsFile, LineOf(registration) + '\n'); });
}

PersonalFault PersonalFiles::ReadRegistrations(const Take& take)
{
    return Try([&] {
        struct stat info = {};
        if (!OpenBelow(m_folder, registrationsFile, info) && errno == ENOENT)
            return;
        const StoreFile file = ReadStoreFile(m_folder, registrationsFile);
        const std::string path = m_folder + '/' + registrationsFile;
        for (const Registration& registration : ParseRegistrations(file.text, path))
            take(registration);
    });
}

std::vector<Registration> ParseRegistrations(const std::string& text, const std::string& path)
{
    std::vector<Registration> registrations;
    int line = 0;
    for (std::string::size_type at = 0; at < text.size();) {
        const auto end = std::min(text.find('\n', at), text.size());
        Registration registration;
        const std::string words = text.substr(at, end - at);
        ++line;
        if (!ParseRegistration(words, registration) || TextFault(words))
            FailAt(path, line, "this is not a time and a system builder: " + Quoted(words));
        registrations.push_back(std::move(registration));
        at = end + 1;
    }
    return registrations;
}
