// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "jobrun.h"

namespace Pakmart
{

void JobRun::cancel()
{
    if (m_job)
        m_job->cancel();
}

void JobRun::follow(Job* job)
{
    m_job = job;
    m_error = Error::NoError;
    m_errorText.clear();
    m_details.clear();
    connect(job, &Job::phaseChanged, this, &JobRun::take);
    connect(job, &Job::packageChanged, this, &JobRun::take);
    connect(job, &Job::cancellableChanged, this, &JobRun::take);
    connect(job, &Job::waitingForChanged, this, &JobRun::take);
    connect(job, &KJob::percentChanged, this, &JobRun::take);
    job->start();
    take();
}

void JobRun::take()
{
    m_phase = m_job->phase();
    m_percent = int(m_job->percent());
    m_package = m_job->package();
    m_isCancellable = m_job->isCancellable();
    m_waitingFor = m_job->waitingFor();
    emit changed();
}

// A handler of changed() may already begin the next job.
void JobRun::end()
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
