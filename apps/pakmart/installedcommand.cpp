// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The packages installed on this machine.

#include "commands.h"
#include "console.h"
#include "layout.h"
#include "outcome.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>
#include <algorithm>

namespace
{

// A shell pattern must match the whole name; a plain word may occur anywhere in it.
bool IsLike(const QString& name, const QString& pattern)
{
    static const QRegularExpression special(QStringLiteral("[*?[]"));
    if (!pattern.contains(special))
        return name.contains(pattern, Qt::CaseInsensitive);
    const QRegularExpression whole(QRegularExpression::wildcardToRegularExpression(pattern),
                                   QRegularExpression::CaseInsensitiveOption);
    return whole.match(name).hasMatch();
}

} // namespace

int InstalledCommand(Console& display, const QString& pattern)
{
    QMap<QString, QString> packages = InstalledVersions();
    QJsonArray all;
    int widest = 0;
    for (auto at = packages.begin(); at != packages.end();) {
        if (!IsLike(at.key(), pattern)) {
            at = packages.erase(at);
            continue;
        }
        all << QJsonObject{ { QStringLiteral("package"), at.key() },
                            { QStringLiteral("version"), at.value() } };
        widest = std::max(widest, CellsOf(at.key()));
        ++at;
    }
    display.SayJson(all);
    if (packages.isEmpty())
        display.SayText(pattern.isEmpty()
                            ? QStringLiteral("No package is installed.")
                            : QStringLiteral("No installed package is like '%1'.").arg(pattern));
    for (auto at = packages.begin(); at != packages.end(); ++at)
        display.Say(
            Fitted(Padded(at.key(), widest) + QLatin1String("  ") + at.value(), display.Width()));
    return ExitDone;
}
