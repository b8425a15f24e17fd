// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "preferences.h"

#include <KConfig>
#include <KConfigGroup>
#include <QStandardPaths>

namespace
{

// The autostart file names them as well.
const QString fileName = QStringLiteral("pakmart-storerc");
const QString groupName = QStringLiteral("Notifications");
const char updatesKey[] = "Updates";

} // namespace

bool Preferences::notifies()
{
    const KConfig config(fileName);
    return config.group(groupName).readEntry(updatesKey, false);
}

bool Preferences::setNotifies(bool notifies)
{
    {
        KConfig config(fileName);
        KConfigGroup group = config.group(groupName);
        group.writeEntry(updatesKey, notifies);
        config.sync();
    }
    emit changed();
    return Preferences::notifies() == notifies;
}

QString Preferences::file()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QLatin1Char('/') + fileName;
}
