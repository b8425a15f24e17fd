// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/filerepair.h"

#include "host/faultsearch.h"

#include <algorithm>

namespace Pakmart
{

namespace
{

struct TaskOf {
    RepairFinding::Kind kind;
    const char* task;
};

// The catalog that was saved is enough for its database.
const TaskOf tasks[] = {
    { RepairFinding::MissingLists, "refresh-sources" },
    { RepairFinding::DamagedCatalog, "rebuild-catalog" },
    { RepairFinding::DamagedRecentList, "repair-recent" },
};

bool Has(const QList<RepairFinding>& findings, RepairFinding::Kind kind)
{
    return std::any_of(findings.begin(), findings.end(),
                       [kind](const RepairFinding& finding) { return finding.kind == kind; });
}

} // namespace

bool IsAboutPackages(const RepairFinding& finding)
{
    return finding.kind <= RepairFinding::FailingScript;
}

FileRepair::~FileRepair()
{
    WorkerRun::letGo(std::move(m_run));
}

void FileRepair::start()
{
    SearchFaults(this, [this](const QList<RepairFinding>& found) { onFound(found); });
}

void FileRepair::stop()
{
    m_stops = true;
    m_tasks.clear();
    if (m_run)
        m_run->stop();
}

void FileRepair::letGo(std::unique_ptr<FileRepair> repair)
{
    if (!repair)
        return;
    repair->disconnect();
    repair->stop();
    repair.release()->deleteLater();
}

void FileRepair::onFound(const QList<RepairFinding>& found)
{
    m_findings = found;
    if (m_stops || std::all_of(found.begin(), found.end(), IsAboutPackages)) {
        emit ended();
        return;
    }
    for (const TaskOf& one : tasks)
        if (Has(found, one.kind))
            m_tasks << QLatin1String(one.task);
    if (Has(found, RepairFinding::Leftover))
        RemoveLeftovers(this, [this] { runNext(); });
    else
        runNext();
}

void FileRepair::runNext()
{
    if (m_tasks.isEmpty()) {
        SearchFaults(this, [this](const QList<RepairFinding>& still) { judge(still); });
        return;
    }
    m_run = std::make_unique<WorkerRun>();
    connect(m_run.get(), &WorkerRun::ended, this, &FileRepair::onTaskEnded);
    m_run->start({ m_tasks.takeFirst() });
}

// The run is deleted later, since this is called from its signal.
void FileRepair::onTaskEnded()
{
    const Failure failure = m_run->failure();
    if (failure.code != Error::NoError)
        m_reason = failure.sentence.isEmpty() ? Error::sentence(failure.code) : failure.sentence;
    WorkerRun::letGo(std::move(m_run));
    runNext();
}

void FileRepair::judge(const QList<RepairFinding>& still)
{
    for (RepairFinding& finding : m_findings) {
        if (IsAboutPackages(finding))
            continue;
        const bool remains
            = std::any_of(still.begin(), still.end(), [&finding](const RepairFinding& one) {
                  return one.kind == finding.kind
                      && (one.kind != RepairFinding::Leftover || one.name == finding.name);
              });
        finding.state = remains ? RepairFinding::NotMended : RepairFinding::Mended;
        if (remains)
            finding.reason = m_reason;
    }
    emit ended();
}

} // namespace Pakmart
