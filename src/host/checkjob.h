// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::CheckJob
/// Looks for what a RepairJob would mend, and changes nothing. It succeeds also if it finds
/// something.
///
///     auto* job = new Pakmart::CheckJob;
///     connect(job, &KJob::result, host, [job] { show(job->findings()); });
///     job->start();

#pragma once

#include "job.h"
#include "repairfinding.h"

namespace Pakmart
{

class VANTRELAGENT_EXPORT CheckJob : public Job
{
    Q_OBJECT

public:
    /// Prepares the job.
    explicit CheckJob(QObject* parent = nullptr);
    ~CheckJob() override;

    /// What is to be mended; empty if nothing is, and before the end.
    QList<RepairFinding> findings() const;

protected:
    /// Reads the files, in a thread.
    void run() override;
    /// Ends the job when they are read.
    void stop() override;
    /// Forgets what is read.
    void letGo() override;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Pakmart
