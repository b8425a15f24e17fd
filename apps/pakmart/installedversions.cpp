// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "installedversions.h"

#include <vantrelagent/db/cdpkg.h>

QMap<QString, QString> InstalledVersions()
{
    CDpkg packages;
    packages.ReadStatusFile();
    QMap<QString, QString> versions;
    for (const CDpkgInfo& package : packages.Packages()) {
        if (package.GetStatus() == 0 && !package.GetVersion().empty())
            versions[QString::fromStdString(package.GetName())]
                = QString::fromStdString(package.GetVersion());
    }
    return versions;
}
