// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "parts.h"

#include <climits>
#include <cstring>
#include <unistd.h>

namespace DbTool
{

namespace
{

constexpr int endings[] = { SIGTERM, SIGINT, SIGHUP };

// A repair makes at most two files. Fixed buffers, since a signal handler must not
// allocate memory.
char parts[2][PATH_MAX];

sigset_t EndingSet()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int ending : endings)
        sigaddset(&set, ending);
    return set;
}

void RemoveAndEnd(int ending)
{
    for (const char* const part : parts)
        if (part[0] != 0)
            ::unlink(part);
    // The handler is installed for one call only, so this ends the program.
    ::raise(ending);
}

// A signal that was ignored before, for example by nohup, stays ignored.
void CatchEndings()
{
    struct sigaction action {
    };
    action.sa_handler = RemoveAndEnd;
    action.sa_flags = SA_RESETHAND;
    for (const int ending : endings) {
        struct sigaction before {
        };
        if (::sigaction(ending, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
            ::sigaction(ending, &action, nullptr);
    }
}

} // namespace

SignalsHeld::SignalsHeld() : m_before()
{
    const sigset_t set = EndingSet();
    ::sigprocmask(SIG_BLOCK, &set, &m_before);
}

SignalsHeld::~SignalsHeld()
{
    ::sigprocmask(SIG_SETMASK, &m_before, nullptr);
}

void RemoveOnSignal(const std::string& path)
{
    for (char(&part)[PATH_MAX] : parts)
        if (part[0] == 0 && path.size() < sizeof part) {
            std::strcpy(part, path.c_str());
            break;
        }
    CatchEndings();
}

void RemoveNoMore(const std::string& path)
{
    for (char(&part)[PATH_MAX] : parts)
        if (path == part)
            part[0] = 0;
}

} // namespace DbTool
