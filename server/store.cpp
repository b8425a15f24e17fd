// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store.h"

#include "storeerror.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <unistd.h>

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
    static const char letters[]
        = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._";
    return !name.empty() && name[0] != '.' && name.find_first_not_of(letters) == std::string::npos;
}

Store::Store(const std::string& folder)
    : m_folder(folder), m_pool(folder + "/pool"), m_products(folder, "products", ParseProducts),
      m_sources(folder, "sources", ParseSources), m_updates(folder, "updates", ParseUpdates)
{
}

void Store::check()
{
    products();
    sources();
    updates();
    repositories();
}

Store::RepositoryFiles::RepositoryFiles(const std::string& pool, const std::string& name)
    : index(pool, name + "/Packages", ParsePackageIndex),
      location(pool, name + "/Location", ParseLocation)
{
}

std::map<std::string, Repository> Store::repositories()
{
    std::map<std::string, Repository> result;
    const std::vector<std::string> names = RepositoryNames(m_pool);
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const std::string& name : names) {
        auto& files = m_repositories[name];
        if (!files)
            files = std::make_unique<RepositoryFiles>(m_pool, name);
        result[name] = { files->index.get(), *files->location.getIfThere() };
    }
    return result;
}
