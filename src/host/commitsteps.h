// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The steps of a CommitJob, one after the other: what the store has to say; its turn; what an
// interrupted dpkg has left; the plan; the run; the comparison with dpkg's status; what is noted
// about it.

#pragma once

#include "host/archivecheck.h"
#include "host/commitjob.h"
#include "host/planrun.h"
#include "host/runlines.h"
#include "host/statusbeside.h"
#include "host/storequestion.h"
#include "host/systemguard.h"
#include "host/treeturn.h"

#include <QElapsedTimer>
#include <QObject>
#include <memory>

namespace Pakmart
{

class CommitSteps : public QObject
{
    Q_OBJECT

public:
    CommitSteps(CommitJob& job, const Plan& shown, bool isShown);
    ~CommitSteps() override;

    void start();
    void stop();
    void letGo();

    const Plan& plan() const { return m_plan; }
    // The packages that dpkg had not finished at the end.
    const QStringList& halfWay() const { return m_halfWay; }
    bool isRecorded() const { return m_isRecorded; }
    bool allowsRemovals = false;
    bool onlyDownloads = false;
    bool records = true;

private:
    void askStore();
    void onAnswer();
    void takeTurn();
    void finishInterrupted();
    void makePlan();
    void onPlan();
    Failure refusal(const Plan& made) const;
    bool endsEarly();
    void guard();
    void setUp(void (CommitSteps::*then)());
    bool setsUpFirst() const;
    QStringList namesToSetUp() const;
    void apply();
    void runFrontEnd();
    QStringList wordsOfRun() const;
    void onLine(const QString& line);
    void showProgress(const LineNews& news);
    void onRunEnded(int status);
    void takeOver(int status);
    void checkArchives(int status, const Agent::DpkgStatus& now);
    void judge(int status, const Agent::DpkgStatus& now);
    void note();
    bool hasProductsToRecord() const;
    void runNotes(bool again);
    void onNotesEnded(bool again);
    void end(const Failure& failure);
    void endRun();

    CommitJob& m_job;
    Plan m_plan;
    const bool m_isShown; // m_plan was shown to the user, and nothing else may be done
    std::unique_ptr<StoreQuestion> m_question;
    std::unique_ptr<TreeTurn> m_turn;
    std::unique_ptr<PlanRun> m_planning;
    std::unique_ptr<ToolRun> m_run;
    std::unique_ptr<SystemGuard> m_guard;
    std::unique_ptr<ArchiveCheck> m_archives;
    std::unique_ptr<WorkerRun> m_notes;
    bool m_isRecorded = false;
    SharedStatus m_before;
    QStringList m_lines; // of the run
    QStringList m_halfWay;
    QElapsedTimer m_download; // since its beginning
    bool m_dpkgWorks = false;
    bool m_tookOver = false;
};

} // namespace Pakmart
