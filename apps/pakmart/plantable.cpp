// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "plantable.h"

#include "console.h"
#include "layout.h"

#include <KLazyLocalizedString>
#include <KLocalizedString>
#include <Pakmart/Plan>
#include <QJsonArray>
#include <QLocale>
#include <QVector>
#include <algorithm>

using Pakmart::Plan;
using Pakmart::PlanRow;

namespace
{

struct Words {
    PlanRow::Action action;
    const char* name; // for programs
    KLazyLocalizedString title; // of a part of the table
};

const Words words[] = {
    { PlanRow::Installed, "install", kli18n("To be installed:") },
    { PlanRow::Upgraded, "upgrade", kli18n("To be upgraded:") },
    { PlanRow::Downgraded, "downgrade", kli18n("To be DOWNGRADED:") },
    { PlanRow::Reinstalled, "reinstall", kli18n("To be installed again:") },
    { PlanRow::Configured, "configure", kli18n("To be set up:") },
    { PlanRow::Removed, "remove", kli18n("To be REMOVED:") },
};

// An action that is not known here is shown as a change.
const Words& WordsOf(PlanRow::Action action)
{
    static const Words other{ PlanRow::OtherAction, "other", kli18n("To be changed:") };
    const auto found = std::find_if(std::begin(words), std::end(words),
                                    [action](const Words& one) { return one.action == action; });
    return found == std::end(words) ? other : *found;
}

QString Size(qint64 bytes)
{
    return QLocale().formattedDataSize(bytes);
}

// The cells of a row: package, versions, size where the package says it, reason.
QStringList CellsOfRow(const PlanRow& row)
{
    const bool both = !row.oldVersion.isEmpty() && !row.newVersion.isEmpty()
        && row.oldVersion != row.newVersion;
    const QString versions = both  ? row.oldVersion + QLatin1String(" -> ") + row.newVersion
        : row.oldVersion.isEmpty() ? row.newVersion
                                   : row.oldVersion;
    const qint64 size = row.action == PlanRow::Removed ? row.oldSize : row.newSize;
    QString reason = row.reason == PlanRow::AskedFor ? QString() : row.reasonText();
    if (row.isEssential)
        reason = i18nc("%1: why it is removed, or nothing", "ESSENTIAL %1", reason).trimmed();
    return { row.package, versions, size > 0 ? Size(size) : QString(), reason };
}

// In columns where they fit, otherwise wrapped.
void SayRows(Console& console, const QList<QStringList>& rows, Color color)
{
    QVector<int> widths(4, 0);
    for (const QStringList& row : rows) {
        for (int i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], CellsOf(row[i]));
    }
    const int width = console.Width();
    const bool fits = width == 0 || widths[0] + widths[1] + widths[2] + widths[3] + 8 <= width;
    for (const QStringList& row : rows) {
        QString line;
        for (int i = 0; i < row.size(); ++i)
            if (widths[i] > 0)
                line += (fits ? Padded(row[i], widths[i]) : row[i]) + QLatin1String("  ");
        while (line.endsWith(QLatin1Char(' ')))
            line.chop(1);
        console.Say(Wrapped(line, width, 2), color);
    }
}

void SayPart(Console& console, const Plan& plan, const Words& part)
{
    QList<QStringList> rows;
    for (const PlanRow& row : plan.rows) {
        if (&WordsOf(row.action) == &part)
            rows << CellsOfRow(row);
    }
    if (rows.isEmpty())
        return;
    const bool isRemoval = part.action == PlanRow::Removed;
    console.SayText(part.title.toString(), isRemoval ? Color::Removal : Color::Title);
    SayRows(console, rows, isRemoval ? Color::Removal : Color::None);
}

QString DiskText(qint64 bytes)
{
    return bytes < 0 ? i18n("Disk space that becomes free: %1", Size(-bytes))
                     : i18n("Disk space needed: %1", Size(bytes));
}

} // namespace

void SayPlan(Console& console, const Plan& plan)
{
    for (const Words& part : words)
        SayPart(console, plan, part);
    SayPart(console, plan, WordsOf(PlanRow::OtherAction));
    for (const Pakmart::PlanProblem& problem : plan.problems) {
        if (problem.code != Pakmart::Error::RemovalsNotAllowed)
            console.SayText(problem.sentence.simplified());
    }
    if (plan.isEmpty())
        return;
    if (plan.downloadSize() > 0)
        console.SayText(i18n("To download: %1", Size(plan.downloadSize())));
    if (plan.diskSize() != 0)
        console.SayText(DiskText(plan.diskSize()));
}

QJsonObject PlanAsJson(const Plan& plan)
{
    QJsonArray changes;
    const auto text = [](const QString& some) { return some.isEmpty() ? QJsonValue() : some; };
    for (const PlanRow& row : plan.rows)
        changes << QJsonObject{ { QStringLiteral("package"), row.package },
                                { QStringLiteral("action"),
                                  QLatin1String(WordsOf(row.action).name) },
                                { QStringLiteral("from"), text(row.oldVersion) },
                                { QStringLiteral("to"), text(row.newVersion) },
                                { QStringLiteral("reason"), row.reasonText() },
                                { QStringLiteral("requested"), row.reason == PlanRow::AskedFor },
                                { QStringLiteral("essential"), row.isEssential },
                                { QStringLiteral("download"), double(row.downloadSize) } };
    return { { QStringLiteral("changes"), changes },
             { QStringLiteral("download"), double(plan.downloadSize()) },
             { QStringLiteral("disk"), double(plan.diskSize()) } };
}

QString Done(const PlanRow& row)
{
    switch (row.action) {
    case PlanRow::Installed:
        return i18nc("package, version", "%1 %2 is installed.", row.package, row.newVersion);
    case PlanRow::Upgraded:
        return i18nc("package, new and old version", "%1 %3 is updated to %2.", row.package,
                     row.newVersion, row.oldVersion);
    case PlanRow::Downgraded:
        return i18nc("package, new and old version", "%1 %3 is replaced by %2.", row.package,
                     row.newVersion, row.oldVersion);
    case PlanRow::Reinstalled:
        return i18nc("package, version", "%1 %2 is installed again.", row.package, row.newVersion);
    case PlanRow::Configured:
        return i18nc("package, version", "%1 %2 is set up.", row.package, row.newVersion);
    case PlanRow::Removed:
        return i18n("%1 is removed.", row.package);
    default:
        return i18n("%1 is changed.", row.package);
    }
}
