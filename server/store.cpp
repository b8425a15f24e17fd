// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store.h"

#include "base/text.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <unistd.h>

using namespace Agent;

namespace
{

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
      m_icons(folder, "icons", ParseIcons)
{
}

void Store::Check()
{
    GetProducts();
    GetSources();
    GetUpdates();
    GetCategories();
    GetAisles();
    GetIcons();
    for (const auto& [name, index] : GetRepositories())
        ArchivesOf(name);
}

StoreState Store::GetState()
{
    StoreState state{ GetProducts(),   GetSources(), GetUpdates(),
                      GetCategories(), GetAisles(),  GetIcons() };
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
