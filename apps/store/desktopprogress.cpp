// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "desktopprogress.h"

#include <Pakmart/CommitJob>

// Questions to the store are short, and are shown in the window alone.
DesktopProgress::DesktopProgress()
{
    QObject::connect(&m_jobs, &Pakmart::JobWatch::begun, &m_tracker, [this](Pakmart::Job* job) {
        if (qobject_cast<Pakmart::CommitJob*>(job))
            m_tracker.registerJob(job);
    });
}
