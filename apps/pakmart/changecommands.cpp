// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The commands that change packages.

#include "commands.h"
#include "console.h"
#include "names.h"
#include "outcome.h"
#include "transaction.h"

#include <KLocalizedString>
#include <QJsonArray>
#include <algorithm>

using Pakmart::Plan;
using Pakmart::PlanRow;
using Pakmart::Request;

int InstallCommand(Console& console, const QStringList& names, bool byPackage,
                   const Consent& consent)
{
    Change change{ { Request::Install },
                   consent,
                   i18n("Download and install?"),
                   i18n("Nothing was installed."),
                   QString() };
    if (byPackage)
        change.request.packages = names;
    else if (!FindProducts(console, names, change.request))
        return ExitFailed;
    const int status = CarryOut(console, change);
    if (status == ExitFailed)
        for (const QString& name : change.request.packages)
            SayUnknown(console, name);
    return status;
}

int RemoveCommand(Console& console, const QStringList& names, const Consent& consent)
{
    Change change{
        { Request::Remove }, consent, i18n("Remove?"), i18n("Nothing was removed."), QString()
    };
    if (!FindPackages(console, names, change.request.packages))
        return ExitFailed;
    return CarryOut(console, change);
}

int ReinstallCommand(Console& console, const QStringList& names, const Consent& consent)
{
    Change change{ { Request::Reinstall },
                   consent,
                   i18n("Install again?"),
                   i18n("Nothing was installed."),
                   QString() };
    if (!FindPackages(console, names, change.request.packages))
        return ExitFailed;
    return CarryOut(console, change);
}

namespace
{

// Whether an upgrade of these packages was broken off. To apt-get they have their new versions
// already, so an upgrade would change nothing; an install sets them up.
bool WereBrokenOff(const QStringList& packages)
{
    const DpkgStatus status = ReadDpkgStatus();
    const auto stateOf = [&status](const QString& name) { return status.Of(name.toStdString()); };
    return std::any_of(packages.begin(), packages.end(),
                       [&](const QString& name) { return stateOf(name).IsHalfWay(); })
        && std::none_of(packages.begin(), packages.end(),
                        [&](const QString& name) { return stateOf(name).IsGone(); });
}

} // namespace

int UpgradeCommand(Console& console, const QStringList& names, const Consent& consent)
{
    Change change{ { Request::Upgrade },
                   consent,
                   i18n("Upgrade?"),
                   i18n("Nothing was upgraded."),
                   i18n("There is nothing to upgrade.") };
    if (!FindPackages(console, names, change.request.packages))
        return ExitFailed;
    if (WereBrokenOff(change.request.packages))
        change.request.kind = Request::Install;
    return CarryOut(console, change);
}

int AutoremoveCommand(Console& console, const Consent& consent)
{
    return CarryOut(console,
                    { { Request::RemoveUnneeded },
                      consent,
                      i18n("Remove?"),
                      i18n("Nothing was removed."),
                      i18n("Every package is needed.") });
}

namespace
{

// The system's packages that have another version now, for programs.
QJsonObject UpdateAsJson(const Plan& plan, bool agent)
{
    QJsonArray updated;
    for (const PlanRow& row : plan.rows)
        updated << QJsonObject{ { QStringLiteral("package"), row.package },
                                { QStringLiteral("from"),
                                  row.oldVersion.isEmpty() ? QJsonValue() : row.oldVersion },
                                { QStringLiteral("to"), row.newVersion } };
    return { { QStringLiteral("updated"), updated }, { QStringLiteral("agent"), agent } };
}

} // namespace

int OSUpdateCommand(Console& console, const Consent& consent)
{
    console.Activity(i18n("Asking for updates of the system"));
    Plan plan;
    const int status = CarryOut(console,
                                { { Request::SystemUpdate },
                                  consent,
                                  i18n("Update the system now?"),
                                  i18n("Nothing was updated."),
                                  i18n("The system is up to date.") },
                                &plan);
    if (status != ExitDone || consent.dryRun || consent.downloadOnly)
        return status;
    const bool agent = !plan.row(QStringLiteral("vantrelagent")).package.isEmpty();
    console.SayJson(UpdateAsJson(plan, agent));
    if (agent)
        console.SayText(i18n("The agent itself was updated: restart its programs."));
    return status;
}
