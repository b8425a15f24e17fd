// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The package front end as a child process whose output is read.
//
// It is started as popen would: by a shell, with the host's standard input. Unlike with
// popen, the process id is known, so that the child can be ended; its output never
// blocks the reader; and waiting for it processes events.

#pragma once

#include <cstdio>
#include <string>
#include <sys/types.h>

namespace Agent
{

// To be called between fork and exec. A host may hold or ignore the signal that asks
// a process to end; its children do not.
void LetEndSignalThrough();

class FrontEndChild
{
public:
    FrontEndChild() = default;
    // Closes its output and waits for its end.
    ~FrontEndChild();
    FrontEndChild(const FrontEndChild&) = delete;
    FrontEndChild& operator=(const FrontEndChild&) = delete;

    // Starts a shell command. False when there is no pipe or no process for it.
    bool Start(const std::string& command);

    // Its output, until Finish. Reading fails with EAGAIN while nothing is available.
    FILE* Output() const { return m_output; }

    // Waits for more output, processing events. False when there will be none: the
    // child has ended, and processes that it left running print nothing.
    bool AwaitOutput();

    // Asks it to end. False when it has ended already.
    bool Terminate();

    // Closes its output and waits for its end, processing events. Returns the status
    // as pclose does: -1 where it cannot be known.
    int Finish();

private:
    [[noreturn]] static void Become(const char* command, int output);
    bool HasEnded() const;

    pid_t m_pid = -1;
    FILE* m_output = nullptr;
};

} // namespace Agent
