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
} // namespace KIO

namespace Agent
{

bool RepliesMustBeSigned();

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

// The same for a reply that did not come again, with the sum and size that it had.
SignatureFault CheckUnchanged(const QString& sSha256, qint64 nSize, const QString& sURL,
                              const QString& sStatement, std::time_t started, const GoOn& goOn);

} // namespace Agent
