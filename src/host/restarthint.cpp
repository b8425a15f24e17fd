// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/restarthint.h"

#include "base/packagename.h"
#include "host/models/pathwatch.h"
#include "util/paths.h"

#include <QFile>
#include <QFileInfo>

using namespace Agent;

namespace Pakmart
{

namespace
{

QString RequiredFile()
{
    return SystemPath(QStringLiteral("/run/reboot-required"));
}

// A line for each package and update, so that names come more than once. What is not the name of a
// package is not shown.
QStringList ReadPackages()
{
    constexpr qint64 longest = 64 * 1024;
    QStringList packages;
    QFile file(RequiredFile() + QStringLiteral(".pkgs"));
    if (!QFileInfo(file).isFile() || !file.open(QIODevice::ReadOnly))
        return packages;
    QByteArray text = file.read(longest);
    if (!file.atEnd())
        text.truncate(text.lastIndexOf('\n')); // the last name may be cut off
    for (const QByteArray& line : text.split('\n')) {
        const QByteArray name = line.trimmed();
        if (IsPackageName(name.toStdString()))
            packages << QString::fromLatin1(name);
    }
    packages.sort();
    packages.removeDuplicates();
    return packages;
}

} // namespace

class RestartHint::Private
{
public:
    bool isNeeded = false;
    QStringList packages;
    PathWatch watch{ QFileInfo(RequiredFile()).path(), QLatin1String("reboot-required.pkgs") };
};

RestartHint::RestartHint(QObject* parent) : QObject(parent), d(std::make_unique<Private>())
{
    connect(&d->watch, &PathWatch::changed, this, &RestartHint::read);
    read();
}

RestartHint::~RestartHint() = default;

bool RestartHint::isNeeded() const
{
    return d->isNeeded;
}

QStringList RestartHint::packages() const
{
    return d->packages;
}

void RestartHint::read()
{
    const bool isNeeded = QFileInfo::exists(RequiredFile());
    const QStringList packages = isNeeded ? ReadPackages() : QStringList();
    if (isNeeded == d->isNeeded && packages == d->packages)
        return;
    d->isNeeded = isNeeded;
    d->packages = packages;
    emit changed();
}

} // namespace Pakmart
