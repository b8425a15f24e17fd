// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The file `profile` of a store, which it may lack: the applications that belong
// to the account of whoever asks. This server knows of one account.

#pragma once

#include <string>
#include <vector>

struct Application {
    long serial = 0;
    std::string name;
    std::string package;
};

using Profile = std::vector<Application>;

Profile ParseProfile(const std::string& text, const std::string& path);
