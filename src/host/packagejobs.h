// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// Jobs that prepare a plan and carry it out in one go, for hosts that do not ask in between.
/// Without setAllowRemovals, none of them removes a package that it was not asked to remove.
/// CommitJob describes how they end; planReady gives the plan.

#pragma once

#include "commitjob.h"
#include "repairfinding.h"

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

    /// A job that installs products of the store by their serial numbers. It asks the store for
    /// their packages, brings the package sources up to date if the store has changed them, and
    /// after a success notes the products in the user's recently used list (setRecorded).
    static InstallJob* ofProducts(const QList<int>& serials, QObject* parent = nullptr);

private:
    InstallJob(const Request& request, QObject* parent);
};

/// Removes packages; their configuration files stay.
class VANTRELAGENT_EXPORT RemoveJob : public CommitJob
{
    Q_OBJECT

public:
    /// Names of packages.
    explicit RemoveJob(const QStringList& packages, QObject* parent = nullptr);

    /// A job that removes products of the store by their serial numbers. It asks the store for
    /// their packages, and removes these alone: what they have brought along stays.
    static RemoveJob* ofProducts(const QList<int>& serials, QObject* parent = nullptr);

private:
    RemoveJob(const Request& request, QObject* parent);
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

/// Updates the system: asks the store which packages are to be current, brings the package lists
/// up to date, and installs these packages. It fails when it cannot find out what is current,
/// and notes the date of the update (DateOfLastUpdate in /etc/pakmartd.conf) only after a
/// success.
class VANTRELAGENT_EXPORT SystemUpdateJob : public CommitJob
{
    Q_OBJECT

public:
    /// Prepares the job. PrepareJob shows its plan: Request{ Request::SystemUpdate }.
    explicit SystemUpdateJob(QObject* parent = nullptr);

    /// Whether this library's own package was changed, after a success: its hosts should be
    /// restarted.
    bool isAgentUpdated() const;
};

/// Repairs what an interruption or a failure has left: removes the files of dead processes,
/// fetches missing package lists, makes damaged databases again, lets dpkg set up what is
/// unpacked, reinstalls what is installed in part, and installs what is missing. It fails if a
/// package is not whole afterwards; findings() says what became of everything else. Succeeds
/// without a change if nothing is broken.
class VANTRELAGENT_EXPORT RepairJob : public CommitJob
{
    Q_OBJECT

public:
    /// Prepares the job. PrepareJob shows its plan: Request{ Request::Repair }.
    explicit RepairJob(QObject* parent = nullptr);
    ~RepairJob() override;

    /// What was found, and what became of it. A CheckJob finds the same.
    QList<RepairFinding> findings() const;

protected:
    /// Mends files before the packages.
    void run() override;
    /// Ends either.
    void stop() override;
    /// Leaves what runs, which ends by itself.
    void letGo() override;

private:
    void judgePackages();

    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Pakmart
