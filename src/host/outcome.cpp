// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/outcome.h"

#include "install/failurereason.h"

#include <QCoreApplication>
#include <QSet>
#include <algorithm>
#include <iterator>

namespace Pakmart
{

namespace
{

using Agent::DpkgStatus;
using Agent::PackageState;

struct SameReason {
    AgentError::Code from;
    Error::Code to;
};

const SameReason sameReasons[] = {
    { AgentError::HashMismatch, Error::ChecksumMismatch },
    { AgentError::NoDiskSpace, Error::NoDiskSpace },
    { AgentError::NotPermitted, Error::NotPermitted },
    { AgentError::LockHeld, Error::LockHeld },
    { AgentError::WouldRemove, Error::RemovalsNotAllowed },
    { AgentError::DependencyError, Error::Unresolvable },
    { AgentError::UnknownProduct, Error::UnknownPackage },
    { AgentError::DownloadFailed, Error::DownloadFailed },
    { AgentError::PackageToolsMissing, Error::ToolsMissing },
};

Error::Code CodeOf(AgentError::Code code)
{
    const auto found = std::find_if(std::begin(sameReasons), std::end(sameReasons),
                                    [code](const SameReason& same) { return same.from == code; });
    return found == std::end(sameReasons) ? Error::ToolsFailed : found->to;
}

QString Text(const char* text)
{
    return QCoreApplication::translate("Pakmart", text);
}

// The first line with one of these texts; empty if there is none.
QString LineWith(const QStringList& lines, std::initializer_list<const char*> texts)
{
    for (const QString& line : lines) {
        if (std::any_of(texts.begin(), texts.end(),
                        [&line](const char* text) { return line.contains(QLatin1String(text)); }))
            return line.trimmed();
    }
    return QString();
}

// A line of the tools as a sentence: others may follow.
QString Ended(const QString& line)
{
    return line.endsWith(QLatin1Char('.')) ? line : line + QLatin1Char('.');
}

// What is wrong with a package that should be there, in this version if one is given.
QString FaultOfPresent(const QString& name, const QString& version, const PackageState& state)
{
    if (state.IsGone())
        return Text(QT_TRANSLATE_NOOP("Pakmart", "%1 is not installed.")).arg(name);
    const QString has = QString::fromStdString(state.version);
    if (!state.IsInstalled())
        return Text(QT_TRANSLATE_NOOP("Pakmart", "%1 is not fully installed (its state is '%2')."))
            .arg(name, QString::fromStdString(state.Words()));
    if (!version.isEmpty() && has != version)
        return Text(QT_TRANSLATE_NOOP("Pakmart", "%1 is installed in version %2, not in %3."))
            .arg(name, has, version);
    return QString();
}

QString FaultOfRow(const PlanRow& row, const DpkgStatus& after)
{
    const PackageState state = after.Of(row.package.toStdString());
    if (row.action != PlanRow::Removed)
        return FaultOfPresent(row.package, row.newVersion, state);
    if (state.IsGone())
        return QString();
    return Text(QT_TRANSLATE_NOOP("Pakmart", "%1 is not removed (its state is '%2')."))
        .arg(row.package, QString::fromStdString(state.Words()));
}

// A package that the plan does not name. What a run repairs beside its plan is welcome.
QString FaultOfOther(const QString& name, const PackageState& was, const PackageState& is)
{
    const bool same = was.version == is.version && was.IsGone() == is.IsGone();
    if (same && (is.IsInstalled() || !was.IsInstalled()))
        return QString();
    if (was.IsGone() && is.IsGone())
        return QString();
    return Text(QT_TRANSLATE_NOOP("Pakmart",
                                  "%1 was changed, which was not planned (its state is '%2')."))
        .arg(name, QString::fromStdString(is.Words()));
}

QStringList FaultsOfOthers(const Plan& plan, const DpkgStatus& before, const DpkgStatus& after)
{
    QSet<QString> planned;
    for (const PlanRow& row : plan.rows)
        planned.insert(row.package);
    std::map<std::string, PackageState> all = after.All();
    all.insert(before.All().begin(), before.All().end()); // adds those that are gone
    QStringList faults;
    for (const auto& [name, state] : all) {
        const QString known = QString::fromStdString(name);
        const QString fault = planned.contains(known)
            ? QString()
            : FaultOfOther(known, before.Of(name), after.Of(name));
        if (!fault.isEmpty())
            faults << fault;
    }
    return faults;
}

// The requested packages without a row were there before, and must be there still.
QStringList FaultsOfRequest(const Plan& plan, const DpkgStatus& after)
{
    QStringList faults;
    for (const QString& asked : plan.request.packages) {
        const QString name = asked.section(QLatin1Char('='), 0, 0);
        if (plan.request.kind == Request::Remove || !plan.row(name).package.isEmpty())
            continue;
        const QString fault = FaultOfPresent(name, QString(), after.Of(name.toStdString()));
        if (!fault.isEmpty())
            faults << fault;
    }
    return faults;
}

} // namespace

QStringList Deviations(const Plan& plan, const DpkgStatus& before, const DpkgStatus& after)
{
    if (!after.IsReadable())
        return { Error::sentence(Error::StatusUnreadable) };
    QStringList faults;
    for (const PlanRow& row : plan.rows) {
        const QString fault = FaultOfRow(row, after);
        if (!fault.isEmpty())
            faults << fault;
    }
    return faults + FaultsOfRequest(plan, after) + FaultsOfOthers(plan, before, after);
}

Failure FailureOf(const QStringList& lines)
{
    const QString script = LineWith(lines, { "script subprocess returned error" });
    if (!script.isEmpty())
        return { Error::ScriptFailed,
                 Error::sentence(Error::ScriptFailed) + QLatin1Char(' ') + Ended(script) };
    if (!LineWith(lines, { "Held packages were changed" }).isEmpty())
        return { Error::PackageOnHold, Error::sentence(Error::PackageOnHold) };
    const QString lost = LineWith(lines, { "but I can't find an archive for it" });
    if (!lost.isEmpty())
        return { Error::UnknownPackage,
                 Error::sentence(Error::UnknownPackage) + QLatin1Char(' ') + Ended(lost) };
    AptGetMessages messages;
    for (const QString& line : lines)
        messages.push_back(line.toStdString());
    const Error::Code code = CodeOf(Agent::ReasonOfFailure(messages).code);
    const QString error = LineWith(lines, { "E: " });
    const QString reason = error.mid(error.indexOf(QLatin1String("E: ")) + 3);
    return { code,
             Error::sentence(code)
                 + (error.isEmpty() ? QString() : QLatin1Char(' ') + Ended(reason)) };
}

} // namespace Pakmart
