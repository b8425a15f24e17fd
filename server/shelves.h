// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// How a store presents its products: the files `categories`, `aisles` and
// `profile`. Each may be missing, and is empty then.

#pragma once

#include "aisles.h"
#include "categories.h"
#include "profile.h"
#include "storefile.h"

#include <memory>
#include <string>

class Shelves
{
public:
    explicit Shelves(const std::string& folder);

    // All of these throw StoreError for a file that is there and broken.
    void check();
    std::shared_ptr<const Categories> categories() { return get(m_categories, "categories"); }
    std::shared_ptr<const Aisles> aisles() { return get(m_aisles, "aisles"); }
    std::shared_ptr<const Profile> profile() { return get(m_profile, "profile"); }

private:
    bool isThere(const char* name) const;
    template <class T> std::shared_ptr<const T> get(CachedFile<T>& file, const char* name)
    {
        return isThere(name) ? file.get() : std::make_shared<const T>();
    }

    const std::string m_folder;
    CachedFile<Categories> m_categories;
    CachedFile<Aisles> m_aisles;
    CachedFile<Profile> m_profile;
};
