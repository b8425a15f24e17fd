// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/packagejobs.h"

#include <algorithm>

namespace Pakmart
{

InstallJob::InstallJob(const QStringList& packages, QObject* parent)
    : CommitJob(Request{ Request::Install, packages }, parent)
{
}

InstallJob::InstallJob(const Request& request, QObject* parent) : CommitJob(request, parent) { }

InstallJob* InstallJob::ofProducts(const QList<int>& serials, QObject* parent)
{
    Request request;
    request.products = serials.isEmpty() ? QList<int>{ 0 } : serials; // 0 is no product
    return new InstallJob(request, parent);
}

RemoveJob::RemoveJob(const QStringList& packages, QObject* parent)
    : CommitJob(Request{ Request::Remove, packages }, parent)
{
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

RepairJob::RepairJob(QObject* parent) : CommitJob(Request{ Request::Repair }, parent) { }

} // namespace Pakmart
