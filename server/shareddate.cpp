// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "shareddate.h"

#include "storefile.h"

#include <algorithm>
#include <filesystem>

namespace
{

constexpr std::time_t day = 24 * 60 * 60;

class NewestFile
{
public:
    explicit NewestFile(std::time_t now) : m_now(now), m_date(now - now % day) { }

    void Add(const std::string& folder, const std::string& path)
    {
        struct stat info = {};
        if (OpenBelow(folder, path, info) && info.st_mtim.tv_sec <= m_now)
            m_date = std::max(m_date, info.st_mtim.tv_sec);
    }
    std::time_t Date() const { return m_date; }

private:
    const std::time_t m_now;
    std::time_t m_date;
};

} // namespace

// A file that is missing, or a pool that cannot be listed, is reported by those who read it.
std::time_t SharedDate(const std::string& store, std::time_t now)
{
    NewestFile newest(now);
    for (const char* name : { "products", "sources", "updates", "categories", "aisles", "icons" })
        newest.Add(store, name);
    std::error_code error;
    for (std::filesystem::directory_iterator pool(store + "/pool", error), end;
         !error && pool != end; pool.increment(error)) {
        const std::string repository = pool->path().filename().string();
        for (const char* name : { "Packages", "Packages.gz", "Location" })
            newest.Add(store, "pool/" + repository + '/' + name);
    }
    return newest.Date();
}
