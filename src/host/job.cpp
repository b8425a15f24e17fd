// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/job.h"

#include "host/pendingjobs.h"

#include <QPointer>
#include <QTimer>

namespace Pakmart
{

static_assert(int(Error::Cancelled) == int(KJob::KilledJobError), "kill() sets KJob's number");

class JobState
{
public:
    QString title;
    bool hasHostTitle = false;
    Job::Phase phase = Job::NotStarted;
    QString package;
    QString waitingFor;
    QString details;
    bool cancellable = true;
    bool started = false;
    bool cancelled = false;
    bool ended = false;
};

Job::Job(QObject* parent) : KJob(parent), m_state(std::make_unique<JobState>())
{
    setCapabilities(KJob::Killable);
    // The percentage is that of the whole, not of the bytes that are fetched.
    setProgressUnit(KJob::Items);
}

Job::~Job() = default;

void Job::start()
{
    if (m_state->started || m_state->ended)
        return;
    m_state->started = true;
    QTimer::singleShot(0, this, [this] { begin(); });
}

// Slots of the model of pending jobs may end this one, or delete it.
void Job::begin()
{
    if (m_state->ended)
        return;
    if (m_state->cancelled) {
        fail(Error::Cancelled);
        return;
    }
    const QPointer<Job> alive(this);
    PendingJobs::all().add(this);
    if (!alive || m_state->ended)
        return;
    emit description(this, m_state->title);
    if (m_state->cancelled)
        fail(Error::Cancelled);
    else if (!m_state->ended)
        run();
}

QString Job::title() const
{
    return m_state->title;
}

void Job::setTitle(const QString& title)
{
    if (title.isEmpty())
        return;
    m_state->hasHostTitle = true;
    showTitle(title);
}

void Job::setDefaultTitle(const QString& title)
{
    if (!m_state->hasHostTitle)
        showTitle(title);
}

void Job::showTitle(const QString& title)
{
    if (m_state->title == title)
        return;
    m_state->title = title;
    if (m_state->started)
        emit description(this, title);
    emit titleChanged(title);
}

Job::Phase Job::phase() const
{
    return m_state->phase;
}

QString Job::package() const
{
    return m_state->package;
}

bool Job::isCancellable() const
{
    return m_state->cancellable && !m_state->ended;
}

QString Job::waitingFor() const
{
    return m_state->waitingFor;
}

Error::Code Job::errorCode() const
{
    return Error::fromNumber(error());
}

// kill() sets no text.
QString Job::errorString() const
{
    return errorText().isEmpty() ? Error::sentence(errorCode()) : errorText();
}

QString Job::details() const
{
    return m_state->details;
}

void Job::cancel()
{
    if (!isCancellable() || m_state->cancelled)
        return;
    m_state->cancelled = true;
    if (m_state->phase != NotStarted)
        stop();
}

void Job::setPhase(Phase phase)
{
    if (m_state->phase == phase)
        return;
    m_state->phase = phase;
    emit phaseChanged(phase);
}

void Job::setPackage(const QString& package)
{
    if (m_state->package == package)
        return;
    m_state->package = package;
    emit packageChanged(package);
}

void Job::setCancellable(bool cancellable)
{
    if (m_state->cancellable == cancellable)
        return;
    m_state->cancellable = cancellable;
    emit cancellableChanged(cancellable);
}

void Job::setWaitingFor(const QString& text)
{
    if (m_state->waitingFor == text)
        return;
    m_state->waitingFor = text;
    if (!text.isEmpty())
        emit infoMessage(this, text);
    emit waitingForChanged(text);
}

void Job::setDetails(const QString& details)
{
    m_state->details = details;
}

bool Job::isCancelled() const
{
    return m_state->cancelled;
}

bool Job::hasEnded() const
{
    return m_state->ended;
}

void Job::succeed()
{
    if (m_state->ended)
        return;
    setPercent(100);
    end();
    emitResult();
}

void Job::fail(Error::Code code, const QString& sentence)
{
    if (m_state->ended)
        return;
    setError(code);
    setErrorText(sentence.isEmpty() ? Error::sentence(code) : sentence);
    end();
    emitResult();
}

// The properties change before the result, so that a slot of the result sees their last values.
void Job::end()
{
    m_state->ended = true;
    setCancellable(false);
    setWaitingFor(QString());
    setPackage(QString());
    setPhase(Ended);
}

bool Job::doKill()
{
    if (!isCancellable())
        return m_state->ended;
    letGo();
    end();
    return true;
}

} // namespace Pakmart
