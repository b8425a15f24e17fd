// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The packages installed on this machine.

#include "commands.h"
#include "console.h"
#include "layout.h"
#include "outcome.h"

#include <KLocalizedString>
#include <Pakmart/Error>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>
#include <algorithm>
#include <unistd.h>
#include <vantrelagent/util/paths.h>

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

// A machine without dpkg has no packages. If dpkg's status is there and cannot be read, nobody
// knows what is installed.
bool IsKnown(Console& display)
{
    const QByteArray file
        = QFile::encodeName(Agent::SystemPath(QStringLiteral("/var/lib/dpkg/status")));
    if (ReadDpkgStatus().IsReadable() || access(file.constData(), F_OK) != 0)
        return true;
    display.Fail(Pakmart::Error::name(Pakmart::Error::StatusUnreadable),
                 Pakmart::Error::sentence(Pakmart::Error::StatusUnreadable),
                 QFile::decodeName(file));
    return false;
}

} // namespace

int InstalledCommand(Console& display, const QString& pattern)
{
    if (!IsKnown(display))
        return ExitFailed;
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
        display.SayText(pattern.isEmpty() ? i18n("No package is installed.")
                                          : i18n("No installed package is like '%1'.", pattern));
    for (auto at = packages.begin(); at != packages.end(); ++at)
        display.Say(
            Fitted(Padded(at.key(), widest) + QLatin1String("  ") + at.value(), display.Width()));
    return ExitDone;
}
