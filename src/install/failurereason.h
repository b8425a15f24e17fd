// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Why a run of the package front end failed, derived from its lines.

#pragma once

#include "install/packagelists.h"
#include "request/agenterror.h"

#include <QString>

namespace Agent
{

struct FailureReason {
    AgentError::Code code = AgentError::NoFailure;
    QString sentence; // for the user
    QString details; // for a log: the lines
};

// A reason with the sentence of its code.
FailureReason Reason(AgentError::Code code, const QString& details = QString());

// The lines as one text: only the last ones if there are many.
QString LinesAsText(const AptGetMessages& lines);

// The reason in the lines of a failed run: PackageToolsFailed if they contain none.
FailureReason ReasonOfFailure(const AptGetMessages& lines);

// Why a successful run listed no package files.
FailureReason ReasonOfNoFiles(const AptGetMessages& lines);

} // namespace Agent
