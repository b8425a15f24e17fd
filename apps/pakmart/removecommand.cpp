// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Removing packages: what goes with them is shown first, and dpkg is asked after.

#include "commands.h"
#include "console.h"
#include "frontendrun.h"
#include "interrupt.h"
#include "outcome.h"

#include <vantrelagent/install/crun.h>
#include <vantrelagent/install/crunaptget.h>
#include <vantrelagent/util/paths.h>

namespace
{

// What a remove would do, as names with versions: "libpixel 1.2".
struct Plan {
    QStringList removed; // names
    QStringList shown;
    QStringList installed; // what would come in their place
};

// From the lines of a simulation: "Remv libpixel [1.2]", "Inst other (2.0 ...)".
Plan ReadPlan(const QStringList& lines)
{
    Plan plan;
    for (const QString& line : lines) {
        const QStringList words = line.split(QLatin1Char(' '));
        if (line.startsWith(QLatin1String("Remv "))) {
            const QString version
                = words.value(2).remove(QLatin1Char('[')).remove(QLatin1Char(']'));
            plan.removed << words[1];
            plan.shown << (words[1] + QLatin1Char(' ') + version).trimmed();
        } else if (line.startsWith(QLatin1String("Inst "))) {
            plan.installed << words[1];
        }
    }
    return plan;
}

// False when what would go is not known.
bool MakePlan(Console& console, const QStringList& names, Plan& plan)
{
    const FrontEndResult simulation = RunFrontEnd(
        QStringList{ QStringLiteral("-yp"), QStringLiteral("--simulate"), QStringLiteral("remove") }
        + names);
    plan = ReadPlan(simulation.lines);
    if (simulation.status == 0 && !plan.removed.isEmpty())
        return true;
    if (!Interrupt::received()) {
        for (const QString& error : simulation.errors())
            console.complain(error);
        console.complain(
            QStringLiteral("what would be removed cannot be worked out, so nothing is"));
    }
    return false;
}

bool Agree(Console& console, const Plan& plan, bool yes)
{
    const QString comma = QStringLiteral(", ");
    console.sayText(QStringLiteral("To be removed: ") + plan.shown.join(comma));
    if (!plan.installed.isEmpty())
        console.sayText(QStringLiteral("To be installed in their place: ")
                        + plan.installed.join(comma));
    const int count = plan.removed.size();
    return yes
        || console.ask(count == 1 ? QStringLiteral("Remove %1?").arg(plan.removed.first())
                                  : QStringLiteral("Remove these %1 packages?").arg(count));
}

bool IsGone(const DpkgStatus& status, const QString& name)
{
    return status.Of(name.toStdString()).IsGone();
}

// Says what went, and what did not. True when all of the plan went, and nothing else.
bool Report(Console& console, const Plan& plan, const DpkgStatus& before, const DpkgStatus& now)
{
    bool asShown = now.IsReadable();
    for (const QString& name : plan.removed) {
        if (asShown && IsGone(now, name))
            console.sayText(QStringLiteral("%1 is removed.").arg(name));
    }
    for (const QString& name : plan.removed) {
        if (IsGone(now, name))
            continue;
        const PackageState state = now.Of(name.toStdString());
        console.complain(QStringLiteral("%1 could not be removed (its state is '%2')")
                             .arg(name, QString::fromStdString(state.Words())));
        asShown = false;
    }
    for (const auto& [known, state] : before.All()) {
        const QString name = QString::fromStdString(known);
        if (state.IsGone() || !IsGone(now, name) || plan.removed.contains(name))
            continue;
        console.complain(QStringLiteral("%1 is removed, too, which was not foreseen").arg(name));
        asShown = false;
    }
    SayNewTrouble(console, plan.removed, before, now);
    return asShown;
}

} // namespace

int RemoveCommand(Console& console, const QStringList& names, bool yes)
{
    const DpkgStatus before = ReadDpkgStatus();
    for (const QString& name : names) {
        if (IsGone(before, name)) {
            console.complain(QStringLiteral("%1 is not installed").arg(name));
            return ExitFailed;
        }
    }
    Plan plan;
    if (!MakePlan(console, names, plan))
        return Interrupt::received() ? ExitInterrupted : ExitFailed;
    if (!Agree(console, plan, yes))
        return Interrupt::received() ? ExitInterrupted : ExitDeclined;
    // As the library does after each install.
    if (before.WasInterrupted())
        CRun(SystemPath(QStringLiteral("/usr/bin/dpkg")), QStringLiteral("--configure -a"), true)
            .Run();
    // With every name that was shown, it is that what is done.
    CRunAptGet runner;
    QObject::connect(
        &runner, &CRunAptGet::signalWaitingFor, &runner,
        [&console](const std::string& text) { console.activity(QString::fromStdString(text)); });
    const Interrupt::Handler handler([&runner] { runner.Cancel(); });
    const int status
        = runner.Run('R', plan.removed.join(QLatin1Char(' ')).toStdString(), false, false);
    for (const std::string& error : runner.Errors())
        console.complain(QString::fromStdString(error));
    const bool asShown = Report(console, plan, before, ReadDpkgStatus());
    if (Interrupt::received())
        return ExitInterrupted;
    return status == 0 && asShown ? ExitDone : ExitFailed;
}
