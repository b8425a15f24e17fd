// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "transaction.h"

#include <Pakmart/PendingModel>

namespace Pakmart
{

Transaction::Transaction(QObject* parent) : QObject(parent) { }

void Transaction::prepare()
{
    if (isRunning())
        return;
    Request request;
    request.kind = Request::Kind(m_kind);
    request.packages = m_packages;
    auto* job = new PrepareJob(request, this);
    connect(job, &KJob::result, this, [this, job] {
        m_plan.setPlan(job->plan());
        end();
        emit prepared();
    });
    follow(job);
}

void Transaction::commit()
{
    if (isRunning())
        return;
    auto* job = new CommitJob(m_plan.plan(), this);
    job->setAllowRemovals(m_allowRemovals);
    connect(job, &KJob::result, this, [this] {
        end();
        emit finished();
    });
    PendingModel::add(job, m_title.isEmpty() ? m_packages.join(QStringLiteral(", ")) : m_title);
    follow(job);
}

void Transaction::cancel()
{
    if (m_job)
        m_job->cancel();
}

void Transaction::follow(Job* job)
{
    m_job = job;
    m_error = Error::NoError;
    m_errorText.clear();
    m_details.clear();
    connect(job, &Job::phaseChanged, this, &Transaction::take);
    connect(job, &Job::packageChanged, this, &Transaction::take);
    connect(job, &Job::cancellableChanged, this, &Transaction::take);
    connect(job, &Job::waitingForChanged, this, &Transaction::take);
    connect(job, &KJob::percentChanged, this, &Transaction::take);
    job->start();
    take();
}

void Transaction::take()
{
    m_phase = m_job->phase();
    m_percent = int(m_job->percent());
    m_package = m_job->package();
    m_isCancellable = m_job->isCancellable();
    m_waitingFor = m_job->waitingFor();
    emit changed();
}

// The job deletes itself after its result.
void Transaction::end()
{
    m_error = m_job->errorCode();
    m_errorText = m_error == Error::NoError ? QString() : m_job->errorString();
    m_details = m_job->details();
    Job* const job = m_job;
    take();
    if (m_job == job)
        m_job = nullptr;
    emit changed();
}

} // namespace Pakmart
