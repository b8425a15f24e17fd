// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/historymodel.h"

#include "host/models/beside.h"
#include "host/models/pathwatch.h"
#include "util/paths.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <algorithm>

namespace Pakmart
{

namespace
{

constexpr qint64 mostBytes = 8 << 20; // of a log: the last ones

struct Entry {
    qint64 key = 0;
    QDateTime date;
    QMap<QString, QString> fields;

    bool operator==(const Entry& other) const { return fields == other.fields; }
};

struct History {
    bool isReadable = true;
    std::vector<Entry> entries; // the last first
};

// "a:amd64 (1.0, automatic), b:amd64 (1, 2)" as "a:amd64 1.0", "b:amd64 1 -> 2".
QStringList PackagesOf(const QString& text)
{
    QStringList packages;
    for (int at = 0; at < text.size();) {
        const int open = int(text.indexOf(QLatin1String(" ("), at));
        const int close = int(text.indexOf(QLatin1Char(')'), open));
        if (open < 0 || close < 0)
            break;
        QStringList versions = text.mid(open + 2, close - open - 2).split(QStringLiteral(", "));
        versions.removeAll(QStringLiteral("automatic"));
        packages << text.mid(at, open - at).trimmed() + QLatin1Char(' ')
                + versions.join(QStringLiteral(" -> "));
        at = close + 1;
        while (at < text.size() && (text[at] == QLatin1Char(',') || text[at] == QLatin1Char(' ')))
            ++at;
    }
    return packages;
}

QDateTime DateOf(const QString& text)
{
    return QDateTime::fromString(text.simplified(), QStringLiteral("yyyy-MM-dd hh:mm:ss"));
}

void Finish(History& history, Entry& entry)
{
    entry.date = DateOf(entry.fields.value(QStringLiteral("Start-Date")));
    if (entry.date.isValid()) {
        // Several may begin in one second.
        entry.key = entry.date.toSecsSinceEpoch() * 1000;
        if (!history.entries.empty())
            entry.key = std::max(entry.key, history.entries.back().key + 1);
        history.entries.push_back(entry);
    }
    entry = Entry();
}

History ReadHistory(const QString& path)
{
    History history;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        history.isReadable = !QFileInfo::exists(path);
        return history;
    }
    if (file.size() > mostBytes)
        file.seek(file.size() - mostBytes);
    Entry entry;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine(1 << 20)).trimmed();
        const int colon = int(line.indexOf(QLatin1String(": ")));
        if (line.isEmpty())
            Finish(history, entry);
        else if (colon > 0)
            entry.fields[line.left(colon)] = line.mid(colon + 2);
    }
    Finish(history, entry);
    std::reverse(history.entries.begin(), history.entries.end());
    return history;
}

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

QString TitleOf(const Entry& entry)
{
    const QString command = entry.fields.value(QStringLiteral("Commandline"));
    if (!command.isEmpty())
        return command;
    for (const char* field :
         { "Install", "Upgrade", "Downgrade", "Reinstall", "Remove", "Purge" }) {
        const QStringList packages = PackagesOf(entry.fields.value(QLatin1String(field)));
        if (!packages.isEmpty())
            return QLatin1String(field) + QLatin1String(": ") + packages.join(QStringLiteral(", "));
    }
    return QString();
}

} // namespace

class HistoryModel::Private
{
public:
    const QString folder = Agent::SystemPath(QStringLiteral("/var/log/apt"));
    History shown;
    History next; // the thread's
    bool isAsked = false;
    PathWatch watch{ folder, QStringLiteral("history.log") };
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
    d->beside.start([this] { d->next = ReadHistory(d->folder + QStringLiteral("/history.log")); },
                    [this] {
                        take();
                        if (d->isAsked)
                            read();
                    });
}

void HistoryModel::take()
{
    History history = std::move(d->next);
    Rows after;
    for (std::size_t at = 0; at < history.entries.size(); ++at)
        after.push_back({ history.entries[at].key, quint32(at), 0 });
    const History before = d->shown;
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
    const Entry& entry = d->shown.entries[rows()[std::size_t(index.row())].place];
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
    return isList ? QVariant(PackagesOf(text)) : QVariant(text);
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
