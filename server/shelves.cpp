// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "shelves.h"

Shelves::Shelves(const std::string& folder)
    : m_categories(folder, "categories", ParseCategories), m_aisles(folder, "aisles", ParseAisles),
      m_profile(folder, "profile", ParseProfile)
{
}

void Shelves::check()
{
    categories();
    aisles();
    profile();
}
