// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// apt-get as a child process: started, read, signalled, waited for.

#pragma once

#include <functional>
#include <string>
#include <vector>

// A new process that cannot be prompted: its input is empty. Its output and
// errors come through one pipe, its status lines through another.
class Child
{
public:
    static constexpr int StatusFd = 3; // the descriptor of the status lines, there

    // `words`: the arguments behind the program's name. `settings`: the apt
    // configuration that holds before any other. False when it cannot be started.
    bool Start(const std::vector<std::string>& words, const std::string& settings,
               bool privateRoot);

    using Lines = std::function<void(const std::string& line)>;
    // Reads both to their ends; returns the exit status, 128 + the signal when
    // the child was killed by one.
    int Read(const Lines& output, const Lines& status);

    // Ctrl-C and SIGTERM go to the child from now on. Once dpkg works, both are
    // an interruption, which apt-get leaves until dpkg is done.
    void CatchSignals();
    void DpkgWorks();
    // Nobody reads us any more: as if interrupted.
    void Interrupt();

private:
    [[noreturn]] void Become(const std::vector<std::string>& words, int settings,
                             const int (&output)[2], const int (&status)[2], bool privateRoot);

    int m_output = -1;
    int m_status = -1;
};
