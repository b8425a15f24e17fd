// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/historymodel.h"

#include "host/beside.h"
#include "host/models/aptlog.h"
#include "host/models/pathwatch.h"
#include "util/paths.h"

#include <QCoreApplication>
#include <QDateTime>

namespace Pakmart
{

namespace
{

const char* FieldOf(int role)
{
    switch (role) {
    case HistoryModel::CommandLineRole:
        return "Commandline";
    case HistoryModel::RequestedByRole:
        return "Requested-By";
    case HistoryModel::InstalledRole:
        return "Install";
    case HistoryModel::UpgradedRole:
        return "Upgrade";
    case HistoryModel::DowngradedRole:
        return "Downgrade";
    case HistoryModel::ReinstalledRole:
        return "Reinstall";
    case HistoryModel::RemovedRole:
        return "Remove";
    case HistoryModel::PurgedRole:
        return "Purge";
    case HistoryModel::ErrorRole:
        return "Error";
    default:
        return nullptr;
    }
}

QString TitleOf(const LogEntry& entry)
{
    const QString command = entry.fields.value(QStringLiteral("Commandline"));
    if (!command.isEmpty())
        return command;
    for (const char* field :
         { "Install", "Upgrade", "Downgrade", "Reinstall", "Remove", "Purge" }) {
        const QStringList packages = entry.packages(field);
        if (!packages.isEmpty())
            return QLatin1String(field) + QLatin1String(": ") + packages.join(QStringLiteral(", "));
    }
    return QString();
}

} // namespace

class HistoryModel::Private
{
public:
    const QString folder = Agent::SystemPath(QString(QLatin1String("/var/log/apt")));
    AptLog shown;
    AptLog next; // the thread's
    bool isAsked = false;
    PathWatch watch{ folder, QLatin1String("history.log") };
    Beside beside;
};

HistoryModel::HistoryModel(QObject* parent) : ListModel(parent), d(std::make_unique<Private>())
{
    setState(Loading, QCoreApplication::translate("Pakmart", "Reading the history."));
    connect(&d->watch, &PathWatch::changed, this, &HistoryModel::read);
    read();
}

HistoryModel::~HistoryModel() = default;

void HistoryModel::read()
{
    d->isAsked = d->beside.isRunning();
    if (d->isAsked)
        return;
    d->beside.start([this] { d->next = ReadAptLog(d->folder); },
                    [this] {
                        take();
                        if (d->isAsked)
                            read();
                    });
}

void HistoryModel::take()
{
    AptLog history = std::move(d->next);
    Rows after;
    for (std::size_t at = 0; at < history.entries.size(); ++at)
        after.push_back({ history.entries[at].key, quint32(at), 0 });
    const AptLog before = d->shown;
    changeRows(
        std::move(after), [this, &history] { d->shown = std::move(history); },
        [this, &before](const Row& a, const Row& b) {
            return !(before.entries[a.place] == d->shown.entries[b.place]);
        });
    if (count() > 0)
        setState(Filled);
    else if (!d->shown.isReadable)
        setState(Failed, QCoreApplication::translate("Pakmart", "The history cannot be read."));
    else
        setState(Empty, QCoreApplication::translate("Pakmart", "Nothing has been changed yet."));
}

QVariant HistoryModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= count())
        return QVariant();
    const LogEntry& entry = d->shown.entries[rows()[std::size_t(index.row())].place];
    if (role == TitleRole)
        return TitleOf(entry);
    if (role == DateRole)
        return entry.date;
    if (role == IsFinishedRole)
        return entry.fields.contains(QStringLiteral("End-Date"));
    const char* const field = FieldOf(role);
    if (!field)
        return QVariant();
    const QString text = entry.fields.value(QLatin1String(field));
    const bool isList = role >= InstalledRole && role <= PurgedRole;
    return isList ? QVariant(entry.packages(field)) : QVariant(text);
}

Request HistoryModel::undoRequest(int row) const
{
    if (row < 0 || row >= count())
        return Request();
    return d->shown.entries[rows()[std::size_t(row)].place].undoing();
}

QHash<int, QByteArray> HistoryModel::roleNames() const
{
    return { { TitleRole, "title" },
             { DateRole, "date" },
             { CommandLineRole, "commandLine" },
             { RequestedByRole, "requestedBy" },
             { InstalledRole, "installed" },
             { UpgradedRole, "upgraded" },
             { DowngradedRole, "downgraded" },
             { ReinstalledRole, "reinstalled" },
             { RemovedRole, "removed" },
             { PurgedRole, "purged" },
             { ErrorRole, "error" },
             { IsFinishedRole, "finished" } };
}

} // namespace Pakmart
