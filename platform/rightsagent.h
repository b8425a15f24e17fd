// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// polkit's agent for terminals: it asks for the password where no desktop does.

#pragma once

#include <sys/types.h>

class RightsAgent
{
public:
    // Starts the agent for this process if there is a terminal, and waits until it is ready.
    // It gives way to an agent of the desktop.
    RightsAgent();
    ~RightsAgent(); // ends it
    RightsAgent(const RightsAgent&) = delete;
    RightsAgent& operator=(const RightsAgent&) = delete;

private:
    pid_t m_process = -1;
};
