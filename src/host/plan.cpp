// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/plan.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <algorithm>
#include <numeric>

namespace Pakmart
{

namespace
{

const char* ReasonWords(PlanRow::Reason reason)
{
    switch (reason) {
    case PlanRow::AskedFor:
        return QT_TRANSLATE_NOOP("Pakmart", "requested");
    case PlanRow::NeededBy:
        return QT_TRANSLATE_NOOP("Pakmart", "needed by %1");
    case PlanRow::RecommendedBy:
        return QT_TRANSLATE_NOOP("Pakmart", "recommended by %1");
    case PlanRow::NoLongerNeeded:
        return QT_TRANSLATE_NOOP("Pakmart", "no longer needed");
    case PlanRow::ConflictsWith:
        return QT_TRANSLATE_NOOP("Pakmart", "conflicts with %1");
    case PlanRow::Needs:
        return QT_TRANSLATE_NOOP("Pakmart", "needs %1");
    case PlanRow::Broken:
        return QT_TRANSLATE_NOOP("Pakmart", "installed in part");
    case PlanRow::OtherReason:
        break;
    }
    return QT_TRANSLATE_NOOP("Pakmart", "follows from the other changes");
}

// Every field of a row, separated by a character that none of them can contain.
QByteArray Canonical(const PlanRow& row)
{
    const QStringList fields{ QString::number(row.action),
                              row.package,
                              row.architecture,
                              row.oldVersion,
                              row.newVersion,
                              QString::number(row.reason),
                              row.because,
                              QString::number(row.oldSize),
                              QString::number(row.newSize),
                              QString::number(row.isEssential) };
    return fields.join(QLatin1Char('\n')).toUtf8() + "\n\n";
}

bool IsOtherRemoval(const PlanRow& row, const Request& request)
{
    const bool isAsked = row.reason == PlanRow::AskedFor
        || (request.kind == Request::RemoveUnneeded && row.reason == PlanRow::NoLongerNeeded);
    return row.action == PlanRow::Removed && !isAsked;
}

} // namespace

QString PlanRow::reasonText() const
{
    const QString words = QCoreApplication::translate("Pakmart", ReasonWords(reason));
    return words.contains(QLatin1String("%1")) ? words.arg(because) : words;
}

bool Plan::isPossible() const
{
    return std::none_of(problems.begin(), problems.end(),
                        [](const PlanProblem& problem) { return problem.prevents; });
}

bool Plan::removesOthers() const
{
    return !otherRemovals().isEmpty();
}

QStringList Plan::otherRemovals() const
{
    QStringList names;
    for (const PlanRow& one : rows) {
        if (IsOtherRemoval(one, request))
            names << one.package;
    }
    return names;
}

PlanRow Plan::row(const QString& package) const
{
    const auto found = std::find_if(rows.begin(), rows.end(), [&package](const PlanRow& one) {
        return one.package == package;
    });
    return found == rows.end() ? PlanRow() : *found;
}

qint64 Plan::downloadSize() const
{
    return std::accumulate(rows.begin(), rows.end(), qint64(0),
                           [](qint64 sum, const PlanRow& one) { return sum + one.downloadSize; });
}

qint64 Plan::diskSize() const
{
    return std::accumulate(rows.begin(), rows.end(), qint64(0), [](qint64 sum, const PlanRow& one) {
        return sum + one.newSize - one.oldSize;
    });
}

// What has to be fetched is not part of it: that becomes less when an archive gets into the
// cache, and the same is done nevertheless.
QByteArray Plan::digest() const
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(QByteArray::number(request.kind) + '\n'
                 + request.packages.join(QLatin1Char(' ')).toUtf8() + '\n'
                 + request.removals.join(QLatin1Char(' ')).toUtf8() + "\n\n");
    QList<QByteArray> lines;
    for (const PlanRow& one : rows)
        lines << Canonical(one);
    std::sort(lines.begin(), lines.end());
    for (const QByteArray& line : lines)
        hash.addData(line);
    return hash.result().toHex();
}

} // namespace Pakmart
