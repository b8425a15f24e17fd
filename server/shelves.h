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
    std::shared_ptr<const Categories> categories() { return m_categories.getIfThere(); }
    std::shared_ptr<const Aisles> aisles() { return m_aisles.getIfThere(); }
    std::shared_ptr<const Profile> profile() { return m_profile.getIfThere(); }

private:
    CachedFile<Categories> m_categories;
    CachedFile<Aisles> m_aisles;
    CachedFile<Profile> m_profile;
};
