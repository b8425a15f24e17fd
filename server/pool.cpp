// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "server/pool.h"

#include "server/store.h"

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

std::map<std::string, std::string> Pool::Index() const
{
    std::ifstream stream(m_folder + "/Packages");
    if (!stream)
        throw StoreError(m_folder + "/Packages: cannot be read");
    std::map<std::string, std::string> index;
    std::string stanza, file;
    const auto finish = [&] {
        if (!file.empty())
            index[file] = stanza;
        stanza.clear();
        file.clear();
    };
    for (std::string line; std::getline(stream, line);) {
        if (line.empty()) {
            finish();
            continue;
        }
        stanza += line + '\n';
        if (line.rfind("Filename: ", 0) == 0)
            file = line.substr(line.find_last_of("/ ") + 1);
    }
    finish();
    return index;
}

std::string Pool::Find(const std::string& name) const
{
    if (name.empty() || name.find('\0') != name.npos)
        return std::string();
    std::error_code error;
    const fs::path folder = fs::canonical(m_folder, error);
    const fs::path file = fs::canonical(folder / fs::path("./" + name), error);
    if (error || !fs::is_regular_file(file, error))
        return std::string();
    const std::string inside = folder.string() + '/';
    return file.string().compare(0, inside.size(), inside) == 0 ? file.string() : std::string();
}
