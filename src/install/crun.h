// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CRun
/// The process runner: starts a program without a shell, and waits for its end
/// on request, while the user interface stays responsive.
///
///     CRun run(QStringLiteral("/bin/mkdir"), QStringLiteral("-p /a/b"), true);
///     if (run.Run() != 0)
///         ...
///
/// Objects live on the caller's stack. A waiting run processes events, so slots and
/// timers of other objects run inside it.

#pragma once

#include <QString>
#include <memory>
#include <string>
#include <vantrelagent/export.h>
#include <vector>

class VANTRELAGENT_EXPORT CRun
{
public:
    /// For the Run overload with arguments.
    CRun();
    /// `arguments` is one text of words separated by blanks. A double quote without a
    /// backslash before it begins or ends a part in which blanks do not separate; quotes
    /// and backslashes stay in the words.
    CRun(const QString& program, const QString& arguments, bool wait);
    /// A copy has the same program, and the same child if that was started.
    /// @{
    CRun(const CRun& other);
    CRun& operator=(const CRun& other);
    /// @}
    virtual ~CRun();

    /// Starts the program. A waiting run returns the program's exit code, 128 + the
    /// number of the signal that killed it, or the errno value with which waiting
    /// failed. A run that does not wait returns -1. So does any run that started
    /// nothing: an empty program, or one that cannot be executed. A program that can
    /// be started but not executed ends with 127. The overload with arguments replaces
    /// those of the object.
    /// @{
    int Run();
    int Run(const QString& program, const QString& arguments, bool wait);
    /// @}

    /// The process id of the last program started; -1 before.
    int pid() const;

    /// Whether the program last started still runs. This call, and every later run of
    /// any object, reaps it once it has ended; children of others are not reaped.
    bool IsRunning();
    /// Asks the program last started to end (SIGTERM). False when it does not run.
    bool Terminate();

private:
    bool Start(std::vector<std::string>& words);
    int Wait();

    class Private;
    const std::unique_ptr<Private> d;
};
