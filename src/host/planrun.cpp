// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/planrun.h"

#include "base/packagename.h"
#include "host/planground.h"
#include "host/planreader.h"
#include "host/privatetreepaths.h"
#include "host/statusbeside.h"
#include "install/privatetree.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <algorithm>

namespace Pakmart
{

namespace
{

QString Text(const char* text)
{
    return QCoreApplication::translate("Pakmart", text);
}

// The command and its options. A simulation may remove essential packages, so that they are
// shown; the real run is never allowed to.
QStringList CommandOf(const Request& request)
{
    switch (request.kind) {
    case Request::Remove:
        return { QStringLiteral("--no-auto-remove"), QStringLiteral("remove") };
    case Request::Repair:
        return QStringList{ QStringLiteral("--no-auto-remove"), QStringLiteral("--fix-broken") }
        + (request.packages.isEmpty() ? QStringList()
                                      : QStringList{ QStringLiteral("--reinstall") })
            + QStringList{ QStringLiteral("install") };
    case Request::Reinstall:
        return { QStringLiteral("--no-auto-remove"), QStringLiteral("--reinstall"),
                 QStringLiteral("install") };
    case Request::Upgrade:
        if (request.packages.isEmpty())
            return { QStringLiteral("--no-auto-remove"), QStringLiteral("--with-new-pkgs"),
                     QStringLiteral("upgrade") };
        return { QStringLiteral("--no-auto-remove"), QStringLiteral("--only-upgrade"),
                 QStringLiteral("install") };
    case Request::RemoveUnneeded:
        return { QStringLiteral("autoremove") };
    default:
        return { QStringLiteral("--no-auto-remove"), QStringLiteral("install") };
    }
}

// What is to be removed in an install.
QStringList RemovalWords(const Request& request)
{
    QStringList words;
    for (const QString& name : request.removals)
        words << QStringLiteral("--remove=") + name;
    return words;
}

bool HasAction(const Plan& plan, PlanRow::Action action)
{
    return std::any_of(plan.rows.begin(), plan.rows.end(),
                       [action](const PlanRow& row) { return row.action == action; });
}

PlanRow RowOfSetup(const std::string& name, const Agent::PackageState& state)
{
    PlanRow row;
    row.package = QString::fromStdString(name);
    row.action = PlanRow::Configured;
    row.reason = PlanRow::Broken;
    row.oldVersion = row.newVersion = QString::fromStdString(state.version);
    return row;
}

// The name with the version that the plan shows, so that the run installs no other one. An
// architecture and a version cannot both be part of a name.
QString WithVersion(const QString& asked, const Plan& plan)
{
    const PlanRow row = plan.row(asked);
    const bool pins = plan.request.kind != Request::Remove && !row.newVersion.isEmpty()
        && !asked.contains(QLatin1Char(':'));
    return pins ? asked + QLatin1Char('=') + row.newVersion : asked;
}

QStringList NamesOf(const QList<PlanRow>& rows)
{
    QStringList names;
    for (const PlanRow& row : rows)
        names << row.package;
    return names;
}

QString BareName(const QString& asked)
{
    return asked.section(QLatin1Char('='), 0, 0);
}

bool IsInvalid(const QString& name)
{
    return !Agent::IsPackageWord(name.toStdString());
}

// A plan, and what it was made from.
struct MadePlan {
    QStringList words;
    QByteArray ground;
    QElapsedTimer age;
    Plan plan;
    QString details;
    SharedStatus status;
};

// The last one of this process; null if it cannot be used again.
std::unique_ptr<MadePlan>& LastPlan()
{
    static std::unique_ptr<MadePlan> last;
    return last;
}

} // namespace

bool NeedsSetup(const Agent::PackageState& state)
{
    return state.IsHalfWay() && state.flag == "ok" && state.status != "half-installed";
}

QStringList PlanningWords(const Request& request)
{
    return QStringList{ QStringLiteral("-yp"), QStringLiteral("--plan"),
                        QStringLiteral("--allow-removals"), QStringLiteral("--allow-downgrades"),
                        QStringLiteral("--allow-remove-essential") }
    + RemovalWords(request) + TreeWords() + CommandOf(request) + request.packages;
}

QStringList WordsOf(const Plan& plan)
{
    QStringList words{ QStringLiteral("-yp") };
    if (HasAction(plan, PlanRow::Removed))
        words << QStringLiteral("--allow-removals");
    if (HasAction(plan, PlanRow::Downgraded))
        words << QStringLiteral("--allow-downgrades");
    words += RemovalWords(plan.request) + TreeWords();
    // By their names, so that no other ones go.
    if (plan.request.kind == Request::RemoveUnneeded)
        return words + CommandOf({ Request::Remove }) + NamesOf(plan.rows);
    words += CommandOf(plan.request);
    for (const QString& asked : plan.request.packages)
        words << WithVersion(asked, plan);
    return words;
}

PlanRun::PlanRun(const Request& request)
{
    m_plan.request = request;
}

PlanRun::~PlanRun()
{
    ToolRun::letGo(std::move(m_run), nullptr, nullptr, true);
}

void PlanRun::start()
{
    QTimer::singleShot(0, this, [this] {
        const Failure fault = faultOfRequest();
        if (fault.code == Error::NoError)
            begin();
        else
            finish(fault);
    });
}

bool PlanRun::recall()
{
    constexpr int longest = 60000; // milliseconds
    const std::unique_ptr<MadePlan> last = std::move(LastPlan());
    if (!last || last->words != PlanningWords(m_plan.request) || last->age.hasExpired(longest)
        || !ListsStayAsTheyAre() || GroundOfPlans() != last->ground)
        return false;
    m_plan = last->plan;
    m_details = last->details;
    m_status = last->status;
    return true;
}

// A repair begins with what dpkg's status says, and so does everything if dpkg was interrupted.
void PlanRun::remember() const
{
    LastPlan().reset();
    const bool isWhole
        = m_failure.code == Error::NoError && m_status && !m_status->WasInterrupted();
    if (!isWhole || m_plan.request.kind == Request::Repair || m_ground.isEmpty()
        || GroundOfPlans() != m_ground)
        return;
    QElapsedTimer age;
    age.start();
    LastPlan() = std::make_unique<MadePlan>(
        MadePlan{ m_words, m_ground, age, m_plan, m_details, m_status });
}

void PlanRun::stop()
{
    if (m_run)
        m_run->terminate();
}

// What can be known without the package tools.
Failure PlanRun::faultOfRequest() const
{
    const Request& request = m_plan.request;
    const bool all = request.kind == Request::Upgrade || request.kind == Request::SystemUpdate
        || request.kind == Request::Repair || request.kind == Request::RemoveUnneeded;
    if (request.kind < Request::Install || request.kind == Request::OtherKind
        || request.kind > Request::RemoveUnneeded)
        return { Error::Other,
                 Text(QT_TRANSLATE_NOOP("Pakmart", "This kind of change is unknown.")) };
    const bool removes = request.kind == Request::Install && !request.removals.isEmpty();
    if (request.packages.isEmpty() && !all && !removes)
        return { Error::InvalidName, Text(QT_TRANSLATE_NOOP("Pakmart", "No package is named.")) };
    for (const QString& name : request.packages + request.removals) {
        if (IsInvalid(name))
            return {
                Error::InvalidName,
                Text(QT_TRANSLATE_NOOP("Pakmart", "'%1' is not the name of a package.")).arg(name)
            };
    }
    const std::string problem = Agent::TreeProblem(PrivateTree().toStdString());
    if (!problem.empty())
        return { Error::BadHomeFolder, QString::fromStdString(problem) };
    return Failure();
}

// A repair begins with what is broken, and removals with what is there. A system update has
// nothing to resolve if the store names no package.
void PlanRun::begin()
{
    const Request& request = m_plan.request;
    m_words = PlanningWords(request);
    m_ground = GroundOfPlans();
    const bool repairs = request.kind == Request::Repair;
    const bool removes = request.kind == Request::Install && !request.removals.isEmpty();
    const bool isNothing = request.kind == Request::SystemUpdate && request.packages.isEmpty();
    if (!repairs && !removes && !isNothing) {
        resolve();
        return;
    }
    ReadStatusBeside(this, [this, repairs, removes](const auto& dpkg) {
        m_status = dpkg;
        if (removes)
            keepRemovals(*dpkg);
        else if (repairs)
            findBroken(*dpkg);
        if (dpkg->IsReadable() && (repairs || !m_plan.request.packages.isEmpty()))
            resolve();
        else
            judgePlan();
    });
}

// Only what is there can go. What installs nothing is a removal.
void PlanRun::keepRemovals(const Agent::DpkgStatus& dpkg)
{
    QStringList there;
    for (const QString& name : m_plan.request.removals)
        if (!dpkg.Of(name.toStdString()).IsGone())
            there << name;
    if (m_plan.request.packages.isEmpty() && !there.isEmpty())
        m_plan.request = { Request::Remove, there };
    else if (!m_plan.request.packages.isEmpty())
        m_plan.request.removals = there;
}

void PlanRun::findBroken(const Agent::DpkgStatus& dpkg)
{
    m_plan.request.packages.clear();
    for (const auto& [name, state] : dpkg.All()) {
        if (NeedsSetup(state))
            m_unconfigured << RowOfSetup(name, state);
        else if (state.IsHalfWay())
            m_plan.request.packages << QString::fromStdString(name);
    }
}

void PlanRun::resolve()
{
    m_run = std::make_unique<ToolRun>();
    const auto reader = std::make_shared<PlanReader>();
    connect(m_run.get(), &ToolRun::lineRead, this,
            [reader](const QString& line) { reader->take(line); });
    connect(m_run.get(), &ToolRun::ended, this, [this, reader](int status) {
        m_warnings = reader->messages();
        m_details = m_warnings.join(QLatin1Char('\n'));
        const auto rows = reader->rows();
        m_plan.rows = rows.value_or(QList<PlanRow>());
        for (const PlanRow& row : m_unconfigured)
            if (m_plan.row(row.package).package.isEmpty())
                m_plan.rows << row;
        judgeRun(status == 0 && !rows ? int(ToolRun::killed) : status);
    });
    m_run->start(FrontEndProgram(), PlanningWords(m_plan.request));
}

void PlanRun::judgeRun(int status)
{
    if (status == ToolRun::notStarted) {
        finish({ Error::ToolsMissing, Error::sentence(Error::ToolsMissing) });
    } else if (status == ToolRun::killed) {
        finish({ Error::PlanNotUnderstood, Error::sentence(Error::PlanNotUnderstood) });
    } else if (status != 0) {
        const Failure failure = FailureOf(m_warnings);
        addProblem(failure.code, true, m_plan.request.packages, failure.sentence);
        finish(failure);
    } else {
        ReadStatusBeside(this, [this](const std::shared_ptr<const Agent::DpkgStatus>& dpkg) {
            m_status = dpkg;
            judgePlan();
        });
    }
}

void PlanRun::judgePlan()
{
    if (!m_status->IsReadable()) {
        finish({ Error::StatusUnreadable, Error::sentence(Error::StatusUnreadable) });
        return;
    }
    noteMissing();
    noteSetups();
    noteRemovals();
    for (const QString& line : m_warnings) {
        if (line.startsWith(QLatin1String("W: ")))
            addProblem(Error::Other, false, QStringList(), line.mid(3));
    }
    const auto first = std::find_if(m_plan.problems.begin(), m_plan.problems.end(),
                                    [](const PlanProblem& problem) { return problem.prevents; });
    finish(first == m_plan.problems.end() ? Failure() : Failure{ first->code, first->sentence });
}

void PlanRun::addProblem(Error::Code code, bool prevents, const QStringList& packages,
                         const QString& sentence)
{
    PlanProblem problem;
    problem.code = code;
    problem.prevents = prevents;
    problem.packages = packages;
    problem.sentence = sentence;
    m_plan.problems << problem;
}

// The package tools pass over packages that are not installed, or cannot be fetched again, and
// succeed.
void PlanRun::noteMissing()
{
    const Request::Kind kind = m_plan.request.kind;
    for (const QString& asked : m_plan.request.packages) {
        const QString name = BareName(asked);
        const bool mayBeGone = kind == Request::Install || kind == Request::SystemUpdate;
        if (!mayBeGone && m_status->Of(name.toStdString()).IsGone())
            addProblem(Error::NotInstalled, true, { name },
                       Text(QT_TRANSLATE_NOOP("Pakmart", "%1 is not installed.")).arg(name));
        else if ((kind == Request::Reinstall || kind == Request::Repair)
                 && m_plan.row(name).package.isEmpty())
            addProblem(Error::UnknownPackage, true, { name },
                       Text(QT_TRANSLATE_NOOP("Pakmart",
                                              "%1 cannot be fetched again: no package source has "
                                              "the version that is installed."))
                           .arg(name));
    }
}

// apt-get takes a package for installed that dpkg has not set up yet.
void PlanRun::noteSetups()
{
    if (m_plan.request.kind != Request::Install)
        return;
    for (const QString& asked : m_plan.request.packages) {
        const std::string name = BareName(asked).toStdString();
        const Agent::PackageState state = m_status->Of(name);
        if (NeedsSetup(state) && m_plan.row(BareName(asked)).package.isEmpty())
            m_plan.rows << RowOfSetup(name, state);
    }
}

void PlanRun::noteRemovals()
{
    QStringList essential;
    for (const PlanRow& row : m_plan.rows) {
        if (row.action == PlanRow::Removed && row.isEssential)
            essential << row.package;
    }
    const QString comma = QStringLiteral(", ");
    if (!essential.isEmpty())
        addProblem(Error::EssentialPackage, true, essential,
                   Text(QT_TRANSLATE_NOOP("Pakmart", "The system does not work without: %1."))
                       .arg(essential.join(comma)));
    const QStringList others = m_plan.otherRemovals();
    if (!others.isEmpty())
        addProblem(
            Error::RemovalsNotAllowed, false, others,
            Text(QT_TRANSLATE_NOOP("Pakmart", "These packages would be removed as well: %1."))
                .arg(others.join(comma)));
}

void PlanRun::finish(const Failure& failure)
{
    m_failure = failure;
    remember();
    emit ended();
}

} // namespace Pakmart
