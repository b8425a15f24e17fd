// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPIStatus
/// Whether the store server can be reached.
///
/// The URL of the API directory is fetched and what comes is thrown away: an
/// answer of any kind, an error page too, is a server that can be reached. The
/// check needs no directory and is no request, so a lock does not stop it.
///
///     const bool reached = (new CAPIStatus)->Execute(); // the object is gone
///
/// Made on the heap, used once.

#pragma once

#include "../util/export.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <set>

class KJob;
namespace KIO
{
class Job;
}

class VANTRELAGENT_EXPORT CAPIStatus : public QObject
{
    Q_OBJECT

public:
    /// Starts nothing yet.
    CAPIStatus();
    ~CAPIStatus() override;

    /// Runs the event loop until the transfer has ended, tells on standard output
    /// how, destroys the object and returns false for a transfer that failed. One
    /// that could not be started (no URL, or none of the web) and one that the
    /// user cancelled are no failures.
    bool Execute();

    /// Ends the checks that are running, as failures (CAPI::AbortTransfers does).
    static void AbortTransfers();

public slots:
    /// Takes the end of the transfer.
    void onDownloadComplete(KIO::Job* pJob);

private:
    void End(bool bError);

    static std::set<CAPIStatus*> m_running;

    QPointer<KJob> m_pJob;
    bool m_bError = false;
    bool m_bDone = false;
};
