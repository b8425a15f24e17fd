// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Shows in the desktop's notifications, and on the task bar, how far changes of packages are.

#pragma once

#include <KUiServerV2JobTracker>
#include <Pakmart/JobWatch>

class DesktopProgress
{
public:
    DesktopProgress();

private:
    KUiServerV2JobTracker m_tracker;
    Pakmart::JobWatch m_jobs;
};
