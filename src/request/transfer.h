// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The transfer of one URL from the store server, for those that wait for its end.

#pragma once

#include <QString>
#include <functional>

class QObject;
class QUrl;
namespace KIO
{
class Job;
class TransferJob;
} // namespace KIO

// Starts the transfer of a URL; null when it is not one that the store may name:
// a directory that lists file:/etc/shadow is not obeyed.
KIO::TransferJob* StartTransfer(const QUrl& url);

// The error of a transfer that has ended, 0 for none, and its text. A page that comes with
// an error status is an answer of the server. KDE Frameworks 6 give it with an error of
// their own, and give none where no server could be reached: the status is 0 then.
int TransferError(KIO::Job* pJob);
QString TransferErrorText(KIO::Job* pJob);

// Calls `giveUp` with a KIO error and its text when nothing was heard of the
// server for so many seconds: the wait of a request has no limit, and KIO waits
// for the beginning of an answer for ever. Nothing is called once the job or
// `context` is gone.
void WatchForSilence(KIO::TransferJob* pJob, int seconds, QObject* context,
                     std::function<void(int nError, const QString& sText)> giveUp);
