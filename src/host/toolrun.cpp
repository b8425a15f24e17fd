// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/toolrun.h"

#include <QCoreApplication>
#include <algorithm>
#include <iterator>

namespace Pakmart
{

namespace
{

constexpr int longestLine = 4096; // bytes; the front end's are at most half as long
constexpr int mostLogLines = 2000;

bool IsProgress(const QString& line)
{
    return line.contains(QLatin1String("% [")) && line.endsWith(QLatin1String("%]"));
}

QString WithoutControls(const QString& text)
{
    QString plain;
    std::copy_if(text.begin(), text.end(), std::back_inserter(plain),
                 [](QChar c) { return c.category() != QChar::Other_Control; });
    return plain;
}

} // namespace

ToolRun::ToolRun() : m_process(std::make_unique<QProcess>())
{
    m_process->setProcessChannelMode(QProcess::MergedChannels);
    m_process->setStandardInputFile(QProcess::nullDevice());
    connect(m_process.get(), &QProcess::readyRead, this, &ToolRun::readLines);
    connect(m_process.get(), &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            end();
    });
    connect(m_process.get(), QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            &ToolRun::end);
}

ToolRun::~ToolRun()
{
    if (m_process->state() == QProcess::NotRunning)
        return;
    m_process->disconnect(this);
    m_process.release(); // its destructor would kill the process
}

void ToolRun::start(const QString& program, const QStringList& words)
{
    m_process->start(program, words);
}

// Between fork and exec, the child would run the host's own signal handlers.
void ToolRun::terminate()
{
    QProcess* process = m_process.get();
    if (process->state() == QProcess::Starting)
        connect(process, &QProcess::started, process, &QProcess::terminate);
    else if (process->state() == QProcess::Running)
        process->terminate();
}

// The application object owns it from now on, so that it does not outlive that.
void ToolRun::letGo(std::unique_ptr<ToolRun> run, std::unique_ptr<TreeTurn> turn,
                    std::unique_ptr<SystemGuard> guard, bool ends)
{
    if (!run)
        return;
    run->disconnect();
    if (run->m_hasEnded) {
        run.release()->deleteLater(); // this may be called from one of its signals
        return;
    }
    run->m_turn = std::move(turn);
    run->m_guard = std::move(guard);
    if (ends)
        run->terminate();
    run->setParent(QCoreApplication::instance());
    connect(run.get(), &ToolRun::ended, run.get(), &QObject::deleteLater);
    run.release(); // its parent or the line above deletes it
}

void ToolRun::readLines()
{
    m_rest += m_process->readAll();
    int from = 0;
    for (int end = int(m_rest.indexOf('\n')); end >= 0; end = int(m_rest.indexOf('\n', from))) {
        takeLine(m_rest.mid(from, end - from));
        from = end + 1;
    }
    m_rest.remove(0, from);
    m_rest.truncate(longestLine);
}

void ToolRun::takeLine(const QByteArray& bytes)
{
    const QString line = WithoutControls(QString::fromUtf8(bytes.left(longestLine)));
    if (!line.isEmpty() && !IsProgress(line)) {
        m_log << line;
        if (m_log.size() > mostLogLines)
            m_log.removeFirst();
    }
    emit lineRead(line);
}

void ToolRun::end()
{
    if (m_hasEnded)
        return;
    m_hasEnded = true;
    readLines();
    if (!m_rest.isEmpty())
        takeLine(m_rest);
    const int status = m_process->error() == QProcess::FailedToStart ? notStarted
        : m_process->exitStatus() == QProcess::CrashExit             ? killed
                                                                     : m_process->exitCode();
    emit ended(status);
}

} // namespace Pakmart
