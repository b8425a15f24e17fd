// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A host that a test may kill: runs one job and prints its phases, and its result at the end.
//
//     job-host [exit|delete] KIND [PACKAGE...]
//
// KIND is a value of Request::Kind, in words. With "exit", the host ends by itself as soon as
// dpkg works, with the job; with "delete", it deletes the job before.

#include "host/packagejobs.h"

#include <QCoreApplication>
#include <QMetaEnum>
#include <QTimer>
#include <cstdio>

using namespace Pakmart;

static CommitJob* JobOf(const QString& kind, const QStringList& packages)
{
    if (kind == QLatin1String("Install"))
        return new InstallJob(packages);
    if (kind == QLatin1String("Remove"))
        return new RemoveJob(packages);
    if (kind == QLatin1String("Repair"))
        return new RepairJob;
    return kind == QLatin1String("SystemUpdate") ? new SystemUpdateJob : nullptr;
}

static void Say(const char* what, const char* value)
{
    std::printf("%s %s\n", what, value);
    std::fflush(stdout);
}

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    QStringList words = QCoreApplication::arguments().mid(1);
    const bool deletes = words.value(0) == QLatin1String("delete");
    const bool exits = deletes || words.value(0) == QLatin1String("exit");
    if (exits)
        words.removeFirst();
    CommitJob* job = JobOf(words.value(0), words.mid(1));
    if (!job)
        return 2;
    job->setParent(&application);
    QObject::connect(job, &Job::phaseChanged, &application, [=](Job::Phase phase) {
        Say("phase", QMetaEnum::fromType<Job::Phase>().valueToKey(phase));
        if (!exits || phase != Job::Applying)
            return;
        if (deletes)
            job->deleteLater();
        QTimer::singleShot(20, [] { QCoreApplication::exit(0); });
    });
    QObject::connect(job, &Job::waitingForChanged, job, [](const QString& reason) {
        if (!reason.isEmpty())
            Say("waits", qPrintable(reason));
    });
    QObject::connect(job, &KJob::result, job, [](KJob* ended) {
        Say("result", qPrintable(Error::name(static_cast<Job*>(ended)->errorCode())));
    });
    QTimer::singleShot(0, job, [job] { job->start(); });
    return QCoreApplication::exec();
}
