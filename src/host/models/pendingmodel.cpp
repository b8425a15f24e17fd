// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/pendingmodel.h"

#include "host/pendingjobs.h"

#include <QCoreApplication>

namespace Pakmart
{

class PendingModel::Private
{
public:
    std::vector<PendingJob> shown;
    bool takes = false; // the rows change
    bool takesAgain = false;
};

PendingModel::PendingModel(QObject* parent) : ListModel(parent), d(std::make_unique<Private>())
{
    setState(Empty, QCoreApplication::translate("Pakmart", "Nothing is being done."));
    connect(&PendingJobs::all(), &PendingJobs::changed, this, &PendingModel::take);
    take();
}

PendingModel::~PendingModel() = default;

void PendingModel::add(Job* job, const QString& title)
{
    PendingJobs::all().add(job, title);
}

void PendingModel::cancel(int row)
{
    if (row >= 0 && row < count())
        PendingJobs::all().cancel(rows()[std::size_t(row)].key);
}

// A slot that sees a job appear may end that job: the rows change again when they have changed.
void PendingModel::take()
{
    d->takesAgain = true;
    if (d->takes)
        return;
    d->takes = true;
    while (d->takesAgain) {
        d->takesAgain = false;
        takeOnce();
    }
    d->takes = false;
}

void PendingModel::takeOnce()
{
    std::vector<PendingJob> jobs = PendingJobs::all().jobs();
    Rows after;
    for (std::size_t at = 0; at < jobs.size(); ++at)
        after.push_back({ jobs[at].key, quint32(at), 0 });
    const std::vector<PendingJob> before = d->shown;
    changeRows(
        std::move(after), [this, &jobs] { d->shown = std::move(jobs); },
        [this, &before](const Row& a, const Row& b) {
            return !(before[a.place] == d->shown[b.place]);
        });
    if (count() > 0)
        setState(Filled);
    else
        setState(Empty, QCoreApplication::translate("Pakmart", "Nothing is being done."));
}

QVariant PendingModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= count())
        return QVariant();
    const PendingJob& job = d->shown[rows()[std::size_t(index.row())].place];
    switch (role) {
    case TitleRole:
        return job.title;
    case PhaseRole:
        return int(job.phase);
    case PackageRole:
        return job.package;
    case PercentRole:
        return job.percent;
    case CancellableRole:
        return job.isCancellable;
    case WaitingForRole:
        return job.waitingFor;
    default:
        return QVariant();
    }
}

QHash<int, QByteArray> PendingModel::roleNames() const
{
    return { { TitleRole, "title" },           { PhaseRole, "phase" },
             { PackageRole, "package" },       { PercentRole, "percent" },
             { WaitingForRole, "waitingFor" }, { CancellableRole, "cancellable" } };
}

} // namespace Pakmart
