// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::PendingModel
/// The jobs of this process that wait or run, in the order of their starts. A job comes by itself
/// when the event loop begins it, whichever part of the host has made it, and goes when it has
/// ended or is deleted.
///
///     auto* job = new Pakmart::InstallJob({ QStringLiteral("app") });
///     job->setTitle(i18n("Install %1", name)); // otherwise: "Install app"
///     job->start();

#pragma once

#include "../job.h"
#include "listmodel.h"
#include <vantrelagent/export.h>

namespace Pakmart
{

class VANTRELAGENT_EXPORT PendingModel : public ListModel
{
    Q_OBJECT

public:
    /// What a job shows.
    enum Role {
        TitleRole = Qt::DisplayRole, ///< what it does: Job::title()
        PhaseRole = Qt::UserRole + 1, ///< a Job::Phase, as int
        PackageRole, ///< the package at work
        PercentRole, ///< how much of it is done
        CancellableRole, ///< whether it can be cancelled now
        WaitingForRole ///< what it waits for, as a sentence
    };
    Q_ENUM(Role)

    /// Shows the jobs that have begun, or were added, and have not ended.
    explicit PendingModel(QObject* parent = nullptr);
    ~PendingModel() override;

    /// Makes all models of the process show a job that is not started yet, with a title unless
    /// that is empty. Does nothing if the job is shown already.
    static void add(Job* job, const QString& title = QString());

    /// Asks the job of a row to end.
    Q_INVOKABLE void cancel(int row);

    /// As for any model.
    /// @{
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;
    /// @}

private:
    void take();
    void takeOnce();

    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Pakmart
