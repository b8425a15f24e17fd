// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Simulates a machine that has run out of something.

#pragma once

#include <QtGlobal>
#include <csignal>
#include <sys/resource.h>
#include <unistd.h>

// Lowers a limit of this process and its children, as long as the object lives.
class LowLimit
{
public:
    using Resource = decltype(RLIMIT_NOFILE);

    LowLimit(Resource resource, rlim_t value) : m_resource(resource)
    {
        getrlimit(m_resource, &m_before);
        const rlimit low{ value, m_before.rlim_max };
        if (setrlimit(m_resource, &low) != 0)
            qFatal("cannot lower a limit");
    }
    ~LowLimit() { setrlimit(m_resource, &m_before); }
    LowLimit(const LowLimit&) = delete;
    LowLimit& operator=(const LowLimit&) = delete;

private:
    const Resource m_resource;
    rlimit m_before;
};

// A disk with no more room: no file grows beyond `size` bytes.
class FullDisk : private LowLimit
{
public:
    explicit FullDisk(rlim_t size) : LowLimit(RLIMIT_FSIZE, size)
    {
        std::signal(SIGXFSZ, SIG_IGN); // the write must fail instead
    }
};

// No further file, pipe or socket can be opened.
class NoMoreFiles : private LowLimit
{
public:
    NoMoreFiles() : LowLimit(RLIMIT_NOFILE, nextFree()) { }

private:
    static rlim_t nextFree()
    {
        const int fd = dup(0);
        close(fd);
        return rlim_t(fd);
    }
};

// No further process can be started. Root always can, so this is an ordinary user as long
// as the object lives.
class NoMoreProcesses
{
public:
    NoMoreProcesses() : m_limit(RLIMIT_NPROC, 0)
    {
        if (m_root && setresuid(nobody, nobody, 0) != 0)
            qFatal("cannot become an ordinary user");
    }
    ~NoMoreProcesses()
    {
        if (m_root && setresuid(0, 0, 0) != 0)
            qFatal("cannot become root again");
    }
    NoMoreProcesses(const NoMoreProcesses&) = delete;
    NoMoreProcesses& operator=(const NoMoreProcesses&) = delete;

private:
    static constexpr uid_t nobody = 65534;

    const bool m_root = geteuid() == 0;
    const LowLimit m_limit;
};
