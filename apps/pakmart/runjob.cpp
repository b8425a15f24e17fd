// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "runjob.h"

#include "commands.h"
#include "connection.h"
#include "console.h"

#include <KLocalizedString>
#include <Pakmart/CommitJob>
#include <Pakmart/Job>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QLocale>
#include <QRegularExpression>
#include <QTimer>
#include <QUrl>
#include <algorithm>
#include <vantrelagent/request/capi.h>

using Pakmart::Job;

namespace
{

// "1.2 MiB of 3.4 MiB, 500 KiB/s, 4 s left"
QString Amount(const Job& job, unsigned long speed)
{
    const auto size = [](qulonglong bytes) { return QLocale().formattedDataSize(qint64(bytes)); };
    const qulonglong total = job.totalAmount(KJob::Bytes), done = job.processedAmount(KJob::Bytes);
    if (total == 0 || done >= total)
        return QString();
    if (speed == 0)
        return i18nc("how much of how much is downloaded", "%1 of %2", size(done), size(total));
    return i18nc("%3: bytes in a second, %4: seconds", "%1 of %2, %3/s, %4 s left", size(done),
                 size(total), size(speed), (total - done) / speed);
}

// Shows what a job emits, as long as both live.
class Follower : public QObject
{
public:
    Follower(Console& console, Job& job)
        : m_console(console), m_job(job), m_commit(qobject_cast<Pakmart::CommitJob*>(&job))
    {
        constexpr int patience = 2000; // milliseconds of silence
        m_time.start();
        m_silence.setSingleShot(true);
        m_silence.setInterval(patience);
        connect(&m_silence, &QTimer::timeout, this,
                [this] { m_console.Activity(m_job.waitingFor()); });
        connect(&job, &Job::waitingForChanged, this, &Follower::Wait);
        connect(&job, &Job::packageChanged, this, &Follower::ShowWork);
        connect(&job, &Job::phaseChanged, this, &Follower::ShowWork);
        connect(&job, &KJob::speed, this, [this](KJob*, unsigned long speed) { m_speed = speed; });
        connect(&job, &KJob::percentChanged, this, &Follower::ShowProgress);
    }

private:
    void Wait(const QString& reason)
    {
        if (reason.isEmpty())
            m_silence.stop();
        else if (!m_silence.isActive())
            m_silence.start();
    }
    void ShowWork()
    {
        const QString package = m_job.package();
        if (m_job.phase() == Job::Storing)
            m_console.Activity(i18n("Filling the database"));
        else if (m_job.phase() == Job::Downloading && !package.isEmpty())
            m_console.Activity(i18n("Downloading %1", package));
        else if (m_job.phase() == Job::Applying)
            m_console.Activity(package.isEmpty() ? i18n("Changing packages") : WorkOn(package));
    }
    QString WorkOn(const QString& package) const
    {
        const QList<Pakmart::PlanRow> rows
            = m_commit ? m_commit->plan().rows : QList<Pakmart::PlanRow>();
        const bool goes = std::any_of(rows.begin(), rows.end(), [&](const Pakmart::PlanRow& row) {
            return row.package == package && row.action == Pakmart::PlanRow::Removed;
        });
        return goes ? i18n("Removing %1", package) : i18n("Setting up %1", package);
    }
    // What takes no time needs no bar.
    void ShowProgress(KJob*, unsigned long percent)
    {
        constexpr int quick = 1000; // milliseconds
        const bool changes = m_commit && !m_commit->plan().isEmpty();
        if (changes || (!m_commit && m_time.elapsed() > quick))
            m_console.Progress(int(percent), Amount(m_job, m_speed));
    }

    Console& m_console;
    const Job& m_job;
    const Pakmart::CommitJob* const m_commit;
    QElapsedTimer m_time;
    QTimer m_silence;
    unsigned long m_speed = 0;
};

} // namespace

namespace
{

// The words by which apt and KIO say that a secure connection failed.
bool IsAboutTls(const QString& details)
{
    static const QRegularExpression words(
        QStringLiteral("\\b(SSL|TLS|handshake|Certificate verification|certificate)\\b"));
    return words.match(details).hasMatch();
}

// The KIO of Qt 6 says only that it could not connect.
QString DetailsOf(const Job& job)
{
    const QString details = job.details();
    const QUrl store(CAPI::GetAgentAPIURL());
    if (job.errorCode() != Pakmart::Error::ServerUnreachable || IsAboutTls(details)
        || store.scheme() != QLatin1String("https"))
        return details;
    return (details + QLatin1Char('\n') + ObstacleTo(store)).trimmed();
}

void SayFailure(Console& console, const Job& job)
{
    const QString details = DetailsOf(job);
    console.Fail(Pakmart::Error::name(job.errorCode()), job.errorString(), details);
    if (IsAboutTls(details))
        console.Complain(i18n("the secure connection (https) failed: check the address "
                              "of the store, its certificate, "
                              "and the clock of this machine"));
}

} // namespace

int RunJob(Console& console, Job& job, const std::function<bool()>& isExpected)
{
    job.setAutoDelete(false);
    console.BeginProgress();
    const Follower follower(console, job);
    QEventLoop loop;
    QObject::connect(&job, &KJob::result, &loop, &QEventLoop::quit);
    const Interrupt::Handler handler([&] {
        if (!job.isCancellable())
            console.Activity(i18n("Packages are being changed: that cannot be stopped"));
        job.cancel();
    });
    if (Interrupt::Received())
        job.cancel();
    job.start();
    loop.exec();
    if (job.error() && Interrupt::Received())
        return ExitInterrupted;
    if (!job.error()) {
        console.Note(job.details());
        return ExitDone;
    }
    if (isExpected && isExpected())
        return ExitFailed;
    SayFailure(console, job);
    return ExitFailed;
}
