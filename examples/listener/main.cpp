// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Installs products by their serial numbers, and prints what the job emits: listener 1001

#include <Pakmart/InstallJob>
#include <QCoreApplication>
#include <QMetaEnum>
#include <iostream>

using Pakmart::Job;

void Print(const char* what, const QString& text)
{
    std::cout << what << ' ' << text.toStdString() << std::endl;
}

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    QList<int> serials;
    for (const QString& word : application.arguments().mid(1))
        serials << word.toInt();
    auto* job = Pakmart::InstallJob::ofProducts(serials);
    QObject::connect(job, &Job::phaseChanged, [](Job::Phase phase) {
        Print("phase", QLatin1String(QMetaEnum::fromType<Job::Phase>().valueToKey(phase)));
    });
    QObject::connect(job, &Job::packageChanged,
                     [](const QString& name) { Print("package", name); });
    QObject::connect(job, &Job::waitingForChanged,
                     [](const QString& text) { Print("waits", text); });
    QObject::connect(job, &KJob::percentChanged, [](KJob*, unsigned long percent) {
        Print("percent", QString::number(percent));
    });
    QObject::connect(job, &Pakmart::CommitJob::planReady, [](const Pakmart::Plan& plan) {
        for (const Pakmart::PlanRow& row : plan.rows)
            Print("plan", row.package + QLatin1Char(' ') + row.reasonText());
    });
    QObject::connect(job, &KJob::result, [job] {
        Print("result", Pakmart::Error::name(job->errorCode()));
        Print("sentence", job->errorString());
        QCoreApplication::exit(job->error() ? 1 : 0);
    });
    job->start();
    return application.exec();
}
