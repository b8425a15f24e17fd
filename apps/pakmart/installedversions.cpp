// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "installedversions.h"

#include <QFile>
#include <vantrelagent/util/paths.h>

QMap<QString, QString> InstalledVersions()
{
    QMap<QString, QString> versions;
    QFile status(SystemPath(QStringLiteral("/var/lib/dpkg/status")));
    if (!status.open(QIODevice::ReadOnly))
        return versions;
    QByteArray name;
    bool installed = false;
    while (!status.atEnd()) {
        const QByteArray line = status.readLine().trimmed();
        if (line.startsWith("Package: "))
            name = line.mid(9);
        else if (line.startsWith("Status: "))
            installed = line.endsWith(" installed");
        else if (line.startsWith("Version: ") && installed)
            versions[QString::fromUtf8(name)] = QString::fromUtf8(line.mid(9));
        else if (line.isEmpty())
            installed = false;
    }
    return versions;
}
