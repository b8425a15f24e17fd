// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "support/funkydate.h"

#include <ctime>

std::string funky_date_str()
{
    const std::time_t now = std::time(nullptr);
    std::tm local;
    if (!localtime_r(&now, &local))
        return {};
    char text[32];
    return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local));
}
