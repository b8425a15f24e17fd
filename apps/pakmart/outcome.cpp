// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "outcome.h"

#include "console.h"

#include <vantrelagent/util/paths.h>

using namespace Agent;

DpkgStatus ReadDpkgStatus()
{
    return DpkgStatus(SystemPath(std::string("/var/lib/dpkg")));
}

QString Trouble(const QString& name, const PackageState& state)
{
    if (state.IsGone())
        return QStringLiteral("%1 is not installed").arg(name);
    const QString words = QString::fromStdString(state.Words());
    if (!state.IsHalfWay())
        return QStringLiteral(
                   "%1 is to be removed (its state is '%2'): 'pakmart remove %1' does so")
            .arg(name, words);
    return QStringLiteral("%1 is %2 (its state is '%3'): 'pakmart install --package %1' tries "
                          "again, 'pakmart remove %1' removes it")
        .arg(name, QString::fromStdString(state.status), words);
}

bool AreInstalled(Console& console, const QStringList& names, const DpkgStatus& now)
{
    if (!now.IsReadable()) {
        console.complain(QStringLiteral("what is installed cannot be known: "
                                        "/var/lib/dpkg/status cannot be read"));
        return false;
    }
    bool all = !names.isEmpty();
    for (const QString& name : names) {
        const PackageState state = now.Of(name.toStdString());
        if (!state.IsInstalled())
            console.complain(Trouble(name, state));
        all = all && state.IsInstalled();
    }
    return all;
}

void SayNewTrouble(Console& console, const QStringList& names, const DpkgStatus& before,
                   const DpkgStatus& now)
{
    for (const auto& [name, state] : now.All()) {
        const QString known = QString::fromStdString(name);
        if (state.IsHalfWay() && !before.Of(name).IsHalfWay() && !names.contains(known))
            console.complain(Trouble(known, state));
    }
}
