// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The part of a repair that is not about packages: what dead processes have left is removed,
// missing package lists are fetched, and damaged databases are made again.

#pragma once

#include "host/repairfinding.h"
#include "host/workerrun.h"

#include <QObject>
#include <QStringList>
#include <memory>

namespace Pakmart
{

class FileRepair : public QObject
{
    Q_OBJECT

public:
    ~FileRepair() override;

    // Ends with `ended`, from the event loop.
    void start();
    void stop();
    // Lets a repair go, also from within its signal.
    static void letGo(std::unique_ptr<FileRepair> repair);

    // Everything that was found, packages included; the others are Mended or NotMended.
    const QList<RepairFinding>& findings() const { return m_findings; }

Q_SIGNALS:
    void ended();

private:
    void onFound(const QList<RepairFinding>& found);
    void runNext();
    void onTaskEnded();
    void judge(const QList<RepairFinding>& still);

    QList<RepairFinding> m_findings;
    QStringList m_tasks; // of the worker, still to be done
    QString m_reason; // of the last one that failed
    std::unique_ptr<WorkerRun> m_run;
    bool m_stops = false;
};

// Whether it is mended with the packages, by dpkg.
bool IsAboutPackages(const RepairFinding& finding);

} // namespace Pakmart
