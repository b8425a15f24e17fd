// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A change of packages for QML: prepared, shown, carried out, and followed by properties. It
// owns the jobs that do it, whose C++ interface is made for callers that connect before a start.

#pragma once

#include <Pakmart/CommitJob>
#include <Pakmart/PlanModel>
#include <Pakmart/PrepareJob>
#include <QObject>
#include <QPointer>

namespace Pakmart
{

class Transaction : public QObject
{
    Q_OBJECT
    // What to do: a value of Request, such as Request.Install, and with which packages.
    Q_PROPERTY(int kind MEMBER m_kind NOTIFY requestChanged)
    Q_PROPERTY(QStringList packages MEMBER m_packages NOTIFY requestChanged)
    // For the list of pending jobs.
    Q_PROPERTY(QString title MEMBER m_title NOTIFY requestChanged)
    // Whether the user agrees to removals that nobody asked for.
    Q_PROPERTY(bool allowRemovals MEMBER m_allowRemovals NOTIFY requestChanged)
    // What would be done, once it is prepared.
    Q_PROPERTY(Pakmart::PlanModel* plan READ plan CONSTANT)
    // Whether it is being prepared or carried out.
    Q_PROPERTY(bool running READ isRunning NOTIFY changed)
    // The values of Job.
    Q_PROPERTY(int phase READ phase NOTIFY changed)
    Q_PROPERTY(int percent READ percent NOTIFY changed)
    Q_PROPERTY(QString package READ package NOTIFY changed)
    Q_PROPERTY(bool cancellable READ isCancellable NOTIFY changed)
    Q_PROPERTY(QString waitingFor READ waitingFor NOTIFY changed)
    // Of the last step: a value of Error, a sentence for the user, and the tools' lines.
    Q_PROPERTY(int error READ error NOTIFY changed)
    Q_PROPERTY(QString errorText READ errorText NOTIFY changed)
    Q_PROPERTY(QString details READ details NOTIFY changed)

public:
    explicit Transaction(QObject* parent = nullptr);

    PlanModel* plan() { return &m_plan; }
    bool isRunning() const { return !m_job.isNull(); }
    int phase() const { return m_phase; }
    int percent() const { return m_percent; }
    QString package() const { return m_package; }
    bool isCancellable() const { return m_isCancellable; }
    QString waitingFor() const { return m_waitingFor; }
    int error() const { return m_error; }
    QString errorText() const { return m_errorText; }
    QString details() const { return m_details; }

    // Works out the plan; prepared() follows. Does nothing while it is running.
    Q_INVOKABLE void prepare();
    // Carries the plan out; finished() follows. Does nothing while it is running.
    Q_INVOKABLE void commit();
    Q_INVOKABLE void cancel();

Q_SIGNALS:
    void requestChanged();
    void changed();
    // The plan is known, or there is an error.
    void prepared();
    // It is done, or there is an error.
    void finished();

private:
    void follow(Job* job);
    void take();
    void end();

    int m_kind = Request::Install;
    QStringList m_packages;
    QString m_title;
    bool m_allowRemovals = false;
    PlanModel m_plan;
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
