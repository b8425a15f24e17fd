// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/pendingjobs.h"

#include <algorithm>

namespace Pakmart
{

PendingJobs& PendingJobs::all()
{
    static PendingJobs all;
    return all;
}

void PendingJobs::add(Job* job, const QString& title)
{
    const bool isKnown = std::any_of(m_items.begin(), m_items.end(),
                                     [job](const Item& item) { return item.job == job; });
    if (!job || isKnown || job->phase() == Job::Ended)
        return;
    const qint64 key = ++m_last;
    m_items.push_back({ job, {} });
    m_items.back().values.key = key;
    if (!title.isEmpty())
        job->setTitle(title);
    const auto retake = [this, key] { take(key); };
    connect(job, &Job::titleChanged, this, retake);
    connect(job, &Job::phaseChanged, this, retake);
    connect(job, &Job::packageChanged, this, retake);
    connect(job, &Job::cancellableChanged, this, retake);
    connect(job, &Job::waitingForChanged, this, retake);
    connect(job, &KJob::percentChanged, this, retake);
    connect(job, &KJob::finished, this, [this, key] { remove(key); });
    connect(job, &QObject::destroyed, this, [this, key] { remove(key); });
    const QPointer<Job> alive(job);
    take(key);
    if (alive && job->phase() != Job::Ended)
        emit added(job);
}

void PendingJobs::cancel(qint64 key)
{
    for (const Item& item : m_items)
        if (item.values.key == key && item.job) {
            item.job->cancel();
            return;
        }
}

std::vector<PendingJob> PendingJobs::jobs() const
{
    std::vector<PendingJob> jobs;
    for (const Item& item : m_items)
        jobs.push_back(item.values);
    return jobs;
}

void PendingJobs::take(qint64 key)
{
    for (Item& item : m_items) {
        if (item.values.key != key || !item.job)
            continue;
        item.values.title = item.job->title();
        item.values.phase = item.job->phase();
        item.values.package = item.job->package();
        item.values.percent = int(item.job->percent());
        item.values.isCancellable = item.job->isCancellable();
        item.values.waitingFor = item.job->waitingFor();
    }
    emit changed();
}

void PendingJobs::remove(qint64 key)
{
    const auto gone = std::find_if(m_items.begin(), m_items.end(),
                                   [key](const Item& item) { return item.values.key == key; });
    if (gone == m_items.end())
        return;
    m_items.erase(gone);
    emit changed();
}

} // namespace Pakmart
