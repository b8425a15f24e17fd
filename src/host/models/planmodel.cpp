// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/planmodel.h"

#include <QCoreApplication>

namespace Pakmart
{

class PlanModel::Private
{
public:
    // A number for each package that was ever shown.
    qint64 keyOf(const QString& package)
    {
        const auto found = keys.constFind(package);
        return found != keys.constEnd() ? *found : *keys.insert(package, keys.size());
    }

    Plan plan;
    QHash<QString, qint64> keys;
};

PlanModel::PlanModel(QObject* parent) : ListModel(parent), d(std::make_unique<Private>())
{
    setState(Empty, QCoreApplication::translate("Pakmart", "Nothing would change."));
}

PlanModel::~PlanModel() = default;

Plan PlanModel::plan() const
{
    return d->plan;
}

void PlanModel::setPlan(const Plan& plan)
{
    const Plan before = d->plan;
    Rows after;
    for (int row = 0; row < plan.rows.size(); ++row)
        after.push_back({ d->keyOf(plan.rows[row].package), quint32(row), 0 });
    changeRows(
        std::move(after), [this, &plan] { d->plan = plan; },
        [&before, &plan](const Row& a, const Row& b) {
            const PlanRow &old = before.rows[int(a.place)], &row = plan.rows[int(b.place)];
            return old.action != row.action || old.reason != row.reason
                || old.because != row.because || old.oldVersion != row.oldVersion
                || old.newVersion != row.newVersion || old.downloadSize != row.downloadSize
                || old.oldSize != row.oldSize || old.newSize != row.newSize
                || old.architecture != row.architecture || old.isEssential != row.isEssential;
        });
    if (count() > 0)
        setState(Filled);
    else
        setState(Empty,
                 plan.isPossible()
                     ? QCoreApplication::translate("Pakmart", "Nothing would change.")
                     : QCoreApplication::translate("Pakmart", "This cannot be done."));
    emit planChanged();
}

bool PlanModel::isPossible() const
{
    return d->plan.isPossible();
}

QStringList PlanModel::otherRemovals() const
{
    return d->plan.otherRemovals();
}

QStringList PlanModel::problems() const
{
    QStringList sentences;
    for (const PlanProblem& problem : d->plan.problems)
        sentences << problem.sentence;
    return sentences;
}

qint64 PlanModel::downloadSize() const
{
    return d->plan.downloadSize();
}

qint64 PlanModel::diskSize() const
{
    return d->plan.diskSize();
}

QString PlanModel::digest() const
{
    return QString::fromLatin1(d->plan.digest());
}

QVariant PlanModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= count())
        return QVariant();
    const PlanRow& row = d->plan.rows[int(rows()[std::size_t(index.row())].place)];
    switch (role) {
    case PackageRole:
        return row.package;
    case ArchitectureRole:
        return row.architecture;
    case ActionRole:
        return int(row.action);
    case ReasonRole:
        return int(row.reason);
    case ReasonTextRole:
        return row.reasonText();
    case BecauseRole:
        return row.because;
    case OldVersionRole:
        return row.oldVersion;
    case NewVersionRole:
        return row.newVersion;
    case DownloadSizeRole:
        return row.downloadSize;
    case OldSizeRole:
        return row.oldSize;
    case NewSizeRole:
        return row.newSize;
    case EssentialRole:
        return row.isEssential;
    case RequestedRole:
        return row.reason == PlanRow::AskedFor;
    default:
        return QVariant();
    }
}

QHash<int, QByteArray> PlanModel::roleNames() const
{
    return { { PackageRole, "package" },
             { ArchitectureRole, "architecture" },
             { ActionRole, "action" },
             { ReasonRole, "reason" },
             { ReasonTextRole, "reasonText" },
             { BecauseRole, "because" },
             { OldVersionRole, "oldVersion" },
             { NewVersionRole, "newVersion" },
             { DownloadSizeRole, "downloadSize" },
             { OldSizeRole, "oldSize" },
             { NewSizeRole, "newSize" },
             { EssentialRole, "essential" },
             { RequestedRole, "requested" } };
}

} // namespace Pakmart
