// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/storejob.h"

#include "host/workerrun.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <algorithm>
#include <utility>

namespace Pakmart
{

// The run of a job's task.
class StoreSteps
{
public:
    StoreSteps(StoreJob& job, const char* task) : m_job(job), m_task(QLatin1String(task)) { }

    void start();
    void stop()
    {
        if (m_run)
            m_run->stop();
    }
    void letGo() { WorkerRun::letGo(std::move(m_run)); }

private:
    void onWaits(const QString& text);
    void onReceived(qint64 bytes, qint64 total);
    void onStored(double share);
    void onEnded();
    void showPercent(int percent);

    StoreJob& m_job;
    const QString m_task;
    std::unique_ptr<WorkerRun> m_run;
    QElapsedTimer m_transfer; // since its beginning
    Job::Phase m_before = Job::Downloading; // the phase that a wait interrupts
    int m_percent = 0;
};

// A slot of the job's signals may end the job and so the run: what follows an emission looks.
void StoreSteps::start()
{
    m_job.setPhase(Job::Waiting);
    if (m_job.hasEnded())
        return;
    if (m_job.isCancelled()) {
        m_job.fail(Error::Cancelled);
        return;
    }
    m_run = std::make_unique<WorkerRun>();
    WorkerRun* run = m_run.get();
    QObject::connect(run, &WorkerRun::begun, run, [this] {
        m_transfer.start();
        onWaits(QString());
    });
    QObject::connect(run, &WorkerRun::waits, run, [this](const QString& text) { onWaits(text); });
    QObject::connect(run, &WorkerRun::received, run,
                     [this](qint64 bytes, qint64 total) { onReceived(bytes, total); });
    QObject::connect(run, &WorkerRun::stored, run, [this](double share) { onStored(share); });
    QObject::connect(run, &WorkerRun::ended, run, [this] { onEnded(); });
    run->start({ m_task });
}

void StoreSteps::onWaits(const QString& text)
{
    if (m_job.phase() != Job::Waiting)
        m_before = m_job.phase();
    m_job.setPhase(text.isEmpty() ? m_before : Job::Waiting);
    if (!m_job.hasEnded())
        m_job.setWaitingFor(text);
}

// The transfer is the first half of the whole.
void StoreSteps::onReceived(qint64 bytes, qint64 total)
{
    if (total > 0)
        m_job.setTotalAmount(KJob::Bytes, qulonglong(total));
    m_job.setProcessedAmount(KJob::Bytes, qulonglong(bytes));
    const qint64 time = m_transfer.elapsed();
    if (time > 0)
        m_job.emitSpeed(static_cast<unsigned long>(bytes * 1000 / time));
    if (total > 0)
        showPercent(int(std::min(bytes, total) * 50 / total));
}

void StoreSteps::onStored(double share)
{
    m_job.setPhase(Job::Storing);
    if (!m_job.hasEnded())
        showPercent(50 + int(share * 49));
}

void StoreSteps::showPercent(int percent)
{
    if (m_job.hasEnded() || percent <= m_percent)
        return;
    m_percent = percent;
    m_job.setPercent(static_cast<unsigned long>(percent));
}

void StoreSteps::onEnded()
{
    const Failure failure = m_run->failure();
    m_job.setDetails(m_run->details());
    if (failure.code != Error::NoError) {
        m_job.fail(failure.code, failure.sentence);
        return;
    }
    m_job.takeResult(m_run->result());
    emit m_job.resultReady();
    m_job.succeed();
}

StoreJob::StoreJob(const char* task, QObject* parent)
    : Job(parent), m_steps(std::make_unique<StoreSteps>(*this, task))
{
}

StoreJob::~StoreJob() = default;

void StoreJob::run()
{
    m_steps->start();
}

void StoreJob::stop()
{
    m_steps->stop();
}

void StoreJob::letGo()
{
    m_steps->letGo();
}

} // namespace Pakmart
