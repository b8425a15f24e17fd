// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "transaction.h"

namespace Pakmart
{

Transaction::Transaction(QObject* parent) : JobRun(parent) { }

void Transaction::prepare()
{
    Request request;
    request.kind = Request::Kind(m_kind);
    request.packages = m_packages;
    request.products = m_products;
    prepareRequest(request);
}

void Transaction::prepareRequest(const Request& request)
{
    if (isRunning())
        return;
    auto* job = new PrepareJob(request, this);
    job->setTitle(m_title);
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
    job->setTitle(m_title);
    follow(job);
}

} // namespace Pakmart
