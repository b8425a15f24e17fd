// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The progress of an install, as one number that never decreases.

#pragma once

#include "platform/statusreader.h"

#include <string>

// The download is the first half of the whole, dpkg's work the second; without a
// download, dpkg's work is all of it.
class Progress
{
public:
    // The sizes printed on the way, in bytes: of all archives, of the next one.
    void SetTotal(double bytes) { m_total = bytes; }
    void BeginItem(const std::string& name, double bytes);

    // The progress line for a status, such as "45% [2 libfoo 18%]": the whole
    // first, the current item last.
    std::string Line(const Status& status);

    // The line for a successful end.
    static std::string Done() { return "100% [Done 100%]"; }

private:
    int DownloadPercent(double percent) const;

    double m_total = 0;
    double m_before = 0; // bytes of the archives before the current one
    double m_size = 0; // of the current one
    bool m_downloads = false;
    int m_number = 0;
    std::string m_name;
    int m_overall = 0;
};
