// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A file descriptor that is closed with its owner.

#pragma once

#include <unistd.h>
#include <utility>

namespace Agent
{

class Descriptor
{
public:
    explicit Descriptor(int fd = -1) : m_fd(fd) { }
    Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) { }
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        if (m_fd >= 0)
            close(m_fd);
    }

    int Get() const { return m_fd; } // -1 for none
    explicit operator bool() const { return m_fd >= 0; }

private:
    int m_fd;
};

} // namespace Agent
