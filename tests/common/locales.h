// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Locales that the machine need not have.

#pragma once

#include <QProcess>
#include <QStringList>

// Makes a locale such as "de_DE.UTF-8" in a folder, for LOCPATH.
inline bool MakeLocale(const QString& folder, const QString& name)
{
    return QProcess::execute(QStringLiteral("localedef"),
                             { QStringLiteral("-i"), name.section(QLatin1Char('.'), 0, 0),
                               QStringLiteral("-f"), name.section(QLatin1Char('.'), 1),
                               folder + QLatin1Char('/') + name })
        == 0;
}
