// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "address.h"

#include <QStringList>
#include <QUrl>
#include <algorithm>

namespace
{

constexpr int longest = 200; // of a value, in characters

bool IsText(const QString& value)
{
    return !value.isEmpty() && value.size() <= longest
        && std::all_of(value.begin(), value.end(), [](QChar one) { return one.isPrint(); });
}

bool IsSerial(const QString& value)
{
    bool isNumber = false;
    return value.toInt(&isNumber) > 0 && isNumber && value.at(0).isDigit();
}

} // namespace

Address ReadAddress(const QString& text)
{
    static const QStringList plain{ QStringLiteral("front"),    QStringLiteral("installed"),
                                    QStringLiteral("updates"),  QStringLiteral("recent"),
                                    QStringLiteral("history"),  QStringLiteral("account"),
                                    QStringLiteral("settings"), QStringLiteral("about") };
    const QString scheme = QStringLiteral("pakmart:");
    QString path = text.startsWith(scheme) ? text.mid(scheme.size()) : text;
    while (path.startsWith(QLatin1Char('/')))
        path.remove(0, 1);
    const QString page = path.section(QLatin1Char('/'), 0, 0);
    if (plain.contains(path))
        return { path, QString() };
    const QString value = QUrl::fromPercentEncoding(path.section(QLatin1Char('/'), 1).toUtf8());
    const bool isKnown = page == QLatin1String("product")
        ? IsSerial(value)
        : (page == QLatin1String("category") || page == QLatin1String("search")) && IsText(value);
    return isKnown ? Address{ page, value } : Address();
}
