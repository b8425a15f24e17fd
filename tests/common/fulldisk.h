// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A disk with no more room, for this process and those that it starts meanwhile.

#pragma once

#include <csignal>
#include <sys/resource.h>

// No file grows beyond `size` bytes as long as it lives.
class FullDisk
{
public:
    explicit FullDisk(rlim_t size)
    {
        getrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit small{ size, m_before.rlim_max };
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &m_before); }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit m_before;
};
