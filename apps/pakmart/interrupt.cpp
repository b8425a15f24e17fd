// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "interrupt.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>
#include <utility>
#include <vantrelagent/request/capi.h>
#include <vector>

namespace
{

volatile std::sig_atomic_t g_received = 0;

int g_pipe[2]; // from the signal handler to the event loop

std::vector<std::function<void()>> g_handlers;

void OnSignal(int)
{
    const int saved = errno;
    g_received = 1;
    const char byte = 0;
    if (write(g_pipe[1], &byte, 1) < 0)
        errno = saved;
    errno = saved;
}

void OnInterruption()
{
    char bytes[16];
    while (read(g_pipe[0], bytes, sizeof bytes) > 0) { }
    // A copy: a handler may end the work that owns it or another one.
    const auto handlers = g_handlers;
    for (auto handler = handlers.rbegin(); handler != handlers.rend(); ++handler)
        (*handler)();
    CAPI::AbortTransfers();
}

} // namespace

namespace Interrupt
{

void install()
{
    if (pipe2(g_pipe, O_CLOEXEC | O_NONBLOCK) == 0) {
        auto* notifier = new QSocketNotifier(g_pipe[0], QSocketNotifier::Read, qApp);
        QObject::connect(notifier, &QSocketNotifier::activated, qApp, OnInterruption);
    }
    struct sigaction action = {};
    action.sa_handler = OnSignal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool received()
{
    return g_received != 0;
}

Handler::Handler(std::function<void()> handler)
{
    g_handlers.push_back(std::move(handler));
}

Handler::~Handler()
{
    g_handlers.pop_back();
}

} // namespace Interrupt
