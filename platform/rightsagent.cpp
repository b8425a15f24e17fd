// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/rightsagent.h"

#include "base/descriptor.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

constexpr int readyMilliseconds = 10 * 1000;

bool HasTerminal()
{
    return bool(Agent::Descriptor(open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)));
}

bool HasDesktop()
{
    return getenv("DISPLAY") || getenv("WAYLAND_DISPLAY");
}

[[noreturn]] void Become(int ready, pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    fcntl(ready, F_SETFD, 0);
    const std::string process = std::to_string(parent), descriptor = std::to_string(ready);
    // A fallback is not found by polkit where there is no login session.
    const char* const mayGiveWay = HasDesktop() ? "--fallback" : nullptr;
    execlp("pkttyagent", "pkttyagent", "--process", process.c_str(), "--notify-fd",
           descriptor.c_str(), mayGiveWay, nullptr);
    _exit(127);
}

} // namespace

// The agent closes its end of the pipe when it is ready; so does one that cannot start.
RightsAgent::RightsAgent()
{
    int ends[2];
    if (!HasTerminal() || pipe2(ends, O_CLOEXEC) != 0)
        return;
    const pid_t parent = getpid();
    m_process = fork();
    if (m_process == 0)
        Become(ends[1], parent);
    close(ends[1]);
    const Agent::Descriptor ready(ends[0]);
    pollfd waiting = { ready.Get(), POLLIN, 0 };
    poll(&waiting, 1, readyMilliseconds);
}

RightsAgent::~RightsAgent()
{
    if (m_process <= 0)
        return;
    kill(m_process, SIGTERM);
    kill(m_process, SIGCONT);
    while (waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) { }
}
