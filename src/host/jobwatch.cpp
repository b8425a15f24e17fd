// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/jobwatch.h"

#include "host/pendingjobs.h"

namespace Pakmart
{

JobWatch::JobWatch(QObject* parent) : QObject(parent)
{
    connect(&PendingJobs::all(), &PendingJobs::added, this, &JobWatch::begun);
}

JobWatch::~JobWatch() = default;

} // namespace Pakmart
