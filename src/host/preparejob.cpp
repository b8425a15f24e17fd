// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/preparejob.h"

#include "host/jobtitle.h"
#include "host/planrun.h"
#include "host/storequestion.h"

#include <utility>

namespace Pakmart
{

PrepareJob::PrepareJob(const Request& request, QObject* parent) : Job(parent), m_request(request)
{
    setDefaultTitle(TitleOfPreview(request));
}

PrepareJob::~PrepareJob() = default;

Plan PrepareJob::plan() const
{
    Plan plan;
    if (m_run)
        plan = m_run->plan();
    else
        plan.request = m_request;
    plan.products = m_products;
    return plan;
}

void PrepareJob::run()
{
    setPhase(Preparing);
    if (hasEnded())
        return; // killed by a slot
    if (!AsksStore(m_request)) {
        makePlan();
        return;
    }
    m_question = std::make_unique<StoreQuestion>(m_request);
    connect(m_question.get(), &StoreQuestion::waits, this, &PrepareJob::setWaitingFor);
    connect(m_question.get(), &StoreQuestion::ended, this, &PrepareJob::onAnswer);
    m_question->start();
}

void PrepareJob::onAnswer()
{
    const Failure failure = m_question->failure();
    if (isCancelled() || failure.code != Error::NoError) {
        setDetails(m_question->details());
        fail(isCancelled() ? Error::Cancelled : failure.code, failure.sentence);
        return;
    }
    m_request = m_question->request();
    m_products = m_question->products();
    setDefaultTitle(TitleOfPreview(m_request, m_products));
    setWaitingFor(QString());
    if (!hasEnded())
        makePlan();
}

void PrepareJob::makePlan()
{
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
    else if (m_question)
        m_question->stop();
}

void PrepareJob::letGo()
{
    StoreQuestion::letGo(std::move(m_question));
    if (!m_run)
        return;
    m_run->disconnect(this);
    m_run->stop();
}

} // namespace Pakmart
