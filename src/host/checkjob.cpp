// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/checkjob.h"

#include "host/faultsearch.h"

#include <QCoreApplication>

namespace Pakmart
{

class CheckJob::Private
{
public:
    QList<RepairFinding> findings;
    std::unique_ptr<QObject> search; // goes with a search that nobody waits for
};

CheckJob::CheckJob(QObject* parent) : Job(parent), d(std::make_unique<Private>())
{
    setDefaultTitle(QCoreApplication::translate("Pakmart", "Check the installation"));
}

CheckJob::~CheckJob() = default;

QList<RepairFinding> CheckJob::findings() const
{
    return d->findings;
}

void CheckJob::run()
{
    setPhase(Checking);
    if (hasEnded())
        return;
    d->search = std::make_unique<QObject>();
    SearchFaults(d->search.get(), [this](const QList<RepairFinding>& found) {
        if (isCancelled()) {
            fail(Error::Cancelled);
            return;
        }
        d->findings = found;
        succeed();
    });
}

// The search takes moments, and its end ends the job.
void CheckJob::stop() { }

void CheckJob::letGo()
{
    d->search.reset();
}

} // namespace Pakmart
