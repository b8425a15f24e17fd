// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A package tool as a child process: started, read line by line, asked to end. Everything
// happens in the event loop.

#pragma once

#include "host/systemguard.h"
#include "host/treeturn.h"

#include <QObject>
#include <QProcess>
#include <QStringList>
#include <memory>

namespace Pakmart
{

class ToolRun : public QObject
{
    Q_OBJECT

public:
    static constexpr int notStarted = -1; // the status of a program that cannot be started
    static constexpr int killed = -2; // that of one that a signal ended

    ToolRun();
    // Leaves a process that is still running alone: the application ends, and dpkg must not be
    // killed with it. The front end notices by itself that nobody reads its lines any more.
    ~ToolRun() override;

    void start(const QString& program, const QStringList& words);

    // Asks it to end.
    void terminate();

    // Lets a run go whose owner is going: nothing is emitted any more, and it is deleted, and
    // gives the tree and the guard back, when the process has ended. With `ends`, that is asked
    // to end.
    static void letGo(std::unique_ptr<ToolRun> run, std::unique_ptr<TreeTurn> turn,
                      std::unique_ptr<SystemGuard> guard, bool ends);

    // The last lines, for a log.
    QString log() const { return m_log.join(QLatin1Char('\n')); }
    const QStringList& lines() const { return m_log; }

Q_SIGNALS:
    void lineRead(const QString& line); // without its end, without control characters
    void ended(int status); // the exit status, or one of the above

private:
    void readLines();
    void takeLine(const QByteArray& bytes);
    void end();

    std::unique_ptr<QProcess> m_process;
    QByteArray m_rest; // the beginning of a line whose end has not come yet
    QStringList m_log;
    std::unique_ptr<TreeTurn> m_turn; // of a run that was let go
    std::unique_ptr<SystemGuard> m_guard; // the same
    bool m_hasEnded = false;
};

} // namespace Pakmart
