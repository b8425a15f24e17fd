// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// One client's connection, with bounds on what it may send and how long.

#pragma once

#include <array>
#include <chrono>
#include <httplib.h>
#include <string>

class Connection : public httplib::Stream
{
public:
    explicit Connection(socket_t socket); // takes it over
    ~Connection() override;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool is_readable() const override;
    bool is_writable() const override;
    ssize_t read(char* data, size_t size) override;
    ssize_t write(const char* data, size_t size) override;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    socket_t socket() const override { return m_socket; }

private:
    bool fill();

    const socket_t m_socket;
    const std::chrono::steady_clock::time_point m_deadline; // for the request to be there
    std::size_t m_received = 0;
    std::array<char, 4096> m_buffer{};
    std::size_t m_at = 0;
    std::size_t m_filled = 0;
};
