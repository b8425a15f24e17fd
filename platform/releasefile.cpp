// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/releasefile.h"

#include "base/text.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <sstream>

namespace
{

constexpr std::time_t clockError = 10 * 60; // seconds that the clocks may differ

void NoteLine(const std::string& line, ReleaseFile& file)
{
    const auto colon = line.find(": ");
    if (colon == std::string::npos)
        return;
    const std::string name = line.substr(0, colon), value = line.substr(colon + 2);
    if (name == "Date")
        file.date = ParseDate(value);
    else if (name == "Valid-Until")
        file.validUntil = ParseDate(value);
    else if (name == "Origin")
        file.origin = value;
    else if (name == "Suite")
        file.suite = value;
}

} // namespace

// The signed text is between an empty line, after the header of the signature, and the
// signature. apt refuses files with anything before or after it.
ReleaseFile ReadRelease(const std::string& path)
{
    std::ifstream input(path);
    ReleaseFile file;
    file.text.assign(std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>());
    std::istringstream lines(file.text);
    bool isSigned = false;
    for (std::string line; std::getline(lines, line);) {
        if (Agent::BeginsWith(line, "-----BEGIN PGP SIGNATURE"))
            break;
        if (isSigned)
            NoteLine(line, file);
        isSigned = isSigned || line.empty();
    }
    return file;
}

std::string FaultOf(const ReleaseFile& file, const ReleaseExpectations& expected,
                    const ReleaseFile& known, std::time_t now)
{
    if (file.origin != expected.origin || file.suite != expected.suite)
        return "it is signed for another store: " + Agent::Quoted(file.origin) + ", "
            + Agent::Quoted(file.suite) + " instead of " + Agent::Quoted(expected.origin) + ", "
            + Agent::Quoted(expected.suite);
    if (file.date <= 0)
        return "its signed file has no date";
    if (file.validUntil <= 0)
        return "its signed file does not say until when it is valid";
    if (file.date > now + clockError)
        return "its signed file is of the future, " + DateText(file.date)
            + ". Is this machine's clock right?";
    if (known && file.date < known.date)
        return "its offers of " + DateText(file.date) + " are older than those of "
            + DateText(known.date) + ", which this machine has already seen";
    if (now > std::min(file.validUntil, file.date + expected.maxAge))
        return "its offers of " + DateText(file.date) + " have expired, and may be stale";
    return {};
}

std::time_t ParseDate(const std::string& text)
{
    std::tm parts = {};
    const char* rest = strptime(text.c_str(), "%a, %d %b %Y %H:%M:%S", &parts);
    if (!rest)
        return 0;
    const std::string zone = rest;
    return zone == " UTC" || zone == " GMT" || zone == " +0000" || zone == " Z" ? timegm(&parts)
                                                                                : 0;
}

std::string DateText(std::time_t when)
{
    std::tm parts = {};
    gmtime_r(&when, &parts);
    std::array<char, 64> text{};
    return { text.data(), std::strftime(text.data(), text.size(), "%d %B %Y %H:%M UTC", &parts) };
}
