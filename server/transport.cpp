// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "transport.h"

#include <cerrno>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/sendfile.h>
#include <sys/socket.h>

namespace
{

// What a system call has done; `wants` is what it would have waited for.
template <class Call> Transport::Result Try(Transport::Outcome wants, const Call& call)
{
    ssize_t moved = 0;
    do {
        moved = call();
    } while (moved < 0 && errno == EINTR);
    if (moved > 0)
        return { Transport::Outcome::Moved, std::size_t(moved) };
    return { moved < 0 && errno == EAGAIN ? wants : Transport::Outcome::Ended, 0 };
}

} // namespace

Transport::Transport(Agent::Descriptor socket) : m_socket(std::move(socket)) { }

Transport::Result Transport::Read(char* data, std::size_t size)
{
    return Try(Outcome::WantsInput, [&] { return recv(Socket(), data, size, 0); });
}

Transport::Result Transport::Write(const char* data, std::size_t size, bool more)
{
    const int flags = MSG_NOSIGNAL | (more ? MSG_MORE : 0);
    return Try(Outcome::WantsRoom, [&] { return send(Socket(), data, size, flags); });
}

Transport::Result Transport::SendFile(int file, off_t& at, std::size_t size)
{
    return Try(Outcome::WantsRoom, [&] { return sendfile(Socket(), file, &at, size); });
}

void Transport::Finish()
{
    shutdown(Socket(), SHUT_WR);
}

std::size_t Transport::Unconfirmed() const
{
    int bytes = 0;
    return ioctl(Socket(), SIOCOUTQ, &bytes) == 0 && bytes > 0 ? std::size_t(bytes) : 0;
}
