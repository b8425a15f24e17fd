// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// What is requested, and what would be done for it: the plan that is shown to the user
/// before anything is changed. All of these are values: they may be copied and kept.

#pragma once

#include "error.h"

#include <QByteArray>
#include <QList>
#include <QMetaType>
#include <QObject>
#include <QString>
#include <QStringList>
#include <vantrelagent/export.h>

namespace Pakmart
{

/// A change of packages that somebody wants.
class VANTRELAGENT_EXPORT Request
{
    Q_GADGET

public:
    /// The kinds of changes.
    enum Kind {
        Install, ///< install packages, or upgrade those that are installed
        Remove, ///< remove packages; their configuration files stay
        Upgrade, ///< upgrade installed packages: all of them if none is named
        Reinstall, ///< install the same versions again
        SystemUpdate, ///< install the packages that the store names for the system
        Repair, ///< finish what was interrupted, and mend what is broken
        OtherKind, ///< a kind that this release does not know; it is refused
        RemoveUnneeded ///< remove packages that came for others, and that none needs any more
    };
    Q_ENUM(Kind)

    Kind kind = Install; ///< what to do
    QStringList packages
        = {}; ///< with which packages: "name", "name:architecture" or "name=version"
    /// Products of the store to install or remove, by their serial numbers. The store is asked for
    /// their packages when the plan is made, which are then in `packages` of the plan's request.
    QList<int> products = {};
    /// With Install: packages to remove in the same change, if they are installed.
    QStringList removals = {};
};

/// A product that a plan installs, as the store describes it. The texts are the store's.
class VANTRELAGENT_EXPORT PlanProduct
{
    Q_GADGET

public:
    int serial = 0; ///< its number in the store
    QString package; ///< its package
    QString name; ///< its name
    QString program; ///< the name of its program; may be empty
    QString path; ///< the command that starts the program; may be empty
    QString icon; ///< the path of the program's icon; may be empty
    QString smallIcon; ///< the path of a small one; may be empty
};

/// One package of a plan.
class VANTRELAGENT_EXPORT PlanRow
{
    Q_GADGET

public:
    /// What happens to the package.
    enum Action {
        Installed, ///< it is new
        Upgraded, ///< a newer version replaces it
        Downgraded, ///< an older version replaces it
        Reinstalled, ///< the same version replaces it
        Removed, ///< it goes
        Configured, ///< it is unpacked already, and is set up
        OtherAction ///< something that this release does not know
    };
    Q_ENUM(Action)

    /// Why it happens.
    enum Reason {
        AskedFor, ///< it was requested
        NeededBy, ///< another package of the plan needs it
        RecommendedBy, ///< another package of the plan recommends it
        NoLongerNeeded, ///< nothing that stays needs it
        ConflictsWith, ///< another package of the plan cannot be installed beside it
        Needs, ///< it needs another package of the plan, which goes or changes
        Broken, ///< it is installed in part, which is repaired
        OtherReason ///< anything else
    };
    Q_ENUM(Reason)

    QString package; ///< its name, with ":architecture" if that is a foreign one
    QString architecture; ///< of the new version; empty for a removal
    Action action = OtherAction; ///< what happens to it
    Reason reason = OtherReason; ///< why
    QString because; ///< the other package of the reason; empty if there is none
    QString oldVersion; ///< now; empty if it is not installed
    QString newVersion; ///< afterwards; empty for a removal
    qint64 downloadSize = 0; ///< bytes that have to be fetched
    qint64 oldSize = 0; ///< bytes that it takes on the disk now
    qint64 newSize = 0; ///< bytes that it takes afterwards
    bool isEssential = false; ///< whether the system does not work without it

    /// The reason as words for the user, in the language of the application: "needed by app".
    QString reasonText() const;
};

/// Something that the user should know about a plan, or that prevents it.
class VANTRELAGENT_EXPORT PlanProblem
{
    Q_GADGET

public:
    Error::Code code = Error::Other; ///< what it is
    bool prevents = true; ///< whether the plan cannot be carried out
    QString sentence; ///< for the user
    QStringList packages; ///< the packages that it is about
};

/// What would be done for a request. A plan that was made successfully can be shown, and
/// then be carried out by a CommitJob.
class VANTRELAGENT_EXPORT Plan
{
    Q_GADGET

public:
    /// The request that it is for.
    Request request;
    /// The products of the request, in its order.
    QList<PlanProduct> products;
    /// One row for each package that changes, sorted by action and name.
    QList<PlanRow> rows;
    /// What is to be known about it.
    QList<PlanProblem> problems;

    /// Whether nothing would change.
    bool isEmpty() const { return rows.isEmpty(); }
    /// Whether it can be carried out: no problem prevents it.
    bool isPossible() const;
    /// Whether packages would go that were not requested to be removed. This needs the
    /// user's own consent (CommitJob::setAllowRemovals). RemoveUnneeded requests all that are
    /// not needed.
    bool removesOthers() const;
    /// The packages of these rows.
    QStringList otherRemovals() const;
    /// The row of a package; one with an empty name if it is not part of the plan.
    PlanRow row(const QString& package) const;

    /// Bytes to fetch in all.
    qint64 downloadSize() const;
    /// Bytes that the disk has less afterwards; negative if it has more.
    qint64 diskSize() const;

    /// A digest of the request and all rows, as hexadecimal digits. Two plans with the same
    /// digest do the same.
    QByteArray digest() const;
};

} // namespace Pakmart

Q_DECLARE_METATYPE(Pakmart::Request)
Q_DECLARE_METATYPE(Pakmart::PlanProduct)
Q_DECLARE_METATYPE(Pakmart::PlanRow)
Q_DECLARE_METATYPE(Pakmart::PlanProblem)
Q_DECLARE_METATYPE(Pakmart::Plan)
