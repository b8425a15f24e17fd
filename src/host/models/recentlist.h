// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The user's recently used applications, as the list's records have them.

#pragma once

#include <QString>
#include <string>
#include <vector>

namespace Pakmart
{

struct Used {
    int serial;
    qint64 time;
    QString name, program, icon, smallIcon;

    bool operator==(const Used& other) const
    {
        return time == other.time && name == other.name && program == other.program
            && icon == other.icon && smallIcon == other.smallIcon;
    }
};

struct UsedList {
    bool isReadable = true;
    std::vector<Used> items; // the last one first
};

// The records alone are read, so that nothing has to be locked or repaired. For any thread.
UsedList ReadUsed(const std::string& folder);

} // namespace Pakmart
