// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/recentmodel.h"

#include "db/dblayouts.h"
#include "db/dbshared.h"
#include "host/beside.h"
#include "host/models/pathwatch.h"
#include "host/models/recentlist.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>

using namespace Agent;

namespace Pakmart
{

class RecentModel::Private
{
public:
    const std::string folder = RecentFolder();
    UsedList shown;
    UsedList next; // the thread's
    bool isAsked = false;
    PathWatch watch{ QFile::decodeName(folder.c_str()),
                     QString::fromLatin1(Recent::layout.fileName) };
    Beside beside;
};

RecentModel::RecentModel(QObject* parent) : ListModel(parent), d(std::make_unique<Private>())
{
    setState(Loading, QCoreApplication::translate("Pakmart", "Reading the list."));
    connect(&d->watch, &PathWatch::changed, this, &RecentModel::read);
    read();
}

RecentModel::~RecentModel() = default;

void RecentModel::read()
{
    d->isAsked = d->beside.isRunning();
    if (d->isAsked)
        return;
    d->beside.start([this] { d->next = ReadUsed(d->folder); },
                    [this] {
                        take();
                        if (d->isAsked)
                            read();
                    });
}

void RecentModel::take()
{
    UsedList list = std::move(d->next);
    Rows after;
    for (std::size_t at = 0; at < list.items.size(); ++at)
        after.push_back({ list.items[at].serial, quint32(at), 0 });
    const UsedList before = d->shown;
    changeRows(
        std::move(after), [this, &list] { d->shown = std::move(list); },
        [this, &before](const Row& a, const Row& b) {
            return !(before.items[a.place] == d->shown.items[b.place]);
        });
    if (count() > 0)
        setState(Filled);
    else if (!d->shown.isReadable)
        setState(Failed, QCoreApplication::translate("Pakmart", "The list cannot be read."));
    else
        setState(Empty,
                 QCoreApplication::translate("Pakmart", "No application has been used yet."));
}

QVariant RecentModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= count())
        return QVariant();
    const Used& item = d->shown.items[rows()[std::size_t(index.row())].place];
    switch (role) {
    case NameRole:
        return item.name;
    case SerialRole:
        return item.serial;
    case ProgramRole:
        return item.program;
    case IconPathRole:
        return item.icon;
    case SmallIconPathRole:
        return item.smallIcon;
    case LastUsedRole:
        return QDateTime::fromSecsSinceEpoch(item.time);
    default:
        return QVariant();
    }
}

QHash<int, QByteArray> RecentModel::roleNames() const
{
    return { { NameRole, "name" },         { SerialRole, "serial" },
             { ProgramRole, "program" },   { IconPathRole, "iconPath" },
             { LastUsedRole, "lastUsed" }, { SmallIconPathRole, "smallIconPath" } };
}

} // namespace Pakmart
