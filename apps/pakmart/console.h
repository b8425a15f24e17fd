// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Everything that the user reads (progress, questions, errors), and Ctrl-C.
//
// The library and the programs it runs write to standard output as well. Those lines go to
// a log file unless the user wants to see them, so the console keeps the real standard
// output for itself.

#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <functional>

class Console
{
public:
    // With `verbose` the library's lines stay on standard output; otherwise
    // they go to logFile().
    explicit Console(bool verbose);
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    // The file for the library's lines; empty if they are shown or dropped.
    QString logFile() const { return m_logFile; }

    // The columns that lines should fit into: the variable COLUMNS, or else the width of
    // the terminal; 0 (no limit) without either.
    int width() const;

    void say(const QString& lines); // on standard output, unchanged
    void sayText(const QString& text); // the same, wrapped to the width
    void sayJson(const QJsonArray& array); // on one line
    void sayJson(const QJsonObject& object);
    void complain(const QString& text); // on standard error

    // Shows the current activity and its progress: as a bar on a terminal that can erase it
    // (not a "dumb" one), otherwise as a line per change.
    void activity(const QString& what);
    void progress(int itemPercent, int overallPercent);

    // Asks a yes-or-no question; the end of the input and an interruption mean no.
    bool ask(const QString& question);

private:
    void drawBar();
    void clearBar();
    void write(const QByteArray& bytes);

    int m_out; // the real standard output
    bool m_terminal;
    bool m_bars;
    bool m_barDrawn = false;
    QString m_logFile;
    QString m_activity;
    int m_item = 0;
    int m_overall = 0;
};

namespace Interrupt
{

// Ctrl-C and SIGTERM: the current work is asked to end, and requests that wait for the
// server are aborted. This ends the library's waits, so that it can clean up.

// Catches the two signals from now on; an application object must exist.
void install();

// Whether one has come.
bool received();

// An action for each such signal, as long as the object lives. It runs in the event loop.
class Handler
{
public:
    explicit Handler(std::function<void()> handler);
    ~Handler();
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;
};

} // namespace Interrupt
