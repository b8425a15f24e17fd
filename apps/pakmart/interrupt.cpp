// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "interrupt.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <initializer_list>
#include <sys/types.h>
#include <unistd.h>
#include <vantrelagent/request/capi.h>

namespace
{

// All of this runs in a signal handler: only calls that may be made there.

volatile std::sig_atomic_t g_received = 0;

int g_pipe[2]; // from the handler to the event loop

using Path = char[64];

// "/proc/PID" with `tail` behind it, in which '*' stands for PID.
void MakePath(Path& path, pid_t pid, const char* tail)
{
    char digits[16];
    int count = 0;
    for (; pid > 0; pid /= 10)
        digits[count++] = char('0' + pid % 10);
    char* out = path;
    for (const char* part : { "/proc/*", tail }) {
        for (; *part; ++part) {
            if (*part != '*') {
                *out++ = *part;
                continue;
            }
            for (int i = count; i > 0; --i)
                *out++ = digits[i - 1];
        }
    }
    *out = '\0';
}

// What a small file holds, up to `size` bytes.
ssize_t ReadFile(const Path& path, char* text, std::size_t size)
{
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return -1;
    const ssize_t count = read(fd, text, size);
    close(fd);
    return count;
}

bool IsShell(pid_t pid)
{
    Path path;
    char name[8];
    MakePath(path, pid, "/comm");
    return ReadFile(path, name, sizeof name) == 3 && name[0] == 's' && name[1] == 'h';
}

// Sends `signal` to each child of a process. A shell that waits for a program
// keeps the signal to itself, or leaves the program behind: it is passed over.
void SignalChildren(pid_t parent, int signal)
{
    Path path;
    char list[1024];
    MakePath(path, parent, "/task/*/children");
    const ssize_t size = ReadFile(path, list, sizeof list);
    pid_t pid = 0;
    for (ssize_t i = 0; i < size; ++i) {
        if (list[i] >= '0' && list[i] <= '9') {
            pid = pid * 10 + (list[i] - '0');
            continue;
        }
        if (pid > 0 && IsShell(pid))
            SignalChildren(pid, signal);
        else if (pid > 0)
            kill(pid, signal);
        pid = 0;
    }
}

void OnSignal(int signal)
{
    const int saved = errno;
    g_received = 1;
    SignalChildren(getpid(), signal);
    const char byte = 0;
    if (write(g_pipe[1], &byte, 1) < 0)
        errno = saved;
    errno = saved;
}

} // namespace

namespace Interrupt
{

void install()
{
    if (pipe2(g_pipe, O_CLOEXEC | O_NONBLOCK) == 0) {
        auto* notifier = new QSocketNotifier(g_pipe[0], QSocketNotifier::Read, qApp);
        QObject::connect(notifier, &QSocketNotifier::activated, qApp, [] {
            char bytes[16];
            while (read(g_pipe[0], bytes, sizeof bytes) > 0) { }
            CAPI::AbortTransfers();
        });
    }
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
