// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "connection.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

const std::size_t kLargestRequest = 64 * 1024;
const std::chrono::seconds kRequestTime(5);
const int kWriteTime = 10000; // ms that a client may take no byte
const std::chrono::seconds kFarewell(1); // that a client may take to close

using Clock = std::chrono::steady_clock;

// Milliseconds, for poll.
int TimeUntil(Clock::time_point deadline)
{
    using namespace std::chrono;
    return std::max(0, int(duration_cast<milliseconds>(deadline - Clock::now()).count()));
}

bool WaitFor(socket_t socket, short event, int milliseconds)
{
    pollfd wait{ socket, event, 0 };
    int count = 0;
    do {
        count = poll(&wait, 1, milliseconds);
    } while (count < 0 && errno == EINTR);
    return count > 0;
}

} // namespace

Connection::Connection(socket_t socket) : m_socket(socket), m_deadline(Clock::now() + kRequestTime)
{
}

// What the client still sends is read away before the socket is closed: closed
// with bytes unread, the connection would be reset and the reply be lost. A client
// that sends drop by drop gets no longer for it.
Connection::~Connection()
{
    shutdown(m_socket, SHUT_WR);
    const auto end = Clock::now() + kFarewell;
    std::size_t left = kLargestRequest;
    while (left > 0 && WaitFor(m_socket, POLLIN, TimeUntil(end))) {
        const ssize_t got = recv(m_socket, m_buffer.data(), m_buffer.size(), 0);
        if (got <= 0)
            break;
        left -= std::min(left, std::size_t(got));
    }
    close(m_socket);
}

bool Connection::is_readable() const
{
    return m_at < m_filled || WaitFor(m_socket, POLLIN, TimeUntil(m_deadline));
}

bool Connection::is_writable() const
{
    return WaitFor(m_socket, POLLOUT, kWriteTime);
}

bool Connection::fill()
{
    if (m_received >= kLargestRequest || !WaitFor(m_socket, POLLIN, TimeUntil(m_deadline)))
        return false;
    const ssize_t got = recv(m_socket, m_buffer.data(), m_buffer.size(), 0);
    m_at = 0;
    m_filled = got > 0 ? std::size_t(got) : 0;
    m_received += m_filled;
    return m_filled > 0;
}

ssize_t Connection::read(char* data, size_t size)
{
    if (m_at == m_filled && !fill())
        return -1;
    const std::size_t count = std::min(size, m_filled - m_at);
    std::memcpy(data, m_buffer.data() + m_at, count);
    m_at += count;
    return ssize_t(count);
}

ssize_t Connection::write(const char* data, size_t size)
{
    if (!is_writable())
        return -1;
    ssize_t count = 0;
    do {
        count = send(m_socket, data, size, MSG_NOSIGNAL);
    } while (count < 0 && errno == EINTR);
    return count;
}

void Connection::get_remote_ip_and_port(std::string& ip, int& port) const
{
    ip.clear(); // nobody asks
    port = 0;
}

void Connection::get_local_ip_and_port(std::string& ip, int& port) const
{
    ip.clear();
    port = 0;
}
