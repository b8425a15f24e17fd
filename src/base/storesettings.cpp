// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/storesettings.h"

#include "base/administered.h"
#include "base/text.h"

#include <sstream>
#include <unistd.h>

namespace Agent
{

const char storeSettingsFile[] = "/etc/pakmart/settings";

namespace
{

void TakeSetting(const std::string& name, const std::string& value, StoreSettings& settings)
{
    const int number = PositiveNumber(value);
    if (name == "AllowUnsigned" && value != "no")
        settings.allowUnsigned = WordsIn(value);
    else if (name == "MaxAgeDays" && number != 0)
        settings.maxAge = std::time_t(number) * 24 * 60 * 60;
    else if (name == "StallSeconds" && number != 0)
        settings.stallSeconds = number;
    else if (name == "RequireSignedReplies")
        settings.requireSignedReplies = value != "no";
}

} // namespace

StoreSettings ReadStoreSettings(const std::string& root)
{
    StoreSettings settings;
    if (access((root + storeSettingsFile).c_str(), F_OK) != 0)
        return settings;
    std::istringstream lines(ReadAdministered(storeSettingsFile, root, settings.fault));
    // What the file would say is not known, so nothing is permitted.
    settings.requireSignedReplies = !settings.fault.empty();
    bool isOurs = false;
    for (std::string line; std::getline(lines, line);) {
        line = Trimmed(line);
        const auto equals = line.find('=');
        if (!line.empty() && line[0] == '[')
            isOurs = line == "[Stores]";
        else if (isOurs && equals != std::string::npos && line[0] != '#')
            TakeSetting(Trimmed(line.substr(0, equals)), Trimmed(line.substr(equals + 1)),
                        settings);
    }
    return settings;
}

} // namespace Agent
