// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Makes a plan: lets the package front end resolve a request without changing anything, and
// judges the result.

#pragma once

#include "host/outcome.h"
#include "host/plan.h"
#include "host/toolrun.h"

#include <QObject>
#include <memory>

namespace Pakmart
{

// The words for the front end to carry a plan out, or, without rows, to make one.
QStringList WordsOf(const Plan& plan);
QStringList PlanningWords(const Request& request);

// Whether dpkg only has to set it up: everything else of it is there.
bool NeedsSetup(const Agent::PackageState& state);

class PlanRun : public QObject
{
    Q_OBJECT

public:
    explicit PlanRun(const Request& request);
    ~PlanRun() override; // ends the simulation

    // Ends with `ended`, from the event loop.
    void start();
    // Takes the last plan of this process in place of a run, if that was for the same words and
    // nothing has changed since from which it was made.
    bool recall();
    // Asks the simulation to end.
    void stop();

    const Plan& plan() const { return m_plan; }
    // Why there is no plan, or why it cannot be carried out.
    const Failure& failure() const { return m_failure; }
    // The lines of the package tools.
    QString details() const { return m_details; }
    // dpkg's status when the plan was made.
    const std::shared_ptr<const Agent::DpkgStatus>& status() const { return m_status; }

Q_SIGNALS:
    void ended();

private:
    Failure faultOfRequest() const;
    void begin();
    void findBroken(const Agent::DpkgStatus& dpkg);
    void keepRemovals(const Agent::DpkgStatus& dpkg);
    void resolve();
    void judgeRun(int status);
    void judgePlan();
    void addProblem(Error::Code code, bool prevents, const QStringList& packages,
                    const QString& sentence);
    void noteMissing();
    void noteSetups();
    void noteRemovals();
    void remember() const;
    void finish(const Failure& failure);

    Plan m_plan;
    Failure m_failure;
    QString m_details;
    QStringList m_words; // of the request, before anything was found out about it
    QByteArray m_ground; // when the run began
    QStringList m_warnings;
    QList<PlanRow> m_unconfigured; // of a repair: what dpkg sets up before anything else
    std::unique_ptr<ToolRun> m_run;
    std::shared_ptr<const Agent::DpkgStatus> m_status;
};

} // namespace Pakmart
