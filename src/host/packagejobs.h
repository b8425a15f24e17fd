// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// Jobs that prepare a plan and carry it out in one go, for hosts that do not ask in between.
/// Without setAllowRemovals, none of them removes a package that it was not asked to remove.
/// CommitJob describes how they end; planReady gives the plan.

#pragma once

#include "commitjob.h"

namespace Pakmart
{

/// Installs packages with what they need, or upgrades those that are installed. Succeeds
/// without a change if all are installed in their newest versions.
class VANTRELAGENT_EXPORT InstallJob : public CommitJob
{
    Q_OBJECT

public:
    /// Names of packages, with "=VERSION" for a certain one.
    explicit InstallJob(const QStringList& packages, QObject* parent = nullptr);
};

/// Removes packages; their configuration files stay.
class VANTRELAGENT_EXPORT RemoveJob : public CommitJob
{
    Q_OBJECT

public:
    /// Names of packages.
    explicit RemoveJob(const QStringList& packages, QObject* parent = nullptr);
};

/// Upgrades installed packages. Succeeds without a change if there is no newer version.
class VANTRELAGENT_EXPORT UpgradeJob : public CommitJob
{
    Q_OBJECT

public:
    /// Names of packages; none means all.
    explicit UpgradeJob(const QStringList& packages = QStringList(), QObject* parent = nullptr);
};

/// Installs the same versions of packages again.
class VANTRELAGENT_EXPORT ReinstallJob : public CommitJob
{
    Q_OBJECT

public:
    /// Names of packages.
    explicit ReinstallJob(const QStringList& packages, QObject* parent = nullptr);
};

} // namespace Pakmart
