// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A task of the library's worker program (src/host/worker), as a child process: the request
// classes process events while they wait, which must not happen in the host's event loop.
//
// Runs of the same task take turns in a process, since they write the same files.

#pragma once

#include "host/outcome.h"

#include <QJsonObject>
#include <QObject>
#include <QProcess>
#include <QStringList>
#include <memory>

namespace Pakmart
{

class TaskTurn;

class WorkerRun : public QObject
{
    Q_OBJECT

public:
    WorkerRun();
    // Stops the task. Nothing is emitted any more; the process ends by itself.
    ~WorkerRun() override;

    // Runs the task words[0], when its turn has come. `input` goes to the tasks that read one.
    void start(const QStringList& words, const QJsonObject& input = QJsonObject());
    // Lets a run go from within one of its own signals: stops it, and deletes it later.
    static void letGo(std::unique_ptr<WorkerRun> run);
    // Asks the task to end, which `ended` follows. Tasks that cannot be stopped go on.
    void stop();

    const Failure& failure() const { return m_failure; }
    // It ended without a report: it was killed, or is at fault.
    bool hasCrashed() const { return m_hasCrashed; }
    QString details() const { return m_details; }
    const QJsonObject& result() const { return m_result; }

Q_SIGNALS:
    void begun(); // the process has been started
    void waits(const QString& text); // empty: it goes on
    void received(qint64 bytes, qint64 total); // of the reply; 0 for an unknown total
    void stored(double share); // of what was received
    void ended();

private:
    void detach();
    void launch();
    void readLines();
    void takeLine(const QByteArray& line);
    void takeEnd(const QJsonObject& object);
    void end(const Failure& failure);
    void onFinished();

    QStringList m_words;
    QByteArray m_input;
    std::unique_ptr<QProcess> m_process;
    std::shared_ptr<TaskTurn> m_turn;
    QByteArray m_rest; // the beginning of a line whose end has not come yet
    Failure m_failure;
    QString m_details;
    QJsonObject m_result;
    bool m_hasReport = false;
    bool m_hasCrashed = false;
    bool m_hasEnded = false;
    bool m_stops = false;
};

// The worker program; empty if it is not where it belongs.
QString WorkerProgram();

} // namespace Pakmart
