// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What has changed on this machine, and how that is undone.

#include "commands.h"
#include "console.h"
#include "transaction.h"

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

// Shows one entry, and returns it for programs.
QJsonObject Show(Console& console, const QModelIndex& index)
{
    const QList<std::pair<int, const char*>> kinds{
        { HistoryModel::InstalledRole, "installed" },
        { HistoryModel::UpgradedRole, "upgraded" },
        { HistoryModel::DowngradedRole, "downgraded" },
        { HistoryModel::ReinstalledRole, "reinstalled" },
        { HistoryModel::RemovedRole, "removed" },
        { HistoryModel::PurgedRole, "purged" }
    };
    const int place = index.row() + 1;
    const QDateTime date = index.data(HistoryModel::DateRole).toDateTime();
    QJsonObject entry{ { QStringLiteral("place"), place },
                       { QStringLiteral("date"), date.toString(Qt::ISODate) },
                       { QStringLiteral("error"),
                         index.data(HistoryModel::ErrorRole).toString() } };
    for (const auto& [role, name] : kinds) {
        const QStringList packages = index.data(role).toStringList();
        entry[QLatin1String(name)] = QJsonArray::fromStringList(packages);
        if (!packages.isEmpty())
            console.SayText(QStringLiteral("%1  %2  %3: %4")
                                .arg(place, 3)
                                .arg(date.toString(QStringLiteral("yyyy-MM-dd hh:mm")),
                                     QLatin1String(name),
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
        console.Fail(QStringLiteral("other"),
                     QStringLiteral("the history has no change number %1").arg(place));
        return ExitFailed;
    }
    const Pakmart::Request request = model.undoRequest(place - 1);
    if (request.packages.isEmpty() && request.removals.isEmpty()) {
        console.Fail(QStringLiteral("other"),
                     QStringLiteral("change number %1 cannot be undone: it has installed, upgraded "
                                    "or removed nothing")
                         .arg(place));
        return ExitFailed;
    }
    return CarryOut(console,
                    { request, consent, QStringLiteral("Undo?"),
                      QStringLiteral("Nothing was changed."),
                      QStringLiteral("This is undone already.") });
}
