// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/packagejobs.h"

#include "host/commitsteps.h"
#include "host/faultsearch.h"
#include "host/filerepair.h"

#include <algorithm>

namespace Pakmart
{

namespace
{

Request OfProducts(Request::Kind kind, const QList<int>& serials)
{
    Request request;
    request.kind = kind;
    request.products = serials.isEmpty() ? QList<int>{ 0 } : serials; // 0 is no product
    return request;
}

} // namespace

InstallJob::InstallJob(const QStringList& packages, QObject* parent)
    : CommitJob(Request{ Request::Install, packages }, parent)
{
}

InstallJob::InstallJob(const Request& request, QObject* parent) : CommitJob(request, parent) { }

InstallJob* InstallJob::ofProducts(const QList<int>& serials, QObject* parent)
{
    return new InstallJob(OfProducts(Request::Install, serials), parent);
}

RemoveJob::RemoveJob(const QStringList& packages, QObject* parent)
    : CommitJob(Request{ Request::Remove, packages }, parent)
{
}

RemoveJob::RemoveJob(const Request& request, QObject* parent) : CommitJob(request, parent) { }

RemoveJob* RemoveJob::ofProducts(const QList<int>& serials, QObject* parent)
{
    return new RemoveJob(OfProducts(Request::Remove, serials), parent);
}

UpgradeJob::UpgradeJob(const QStringList& packages, QObject* parent)
    : CommitJob(Request{ Request::Upgrade, packages }, parent)
{
}

ReinstallJob::ReinstallJob(const QStringList& packages, QObject* parent)
    : CommitJob(Request{ Request::Reinstall, packages }, parent)
{
}

SystemUpdateJob::SystemUpdateJob(QObject* parent)
    : CommitJob(Request{ Request::SystemUpdate }, parent)
{
}

bool SystemUpdateJob::isAgentUpdated() const
{
    const QString agent = QStringLiteral("vantrelagent");
    const QList<PlanRow> rows = plan().rows;
    return phase() == Ended && !error()
        && std::any_of(rows.begin(), rows.end(), [&agent](const PlanRow& row) {
               return row.package.compare(agent, Qt::CaseInsensitive) == 0;
           });
}

class RepairJob::Private
{
public:
    QList<RepairFinding> findings;
    std::unique_ptr<FileRepair> files; // as long as it works
};

// The host's slots of the result see what became of the packages.
RepairJob::RepairJob(QObject* parent)
    : CommitJob(Request{ Request::Repair }, parent), d(std::make_unique<Private>())
{
    connect(this, &KJob::result, this, &RepairJob::judgePackages);
}

RepairJob::~RepairJob() = default;

QList<RepairFinding> RepairJob::findings() const
{
    return d->findings;
}

void RepairJob::run()
{
    setPhase(Preparing);
    if (hasEnded())
        return; // killed by a slot
    d->files = std::make_unique<FileRepair>();
    connect(d->files.get(), &FileRepair::ended, this, [this] {
        d->findings = d->files->findings();
        FileRepair::letGo(std::move(d->files));
        if (isCancelled())
            fail(Error::Cancelled);
        else
            CommitJob::run();
    });
    d->files->start();
}

void RepairJob::stop()
{
    if (d->files)
        d->files->stop();
    else
        CommitJob::stop();
}

void RepairJob::letGo()
{
    FileRepair::letGo(std::move(d->files));
    CommitJob::letGo();
}

void RepairJob::judgePackages()
{
    const QStringList& halfWay = m_steps->halfWay();
    for (RepairFinding& finding : d->findings) {
        if (!IsAboutPackages(finding) || error() == Error::Cancelled)
            continue;
        const bool isWhole = !error()
            || (phase() == Ended && !halfWay.isEmpty() && !halfWay.contains(finding.name));
        finding.state = isWhole ? RepairFinding::Mended : RepairFinding::NotMended;
        if (isWhole || finding.kind != RepairFinding::BrokenPackage)
            continue;
        if (error() == Error::ScriptFailed) {
            finding.kind = RepairFinding::FailingScript;
            finding.reason = AdviceOnScript(finding.name);
        } else {
            finding.reason = errorString();
        }
    }
}

} // namespace Pakmart
