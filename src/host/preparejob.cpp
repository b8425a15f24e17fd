// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/preparejob.h"

#include "host/planrun.h"

namespace Pakmart
{

PrepareJob::PrepareJob(const Request& request, QObject* parent)
    : Job(parent), m_request(request) { }

PrepareJob::~PrepareJob() = default;

Plan PrepareJob::plan() const
{
    if (m_run)
        return m_run->plan();
    Plan none;
    none.request = m_request;
    return none;
}

void PrepareJob::run()
{
    setPhase(Preparing);
    if (hasEnded())
        return; // killed by a slot
    m_run = std::make_unique<PlanRun>(m_request);
    connect(m_run.get(), &PlanRun::ended, this, &PrepareJob::onEnded);
    m_run->start();
}

void PrepareJob::onEnded()
{
    const Failure failure = m_run->failure();
    setDetails(m_run->details());
    if (isCancelled())
        fail(Error::Cancelled);
    else if (failure.code != Error::NoError)
        fail(failure.code, failure.sentence);
    else
        succeed();
}

void PrepareJob::stop()
{
    if (m_run)
        m_run->stop();
}

void PrepareJob::letGo()
{
    if (!m_run)
        return;
    m_run->disconnect(this);
    m_run->stop();
}

} // namespace Pakmart
