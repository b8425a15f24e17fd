// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/packagejobs.h"

namespace Pakmart
{

InstallJob::InstallJob(const QStringList& packages, QObject* parent)
    : CommitJob(Request{ Request::Install, packages }, parent)
{
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

} // namespace Pakmart
