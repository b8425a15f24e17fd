// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Removes unfinished files when a signal ends the program.

#pragma once

#include <csignal>
#include <string>

namespace DbTool
{

// Blocks SIGTERM, SIGINT and SIGHUP during a scope.
class SignalsHeld
{
public:
    SignalsHeld();
    ~SignalsHeld();
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
    sigset_t m_before;
};

// From now on these signals remove the file before they end the program. Call it with the
// signals blocked when the file has just been created, and RemoveNoMore, also with the
// signals blocked, when the file has its final name or is gone.
void RemoveOnSignal(const std::string& path);
void RemoveNoMore(const std::string& path);

} // namespace DbTool
