// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// apt-get as a child process: started, read, signalled, waited for.

#pragma once

#include <csignal>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

// A new process that cannot be prompted: its input is empty, and it has no
// terminal. Its output and errors come through one pipe, its status lines through
// another.
class Child
{
public:
    static constexpr int statusFd = 3; // the descriptor of the status lines, there

    // `words`: the arguments after the program's name. `program`: apt-get, or another one of
    // apt's. `settings`: the apt configuration
    // that takes precedence, for apt-get and everything it starts. With a private root,
    // the environment's own settings for the package tools are left out. False when it
    // cannot be started.
    //
    // The end signals (HoldEndSignals) go to the child from then on. While dpkg works,
    // each arrives as an interruption, which apt-get handles when dpkg is done.
    bool Start(const std::vector<std::string>& words, const std::string& settings,
               const std::string& privateRoot, const char* program = "apt-get");

    // The same with dpkg itself, which must not be interrupted: end signals wait until the next
    // child is started.
    bool StartDpkg(const std::vector<std::string>& words, const std::string& privateRoot);

    using Lines = std::function<void(const std::string& line)>;
    // Reads both to their ends, and passes on output before a status line that was
    // printed after it. Calls `tick` several times a second in any case. Returns the exit
    // status, or 128 + the signal that killed the child: its download helpers are then
    // ended, too.
    int Read(const Lines& output, const Lines& status, const std::function<void()>& tick);

    void DpkgWorks();
    // For the case that nobody reads our output any more: acts as if interrupted.
    void Interrupt();

private:
    bool Fork(const std::vector<std::string>& words, const std::string& settings,
              const std::string& privateRoot, const char* program);
    [[noreturn]] void Become(const std::vector<std::string>& words, const std::string& settingsFile,
                             int output, int status, const std::string& privateRoot,
                             const char* program);

    bool m_isDpkg = false;
    pid_t m_pid = -1;
    int m_output = -1;
    int m_status = -1;
};

// The signals that ask a program to end: SIGINT, SIGTERM and SIGHUP, except those that were already
// ignored at the start (as by nohup): they stay ignored, by apt-get too.
sigset_t EndSignals();

// Blocks them until they are let through (by Child::Start), so that none is lost while
// there is no child yet to pass it on to.
void HoldEndSignals();
