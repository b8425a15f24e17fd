// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Whether the reply of the store server is what the store has signed, where the settings of the
// machine require that. The package front end decides, since it knows which keys the machine
// trusts: docs/signed-stores.md.

#pragma once

#include "request/replydocument.h"

#include <QString>
#include <ctime>

class QFile;
namespace KIO
{
class Job;
class TransferJob;
} // namespace KIO

namespace Agent
{

bool RepliesMustBeSigned();

// Has KIO keep the header in which the statement of a reply comes; before the transfer.
void KeepStatement(KIO::TransferJob* pJob);

// The statement of a transfer that has ended; empty without one.
QString StatementOf(KIO::Job* pJob);

struct SignatureFault {
    QString code; // "altered"; empty if the reply can be believed
    QString sentence; // for the user
};

// Checks the reply to a request for `sURL`, whose transfer began at `started`, while `goOn` is
// called. If that returns false, the check ends with a fault.
SignatureFault CheckSignature(const QFile& reply, const QString& sURL, const QString& sStatement,
                              std::time_t started, const GoOn& goOn);

} // namespace Agent
