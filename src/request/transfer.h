// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The transfer of one URL from the store server, for those that wait for its end.

#pragma once

#include "request/agenterror.h"
#include "request/transferlimits.h"

#include <QString>
#include <functional>

class QObject;
class QUrl;
namespace KIO
{
class Job;
class TransferJob;
} // namespace KIO

namespace Agent
{

// Starts the transfer of a URL; null when it is not one that the store may name:
// a directory that lists file:/etc/shadow is not obeyed.
KIO::TransferJob* StartTransfer(const QUrl& url);

// The error of a transfer that has ended, 0 for none, and its text. A page that comes with
// an error status is an answer of the server. KDE Frameworks 6 give it with an error of
// their own, and give none where no server could be reached (the status is 0 then) or where
// the server has gone before the end of its reply (StartTransfer counts what comes).
int TransferError(KIO::Job* pJob);
QString TransferErrorText(KIO::Job* pJob);

// Whether a part of the reply has come.
bool ReplyHasBegun(const KIO::Job* pJob);

// Whether a server may send a request from one URL on to another: within the web,
// and never from https to http.
bool MayRedirect(const QUrl& from, const QUrl& to);

// Calls `giveUp`, once, with a reason, a KIO error and its text
// - when nothing was heard of the server for `limits.silence` seconds: the wait of a
//   request has no limit, and KIO waits for the beginning of an answer for ever;
// - when the transfer has taken `limits.total` seconds: a server could send a byte
//   now and then until its next restart;
// - before a redirection is followed that MayRedirect refuses.
// Seconds in which the event loop stood still do not count, and what it found when
// it went on is looked at first. Nothing is called once the job or `context` is gone.
using GiveUp = std::function<void(AgentError::Code reason, int nError, const QString& sText)>;
void WatchTransfer(KIO::TransferJob* pJob, const TransferLimits& limits, QObject* context,
                   GiveUp giveUp);

// The reason that an error of KIO is.
AgentError::Code ReasonOf(int nKioError);

} // namespace Agent
