// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/seendates.h"

#include "base/descriptor.h"
#include "base/wholefile.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <sys/file.h>
#include <vector>

namespace
{

const char fileName[] = "/.replydates";
constexpr std::size_t mostDates = 8, mostStores = 256;

struct SeenDate {
    std::time_t date = 0;
    std::time_t noted = 0;
};

using Dates = std::map<std::string, std::vector<SeenDate>>; // by the store's origin

// A line for each: "DATE NOTED ORIGIN".
Dates ReadDates(const std::string& folder)
{
    Dates dates;
    std::ifstream input(folder + fileName);
    SeenDate one;
    std::string origin;
    while (input >> one.date >> one.noted && input.get() == ' ' && std::getline(input, origin)) {
        if (dates.size() < mostStores || dates.count(origin) != 0)
            dates[origin].push_back(one);
    }
    return dates;
}

std::string TextOf(const Dates& dates)
{
    std::string text;
    for (const auto& [origin, all] : dates) {
        for (const SeenDate& one : all)
            text
                += std::to_string(one.date) + ' ' + std::to_string(one.noted) + ' ' + origin + '\n';
    }
    return text;
}

} // namespace

std::time_t SeenDates::Newest(const std::string& origin, std::time_t started) const
{
    const std::time_t now = std::time(nullptr);
    std::time_t newest = 0;
    Dates dates = ReadDates(m_folder);
    for (const SeenDate& one : dates[origin]) {
        // A note of the future was made before the clock was set back.
        if (one.noted < started || one.noted > now)
            newest = std::max(newest, one.date);
    }
    return newest;
}

void SeenDates::Note(const std::string& origin, std::time_t date) const
{
    std::error_code error;
    std::filesystem::create_directories(m_folder, error);
    const Agent::Descriptor folder(open(m_folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder || flock(folder.Get(), LOCK_EX) != 0)
        return;
    Dates dates = ReadDates(m_folder);
    std::vector<SeenDate>& all = dates[origin];
    if (std::any_of(all.begin(), all.end(), [date](const SeenDate& o) { return o.date >= date; }))
        return;
    all.push_back({ date, std::time(nullptr) });
    if (all.size() > mostDates)
        all.erase(all.begin());
    Agent::ReplaceFile(m_folder + fileName, TextOf(dates), 0644);
}
