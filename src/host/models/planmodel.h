// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::PlanModel
/// A plan as rows, one for each package that changes, with what is to be known of the whole.
/// Another plan changes the rows in place.

#pragma once

#include "../plan.h"
#include "listmodel.h"
#include <vantrelagent/export.h>

namespace Pakmart
{

class VANTRELAGENT_EXPORT PlanModel : public ListModel
{
    Q_OBJECT
    /// The plan that is shown.
    Q_PROPERTY(Pakmart::Plan plan READ plan WRITE setPlan NOTIFY planChanged)
    /// Whether it can be carried out.
    Q_PROPERTY(bool possible READ isPossible NOTIFY planChanged)
    /// Packages that would go without being asked for.
    Q_PROPERTY(QStringList otherRemovals READ otherRemovals NOTIFY planChanged)
    /// A sentence for each problem.
    Q_PROPERTY(QStringList problems READ problems NOTIFY planChanged)
    /// Bytes to fetch in all.
    Q_PROPERTY(qint64 downloadSize READ downloadSize NOTIFY planChanged)
    /// Bytes that the disk has less afterwards.
    Q_PROPERTY(qint64 diskSize READ diskSize NOTIFY planChanged)
    /// The digest of the plan.
    Q_PROPERTY(QString digest READ digest NOTIFY planChanged)

public:
    /// The fields of PlanRow.
    enum Role {
        PackageRole = Qt::DisplayRole, ///< the name of the package
        ArchitectureRole = Qt::UserRole + 1, ///< of the new version
        ActionRole, ///< a PlanRow::Action, as int
        ReasonRole, ///< a PlanRow::Reason, as int
        ReasonTextRole, ///< the reason in words
        BecauseRole, ///< the other package of the reason
        OldVersionRole, ///< empty if it is not installed
        NewVersionRole, ///< empty for a removal
        DownloadSizeRole, ///< bytes that have to be fetched
        OldSizeRole, ///< bytes that it takes on the disk now
        NewSizeRole, ///< bytes that it takes afterwards
        EssentialRole, ///< whether the system does not work without it
        RequestedRole ///< whether it was asked for
    };
    Q_ENUM(Role)

    /// Without a plan: the state is Empty.
    explicit PlanModel(QObject* parent = nullptr);
    ~PlanModel() override;

    Plan plan() const; ///< the plan that is shown
    /// Shows another plan.
    void setPlan(const Pakmart::Plan& plan);

    bool isPossible() const; ///< see Plan::isPossible
    QStringList otherRemovals() const; ///< see Plan::otherRemovals
    QStringList problems() const; ///< a sentence for each problem
    qint64 downloadSize() const; ///< see Plan::downloadSize
    qint64 diskSize() const; ///< see Plan::diskSize
    QString digest() const; ///< see Plan::digest

    /// As for any model.
    /// @{
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;
    /// @}

Q_SIGNALS:
    /// Another plan is shown.
    void planChanged();

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Pakmart
