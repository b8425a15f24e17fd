// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/commitjob.h"

#include "host/commitsteps.h"
#include "host/jobtitle.h"

namespace Pakmart
{

namespace
{

Plan PlanFor(const Request& request)
{
    Plan plan;
    plan.request = request;
    return plan;
}

} // namespace

CommitJob::CommitJob(const Plan& plan, QObject* parent)
    : Job(parent), m_steps(std::make_unique<CommitSteps>(*this, plan, true))
{
    setDefaultTitle(TitleOf(plan.request, plan.products));
}

CommitJob::CommitJob(const Request& request, QObject* parent)
    : Job(parent), m_steps(std::make_unique<CommitSteps>(*this, PlanFor(request), false))
{
    setDefaultTitle(TitleOf(request));
    // The store has named the products by then.
    connect(this, &CommitJob::planReady, this,
            [this](const Plan& plan) { setDefaultTitle(TitleOf(plan.request, plan.products)); });
}

CommitJob::~CommitJob() = default;

void CommitJob::setAllowRemovals(bool allow)
{
    m_steps->allowsRemovals = allow;
}

void CommitJob::setDownloadOnly(bool only)
{
    m_steps->onlyDownloads = only;
}

void CommitJob::setRecorded(bool record)
{
    m_steps->records = record;
}

bool CommitJob::isRecorded() const
{
    return m_steps->isRecorded();
}

Plan CommitJob::plan() const
{
    return m_steps->plan();
}

void CommitJob::run()
{
    m_steps->start();
}

void CommitJob::stop()
{
    m_steps->stop();
}

void CommitJob::letGo()
{
    m_steps->letGo();
}

} // namespace Pakmart
