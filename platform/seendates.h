// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The newest dates of replies that an account has accepted, by store, so that an older state
// is not taken for the present one.

#pragma once

#include <ctime>
#include <string>

class SeenDates
{
public:
    // The file is made in `folder` when the first date is noted.
    explicit SeenDates(const std::string& folder) : m_folder(folder) { }

    // The newest date of a store that had been noted when a transfer started; 0 if there is
    // none. What other programs noted during the transfer does not count: the reply may have
    // left the store before.
    std::time_t Newest(const std::string& origin, std::time_t started) const;

    // Notes a date. A folder that cannot be written keeps what it has.
    void Note(const std::string& origin, std::time_t date) const;

private:
    std::string m_folder;
};
