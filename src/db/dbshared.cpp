// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/dbshared.h"

#include "db/dbfiles.h"
#include "util/eventwait.h"
#include "util/paths.h"

#include <QDir>
#include <QFile>

namespace Agent
{

std::string CatalogFolder()
{
    return SystemPath(GetRootPath().toStdString());
}

std::string RecentFolder()
{
    const QString folder = QDir::homePath() + QLatin1String("/.kde/share/apps/vantrelagent/");
    return QFile::encodeName(folder).toStdString();
}

void WriteGathered(DbFiles& files)
{
    Pacer pacer;
    files.WriteGathered(PassEventsBeside, [&pacer] { pacer.Breathe(); });
}

} // namespace Agent
