// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Removing packages: first shows everything that would be removed, and afterwards checks
// the result in dpkg's status.

#include "commands.h"
#include "console.h"
#include "outcome.h"

#include <vantrelagent/install/crun.h>
#include <vantrelagent/install/crunaptget.h>
#include <vantrelagent/util/paths.h>

using namespace Agent;

namespace
{

// The effect of a remove; `shown` and `installed` have the versions: "libpixel 1.2".
struct Plan {
    QStringList removed; // names
    QStringList shown;
    QStringList installed; // packages that would replace them
};

// Reads the lines of a simulation: "Remv libpixel [1.2]", "Inst other (2.0 ...)".
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

// False if it is not known what would be removed.
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
            QStringLiteral("nothing is removed, since it is unknown what else would go"));
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

// Why the run failed, as a text for the user.
QString ReasonOf(const CRunAptGet& runner)
{
    QStringList lines;
    for (const std::string& error : runner.Errors())
        lines << QString::fromStdString(error);
    if (lines.isEmpty() && runner.Failure() != AgentError::NoFailure
        && runner.Failure() != AgentError::Cancelled)
        lines << runner.FailureSentence();
    return lines.join(QLatin1Char('\n'));
}

bool IsGone(const DpkgStatus& status, const QString& name)
{
    return status.Of(name.toStdString()).IsGone();
}

// Reports for each package of the plan whether it was removed, and before the first one
// that was not, the reason. True if all were removed.
bool ReportPlan(Console& console, const Plan& plan, const DpkgStatus& now, const QString& why)
{
    QStringList left;
    for (const QString& name : plan.removed) {
        if (!now.IsReadable() || !IsGone(now, name))
            left << name;
        else
            console.sayText(QStringLiteral("%1 is removed.").arg(name));
    }
    if (!left.isEmpty() && !why.isEmpty())
        console.complain(why);
    const QString text = Interrupt::received()
        ? QStringLiteral("%1 is not removed (its state is '%2')")
        : QStringLiteral("%1 could not be removed (its state is '%2')");
    for (const QString& name : left)
        console.complain(
            text.arg(name, QString::fromStdString(now.Of(name.toStdString()).Words())));
    return left.isEmpty();
}

// Reports what was removed and what was not. True if exactly the plan was carried out.
bool Report(Console& console, const Plan& plan, const DpkgStatus& before, const DpkgStatus& now,
            const QString& why)
{
    bool asShown = ReportPlan(console, plan, now, why);
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
    // The library does the same after each install.
    if (before.WasInterrupted())
        CRun(SystemPath(QStringLiteral("/usr/bin/dpkg")), QStringLiteral("--configure -a"), true)
            .Run();
    // The run gets every name that was shown, so that it does exactly that.
    CRunAptGet runner;
    QObject::connect(
        &runner, &CRunAptGet::signalWaitingFor, &runner,
        [&console](const std::string& text) { console.activity(QString::fromStdString(text)); });
    const Interrupt::Handler handler([&] {
        if (!runner.Cancel())
            console.activity(QStringLiteral("Packages are being removed: that cannot be stopped"));
    });
    const int status
        = runner.Run('R', plan.removed.join(QLatin1Char(' ')).toStdString(), false, false);
    const bool asShown = Report(console, plan, before, ReadDpkgStatus(), ReasonOf(runner));
    if (Interrupt::received())
        return ExitInterrupted;
    return status == 0 && asShown ? ExitDone : ExitFailed;
}
