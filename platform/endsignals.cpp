// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/endsignals.h"

#include <initializer_list>

sigset_t EndSignals()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : { SIGINT, SIGTERM, SIGHUP }) {
        struct sigaction now;
        if (sigaction(signal, nullptr, &now) == 0 && now.sa_handler != SIG_IGN)
            sigaddset(&set, signal);
    }
    return set;
}

void HoldEndSignals()
{
    const sigset_t ends = EndSignals();
    sigprocmask(SIG_BLOCK, &ends, nullptr);
}
