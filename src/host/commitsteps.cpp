// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/commitsteps.h"

#include "base/privateroot.h"
#include "host/privatetreepaths.h"
#include "util/paths.h"

#include <QCoreApplication>
#include <algorithm>

namespace Pakmart
{

CommitSteps::CommitSteps(CommitJob& job, const Plan& shown, bool isShown)
    : m_job(job), m_plan(shown), m_isShown(isShown)
{
}

CommitSteps::~CommitSteps()
{
    letGo();
}

void CommitSteps::start()
{
    // What was shown as impossible does not need its turn to fail.
    const Failure refused = m_isShown ? refusal(m_plan) : Failure();
    if (refused.code != Error::NoError)
        end(refused);
    else if (!m_isShown && AsksStore(m_plan.request))
        askStore();
    else
        takeTurn();
}

void CommitSteps::askStore()
{
    m_job.setPhase(Job::Preparing);
    if (m_job.hasEnded())
        return; // killed by a slot
    m_question = std::make_unique<StoreQuestion>(m_plan.request);
    connect(m_question.get(), &StoreQuestion::waits, this,
            [this](const QString& text) { m_job.setWaitingFor(text); });
    connect(m_question.get(), &StoreQuestion::ended, this, &CommitSteps::onAnswer);
    m_question->start();
}

void CommitSteps::onAnswer()
{
    const Failure failure = m_question->failure();
    m_job.setDetails(m_question->details());
    if (failure.code != Error::NoError) {
        end(failure);
        return;
    }
    m_plan.request = m_question->request();
    m_plan.products = m_question->products();
    m_job.setWaitingFor(QString());
    if (!endsEarly())
        takeTurn();
}

void CommitSteps::takeTurn()
{
    m_job.setPhase(Job::Waiting);
    if (m_job.hasEnded())
        return; // killed by a slot
    m_turn = std::make_unique<TreeTurn>();
    m_turn->ask(
        [this] {
            m_job.setWaitingFor(QString());
            m_job.setPhase(Job::Preparing);
            finishInterrupted();
        },
        [this](const QString& text) { m_job.setWaitingFor(text); });
}

// apt-get changes nothing until dpkg has taken over what it left when it was interrupted. A
// repair shows that first. A user who is not root may not run dpkg: the front end's helper does
// that in the same run.
void CommitSteps::finishInterrupted()
{
    m_planning = std::make_unique<PlanRun>(m_plan.request);
    if (m_isShown && m_planning->recall()) {
        if (!endsEarly())
            onPlan();
        return;
    }
    if (m_plan.request.kind == Request::Repair || onlyDownloads || !Agent::MayChangePackages()) {
        makePlan();
        return;
    }
    ReadStatusBeside(this, [this](const SharedStatus& dpkg) {
        if (endsEarly())
            return;
        if (dpkg->WasInterrupted())
            setUp(&CommitSteps::makePlan);
        else
            makePlan();
    });
}

// All that are waiting for it, or those that are reinstalled: by their names, dpkg also sets up
// packages that are marked for removal.
QStringList CommitSteps::namesToSetUp() const
{
    QStringList names;
    if (m_plan.request.kind == Request::Reinstall && m_before) {
        for (const PlanRow& row : m_plan.rows)
            if (NeedsSetup(m_before->Of(row.package.toStdString())))
                names << row.package;
    }
    return names.isEmpty() ? QStringList{ QStringLiteral("-a") } : names;
}

// Lets dpkg set up what is unpacked.
void CommitSteps::setUp(void (CommitSteps::*then)())
{
    m_dpkgWorks = true;
    m_job.setCancellable(false);
    guard();
    m_run = std::make_unique<ToolRun>();
    connect(m_run.get(), &ToolRun::ended, this, [this, then] {
        m_lines = m_run->lines(); // they may explain a failure
        m_dpkgWorks = false;
        m_job.setCancellable(true);
        endRun();
        if (!endsEarly())
            (this->*then)();
    });
    m_run->start(Agent::SystemPath(QStringLiteral("/usr/bin/dpkg")),
                 QStringList{ QStringLiteral("--configure") } + namesToSetUp());
}

void CommitSteps::guard()
{
    if (!m_guard)
        m_guard = std::make_unique<SystemGuard>();
}

void CommitSteps::makePlan()
{
    m_planning = std::make_unique<PlanRun>(m_plan.request);
    connect(m_planning.get(), &PlanRun::ended, this, &CommitSteps::onPlan);
    m_planning->start();
}

void CommitSteps::onPlan()
{
    const Plan made = m_planning->plan();
    Failure failure = m_planning->failure();
    m_before = m_planning->status();
    m_job.setDetails(m_planning->details());
    if (m_job.isCancelled())
        failure = { Error::Cancelled, QString() };
    else if (failure.code == Error::NoError)
        failure = refusal(made);
    if (failure.code == Error::NoError && m_isShown && made.digest() != m_plan.digest())
        failure = { Error::PlanChanged, QString() };
    if (!m_isShown) {
        m_plan.request = made.request;
        m_plan.rows = made.rows;
        m_plan.problems = made.problems;
    }
    if (failure.code != Error::NoError) {
        end(failure);
        return;
    }
    const bool takesOver = m_plan.request.kind == Request::Repair && m_before->WasInterrupted();
    if (m_plan.isEmpty() && (!takesOver || onlyDownloads)) {
        judge(0, *m_before);
        return;
    }
    emit m_job.planReady(m_plan);
    m_job.setPhase(Job::Downloading);
    if (!endsEarly())
        apply();
}

// Slots that have just been called may have cancelled or killed the job.
bool CommitSteps::endsEarly()
{
    if (m_job.isCancelled())
        end({ Error::Cancelled, QString() });
    return m_job.hasEnded();
}

// Why a plan must not be carried out.
Failure CommitSteps::refusal(const Plan& made) const
{
    for (const PlanProblem& problem : made.problems) {
        const bool removes = problem.code == Error::RemovalsNotAllowed;
        if (problem.prevents || (removes && !allowsRemovals && !onlyDownloads))
            return { problem.code, problem.sentence };
    }
    if (made.removesOthers() && !allowsRemovals && !onlyDownloads)
        return { Error::RemovalsNotAllowed, QString() };
    return Failure();
}

// Whether dpkg has something to set up before the front end does the rest: what the plan shows
// as that, or a package that is to be reinstalled, since apt-get does not find the archive of
// one that is only unpacked.
bool CommitSteps::setsUpFirst() const
{
    const Request::Kind kind = m_plan.request.kind;
    const auto isSetup = [this, kind](const PlanRow& row) {
        return row.action == PlanRow::Configured
            || (kind == Request::Reinstall && NeedsSetup(m_before->Of(row.package.toStdString())));
    };
    return Agent::MayChangePackages()
        && ((kind == Request::Repair && m_before->WasInterrupted())
            || std::any_of(m_plan.rows.begin(), m_plan.rows.end(), isSetup));
}

void CommitSteps::apply()
{
    guard();
    if (setsUpFirst() && !onlyDownloads)
        setUp(&CommitSteps::runFrontEnd);
    else
        runFrontEnd();
}

void CommitSteps::runFrontEnd()
{
    const qint64 bytes = m_plan.downloadSize();
    if (bytes > 0)
        m_job.setTotalAmount(KJob::Bytes, qulonglong(bytes));
    m_download.start();
    m_run = std::make_unique<ToolRun>();
    connect(m_run.get(), &ToolRun::lineRead, this, &CommitSteps::onLine);
    connect(m_run.get(), &ToolRun::ended, this, &CommitSteps::onRunEnded);
    m_run->start(FrontEndProgram(), wordsOfRun());
}

QStringList CommitSteps::wordsOfRun() const
{
    const QStringList words = WordsOf(m_plan);
    return onlyDownloads ? QStringList{ QStringLiteral("--download-only") } + words : words;
}

void CommitSteps::onLine(const QString& line)
{
    const LineNews news = NewsOf(line);
    if (news.waits) {
        m_job.setPhase(Job::Waiting);
        m_job.setWaitingFor(line);
    } else if (!line.isEmpty() && !m_job.waitingFor().isEmpty()) {
        m_job.setWaitingFor(QString());
        m_job.setPhase(Job::Downloading);
    }
    if (news.dpkgWorks && !m_dpkgWorks) {
        m_dpkgWorks = true;
        m_job.setCancellable(false);
        m_job.setPhase(Job::Applying);
    }
    if (!news.package.isEmpty())
        m_job.setPackage(news.package);
    showProgress(news);
}

// The front end's percentage never decreases. The download is the first half of it, if there
// is one.
void CommitSteps::showProgress(const LineNews& news)
{
    if (news.percent < 0)
        return;
    m_job.setPercent(static_cast<unsigned long>(std::min(news.percent, 99)));
    const qint64 bytes = m_plan.downloadSize();
    if (bytes <= 0)
        return;
    const qint64 fetched = m_dpkgWorks ? bytes : bytes * std::min(news.percent, 50) / 50;
    m_job.setProcessedAmount(KJob::Bytes, qulonglong(fetched));
    const qint64 time = m_download.elapsed();
    if (!m_dpkgWorks && time > 0)
        m_job.emitSpeed(static_cast<unsigned long>(fetched * 1000 / time));
}

void CommitSteps::onRunEnded(int status)
{
    m_lines += m_run->lines();
    m_job.setDetails(m_lines.join(QLatin1Char('\n')));
    endRun();
    m_job.setWaitingFor(QString());
    m_job.setCancellable(false);
    m_job.setPhase(Job::Checking);
    ReadStatusBeside(this, [this, status](const SharedStatus& now) {
        if (onlyDownloads)
            checkArchives(status, *now);
        else
            judge(status, *now);
    });
}

// After a download: the files decide, and dpkg's status must be as it was.
void CommitSteps::checkArchives(int status, const Agent::DpkgStatus& now)
{
    Plan nothing;
    const QStringList faults = Deviations(nothing, *m_before, now);
    Failure failure;
    if (m_job.isCancelled())
        failure = { Error::Cancelled, Error::sentence(Error::Cancelled) };
    else if (status == ToolRun::notStarted)
        failure = { Error::ToolsMissing, Error::sentence(Error::ToolsMissing) };
    else if (status != 0)
        failure = FailureOf(m_lines);
    else if (!faults.isEmpty())
        failure = { Error::OutcomeDiffers,
                    Error::sentence(Error::OutcomeDiffers) + QLatin1Char(' ') + faults.first() };
    if (failure.code != Error::NoError) {
        end(failure);
        return;
    }
    m_archives = std::make_unique<ArchiveCheck>();
    connect(m_archives.get(), &ArchiveCheck::ended, this, [this] { end(m_archives->failure()); });
    m_archives->start(wordsOfRun());
}

// dpkg was killed after its last package: all is done, but apt-get would refuse the next change
// until dpkg has taken over what it left.
void CommitSteps::takeOver(int status)
{
    m_tookOver = true;
    m_run = std::make_unique<ToolRun>();
    connect(m_run.get(), &ToolRun::ended, this, [this, status] {
        endRun();
        ReadStatusBeside(this, [this, status](const SharedStatus& now) { judge(status, *now); });
    });
    m_run->start(Agent::SystemPath(QStringLiteral("/usr/bin/dpkg")),
                 { QStringLiteral("--configure"), QStringLiteral("-a") });
}

// dpkg's status decides. What the tools say only explains a failure.
void CommitSteps::judge(int status, const Agent::DpkgStatus& now)
{
    m_halfWay.clear();
    for (const auto& [name, state] : now.All())
        if (state.IsHalfWay())
            m_halfWay << QString::fromStdString(name);
    const QStringList faults = Deviations(m_plan, *m_before, now);
    if (faults.isEmpty() && now.WasInterrupted() && !m_tookOver && !onlyDownloads
        && Agent::MayChangePackages()) {
        takeOver(status);
        return;
    }
    if (faults.isEmpty()) {
        note();
        return;
    }
    constexpr int mostFaults = 5;
    const QString found = QStringList(faults.mid(0, mostFaults)).join(QLatin1Char(' '));
    Failure failure = { Error::OutcomeDiffers, Error::sentence(Error::OutcomeDiffers) };
    if (m_job.isCancelled() && !m_dpkgWorks)
        failure = { Error::Cancelled, Error::sentence(Error::Cancelled) };
    else if (status == ToolRun::notStarted)
        failure = { Error::ToolsMissing, Error::sentence(Error::ToolsMissing) };
    else if (status != 0)
        failure = FailureOf(m_lines);
    if (failure.code != Error::Cancelled)
        failure.sentence += QLatin1Char(' ') + found;
    end(failure);
}

// What is noted after a success: the products in the recently used list, the date of a system
// update. Others may go on meanwhile. A note that cannot be made is no failure of the change.
void CommitSteps::note()
{
    m_turn.reset();
    const bool isUpdate = m_plan.request.kind == Request::SystemUpdate;
    if (onlyDownloads || (!isUpdate && !hasProductsToRecord())) {
        end(Failure());
        return;
    }
    m_job.setCancellable(false);
    runNotes(false);
}

bool CommitSteps::hasProductsToRecord() const
{
    return records && !m_plan.products.isEmpty() && m_plan.request.kind != Request::Remove;
}

void CommitSteps::runNotes(bool again)
{
    m_notes = std::make_unique<WorkerRun>();
    connect(m_notes.get(), &WorkerRun::ended, this, [this, again] { onNotesEnded(again); });
    if (m_plan.request.kind == Request::SystemUpdate)
        m_notes->start({ QStringLiteral("note-update") });
    else
        m_notes->start({ QStringLiteral("record"),
                         m_plan.isEmpty() ? QStringLiteral("missing") : QStringLiteral("all") },
                       JsonOf(m_plan.products));
}

// Nobody makes up for a lost note, so a process that was killed at it gets a second one, which
// finds the list as whole as every other reader does.
void CommitSteps::onNotesEnded(bool again)
{
    const bool crashed = m_notes->hasCrashed();
    m_isRecorded = hasProductsToRecord() && m_notes->failure().code == Error::NoError;
    WorkerRun::letGo(std::move(m_notes));
    if (crashed && !again)
        runNotes(true);
    else
        end(Failure());
}

void CommitSteps::end(const Failure& failure)
{
    m_guard.reset();
    m_turn.reset(); // the next job may begin before the slots of the result run
    if (failure.code == Error::NoError)
        m_job.succeed();
    else
        m_job.fail(failure.code, failure.sentence);
}

// The run is deleted later, since this is called from one of its signals.
void CommitSteps::endRun()
{
    if (!m_run)
        return;
    m_run->disconnect(this);
    m_run.release()->deleteLater();
}

void CommitSteps::stop()
{
    if (m_question)
        m_question->stop();
    if (m_planning)
        m_planning->stop();
    if (m_run)
        m_run->terminate();
    // Only a wait for the turn has nothing that ends by itself.
    if (m_job.phase() == Job::Waiting && !m_run) {
        m_turn.reset();
        QMetaObject::invokeMethod(
            this,
            [this] {
                end({ Error::Cancelled, QString() });
            },
            Qt::QueuedConnection);
    }
}

void CommitSteps::letGo()
{
    StoreQuestion::letGo(std::move(m_question));
    WorkerRun::letGo(std::move(m_notes));
    if (m_archives) { // this may be called from its signal
        m_archives->disconnect(this);
        m_archives.release()->deleteLater();
    }
    if (m_planning)
        m_planning->disconnect(this);
    if (m_planning)
        m_planning->stop();
    ToolRun::letGo(std::move(m_run), std::move(m_turn), std::move(m_guard), !m_dpkgWorks);
    m_turn.reset();
    m_guard.reset();
}

} // namespace Pakmart
