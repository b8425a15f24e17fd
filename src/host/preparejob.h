// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::PrepareJob
/// Works out what would be done for a request, and changes nothing. The plan comes from the
/// same resolver that a CommitJob lets do it.
///
///     auto* job = new Pakmart::PrepareJob({ Pakmart::Request::Install, { "starlander" } });
///     connect(job, &KJob::result, host, [job] { show(job->plan()); });
///     job->start();
///
/// It ends with an error if there is no plan, or if the plan cannot be carried out; plan() has
/// the problems then, and as many rows as are known. It does not wait for jobs that change
/// packages: what it shows is the state of that moment, and a CommitJob looks again.

#pragma once

#include "job.h"
#include "plan.h"

namespace Pakmart
{

class PlanRun;
class StoreQuestion;

class VANTRELAGENT_EXPORT PrepareJob : public Job
{
    Q_OBJECT

public:
    /// Prepares the plan of a request.
    explicit PrepareJob(const Request& request, QObject* parent = nullptr);
    ~PrepareJob() override;

    /// The plan, once the job has ended.
    Plan plan() const;

protected:
    /// Runs the resolver.
    void run() override;
    /// Ends it.
    void stop() override;
    /// Leaves it, and it ends.
    void letGo() override;

private:
    void onAnswer();
    void makePlan();
    void onEnded();

    Request m_request;
    QList<PlanProduct> m_products;
    std::unique_ptr<StoreQuestion> m_question;
    std::unique_ptr<PlanRun> m_run;
};

} // namespace Pakmart
