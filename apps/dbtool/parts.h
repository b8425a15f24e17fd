// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Unfinished files that go when the program is ended by a signal.

#pragma once

#include <csignal>
#include <string>

namespace DbTool
{

// Holds back SIGTERM, SIGINT and SIGHUP for the length of a block.
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

// From now on these signals remove the file before they end the program. To be
// called with the signals held, when the file has just been made, and again, with
// RemoveNoMore, when it has its own name or is gone.
void RemoveOnSignal(const std::string& path);
void RemoveNoMore(const std::string& path);

} // namespace DbTool
