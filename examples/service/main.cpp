// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Keeps the catalog and the package sources fresh: run by a systemd timer, without a window and
// without a session. Its end status shows systemd whether it succeeded.

#include <Pakmart/RefreshCatalogJob>
#include <Pakmart/RefreshSourcesJob>
#include <QCoreApplication>

// The messages are for the journal.
void Run(Pakmart::Job* job, const char* what, const std::function<void()>& next)
{
    QObject::connect(job, &KJob::result, [job, what, next] {
        if (!job->error())
            return next();
        qCritical("%s: %s (%s)\n%s", what, qUtf8Printable(job->errorString()),
                  qUtf8Printable(Pakmart::Error::name(job->errorCode())),
                  qUtf8Printable(job->details()));
        QCoreApplication::exit(1);
    });
    job->start();
}

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setQuitLockEnabled(false); // it would end between two jobs
    auto* catalog = new Pakmart::RefreshCatalogJob;
    Run(catalog, "catalog", [catalog] {
        qInfo("catalog: %d products, %d new, %d changed, %d gone", catalog->products(),
              catalog->addedCount(), catalog->changedCount(), catalog->goneCount());
        auto* sources = new Pakmart::RefreshSourcesJob;
        Run(sources, "sources", [sources] {
            qInfo("sources: %d", sources->sources());
            QCoreApplication::exit(0);
        });
    });
    return application.exec();
}
