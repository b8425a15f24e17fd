// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// One client's connection, with limits on the size and the time of its requests.

#pragma once

#include <chrono>
#include <cstddef>
#include <sys/types.h>

class Connection
{
public:
    static constexpr std::size_t largestRequest = 64 * 1024;

    explicit Connection(int socket); // takes it over; it must not block
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // The next bytes of the request; 0 when no more come, or no more are taken.
    std::size_t read(char* data, std::size_t size);

    // The request has been read to its end, so the client has nothing more to send.
    void setRequestIsWhole() { m_requestIsWhole = true; }

    // Sends all of it. `more` holds a last, small packet back until more data follows.
    bool write(const char* data, std::size_t size, bool more);
    bool sendFile(int file, off_t from, std::size_t size);

private:
    bool isAnythingUnread() const;
    void readTheRest();

    const int m_socket;
    const std::chrono::steady_clock::time_point m_deadline; // for the request to be there
    std::size_t m_received = 0;
    bool m_requestIsWhole = false;
};
