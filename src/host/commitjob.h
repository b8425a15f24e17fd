// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::CommitJob
/// Carries out a plan that was shown: exactly that, or nothing.
///
///     auto* job = new Pakmart::CommitJob(prepared->plan());
///     job->setAllowRemovals(userAgreed);
///     connect(job, &KJob::result, host, ...);
///     job->start();
///
/// When its turn has come, the plan is made again, unless nothing has changed from which it was
/// made a moment ago. If it has another digest, the job ends with
/// PlanChanged and has changed nothing. Otherwise the package front end carries it out. The job
/// succeeds only if dpkg's status shows afterwards what the plan shows: every package that was
/// to be installed is "install ok installed" in that version, every one that was to be removed
/// is gone, and no other package has changed.
///
/// Jobs take turns: one at a time for each private tree, in the order of their starts in this
/// process, and by a lock among processes. A job that waits says for whom (waitingFor).
///
/// It can be cancelled until dpkg begins to work.
///
/// From the beginning of the run to its end, the machine is not shut down (if there is logind,
/// and it permits that), and the application does not quit by itself.

#pragma once

#include "job.h"
#include "plan.h"

namespace Pakmart
{

class CommitSteps;

class VANTRELAGENT_EXPORT CommitJob : public Job
{
    Q_OBJECT
    /// Whether the products were noted in the recently used list.
    Q_PROPERTY(bool recorded READ isRecorded)

public:
    /// Carries out `plan`, made by a PrepareJob.
    explicit CommitJob(const Plan& plan, QObject* parent = nullptr);
    ~CommitJob() override;

    /// Whether packages may be removed that nobody asked to remove: false at first. Without
    /// it, such a plan ends with RemovalsNotAllowed. To be set before the start.
    void setAllowRemovals(bool allow);

    /// Whether the archives of the plan are only downloaded, into apt's folder of archives: false
    /// at first. No package is changed then, nothing is noted, and no consent is needed. The job
    /// succeeds if all of them are there with the sums of the package lists. To be set before the
    /// start.
    void setDownloadOnly(bool only);

    /// Whether the products of the plan are noted in the user's recently used list, after a
    /// success: true at first. Products that are installed already are noted if they are not in
    /// the list. To be set before the start.
    void setRecorded(bool record);
    /// Whether they were noted. A list that cannot be written does not make the job fail.
    bool isRecorded() const;

    /// The plan that is, or was, carried out.
    Plan plan() const;

Q_SIGNALS:
    /// The plan is certain now, and begins to be carried out when the slots return, unless one
    /// of them cancels the job. Not emitted when there is nothing to do.
    void planReady(const Pakmart::Plan& plan);

protected:
    /// Makes a plan for a request, and carries that out.
    CommitJob(const Request& request, QObject* parent);

    /// Asks for the turn.
    void run() override;
    /// Ends the wait, the simulation or the download.
    void stop() override;
    /// Leaves what runs, which ends by itself.
    void letGo() override;

private:
    friend class CommitSteps;
    friend class RepairJob; // which says what became of each package
    const std::unique_ptr<CommitSteps> m_steps;
};

} // namespace Pakmart
