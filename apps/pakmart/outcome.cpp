// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "outcome.h"

#include <KLocalizedString>
#include <vantrelagent/util/paths.h>

using namespace Agent;

namespace
{

// Empty if it is not there, or only its configuration is.
std::string VersionOf(const PackageState& state)
{
    const bool isHere = state.status != "not-installed" && state.want != "deinstall";
    return isHere ? state.version : std::string();
}

} // namespace

DpkgStatus ReadDpkgStatus()
{
    return DpkgStatus(SystemPath(std::string("/var/lib/dpkg")));
}

QString Trouble(const QString& name, const PackageState& state)
{
    if (state.IsGone())
        return i18n("%1 is not installed", name);
    const QString words = QString::fromStdString(state.Words());
    if (!state.IsHalfWay())
        return i18n("%1 is to be removed (its state is '%2'): 'pakmart remove %1' does so", name,
                    words);
    return i18n("%1 is %2 (its state is '%3'): 'pakmart install --package %1' tries "
                "again, 'pakmart remove %1' removes it",
                name, QString::fromStdString(state.status), words);
}

QMap<QString, QString> InstalledVersions()
{
    QMap<QString, QString> versions;
    const DpkgStatus status = ReadDpkgStatus();
    for (const auto& [key, state] : status.All()) {
        const QString name = QString::fromStdString(BareName(key));
        const QString version = QString::fromStdString(VersionOf(state));
        if (!version.isEmpty() && !versions.contains(name))
            versions[name] = version;
    }
    return versions;
}

QString InstalledVersion(const DpkgStatus& status, const char* package)
{
    const std::string version = VersionOf(status.Of(package));
    return version.empty() ? QString() : QString::fromStdString(version);
}
