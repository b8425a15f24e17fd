// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "install/frontendchild.h"

#include "util/eventwait.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Agent
{

namespace
{

// How long to read the output of a child that has ended. Its own output is in the pipe
// by then, but a daemon that it started may hold the pipe open forever.
constexpr auto aftermath = std::chrono::milliseconds(100);

} // namespace

void LetEndSignalThrough()
{
    std::signal(SIGTERM, SIG_DFL);
    sigset_t end;
    sigemptyset(&end);
    sigaddset(&end, SIGTERM);
    sigprocmask(SIG_UNBLOCK, &end, nullptr);
}

FrontEndChild::~FrontEndChild()
{
    Finish();
}

bool FrontEndChild::Start(const std::string& command)
{
    // The shell replaces itself by the program, so that a signal reaches the program and
    // not a shell that does not pass it on.
    const std::string line = "exec " + command;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return false;
    m_pid = fork();
    if (m_pid == 0)
        Become(line.c_str(), ends[1]);
    close(ends[1]);
    if (m_pid > 0 && fcntl(ends[0], F_SETFL, O_NONBLOCK) == 0)
        m_output = fdopen(ends[0], "r");
    if (!m_output)
        close(ends[0]);
    return m_output != nullptr;
}

// Between fork and exec: only calls that are safe there.
void FrontEndChild::Become(const char* command, int output)
{
    if (output == STDOUT_FILENO)
        fcntl(output, F_SETFD, 0);
    else
        dup2(output, STDOUT_FILENO);
    LetEndSignalThrough();
    execl("/bin/sh", "sh", "-c", command, static_cast<char*>(nullptr));
    _exit(127);
}

// The child is reaped in Finish, so that its process id cannot be reused before.
bool FrontEndChild::HasEnded() const
{
    siginfo_t info = {};
    return waitid(P_PID, id_t(m_pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0
        || info.si_pid == m_pid;
}

// The end of the pipe cannot be relied on: a daemon that a package started inherits the pipe
// and keeps it open. So the child itself is checked as well, and when it has ended, output is
// read only until none has arrived for the length of Aftermath.
bool FrontEndChild::AwaitOutput()
{
    using Clock = std::chrono::steady_clock;
    Clock::time_point ended;
    const int fd = fileno(m_output);
    while (!PassEvents(fd)) {
        if (ended == Clock::time_point() && HasEnded())
            ended = Clock::now();
        else if (ended != Clock::time_point() && Clock::now() - ended > aftermath)
            return false;
    }
    return true;
}

bool FrontEndChild::Terminate()
{
    return m_pid > 0 && !HasEnded() && kill(m_pid, SIGTERM) == 0;
}

int FrontEndChild::Finish()
{
    if (m_output)
        std::fclose(m_output);
    m_output = nullptr;
    int status = -1;
    while (m_pid > 0) {
        const pid_t ended = waitpid(m_pid, &status, WNOHANG);
        if (ended < 0 && errno != EINTR)
            status = -1;
        if (ended == m_pid || (ended < 0 && errno != EINTR))
            m_pid = -1;
        else
            PassEvents();
    }
    return status;
}

} // namespace Agent
