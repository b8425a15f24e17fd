// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "connection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

const std::chrono::seconds kRequestTime(5);
const int kWriteTime = 10000; // ms for which a client may read nothing
const std::chrono::seconds kFarewell(1); // for the client to close its side

using Clock = std::chrono::steady_clock;

// The remaining milliseconds, for poll.
int TimeUntil(Clock::time_point deadline)
{
    using namespace std::chrono;
    return std::max(0, int(duration_cast<milliseconds>(deadline - Clock::now()).count()));
}

bool WaitFor(int socket, short event, int milliseconds)
{
    pollfd wait{ socket, event, 0 };
    int count = 0;
    do {
        count = poll(&wait, 1, milliseconds);
    } while (count < 0 && errno == EINTR);
    return count > 0;
}

// Calls `attempt` until it has moved bytes or failed, waiting for the socket in between.
template <class Attempt>
ssize_t When(int socket, short event, int milliseconds, const Attempt& attempt)
{
    for (;;) {
        const ssize_t moved = attempt();
        if (moved >= 0 || (errno != EAGAIN && errno != EINTR))
            return moved;
        if (errno == EAGAIN && !WaitFor(socket, event, milliseconds))
            return -1;
    }
}

} // namespace

Connection::Connection(int socket) : m_socket(socket), m_deadline(Clock::now() + kRequestTime) { }

// If a socket is closed with unread bytes, the connection is reset and the reply is lost. A
// client that has sent its whole request is not waited for: the kernel sends the reply.
Connection::~Connection()
{
    if (!m_requestIsWhole || isAnythingUnread())
        readTheRest();
    close(m_socket);
}

bool Connection::isAnythingUnread() const
{
    char next;
    return recv(m_socket, &next, sizeof next, MSG_PEEK) > 0;
}

// Reads and discards what the client still sends. One that sends slowly does not get more
// time.
void Connection::readTheRest()
{
    shutdown(m_socket, SHUT_WR);
    const auto end = Clock::now() + kFarewell;
    std::array<char, 4096> rest;
    std::size_t left = largestRequest;
    while (left > 0 && WaitFor(m_socket, POLLIN, TimeUntil(end))) {
        const ssize_t got = recv(m_socket, rest.data(), rest.size(), 0);
        if (got <= 0)
            break;
        left -= std::min(left, std::size_t(got));
    }
}

// The deadline is that of the whole request, so a client cannot extend it by sending slowly.
std::size_t Connection::read(char* data, std::size_t size)
{
    const std::size_t room = std::min(size, largestRequest - m_received);
    if (room == 0 || TimeUntil(m_deadline) == 0)
        return 0;
    const ssize_t got = When(m_socket, POLLIN, TimeUntil(m_deadline),
                             [this, data, room] { return recv(m_socket, data, room, 0); });
    m_received += got > 0 ? std::size_t(got) : 0;
    return got > 0 ? std::size_t(got) : 0;
}

bool Connection::write(const char* data, std::size_t size, bool more)
{
    const int flags = MSG_NOSIGNAL | (more ? MSG_MORE : 0);
    while (size > 0) {
        const ssize_t sent = When(m_socket, POLLOUT, kWriteTime, [this, data, size, flags] {
            return send(m_socket, data, size, flags);
        });
        if (sent <= 0)
            return false;
        data += sent;
        size -= std::size_t(sent);
    }
    return true;
}

// Also fails if the file has become shorter in the meantime.
bool Connection::sendFile(int file, off_t from, std::size_t size)
{
    while (size > 0) {
        const ssize_t sent = When(m_socket, POLLOUT, kWriteTime,
                                  [&] { return sendfile(m_socket, file, &from, size); });
        if (sent <= 0)
            return false;
        size -= std::size_t(sent);
    }
    return true;
}
