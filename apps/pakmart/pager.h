// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The program that shows long lists page by page: that of the variable PAGER, or else
// "less -FRX".

#pragma once

#include <QStringList>
#include <sys/types.h>

class Pager
{
public:
    Pager() = default;
    // Waits until the user has left the pager.
    ~Pager();
    Pager(const Pager&) = delete;
    Pager& operator=(const Pager&) = delete;

    // The program and its arguments; empty if none is wanted, or it is not on this machine.
    static QStringList Command();

    // Starts it; its output goes to `terminal`. False if it cannot be started.
    bool Start(int terminal);
    // The descriptor to write to.
    int Input() const { return m_input; }

private:
    pid_t m_pid = 0;
    int m_input = -1;
};
