// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "util/diagnostics.h"

#include <cerrno>
#include <cstdio>
#include <poll.h>
#include <unistd.h>

namespace Agent
{

// src/vantrelagent.categories describes them for the programs that switch them on.
Q_LOGGING_CATEGORY(logRequest, "vantrel.agent.request", QtWarningMsg)
Q_LOGGING_CATEGORY(logCatalog, "vantrel.agent.catalog", QtWarningMsg)
Q_LOGGING_CATEGORY(logInstall, "vantrel.agent.install", QtWarningMsg)
Q_LOGGING_CATEGORY(logDb, "vantrel.agent.db", QtWarningMsg)
Q_LOGGING_CATEGORY(logSettings, "vantrel.agent.settings", QtWarningMsg)

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
