// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// How far an install is, as one number that never goes back.

#pragma once

#include "platform/statusreader.h"

#include <string>

// The download has the first half of the whole, dpkg the second; where nothing
// is downloaded, dpkg has all of it.
class Progress
{
public:
    // The sizes told on the way, in bytes: of all archives, of the next one.
    void SetTotal(double bytes) { m_total = bytes; }
    void BeginItem(const std::string& name, double bytes);

    // The progress line for a status, such as "45% [2 libfoo 18%]": the whole
    // first, the present item last.
    std::string Line(const Status& status);

    // The line for an end that is well.
    static std::string Done() { return "100% [Done 100%]"; }

private:
    int DownloadPercent(double percent) const;

    double m_total = 0;
    double m_before = 0; // bytes of the archives before the present one
    double m_size = 0; // of the present one
    bool m_downloads = false;
    int m_number = 0;
    std::string m_name;
    int m_overall = 0;
};
