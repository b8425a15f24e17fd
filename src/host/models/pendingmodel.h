// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::PendingModel
/// The jobs of this process that wait or run, in the order in which they were added. A job is
/// shown once it is added, by any part of the host, and goes when it has ended.
///
///     auto* job = new Pakmart::InstallJob({ QStringLiteral("app") });
///     Pakmart::PendingModel::add(job, i18n("Install %1", name));
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
        TitleRole = Qt::DisplayRole, ///< what it does, as it was added
        PhaseRole = Qt::UserRole + 1, ///< a Job::Phase, as int
        PackageRole, ///< the package at work
        PercentRole, ///< how much of it is done
        CancellableRole, ///< whether it can be cancelled now
        WaitingForRole ///< what it waits for, as a sentence
    };
    Q_ENUM(Role)

    /// Shows the jobs that have been added and have not ended.
    explicit PendingModel(QObject* parent = nullptr);
    ~PendingModel() override;

    /// Makes all models of the process show a job. A second time does nothing.
    static void add(Job* job, const QString& title);

    /// Asks the job of a row to end.
    Q_INVOKABLE void cancel(int row);

    /// As for any model.
    /// @{
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;
    /// @}

private:
    void take();

    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Pakmart
