// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The settings of a machine's administrator about stores: [Stores] in /etc/pakmart/settings.
// docs/signed-stores.md describes them.

#pragma once

#include <ctime>
#include <string>
#include <vector>

namespace Agent
{

struct StoreSettings {
    std::vector<std::string> allowUnsigned; // addresses; "yes" for all
    std::time_t maxAge = 30 * 24 * 60 * 60; // seconds that something signed is believed
    int stallSeconds = 30; // in which at least 1 KB a second must arrive
    bool requireSignedReplies = false;
    std::string fault; // of the file, which does not count then; all must be signed
};

// The path of the file, without the private root.
extern const char storeSettingsFile[];

StoreSettings ReadStoreSettings(const std::string& root);

} // namespace Agent
