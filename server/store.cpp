// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store.h"

#include "base/text.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

using namespace Agent;

namespace
{

const off_t mostRegistrations = 64 * 1024 * 1024; // bytes

std::string Now()
{
    const std::time_t now = std::time(nullptr);
    std::tm utc;
    char text[32] = "";
    if (gmtime_r(&now, &utc))
        std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

std::vector<std::string> RepositoryNames(const std::string& pool)
{
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(pool.c_str()), closedir);
    if (!folder)
        throw StoreError(pool + ": " + std::strerror(errno));
    std::vector<std::string> names;
    while (const dirent* entry = readdir(folder.get())) {
        const std::string name = entry->d_name;
        if (IsRepositoryName(name) && access((pool + '/' + name + "/Packages").c_str(), F_OK) == 0)
            names.push_back(name);
    }
    return names;
}

} // namespace

bool IsRepositoryName(const std::string& name)
{
    return IsMadeOf(name, IsLetterOrDigit, "-._") && name[0] != '.';
}

Store::Store(const std::string& folder)
    : m_folder(folder), m_pool(folder + "/pool"), m_products(folder, "products", ParseProducts),
      m_sources(folder, "sources", ParseSources), m_updates(folder, "updates", ParseUpdates),
      m_categories(folder, "categories", ParseCategories), m_aisles(folder, "aisles", ParseAisles),
      m_profile(folder, "profile", ParseProfile)
{
}

void Store::Check()
{
    GetProducts();
    GetSources();
    GetUpdates();
    GetCategories();
    GetAisles();
    GetProfile();
    for (const auto& [name, index] : GetRepositories())
        ArchivesOf(name);
}

StoreState Store::GetState()
{
    StoreState state{ GetProducts(),   GetSources(), GetUpdates(),
                      GetCategories(), GetAisles(),  GetProfile() };
    for (const auto& [name, index] : GetRepositories())
        state.push_back(index);
    return state;
}

Repositories Store::GetRepositories()
{
    Repositories result;
    const std::vector<std::string> names = RepositoryNames(m_pool);
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const std::string& name : names) {
        auto& index = m_indexes[name];
        if (!index)
            index = std::make_unique<CachedFile<PackageIndex>>(m_pool, name + "/Packages",
                                                               ParsePackageIndex);
        result[name] = index->Get();
    }
    return result;
}

std::string Store::ArchivesOf(const std::string& repository)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    auto& location = m_locations[repository];
    if (!location)
        location = std::make_unique<CachedFile<std::string>>(m_pool, repository + "/Location",
                                                             ParseLocation);
    return *location->GetIfThere();
}

void Store::AddRegistration(const std::string& id) const
{
    const std::string name = m_folder + "/registrations";
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
    const std::string line = Now() + ' ' + id + '\n';
    if (write(file.Get(), line.data(), line.size()) != ssize_t(line.size()))
        throw StoreError(name + ": a registration could not be written");
}
