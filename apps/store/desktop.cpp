// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "desktop.h"

#include <Pakmart/Places>
#include <QClipboard>
#include <QFileInfo>
#include <QGuiApplication>
#include <QIcon>
#include <QLocale>
#include <vantrelagent/util/paths.h>

QString Desktop::offersDate() const
{
    const QString catalog = GetRootPath() + QStringLiteral(".VACatalog.fil");
    const QFileInfo file(Agent::SystemPath(catalog));
    return file.exists() ? date(file.lastModified()) : QString();
}

QString Desktop::version()
{
    return QStringLiteral(PAKMART_VERSION);
}

QString Desktop::size(double bytes)
{
    return QLocale().formattedDataSize(qint64(bytes), 1, QLocale::DataSizeTraditionalFormat);
}

bool Desktop::hasIcon(const QString& name)
{
    return QIcon::hasThemeIcon(name);
}

QString Desktop::date(const QDateTime& when)
{
    return QLocale().toString(when, QLocale::ShortFormat);
}

void Desktop::copy(const QString& text)
{
    QGuiApplication::clipboard()->setText(text);
}

QVariantMap Desktop::places()
{
    using Pakmart::Places;
    return { { QStringLiteral("address"), Places::storeAddress() },
             { QStringLiteral("addressFile"), Places::storeAddressFile() },
             { QStringLiteral("catalog"), Places::catalog() },
             { QStringLiteral("recentlyUsed"), Places::recentlyUsed() },
             { QStringLiteral("packageLists"), Places::packageLists() },
             { QStringLiteral("pictures"), Places::pictures() } };
}
