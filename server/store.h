// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A store: the folder with its files, read again whenever they change.
//
//     products              the products
//     sources               the sources lists
//     updates               the updates of the system, if any
//     categories, aisles    how it presents its products, if any
//     icons, pictures/...   the pictures of its products, if any
//     pool/NAME/Packages    the index of the repository NAME
//     pool/NAME/Location    where its archives are, if not here
//     pool/NAME/...         its archives
//
// shelves.h reads the first five, icons.h the list of pictures, pool.h the pool; personalfiles.h
// has the other files. All functions may be called from several threads, and throw StoreError when
// a file that they need is missing or invalid.

#pragma once

#include "icons.h"
#include "pool.h"
#include "shelves.h"
#include "storefile.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

using Repositories = std::map<std::string, std::shared_ptr<const PackageIndex>>;

// Whether a repository's folder may have this name, which becomes part of URLs.
bool IsRepositoryName(const std::string& name);

// What a store has, read at one time. Two of the same state are equal, and of different states
// never, as long as one is kept.
using StoreState = std::vector<std::shared_ptr<const void>>;

class Store
{
public:
    explicit Store(const std::string& folder);

    // Reads everything once.
    void Check();

    std::shared_ptr<const Products> GetProducts() { return m_products.Get(); }
    std::shared_ptr<const std::vector<SourcesList>> GetSources() { return m_sources.Get(); }
    // Each of these is empty if the file is missing.
    std::shared_ptr<const Updates> GetUpdates() { return m_updates.GetIfThere(); }
    std::shared_ptr<const Categories> GetCategories() { return m_categories.GetIfThere(); }
    std::shared_ptr<const Aisles> GetAisles() { return m_aisles.GetIfThere(); }
    std::shared_ptr<const Icons> GetIcons() { return m_icons.GetIfThere(); }

    // The repositories by the names of their folders: those that have an index.
    Repositories GetRepositories();

    // All of the above; throws StoreError if any of it cannot be read.
    StoreState GetState();

    // The address that the archives of a repository are kept at; empty where
    // they are in this pool.
    std::string ArchivesOf(const std::string& repository);

    const std::string& Folder() const { return m_folder; }
    const std::string& PoolFolder() const { return m_pool; }

private:
    const std::string m_folder;
    const std::string m_pool;
    CachedFile<Products> m_products;
    CachedFile<std::vector<SourcesList>> m_sources;
    CachedFile<Updates> m_updates;
    CachedFile<Categories> m_categories;
    CachedFile<Aisles> m_aisles;
    CachedFile<Icons> m_icons;
    std::mutex m_mutex; // for the maps, not for what is in them
    std::map<std::string, std::unique_ptr<CachedFile<PackageIndex>>> m_indexes;
    std::map<std::string, std::unique_ptr<CachedFile<std::string>>> m_locations;
};
