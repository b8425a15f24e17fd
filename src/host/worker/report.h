// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What the worker says to its host: one JSON object on a line, on the descriptor that was its
// standard output. Anything else that the library prints goes nowhere.

#pragma once

#include <QElapsedTimer>
#include <QJsonObject>
#include <QString>
#include <vantrelagent/request/agenterror.h>

class CAPI;

// How a task has ended.
struct Outcome {
    AgentError::Code code = AgentError::NoFailure;
    QString sentence; // for AgentError::Other
    QString details;
    QJsonObject result; // after a success
};

class Report
{
public:
    // Takes the standard output over.
    Report();

    // The task waits for somebody; an empty text: it goes on.
    void waits(const QString& text);
    // Bytes received so far, and in all (0 if unknown). Not every call is passed on.
    void received(qint64 bytes, qint64 total);
    // What was received is being stored: how much of it is, 0 to 1. The first call is passed on,
    // others not always.
    void stored(double share);
    void end(const Outcome& outcome);

private:
    void write(const QJsonObject& object) const;
    bool isTime();

    int m_output = -1;
    QElapsedTimer m_last;
    bool m_stores = false;
};

// Makes the reason of a request's failure that of the outcome. The request emits it before its
// end.
void NoteFailure(CAPI* request, Outcome& outcome);

// A text of the store as it may be shown: without control characters, not endless.
QString Plain(const QString& text);
