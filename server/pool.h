// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The store's packages: the folder "pool", a flat repository with its index in
// the file "Packages", served below "/repo".

#pragma once

#include <map>
#include <string>
#include <vector>

class Pool
{
public:
    explicit Pool(const std::string& folder) : m_folder(folder) { }

    // The stanzas of the index, by the name of their file without its folder.
    // Throws StoreError when the index cannot be read.
    std::map<std::string, std::string> Index() const;

    // The real path of a file below the pool; empty when there is no such
    // regular file, or the name leads out of the folder.
    std::string Find(const std::string& name) const;

private:
    std::string m_folder;
};
