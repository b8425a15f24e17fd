// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The base of the elements that run jobs: the state of the job as properties. QML makes its
// elements before it connects to them, while jobs delete themselves at their end, so that an
// element runs one job after the other instead of being one.

#pragma once

#include <Pakmart/Job>
#include <QObject>
#include <QPointer>

namespace Pakmart
{

class JobRun : public QObject
{
    Q_OBJECT
    // Whether a job has been started and has not ended.
    Q_PROPERTY(bool running READ isRunning NOTIFY changed)
    // The values of Job.
    Q_PROPERTY(int phase READ phase NOTIFY changed)
    Q_PROPERTY(int percent READ percent NOTIFY changed)
    Q_PROPERTY(QString package READ package NOTIFY changed)
    Q_PROPERTY(bool cancellable READ isCancellable NOTIFY changed)
    Q_PROPERTY(QString waitingFor READ waitingFor NOTIFY changed)
    // Of the last job: a value of Error, a sentence for the user, and the tools' lines.
    Q_PROPERTY(int error READ error NOTIFY changed)
    Q_PROPERTY(QString errorText READ errorText NOTIFY changed)
    Q_PROPERTY(QString details READ details NOTIFY changed)

public:
    bool isRunning() const { return !m_job.isNull(); }
    int phase() const { return m_phase; }
    int percent() const { return m_percent; }
    QString package() const { return m_package; }
    bool isCancellable() const { return m_isCancellable; }
    QString waitingFor() const { return m_waitingFor; }
    int error() const { return m_error; }
    QString errorText() const { return m_errorText; }
    QString details() const { return m_details; }

    // Asks the job to end, which is reported as any other end.
    Q_INVOKABLE void cancel();

Q_SIGNALS:
    void changed();

protected:
    explicit JobRun(QObject* parent) : QObject(parent) { }

    // Starts a job, and reports its state until its end.
    void follow(Job* job);
    // Takes the state over at the end of the job.
    void end();

private:
    void take();

    QPointer<Job> m_job;
    int m_phase = Job::NotStarted;
    int m_percent = 0;
    QString m_package;
    bool m_isCancellable = false;
    QString m_waitingFor;
    int m_error = Error::NoError;
    QString m_errorText, m_details;
};

} // namespace Pakmart
