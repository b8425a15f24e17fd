// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "shelves.h"

#include <cerrno>
#include <sys/stat.h>

Shelves::Shelves(const std::string& folder)
    : m_folder(folder), m_categories(folder, "categories", ParseCategories),
      m_aisles(folder, "aisles", ParseAisles), m_profile(folder, "profile", ParseProfile)
{
}

void Shelves::check()
{
    categories();
    aisles();
    profile();
}

// A link that leads nowhere is there, and refused like any other.
bool Shelves::isThere(const char* name) const
{
    struct stat info = {};
    return lstat((m_folder + '/' + name).c_str(), &info) == 0 || errno != ENOENT;
}
