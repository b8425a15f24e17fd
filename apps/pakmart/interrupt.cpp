// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "interrupt.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

namespace
{

volatile std::sig_atomic_t g_received = 0;
char g_children[64]; // the kernel's list of our children

// Sends `signal` to each child. Only calls that a signal handler may make.
void SignalChildren(int signal)
{
    const int fd = open(g_children, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return;
    char list[4096];
    const ssize_t size = read(fd, list, sizeof list);
    close(fd);
    pid_t pid = 0;
    for (ssize_t i = 0; i < size; ++i) {
        if (list[i] >= '0' && list[i] <= '9') {
            pid = pid * 10 + (list[i] - '0');
        } else if (pid > 0) {
            kill(pid, signal);
            pid = 0;
        }
    }
}

void OnSignal(int signal)
{
    const int saved = errno;
    g_received = 1;
    SignalChildren(signal);
    errno = saved;
}

} // namespace

namespace Interrupt
{

void install()
{
    std::snprintf(g_children, sizeof g_children, "/proc/self/task/%ld/children", long(getpid()));
    struct sigaction action = {};
    action.sa_handler = OnSignal;
    // The library reads its child's output through stdio, which an interrupted
    // read would end: the reads go on, and the child's end ends them.
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool received()
{
    return g_received != 0;
}

} // namespace Interrupt
