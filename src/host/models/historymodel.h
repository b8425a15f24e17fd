// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::HistoryModel
/// What was installed, changed and removed on this machine, the last first, from the log that
/// apt keeps of it (/var/log/apt/history.log) and the older ones beside it (history.log.1.gz).
/// Changes by this library are in it, too, since apt-get makes them.
///
///     auto* job = new Pakmart::PrepareJob(history->undoRequest(0)); // of the last change

#pragma once

#include "../plan.h"
#include "listmodel.h"
#include <vantrelagent/export.h>

namespace Pakmart
{

class VANTRELAGENT_EXPORT HistoryModel : public ListModel
{
    Q_OBJECT

public:
    /// What an entry shows. Lists have a text for each package: "name:architecture version".
    enum Role {
        TitleRole = Qt::DisplayRole, ///< the command line, or else the first kind of change
        DateRole = Qt::UserRole + 1, ///< when it began, as QDateTime
        CommandLineRole, ///< the command; empty if the log does not say
        RequestedByRole, ///< the user who asked for it; empty if the log does not say
        InstalledRole, ///< new packages
        UpgradedRole, ///< packages that were upgraded, with both versions
        DowngradedRole, ///< packages that were downgraded, with both versions
        ReinstalledRole, ///< packages that were installed again
        RemovedRole, ///< packages that went
        PurgedRole, ///< packages that went with their configuration
        ErrorRole, ///< why it failed; empty if it did not
        IsFinishedRole ///< whether the log says that it ended
    };
    Q_ENUM(Role)

    /// Begins to read at once.
    explicit HistoryModel(QObject* parent = nullptr);
    ~HistoryModel() override;

    /// As for any model.
    /// @{
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;
    /// @}

    /// The request that undoes an entry: what it has installed is to be removed, what it has
    /// removed is to be installed, and what it has upgraded or downgraded is to have its old
    /// version, which a package source must still have. It has neither packages nor removals if
    /// there is nothing to undo, or no such row.
    Q_INVOKABLE Pakmart::Request undoRequest(int row) const;

private:
    void read();
    void take();

    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Pakmart
