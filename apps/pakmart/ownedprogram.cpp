// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "ownedprogram.h"

#include "console.h"
#include "outcome.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <vantrelagent/util/paths.h>

using namespace Agent;

bool IsProgramOfPackage(const QString& path)
{
    const bool isPlain = path.startsWith(QLatin1Char('/')) && path == Printable(path)
        && !path.contains(QLatin1Char('\n')) && QDir::cleanPath(path) == path;
    const QFileInfo program(SystemPath(path));
    if (!isPlain || !program.isFile() || !program.isExecutable())
        return false;
    const QDir info(SystemPath(QStringLiteral("/var/lib/dpkg/info")));
    const DpkgStatus packages = ReadDpkgStatus();
    const QByteArray wanted = path.toUtf8();
    for (const QString& name : info.entryList({ QStringLiteral("*.list") }, QDir::Files)) {
        QFile file(info.filePath(name));
        if (packages.Of(name.chopped(5).toStdString()).IsGone() || !file.open(QIODevice::ReadOnly))
            continue;
        if (file.readAll().split('\n').contains(wanted))
            return true;
    }
    return false;
}
