// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A store: the folder with its files, read again whenever they change.
//
//     products              the products                        (products.h)
//     sources               the sources lists                   (sources.h)
//     categories, aisles, profile   how it presents them, if there  (shelves.h)
//     updates               the updates of the system, if any   (updates.h)
//     registrations         is written to, if it is there       (registrations.h)
//     pool/NAME/Packages    the index of the repository NAME    (packageindex.h)
//     pool/NAME/Location    where its archives are, if not here (location.h)
//     pool/NAME/...         its archives
//
// All functions may be called from several threads, and throw StoreError when
// what they need is missing or broken.

#pragma once

#include "location.h"
#include "packageindex.h"
#include "products.h"
#include "shelves.h"
#include "sources.h"
#include "storefile.h"
#include "updates.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

// The names a repository's folder may have: they stand in URLs.
bool IsRepositoryName(const std::string& name);

class Store
{
public:
    explicit Store(const std::string& folder);

    // Reads everything once.
    void check();

    std::shared_ptr<const Products> products() { return m_products.get(); }
    std::shared_ptr<const std::vector<SourcesList>> sources() { return m_sources.get(); }
    // None where the file is missing.
    std::shared_ptr<const Updates> updates() { return m_updates.getIfThere(); }

    Shelves& shelves() { return m_shelves; }

    // The repositories by the names of their folders: those that have an index.
    std::map<std::string, std::shared_ptr<const PackageIndex>> repositories();

    // The address that the archives of a repository are kept at; empty where
    // they are in this pool.
    std::string archivesOf(const std::string& repository);

    const std::string& folder() const { return m_folder; }
    const std::string& poolFolder() const { return m_pool; }

private:
    const std::string m_folder;
    const std::string m_pool;
    CachedFile<Products> m_products;
    CachedFile<std::vector<SourcesList>> m_sources;
    CachedFile<Updates> m_updates;
    Shelves m_shelves;
    std::mutex m_mutex; // for the maps, not for what is in them
    std::map<std::string, std::unique_ptr<CachedFile<PackageIndex>>> m_indexes;
    std::map<std::string, std::unique_ptr<CachedFile<std::string>>> m_locations;
};
