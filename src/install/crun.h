// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CRun
/// The process runner: starts a program without a shell, and waits for its end
/// if asked to, while the user interface keeps running.
///
///     CRun run(QStringLiteral("/bin/mkdir"), QStringLiteral("-p /a/b"), true);
///     if (run.Run() != 0)
///         ...
///
/// Objects live on the caller's stack. A waiting run pumps events, so slots and
/// timers of other objects run inside it.

#pragma once

#include "../util/export.h"

#include <QString>
#include <string>
#include <vector>

class VANTRELAGENT_EXPORT CRun
{
public:
    /// For the form of Run with arguments.
    CRun();
    /// `arguments` is one text, its words separated by blanks. A double quote
    /// that has no backslash before it begins or ends a stretch in which blanks
    /// do not separate; quotes and backslashes stay in the words.
    CRun(const QString& program, const QString& arguments, bool wait);
    virtual ~CRun();

    /// Starts the program. Returns, of a run that waits, the program's exit code,
    /// 128 + the number of the signal that killed it, or the errno value with
    /// which waiting failed; of a run that does not wait, -1. -1 also when
    /// nothing was started: an empty program, or one that cannot be executed.
    /// A program that can be started but not executed ends with 127.
    /// The form with arguments replaces those of the object.
    /// @{
    int Run();
    int Run(const QString& program, const QString& arguments, bool wait);
    /// @}

    /// The process id of the last program started; -1 before.
    int pid() const;

    /// Whether the program last started still runs. One that has ended is collected
    /// by this, and by every later run of any object: nobody else's child is.
    bool IsRunning();
    /// Asks the program last started to end (SIGTERM). False when it does not run.
    bool Terminate();

private:
    bool Start(std::vector<std::string>& words);
    int Wait();

    int m_pid = -1;
    QString m_program;
    QString m_arguments;
    bool m_wait = false;
    bool m_running = false; // as far as known: the process id is still the child's
};
