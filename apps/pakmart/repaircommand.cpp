// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The repair: what was found is shown, then mended after a consent, and what became of each
// finding is said.

#include "commands.h"
#include "console.h"
#include "layout.h"
#include "outcome.h"
#include "permission.h"
#include "plantable.h"
#include "runjob.h"
#include "transaction.h"

#include <KLocalizedString>
#include <Pakmart/CheckJob>
#include <Pakmart/PrepareJob>
#include <Pakmart/RepairJob>
#include <QJsonArray>
#include <QJsonObject>
#include <algorithm>
#include <functional>
#include <iterator>

using namespace Pakmart;

namespace
{

using Findings = QList<RepairFinding>;

struct Name {
    int value;
    const char* name; // for programs
};

const Name kinds[] = {
    { RepairFinding::InterruptedRun, "interrupted-run" },
    { RepairFinding::BrokenPackage, "broken-package" },
    { RepairFinding::FailingScript, "failing-script" },
    { RepairFinding::MissingLists, "missing-lists" },
    { RepairFinding::Leftover, "leftover" },
    { RepairFinding::DamagedCatalog, "damaged-catalog" },
    { RepairFinding::DamagedRecentList, "damaged-recent-list" },
};

const Name states[] = {
    { RepairFinding::Found, "found" },
    { RepairFinding::Mended, "mended" },
    { RepairFinding::NotMended, "not-mended" },
};

template <std::size_t Count> QString NameOf(int value, const Name (&names)[Count])
{
    const auto found = std::find_if(std::begin(names), std::end(names),
                                    [value](const Name& one) { return one.value == value; });
    return QLatin1String(found == std::end(names) ? "other" : found->name);
}

bool Has(const Findings& findings, RepairFinding::Kind kind)
{
    return std::any_of(findings.begin(), findings.end(),
                       [kind](const RepairFinding& one) { return one.kind == kind; });
}

// What is mended without a change of packages.
bool IsAboutFiles(const RepairFinding& finding)
{
    return finding.kind > RepairFinding::FailingScript;
}

// Why it is still there, and what to do about it.
QString AdviceOn(const RepairFinding& finding)
{
    return finding.kind == RepairFinding::FailingScript
        ? i18n("A script of %1 fails: 'pakmart remove %1' removes it.", finding.name)
        : finding.reason;
}

QJsonArray AsJson(const Findings& findings)
{
    QJsonArray all;
    for (const RepairFinding& one : findings)
        all << QJsonObject{ { QStringLiteral("kind"), NameOf(one.kind, kinds) },
                            { QStringLiteral("state"), NameOf(one.state, states) },
                            { QStringLiteral("name"), one.name },
                            { QStringLiteral("sentence"), one.sentence },
                            { QStringLiteral("reason"), AdviceOn(one) } };
    return all;
}

// Rounds of a preview and what is done after it: more than one if something else changes
// packages meanwhile, or the preview needs what is mended first.
class Repair
{
public:
    Repair(Console& console, bool check, const Consent& consent)
        : m_console(console), m_isCheck(check), m_change{ { Request::Repair },
                                                          consent,
                                                          i18n("Repair?"),
                                                          i18n("Nothing was repaired."),
                                                          i18n("Nothing is broken.") }
    {
    }

    // Finds and shows what is broken, and what a repair would do to packages.
    int Look();
    bool IsNeeded() const { return !m_findings.isEmpty() || !m_plan.isEmpty(); }
    int Ask();
    // ExitDone, or with IsOutdated() another round is needed.
    int Mend();
    bool IsOutdated() const { return m_isOutdated; }
    void SayDone(bool really);
    bool HasMended() const { return !m_mended.isEmpty(); }

private:
    int MakePlan();
    void SayOutcome(const RepairJob& job);
    void SayResult(Error::Code code, const QString& sentence, const QString& details, bool really);

    Console& m_console;
    const bool m_isCheck; // which fails if anything is broken
    const Change m_change;
    Findings m_mended; // in earlier rounds
    Findings m_findings;
    Plan m_plan;
    bool m_isOutdated = false;
};

int Repair::Look()
{
    CheckJob job;
    const int status = RunJob(m_console, job);
    if (status != ExitDone)
        return status;
    std::copy_if(m_findings.begin(), m_findings.end(), std::back_inserter(m_mended),
                 [](const RepairFinding& one) { return one.state == RepairFinding::Mended; });
    m_findings = job.findings();
    m_plan = Plan();
    m_isOutdated = false;
    if (!m_findings.isEmpty())
        m_console.SayText(i18n("Found:"));
    for (const RepairFinding& one : m_findings)
        m_console.Say(Wrapped(Printable(one.sentence), m_console.Width(), 2));
    // Without its lists the package tools cannot say what packages need.
    if (Has(m_findings, RepairFinding::MissingLists))
        return ExitDone;
    return MakePlan();
}

int Repair::Ask()
{
    const bool hasPackages = !m_plan.isEmpty()
        || std::any_of(m_findings.begin(), m_findings.end(), std::not_fn(IsAboutFiles));
    const int status = hasPackages ? SayWhatPackagesNeed(m_console) : int(ExitDone);
    return status == ExitDone ? AskForConsent(m_console, m_change, m_plan, IsNeeded()) : status;
}

int Repair::MakePlan()
{
    PrepareJob job(m_change.request);
    const int status = RunJob(m_console, job);
    const bool hasFiles = std::any_of(m_findings.begin(), m_findings.end(), IsAboutFiles);
    if (status == ExitFailed && hasFiles)
        return ExitDone; // those can be mended nevertheless
    if (status == ExitFailed)
        SayResult(job.errorCode(), job.errorString(), job.details(), false);
    if (status != ExitDone)
        return status;
    m_plan = job.plan();
    SayPlan(m_console, m_plan);
    return ExitDone;
}

// Files are mended before packages. Those are left alone if that would not do what was shown.
int Repair::Mend()
{
    const DpkgStatus before = ReadDpkgStatus();
    const bool hadLists = !Has(m_findings, RepairFinding::MissingLists);
    RepairJob job;
    job.setAllowRemovals(true); // the user has agreed to them
    QObject::connect(&job, &CommitJob::planReady, &job, [this, &job](const Plan& plan) {
        m_isOutdated = plan.digest() != m_plan.digest();
        if (m_isOutdated)
            job.cancel();
    });
    const int status = RunJob(m_console, job, [this] { return m_isOutdated; });
    m_findings = job.findings();
    SayOutcome(job);
    if (m_isOutdated) {
        if (hadLists)
            m_console.Complain(Error::sentence(Error::PlanChanged));
        return status;
    }
    if (status == ExitFailed)
        SayWhatFailed(m_console, m_plan, before, job.errorCode());
    const bool isLeft = std::any_of(m_findings.begin(), m_findings.end(), [](const auto& one) {
        return one.state == RepairFinding::NotMended;
    });
    if (status == ExitDone && !isLeft) {
        SayDone(true);
        return ExitDone;
    }
    const QString sentence
        = job.error() ? job.errorString() : i18n("Not everything could be mended.");
    if (!job.error())
        m_console.Fail(Error::name(Error::Other), sentence);
    SayResult(job.error() ? job.errorCode() : Error::Other, sentence, job.details(), false);
    return status == ExitDone ? int(ExitFailed) : status;
}

// Reports each finding; those that wait for the packages are reported in the next round.
void Repair::SayOutcome(const RepairJob& job)
{
    for (const RepairFinding& one : job.findings()) {
        if (one.state == RepairFinding::Mended)
            m_console.SayText(i18n("Mended: %1", one.sentence));
        else if (one.state == RepairFinding::NotMended)
            m_console.Complain(i18n("not mended: %1 %2", one.sentence, AdviceOn(one)));
    }
}

void Repair::SayResult(Error::Code code, const QString& sentence, const QString& details,
                       bool really)
{
    QJsonObject result = PlanAsJson(m_plan);
    result[QStringLiteral("findings")] = AsJson(m_mended + m_findings);
    result[QStringLiteral("code")] = Error::name(code);
    result[QStringLiteral("sentence")] = sentence;
    result[QStringLiteral("details")] = details;
    result[QStringLiteral("done")] = really;
    m_console.SayJson(result);
}

void Repair::SayDone(bool really)
{
    if (m_isCheck && IsNeeded())
        SayResult(Error::Other, i18n("Something is broken."), QString(), false);
    else
        SayResult(Error::NoError, QString(), QString(), really);
    if (!IsNeeded())
        m_console.SayText(m_change.needless);
    else if (!really)
        m_console.SayText(i18n("Nothing was changed."));
    for (const PlanRow& row : m_plan.rows)
        if (really)
            m_console.SayText(Done(row));
}

} // namespace

int RepairCommand(Console& console, bool check, const Consent& consent)
{
    constexpr int most = 5; // previews, if others keep changing packages
    int status = ExitFailed;
    Repair repair(console, check, consent);
    for (int i = 0; i < most; ++i) {
        status = repair.Look();
        if (status != ExitDone)
            return status;
        if (check || consent.dryRun || !repair.IsNeeded()) {
            repair.SayDone(repair.HasMended());
            return check && repair.IsNeeded() ? ExitFailed : ExitDone;
        }
        status = repair.Ask();
        if (status != ExitDone)
            return status;
        status = repair.Mend();
        if (!repair.IsOutdated())
            return status;
    }
    return Interrupt::Received() ? ExitInterrupted : status;
}
