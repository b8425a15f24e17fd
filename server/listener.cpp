// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "listener.h"

#include <cerrno>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

using Agent::Descriptor;

namespace
{

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

Addresses Find(const std::string& address, int port)
{
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE;
    addrinfo* found = nullptr;
    const std::string service = std::to_string(port);
    if (getaddrinfo(address.c_str(), service.c_str(), &hints, &found) != 0)
        found = nullptr;
    return { found, freeaddrinfo };
}

// Accepted connections inherit the options. A port that another server uses is not taken.
Descriptor ListenAt(const addrinfo& address, int waiting)
{
    Descriptor socket(
        ::socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC, address.ai_protocol));
    const int yes = 1;
    if (!socket || setsockopt(socket.Get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) != 0
        || setsockopt(socket.Get(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes) != 0
        || bind(socket.Get(), address.ai_addr, address.ai_addrlen) != 0
        || listen(socket.Get(), waiting) != 0)
        return Descriptor();
    return socket;
}

} // namespace

Descriptor Listen(const std::string& address, int port, int waiting)
{
    const Addresses addresses = Find(address, port);
    errno = 0;
    for (const addrinfo* one = addresses.get(); one; one = one->ai_next) {
        Descriptor socket = ListenAt(*one, waiting);
        if (socket)
            return socket;
    }
    return Descriptor();
}

int PortOf(const Descriptor& listener)
{
    sockaddr_storage address = {};
    socklen_t size = sizeof address;
    if (getsockname(listener.Get(), reinterpret_cast<sockaddr*>(&address), &size) != 0)
        return 0;
    const auto* v6 = reinterpret_cast<const sockaddr_in6*>(&address);
    const auto* v4 = reinterpret_cast<const sockaddr_in*>(&address);
    return ntohs(address.ss_family == AF_INET6 ? v6->sin6_port : v4->sin_port);
}
