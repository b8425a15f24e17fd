// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "util/standardoutput.h"

#include <cerrno>
#include <cstdio>
#include <poll.h>
#include <unistd.h>

namespace Agent
{

namespace
{

// A full pipe that does not block gets a moment to be read.
bool AwaitRoom(int fd)
{
    pollfd output = { fd, POLLOUT, 0 };
    return poll(&output, 1, 100) > 0;
}

} // namespace

// Bypasses stdio's buffer, which an interrupted write would silently discard.
void WriteLine(const std::string& line)
{
    std::fflush(stdout);
    const std::string text = line + '\n';
    const int fd = fileno(stdout);
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = write(fd, text.data() + done, text.size() - done);
        if (count > 0)
            done += std::size_t(count);
        else if (errno != EINTR && !(errno == EAGAIN && AwaitRoom(fd)))
            return;
    }
}

void WriteLine(const QString& line)
{
    WriteLine(line.toStdString());
}

} // namespace Agent
