// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "transaction.h"

#include "base/privateroot.h"
#include "commands.h"
#include "console.h"
#include "outcome.h"
#include "permission.h"
#include "plantable.h"
#include "runjob.h"

#include <KLocalizedString>
#include <Pakmart/CommitJob>
#include <Pakmart/PrepareJob>
#include <Pakmart/RefreshSourcesJob>
#include <memory>
#include <vantrelagent/install/crun.h>
#include <vantrelagent/util/paths.h>

using namespace Pakmart;

namespace
{

// Plans are made of a state that dpkg has completed: what it left when it was killed is taken
// over first. If another program is at work, dpkg refuses that. For a user who is not root, the
// change itself does that.
void FinishInterrupted()
{
    if (Agent::MayChangePackages() && ReadDpkgStatus().WasInterrupted())
        CRun(Agent::SystemPath(QStringLiteral("/usr/bin/dpkg")), QStringLiteral("--configure -a"),
             true)
            .Run();
}

int Declined(Console& console, const Change& change)
{
    if (Interrupt::Received())
        return ExitInterrupted;
    console.SayText(change.consent.downloadOnly ? i18n("Nothing was downloaded.") : change.nothing);
    return ExitDeclined;
}

// Packages that nobody named go only by a consent of their own.
int AskForRemovals(Console& console, const Change& change, const Plan& plan)
{
    if (!plan.removesOthers() || change.consent.removals)
        return ExitDone;
    const QString names = plan.otherRemovals().join(QStringLiteral(", "));
    if (change.consent.yes) {
        console.Fail(Error::name(Error::RemovalsNotAllowed),
                     i18n("nothing was changed: %1 would be removed as well, which "
                          "--allow-removals permits",
                          names));
        return ExitFailed;
    }
    return console.Ask(i18n("Remove what was not named, too: %1?", names))
        ? ExitDone
        : Declined(console, change);
}

// A download removes nothing, and what is there already needs no consent.
int AskForDownload(Console& console, const Change& change, const Plan& plan)
{
    const bool isAgreed = plan.downloadSize() == 0 || change.consent.yes;
    return isAgreed || console.Ask(i18n("Download?")) ? int(ExitDone) : Declined(console, change);
}

// What can be done about a failure, and the packages that it has left in part.
void SayRemedies(Console& console, const Plan& plan, const DpkgStatus& before, Error::Code code)
{
    const DpkgStatus now = ReadDpkgStatus();
    for (const auto& [name, state] : now.All()) {
        const QString known = QString::fromStdString(name);
        const bool concerns = !plan.row(known).package.isEmpty()
            || plan.request.packages.contains(known) || !before.Of(name).IsHalfWay();
        if (state.IsHalfWay() && concerns)
            console.Complain(Trouble(known, state));
    }
    if (code == Error::UnknownPackage)
        console.Complain(i18n("'pakmart search' finds products, 'pakmart update-sources' "
                              "fetches the current lists of packages"));
    if (code == Error::NotPermitted || code == Error::CannotWrite)
        console.Complain(i18n("packages are changed by the administrator of this machine"));
}

// Names what went and came although the whole failed, and after an interruption what did not.
void SayPartlyDone(Console& console, const Plan& plan, const DpkgStatus& before)
{
    const DpkgStatus now = ReadDpkgStatus();
    for (const PlanRow& row : plan.rows) {
        const std::string name = row.package.toStdString();
        const auto was = before.Of(name), is = now.Of(name);
        const QString state = QString::fromStdString(is.Words());
        const bool asPlanned = row.action == PlanRow::Removed
            ? is.IsGone()
            : is.IsInstalled() && is.version == row.newVersion.toStdString();
        if (!asPlanned && Interrupt::Received())
            console.Complain(
                row.action == PlanRow::Removed
                    ? i18n("%1 is not removed (its state is '%2')", row.package, state)
                    : i18n("%1 is not changed (its state is '%2')", row.package, state));
        if (asPlanned && (was.Words() != is.Words() || was.version != is.version))
            console.SayText(Done(row));
    }
}

void SayRow(Console& console, const PlanRow& row, bool isDownload)
{
    const bool hasArchive = row.action != PlanRow::Removed && row.action != PlanRow::Configured;
    if (!isDownload)
        console.SayText(Done(row));
    else if (hasArchive)
        console.SayText(i18n("%1 %2 is downloaded.", row.package, row.newVersion));
}

// What became of a plan.
struct Result {
    int status = ExitFailed;
    bool changed = false; // something else has changed packages since the preview
    bool recorded = false; // its products are in the list of recently used applications
};

// The products that belong into the list: those that have a program.
QStringList ProductsToRecord(const Change& change, const Plan& plan)
{
    QStringList names;
    const bool installs = plan.request.kind == Request::Install && !change.consent.downloadOnly;
    for (const Pakmart::PlanProduct& product : plan.products) {
        if (installs && !product.program.isEmpty() && !product.path.isEmpty())
            names << product.name.simplified();
    }
    return names;
}

// `done`: null after a preview alone.
void SayResult(Console& console, const Change& change, const Plan& plan, const Result* done)
{
    const bool isDownload = done && change.consent.downloadOnly;
    QJsonObject result = PlanAsJson(plan);
    result[QStringLiteral("code")] = Error::name(Error::NoError);
    result[QStringLiteral("sentence")] = QString();
    result[QStringLiteral("details")] = QString();
    result[QStringLiteral("done")] = done && !isDownload;
    if (isDownload)
        result[QStringLiteral("downloaded")] = true;
    if (done && !ProductsToRecord(change, plan).isEmpty())
        result[QStringLiteral("recorded")] = done->recorded;
    if (change.request.kind != Request::SystemUpdate || !done || isDownload)
        console.SayJson(result);
}

// A change that nobody will find in the list has been made nevertheless.
void SayWhatIsNotRecorded(Console& console, const Change& change, const Plan& plan,
                          const Result& done)
{
    const QStringList names = ProductsToRecord(change, plan);
    if (names.isEmpty() || done.recorded)
        return;
    console.Complain(i18n("installed, but not entered in the list of recently used "
                          "applications, which could not be written: %1",
                          names.join(QStringLiteral(", "))));
}

void SayDone(Console& console, const Change& change, const Plan& plan, const Result& done)
{
    SayResult(console, change, plan, &done);
    for (const PlanRow& row : plan.rows)
        SayRow(console, row, change.consent.downloadOnly);
    SayWhatIsNotRecorded(console, change, plan, done);
    if (plan.isEmpty() && !change.needless.isEmpty())
        console.SayText(change.needless);
    if (!change.needless.isEmpty())
        return;
    const DpkgStatus now = ReadDpkgStatus();
    for (const QString& asked : plan.request.packages) {
        const QString name = asked.section(QLatin1Char('='), 0, 0);
        if (plan.row(name).package.isEmpty())
            console.SayText(i18n("%1 %2 is installed already.", name,
                                 InstalledVersion(now, qUtf8Printable(name))));
    }
}

// Products and updates of the system ask the store for that themselves.
int BringSourcesUpToDate(Console& console, const Request& request)
{
    const bool installs = request.kind == Request::Install || request.kind == Request::Upgrade
        || request.kind == Request::Reinstall;
    const bool onlyRemoves = request.packages.isEmpty() && !request.removals.isEmpty();
    if (!installs || onlyRemoves || !request.products.isEmpty())
        return ExitDone;
    const std::unique_ptr<RefreshSourcesJob> job(RefreshSourcesJob::ifChanged());
    return RunJob(console, *job);
}

int Prepare(Console& console, const Change& change, Plan& plan)
{
    if (!change.consent.dryRun && !change.consent.downloadOnly)
        FinishInterrupted();
    const int current = BringSourcesUpToDate(console, change.request);
    if (current != ExitDone)
        return current;
    PrepareJob job(change.request);
    const int status = RunJob(console, job);
    plan = job.plan();
    if (status == ExitFailed)
        SayRemedies(console, plan, ReadDpkgStatus(), job.errorCode());
    return status;
}

Result Commit(Console& console, const Consent& consent, const Plan& plan)
{
    const DpkgStatus before = ReadDpkgStatus();
    if (plan.downloadSize() > 0)
        console.Activity(i18n("Downloading packages"));
    CommitJob job(plan);
    job.setAllowRemovals(true); // the user has agreed to them
    job.setDownloadOnly(consent.downloadOnly);
    Result done;
    done.status = RunJob(console, job);
    done.changed = job.errorCode() == Error::PlanChanged;
    done.recorded = job.isRecorded();
    if (done.status != ExitDone && !done.changed)
        SayWhatFailed(console, plan, before, job.errorCode());
    return done;
}

} // namespace

int AskForConsent(Console& console, const Change& change, const Plan& plan, bool changesMore)
{
    if (change.consent.downloadOnly)
        return AskForDownload(console, change, plan);
    const int removals = AskForRemovals(console, change, plan);
    const bool changes = changesMore || !plan.isEmpty();
    if (removals != ExitDone || !changes || change.consent.yes)
        return removals;
    return console.Ask(change.question) ? ExitDone : Declined(console, change);
}

void SayWhatFailed(Console& console, const Plan& plan, const DpkgStatus& before, Error::Code code)
{
    SayPartlyDone(console, plan, before);
    SayRemedies(console, plan, before, code);
}

int CarryOut(Console& console, const Change& change, Plan* shown)
{
    constexpr int most = 5; // previews, if others keep changing packages
    Result done;
    done.changed = true;
    for (int i = 0; i < most && done.changed; ++i) {
        Plan plan;
        int status = Prepare(console, change, plan);
        if (status != ExitDone)
            return status;
        if (shown)
            *shown = plan;
        SayPlan(console, plan);
        if (change.consent.dryRun) {
            SayResult(console, change, plan, nullptr);
            console.SayText(i18n("Nothing was changed."));
            return ExitDone;
        }
        status = SayWhatIsNeeded(console, change, plan);
        if (status == ExitDone)
            status = AskForConsent(console, change, plan);
        if (status != ExitDone)
            return status;
        done = Commit(console, change.consent, plan);
        if (done.status == ExitDone)
            SayDone(console, change, plan, done);
    }
    return Interrupt::Received() ? int(ExitInterrupted) : done.status;
}
