// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPIStatus
/// Checks whether the store server can be reached.
///
/// It fetches the URL of the API directory and discards the answer: any answer, even
/// an error page, means that the server can be reached. The check does not need the
/// directory and is not a request, so a lock does not stop it.
///
///     const bool reached = (new CAPIStatus)->Execute(); // the object is gone
///
/// Made on the heap, used once.

#pragma once

#include <QObject>
#include <QString>
#include <memory>
#include <set>
#include <vantrelagent/export.h>

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

    /// Runs the event loop until the transfer has ended, prints the result on standard
    /// output, and destroys the object. Returns false if the transfer failed. It is
    /// not a failure if the transfer could not be started (no URL, or not a web
    /// address) or the user cancelled it.
    bool Execute();

    /// Ends the running checks as failures (CAPI::AbortTransfers calls this).
    static void AbortTransfers();

public slots:
    /// Handles the end of the transfer.
    void onDownloadComplete(KIO::Job* pJob);

private:
    void End(bool bError);

    static std::set<CAPIStatus*> m_running;

    class Private;
    const std::unique_ptr<Private> d;
};
