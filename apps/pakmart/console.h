// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Everything that the user reads (progress, questions, errors), and Ctrl-C.
//
// The library and the programs it runs write to standard output as well. Those lines go to
// a log file, so the console keeps the real standard output for itself.

#pragma once

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <functional>
#include <memory>

class Pager;

// The colours of whole lines. They only stress what the text says.
enum class Color { None, Title, Good, Notable, Removal };

class Console
{
public:
    // What the user wants to see. `json`: nothing but the result, for programs.
    struct Style {
        bool verbose = false; // the lines of the package tools
        bool json = false;
        // Whether a list that is longer than the terminal goes through the pager.
        bool pages = false;
        QString color; // "always", "never", otherwise as the terminal and NO_COLOR say
    };

    explicit Console(const Style& style);
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    bool IsJson() const { return m_style.json; }

    // The file with the lines that were not shown; empty if there are none.
    QString LogFile() const;

    // The columns that lines should fit into: the variable COLUMNS, or else the width of
    // the terminal; 0 (no limit) without either.
    int Width() const;

    // On standard output; nothing with `json`.
    void Say(const QString& lines, Color color = Color::None); // unchanged
    void SayText(const QString& text, Color color = Color::None); // wrapped to the width
    // With `json`: the result, on one line, without any unprintable character.
    void SayJson(const QJsonArray& array);
    void SayJson(const QJsonObject& object);

    // On standard error. Lines after the first one are indented, so that no text of a store
    // looks like one of ours.
    void Complain(const QString& text);
    // Complains, and keeps the error for FinishJson. `details` are shown if they are short,
    // and are in the log otherwise.
    void Fail(const QString& code, const QString& sentence, const QString& details = QString());
    // Lines for those who want to know more: shown if that is wanted, and in the log.
    void Note(const QString& lines);

    // With `json`: prints the error if no result was printed.
    void FinishJson(bool failed);
    // Whether everything could be written to standard output.
    bool IsWritten() const { return m_written; }

    // Shows the current activity and its progress: as a bar on a terminal that can erase it
    // (not a "dumb" one), otherwise as a line per change. `amount` is only for the bar.
    void Activity(const QString& what);
    void BeginProgress();
    void Progress(int percent, const QString& amount = QString());

    // Asks a yes-or-no question; the end of the input and an interruption mean no.
    bool Ask(const QString& question);

private:
    void DrawBar();
    void ClearBar();
    void Write(const QByteArray& bytes);
    void WriteLines(const QByteArray& lines);
    void BeginPage();
    void EndPage();
    void WriteJson(const QJsonDocument& document);

    const Style m_style;
    int m_out; // the real standard output
    bool m_terminal;
    bool m_bars;
    bool m_colors;
    bool m_collects; // lines, until they are more than the terminal has
    bool m_leftEarly = false; // the pager
    QByteArray m_page;
    std::unique_ptr<Pager> m_pager;
    bool m_barDrawn = false;
    bool m_written = true;
    bool m_hasResult = false;
    QString m_logFile;
    QString m_activity, m_amount;
    int m_percent = 0;
    QJsonObject m_error;
};

// The text without control characters, overrides of the writing direction, and separators of
// lines and paragraphs other than '\n'.
QString Printable(QString text);

namespace Interrupt
{

// Ctrl-C and SIGTERM: the current work is asked to end, and requests that wait for the
// server are aborted. This ends the library's waits, so that it can clean up.

// Catches the two signals from now on; an application object must exist.
void Install();

// Whether one has come.
bool Received();

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
