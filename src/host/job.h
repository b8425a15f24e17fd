// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::Job
/// The base of all operations: a KJob with typed errors and a state to show.
///
///     auto* job = new Pakmart::InstallJob({ "starlander" });
///     connect(job, &KJob::result, host, [](KJob* ended) {
///         if (ended->error()) ... ended->errorText()
///     });
///     job->start();
///
/// start() returns at once, and nothing is emitted inside of it. No job runs an event loop of
/// its own: everything happens in that of the application, which is never blocked for long. A
/// QCoreApplication is enough. Each started job emits KJob::result exactly once, unless it is
/// deleted before or killed quietly, and deletes itself afterwards as every KJob does.
///
/// A job may be deleted at any time, but not in a slot of its own signals (use deleteLater
/// there). What can be cancelled is cancelled then; while dpkg works, it finishes its work, and
/// the next job waits for that.
///
/// Use it from the thread of the application object.

#pragma once

#include "error.h"

#include <KJob>
#include <memory>
#include <vantrelagent/export.h>

namespace Pakmart
{

class JobState;

class VANTRELAGENT_EXPORT Job : public KJob
{
    Q_OBJECT
    /// What the job does, for a list of jobs.
    Q_PROPERTY(QString title READ title WRITE setTitle NOTIFY titleChanged)
    /// What the job is doing.
    Q_PROPERTY(Pakmart::Job::Phase phase READ phase NOTIFY phaseChanged)
    /// The package at work; empty if there is none.
    Q_PROPERTY(QString package READ package NOTIFY packageChanged)
    /// Whether the job can be cancelled now.
    Q_PROPERTY(bool cancellable READ isCancellable NOTIFY cancellableChanged)
    /// What the job waits for, for the user; empty if it does not wait.
    Q_PROPERTY(QString waitingFor READ waitingFor NOTIFY waitingForChanged)

public:
    /// What a job is doing. New ones may be added: treat an unknown one as OtherPhase.
    enum Phase {
        NotStarted, ///< start() has not been called
        Waiting, ///< for another job or program; waitingFor() says for which
        Preparing, ///< it works out what is to be done
        Downloading, ///< packages, or an answer of the store, are fetched
        Applying, ///< dpkg installs and removes packages: this cannot be cancelled
        Checking, ///< it compares what dpkg reports with what was planned
        Ended, ///< the result is known
        OtherPhase, ///< anything else
        Storing ///< what the store has sent is checked and stored
    };
    Q_ENUM(Phase)

    ~Job() override;

    /// Starts the job, which returns at once. A second call does nothing.
    void start() final;

    /// What the job does, as words for the user: "Install app". Each kind of job has a title of
    /// its own. PendingModel shows it, and KJob::description reports it.
    QString title() const;
    /// Replaces the title by one of the host. An empty one is ignored.
    void setTitle(const QString& title);

    /// What the job is doing.
    Phase phase() const;
    /// The package that is being fetched, installed or removed; empty if there is none.
    QString package() const;
    /// Whether cancel() and kill() can end the job now.
    bool isCancellable() const;
    /// What the job waits for, as a sentence for the user; empty if it does not wait.
    QString waitingFor() const;

    /// KJob::error() as a code.
    Error::Code errorCode() const;
    /// The sentence of a failure, for the user; empty without one.
    QString errorString() const override;
    /// For a log, or for people who want to know more: the lines of the package tools, or the
    /// server's text. May have some after a success, too.
    QString details() const;

public Q_SLOTS:
    /// Asks the job to end. It ends with the error Cancelled, or as it would have ended if
    /// that comes first. Does nothing when the job is not cancellable.
    void cancel();

Q_SIGNALS:
    /// The title is another one.
    void titleChanged(const QString& title);
    /// The phase is another one.
    void phaseChanged(Pakmart::Job::Phase phase);
    /// The package at work is another one.
    void packageChanged(const QString& package);
    /// The job can, or cannot, be cancelled from now on.
    void cancellableChanged(bool cancellable);
    /// The job waits for something else; empty when it goes on.
    void waitingForChanged(const QString& text);

protected:
    /// For jobs of this library only.
    explicit Job(QObject* parent);

    /// Does the work, in the event loop.
    virtual void run() = 0;
    /// Stops what can be stopped; the job ends by itself then.
    virtual void stop() = 0;
    /// Lets go of what still runs, which stops by itself: the job is ending now.
    virtual void letGo() = 0;

    /// Sets what the properties report.
    /// @{
    void setDefaultTitle(const QString& title); // until the host sets one
    void setPhase(Phase phase);
    void setPackage(const QString& package);
    void setCancellable(bool cancellable);
    void setWaitingFor(const QString& text);
    void setDetails(const QString& details);
    /// @}

    /// Whether cancel() was called.
    bool isCancelled() const;
    /// Whether the result is known.
    bool hasEnded() const;
    /// Ends the job as a success.
    void succeed();
    /// Ends the job with an error, and with the code's sentence if there is no other one.
    void fail(Error::Code code, const QString& sentence = QString());

    /// KJob's part of kill(): refused while the job is not cancellable.
    bool doKill() override;

private:
    void begin();
    void showTitle(const QString& title);
    void end();

    const std::unique_ptr<JobState> m_state;
};

} // namespace Pakmart
