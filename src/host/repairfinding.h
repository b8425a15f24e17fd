// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::RepairFinding
/// Something that an interruption, a failure or damage has left: as a CheckJob finds it, or as
/// a RepairJob has found it and left it. It is a value.

#pragma once

#include <QList>
#include <QMetaType>
#include <QObject>
#include <QString>
#include <vantrelagent/export.h>

namespace Pakmart
{

class VANTRELAGENT_EXPORT RepairFinding
{
    Q_GADGET
    /// The member of the same name, for QML.
    /// @{
    Q_PROPERTY(Pakmart::RepairFinding::Kind kind MEMBER kind)
    Q_PROPERTY(Pakmart::RepairFinding::State state MEMBER state)
    Q_PROPERTY(QString name MEMBER name)
    Q_PROPERTY(QString sentence MEMBER sentence)
    Q_PROPERTY(QString reason MEMBER reason)
    /// @}

public:
    /// What it is.
    enum Kind {
        InterruptedRun, ///< dpkg was interrupted and has work to take over
        BrokenPackage, ///< a package is installed in part; its name is `name`
        FailingScript, ///< a script of the package fails, so that it cannot be set up
        MissingLists, ///< a package source has no package lists, or the lists are those of others
        Leftover, ///< a file or folder of a process that has ended; its path is `name`
        DamagedCatalog, ///< the catalog's database is damaged, or gone
        DamagedRecentList, ///< the recently used list is damaged
        OtherFinding ///< anything that a later release may add
    };
    Q_ENUM(Kind)

    /// What became of it.
    enum State {
        Found, ///< nothing yet
        Mended, ///< it is gone
        NotMended ///< it is still there; `reason` may say why
    };
    Q_ENUM(State)

    Kind kind = OtherFinding; ///< what it is
    State state = Found; ///< what became of it
    QString name; ///< the package, file or folder; may be empty
    QString sentence; ///< what it is, for the user
    QString reason; ///< why it is still there, and what to do about it; empty if not known
};

} // namespace Pakmart

Q_DECLARE_METATYPE(Pakmart::RepairFinding)
