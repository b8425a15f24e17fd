// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/workerrun.h"

#include "request/agenterror.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QHash>
#include <QJsonDocument>
#include <QList>
#include <QTimer>
#include <algorithm>
#include <dlfcn.h>
#include <functional>
#include <iterator>
#include <utility>

namespace Pakmart
{

// A place in the queue of one task.
class TaskTurn : public QObject
{
public:
    using Granted = std::function<void()>;

    TaskTurn(const QString& task, Granted granted) : m_task(task), m_granted(std::move(granted))
    {
        queues()[m_task].append(this);
    }
    ~TaskTurn() override
    {
        QList<TaskTurn*>& queue = queues()[m_task];
        const bool wasFirst = queue.first() == this;
        queue.removeAll(this);
        if (wasFirst && !queue.isEmpty())
            queue.first()->grant();
    }
    bool isFirst() const { return queues()[m_task].first() == this; }
    // Calls back from the event loop.
    void grant()
    {
        QTimer::singleShot(0, this, [this] {
            if (m_granted)
                std::exchange(m_granted, nullptr)();
        });
    }
    // The owner is going.
    void forget() { m_granted = nullptr; }

private:
    static QHash<QString, QList<TaskTurn*>>& queues()
    {
        static QHash<QString, QList<TaskTurn*>> all;
        return all;
    }

    const QString m_task;
    Granted m_granted;
};

namespace
{

constexpr int longestLine = 32 * 1024 * 1024; // bytes; more than any list that a task reports

struct SameReason {
    AgentError::Code from;
    Error::Code to;
};

// Codes that are not listed are Error::Other, with the sentence of the request.
const SameReason sameReasons[] = {
    { AgentError::NoFailure, Error::NoError },
    { AgentError::ServerUnreachable, Error::ServerUnreachable },
    { AgentError::BadAddress, Error::ServerUnreachable },
    { AgentError::TimedOut, Error::TimedOut },
    { AgentError::Cancelled, Error::Cancelled },
    { AgentError::RefusedByServer, Error::RefusedByServer },
    { AgentError::UnknownFunction, Error::RefusedByServer },
    { AgentError::UnknownProduct, Error::UnknownProduct },
    { AgentError::ServerFailed, Error::ServerFailed },
    { AgentError::RedirectRefused, Error::ServerFailed },
    { AgentError::ReplyNotUnderstood, Error::ReplyNotUnderstood },
    { AgentError::ReplyTooLarge, Error::ReplyNotUnderstood },
    { AgentError::ReplyNotTrusted, Error::ReplyNotTrusted },
    { AgentError::CannotWrite, Error::CannotWrite },
    { AgentError::NoDiskSpace, Error::NoDiskSpace },
    { AgentError::LockHeld, Error::LockHeld },
    { AgentError::RefreshFailed, Error::RefreshFailed },
    { AgentError::DownloadFailed, Error::RefreshFailed },
    { AgentError::PackageToolsMissing, Error::ToolsMissing },
    { AgentError::PackageToolsFailed, Error::ToolsFailed },
    { AgentError::BadHomeFolder, Error::BadHomeFolder },
    { AgentError::NotPermitted, Error::NotPermitted },
};

Failure FailureNamed(const QString& name, const QString& sentence)
{
    const auto found = std::find_if(
        std::begin(sameReasons), std::end(sameReasons),
        [&name](const SameReason& one) { return AgentError::Name(one.from) == name; });
    if (found != std::end(sameReasons) && found->to == Error::ReplyNotTrusted
        && !sentence.isEmpty())
        return { found->to, sentence }; // it names the store, and what to do
    if (found != std::end(sameReasons))
        return { found->to, Error::sentence(found->to) };
    return { Error::Other, sentence.isEmpty() ? Error::sentence(Error::Other) : sentence };
}

// The folder of the library, or of the program into which it is linked.
QString FolderOfThis()
{
    Dl_info info = {};
    static const char here = 0;
    if (dladdr(&here, &info) != 0 && info.dli_fname && info.dli_fname[0] == '/'
        && QFileInfo(QString::fromLocal8Bit(info.dli_fname))
               .fileName()
               .contains(QLatin1String(".so")))
        return QFileInfo(QString::fromLocal8Bit(info.dli_fname)).canonicalPath();
    return QFileInfo(QStringLiteral("/proc/self/exe")).canonicalPath();
}

} // namespace

QString WorkerProgram()
{
    const QString file = FolderOfThis() + QStringLiteral("/" VANTREL_WORKER_FOLDER "/store-worker");
    return QFileInfo(file).isExecutable() ? file : QString();
}

WorkerRun::WorkerRun() = default;

WorkerRun::~WorkerRun()
{
    detach();
}

void WorkerRun::letGo(std::unique_ptr<WorkerRun> run)
{
    if (!run)
        return;
    run->disconnect();
    run->detach();
    run.release()->deleteLater();
}

namespace
{

// One that nobody waits for any more has its input closed, and ends soon. At the end of the
// application it gets a moment for that.
class WorkerProcess : public QProcess
{
public:
    ~WorkerProcess() override
    {
        constexpr int patience = 3000; // milliseconds
        if (state() != NotRunning && !waitForFinished(patience)) {
            kill();
            waitForFinished(patience);
        }
    }
};

} // namespace

// The process keeps its turn until it has ended. The application object owns it, so that it
// does not outlive that.
void WorkerRun::detach()
{
    m_hasEnded = true;
    if (m_turn)
        m_turn->forget();
    if (!m_process) {
        m_turn.reset();
        return;
    }
    QProcess* process = m_process.release();
    process->disconnect();
    process->closeWriteChannel();
    process->setParent(QCoreApplication::instance());
    connect(process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), process,
            [process, turn = std::move(m_turn)]() mutable {
                turn.reset();
                process->deleteLater();
            });
}

void WorkerRun::start(const QStringList& words, const QJsonObject& input)
{
    m_words = words;
    if (!input.isEmpty())
        m_input = QJsonDocument(input).toJson(QJsonDocument::Compact) + '\n';
    m_turn = std::make_shared<TaskTurn>(words.value(0), [this] { launch(); });
    if (m_turn->isFirst())
        m_turn->grant();
    else
        QTimer::singleShot(0, this, [this] {
            if (!m_process && !m_hasEnded)
                emit waits(QCoreApplication::translate(
                    "Pakmart", "Waiting for another job of this kind to end"));
        });
}

void WorkerRun::launch()
{
    if (m_hasEnded || m_stops)
        return;
    const QString program = WorkerProgram();
    if (program.isEmpty()) {
        end({ Error::ToolsMissing,
              QCoreApplication::translate("Pakmart", "A program of the library is missing: %1.")
                  .arg(QStringLiteral(VANTREL_WORKER_FOLDER "/store-worker")) });
        return;
    }
    m_process = std::make_unique<WorkerProcess>();
    m_process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    connect(m_process.get(), &QProcess::readyRead, this, &WorkerRun::readLines);
    connect(m_process.get(), &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            end({ Error::ToolsMissing, m_process->errorString() });
    });
    connect(m_process.get(), QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            &WorkerRun::onFinished);
    m_process->start(program, m_words);
    if (!m_input.isEmpty())
        m_process->write(m_input);
    emit begun();
}

void WorkerRun::stop()
{
    if (m_hasEnded || m_stops || !m_turn)
        return; // it ends, or has not begun
    m_stops = true;
    if (m_process) {
        m_process->closeWriteChannel();
        return;
    }
    m_turn->forget();
    QTimer::singleShot(0, this, [this] { end({ Error::Cancelled, QString() }); });
}

void WorkerRun::readLines()
{
    m_rest += m_process->readAll();
    int from = 0;
    for (int at = int(m_rest.indexOf('\n')); at >= 0; at = int(m_rest.indexOf('\n', from))) {
        takeLine(m_rest.mid(from, at - from));
        from = at + 1;
    }
    m_rest.remove(0, from);
    if (m_process && m_rest.size() > longestLine)
        m_process->kill();
}

void WorkerRun::takeLine(const QByteArray& line)
{
    const QJsonObject object = QJsonDocument::fromJson(line).object();
    const auto number
        = [&object](const char* name) { return object[QLatin1String(name)].toDouble(); };
    if (object.contains(QLatin1String("end")))
        takeEnd(object);
    else if (object.contains(QLatin1String("waits")))
        emit waits(object[QLatin1String("waits")].toString());
    else if (object.contains(QLatin1String("received")))
        emit received(qint64(number("received")), qint64(number("total")));
    else if (object.contains(QLatin1String("stored")))
        emit stored(std::clamp(number("stored"), 0.0, 1.0));
}

void WorkerRun::takeEnd(const QJsonObject& object)
{
    m_hasReport = true;
    m_failure = FailureNamed(object[QLatin1String("end")].toString(),
                             object[QLatin1String("sentence")].toString());
    m_details = object[QLatin1String("details")].toString();
    m_result = object[QLatin1String("result")].toObject();
}

// A worker that died, or was killed, has not reported its end.
void WorkerRun::onFinished()
{
    readLines();
    if (m_hasReport)
        end(m_failure);
    else if (m_stops)
        end({ Error::Cancelled, QString() });
    else {
        m_hasCrashed = true;
        end({ Error::Other,
              QCoreApplication::translate("Pakmart", "A program of the library has crashed.") });
    }
}

void WorkerRun::end(const Failure& failure)
{
    if (m_hasEnded)
        return;
    m_hasEnded = true;
    m_failure = failure;
    if (m_process) {
        m_process->disconnect(this);
        m_process.release()->deleteLater(); // this is called from one of its signals
    }
    m_turn.reset();
    emit ended();
}

} // namespace Pakmart
