// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "personaldata.h"

#include <array>
#include <ctime>

namespace
{

const std::string::size_type timeLength = 20;

} // namespace

std::string TimeText(std::int64_t time)
{
    const std::time_t seconds = time;
    std::tm utc = {};
    std::array<char, 64> text{};
    if (gmtime_r(&seconds, &utc))
        std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text.data();
}

std::string LineOf(const Registration& registration)
{
    return TimeText(registration.time) + ' ' + registration.builder;
}

// What is written back is the text itself only if each number was in its range and place.
bool ParseTime(const std::string& text, std::int64_t& time)
{
    std::tm utc = {};
    const char* const end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%SZ", &utc);
    if (text.size() != timeLength || end != text.c_str() + timeLength)
        return false;
    time = timegm(&utc);
    return TimeText(time) == text;
}

bool ParseRegistration(const std::string& line, Registration& registration)
{
    if (line.size() < timeLength + 2 || line[timeLength] != ' ')
        return false;
    registration.builder = line.substr(timeLength + 1);
    return ParseTime(line.substr(0, timeLength), registration.time);
}
