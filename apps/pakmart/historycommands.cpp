// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What has changed on this machine, and how that is undone.

#include "commands.h"
#include "console.h"
#include "layout.h"
#include "transaction.h"

#include <KLazyLocalizedString>
#include <KLocalizedString>
#include <Pakmart/HistoryModel>
#include <QDateTime>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonObject>

using Pakmart::HistoryModel;

namespace
{

// Waits until the log is read. False after an interruption.
bool Read(const HistoryModel& model)
{
    QEventLoop loop;
    QObject::connect(&model, &Pakmart::ListModel::stateChanged, &loop, &QEventLoop::quit);
    const Interrupt::Handler handler([&loop] { loop.quit(); });
    while (model.state() == Pakmart::ListModel::Loading && !Interrupt::Received())
        loop.exec();
    return !Interrupt::Received();
}

// What an entry says of packages.
struct Kind {
    int role;
    const char* name; // for programs
    KLazyLocalizedString title;
};

const Kind kinds[] = {
    { HistoryModel::InstalledRole, "installed", kli18nc("packages were", "installed") },
    { HistoryModel::UpgradedRole, "upgraded", kli18nc("packages were", "upgraded") },
    { HistoryModel::DowngradedRole, "downgraded", kli18nc("packages were", "downgraded") },
    { HistoryModel::ReinstalledRole, "reinstalled", kli18nc("packages were", "reinstalled") },
    { HistoryModel::RemovedRole, "removed", kli18nc("packages were", "removed") },
    { HistoryModel::PurgedRole, "purged",
      kli18nc("packages were removed with their settings", "purged") },
};

// Shows one entry, and returns it for programs.
QJsonObject Show(Console& console, const QModelIndex& index)
{
    const int place = index.row() + 1;
    const QDateTime date = index.data(HistoryModel::DateRole).toDateTime();
    QJsonObject entry{ { QStringLiteral("place"), place },
                       { QStringLiteral("date"), date.toString(Qt::ISODate) },
                       { QStringLiteral("error"),
                         index.data(HistoryModel::ErrorRole).toString() } };
    for (const auto& [role, name, title] : kinds) {
        const QStringList packages = index.data(role).toStringList();
        entry[QLatin1String(name)] = QJsonArray::fromStringList(packages);
        if (!packages.isEmpty())
            console.SayText(QStringLiteral("%1  %2  %3: %4")
                                .arg(place, 3)
                                .arg(DateText(date), title.toString(),
                                     packages.join(QStringLiteral(", ")).simplified()));
    }
    return entry;
}

} // namespace

int HistoryCommand(Console& console)
{
    const HistoryModel model;
    if (!Read(model))
        return ExitInterrupted;
    if (model.state() == Pakmart::ListModel::Failed) {
        console.Fail(QStringLiteral("other"), model.stateText());
        return ExitFailed;
    }
    QJsonArray all;
    for (int row = 0; row < model.rowCount(); ++row)
        all << Show(console, model.index(row, 0));
    console.SayJson(all);
    if (all.isEmpty())
        console.SayText(model.stateText());
    return ExitDone;
}

int UndoCommand(Console& console, int place, const Consent& consent)
{
    const HistoryModel model;
    if (!Read(model))
        return ExitInterrupted;
    if (place > model.rowCount()) {
        console.Fail(QStringLiteral("other"), i18n("the history has no change number %1", place));
        return ExitFailed;
    }
    const Pakmart::Request request = model.undoRequest(place - 1);
    if (request.packages.isEmpty() && request.removals.isEmpty()) {
        console.Fail(QStringLiteral("other"),
                     i18n("change number %1 cannot be undone: it has installed, upgraded "
                          "or removed nothing",
                          place));
        return ExitFailed;
    }
    return CarryOut(console,
                    { request, consent, i18n("Undo?"), i18n("Nothing was changed."),
                      i18n("This is undone already.") });
}
