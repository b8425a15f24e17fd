// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Starts a job that must be refused. The exit status is 0 if it is, for the right reason.

#include <Pakmart/InstallJob>
#include <QCoreApplication>
#include <QStringList>

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    auto* job = new Pakmart::InstallJob({ QStringLiteral("--not-a-name") });
    QObject::connect(job, &KJob::result, &application, [job] {
        QCoreApplication::exit(job->errorCode() == Pakmart::Error::InvalidName ? 0 : 1);
    });
    job->start();
    return QCoreApplication::exec();
}
