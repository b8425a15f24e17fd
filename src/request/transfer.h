// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The transfer of one URL from the store server, for callers that wait for its end.

#pragma once

#include "request/agenterror.h"

#include <QString>
#include <cstdint>
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

// Starts the transfer of a URL; null when the store may not name such a URL: a
// directory that lists file:/etc/shadow is not obeyed.
KIO::TransferJob* StartTransfer(const QUrl& url);
bool IsStoreAddress(const QUrl& url);

// For another kind of job: nobody is asked about certificates, and what comes is counted.
void PrepareTransfer(KIO::TransferJob* pJob);

// A header of the answer; empty if there is none, or it has more than 4,096 characters.
QString HeaderOf(KIO::Job* pJob, const char* name);

// What the server has sent to this process: the heads and contents of its answers, packed as they
// came; but contents are unpacked where KIO does not tell the packed length.
struct SentBytes {
    qint64 count = 0;
    bool isUnpacked = false; // whether one of them is
};

// Adds a transfer that has ended.
void CountTransfer(KIO::Job* pJob);
SentBytes SentByServer();

// The error of a transfer that has ended, 0 for none, and its text. A page with an error
// status is an answer of the server. KDE Frameworks 6 report an error for it, but none when
// the server could not be reached (the status is 0 then) or closed the connection before the
// end of its reply (StartTransfer counts the bytes for this).
int TransferError(KIO::Job* pJob);
QString TransferErrorText(KIO::Job* pJob);

// Whether any part of the reply has arrived.
bool ReplyHasBegun(const KIO::Job* pJob);

// Whether a server may redirect a request from one URL to another: only to web
// addresses, and never from https to http.
bool MayRedirect(const QUrl& from, const QUrl& to);

// The limits that the settings set for the store server, read together since each
// reading opens the settings file.
struct TransferLimits {
    int silence; // seconds without data: "response timeout", 1 to 86400, 120 unless set
    int total; // seconds in all: "transfer timeout", 1 to 86400, an hour unless set
    std::uint64_t size; // bytes of a reply: "max reply size", 256 MB where not positive
};

TransferLimits ReadTransferLimits();

// Calls `giveUp`, once, with a reason, a KIO error and its text
// - when the server has sent nothing for `limits.silence` seconds: a request waits
//   without a limit, and KIO waits for the beginning of an answer forever;
// - when the transfer has taken `limits.total` seconds: a server could send a byte
//   now and then until its next restart;
// - before following a redirection that MayRedirect refuses.
// Seconds in which the event loop did not run do not count, and pending events are
// handled first when it runs again. Nothing is called once the job or `context` is gone.
using GiveUp = std::function<void(AgentError::Code reason, int nError, const QString& sText)>;
void WatchTransfer(KIO::TransferJob* pJob, const TransferLimits& limits, QObject* context,
                   GiveUp giveUp);

// The AgentError code for an error of KIO.
AgentError::Code ReasonOf(int nKioError);

} // namespace Agent
