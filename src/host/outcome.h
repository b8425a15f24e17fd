// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Judges a run by dpkg's status, and gives the reasons of failures their codes.

#pragma once

#include "base/dpkgstatus.h"
#include "host/plan.h"

#include <QStringList>

namespace Pakmart
{

// A failure of a job.
struct Failure {
    Error::Code code = Error::NoError;
    QString sentence;
};

// What the status after a run has otherwise than the plan, as sentences for the user: rows that
// were not carried out, requested packages that are not installed, and other packages that
// were changed. Empty if the plan was carried out exactly.
QStringList Deviations(const Plan& plan, const Agent::DpkgStatus& before,
                       const Agent::DpkgStatus& after);

// Why a run of the package tools failed, derived from their lines.
Failure FailureOf(const QStringList& lines);

} // namespace Pakmart
