// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// vos-apt-get: runs the machine's apt-get with the command line and output format of the
// store's package front end. docs/front-end.md describes both.

#include "base/privateroot.h"
#include "platform/aptwords.h"
#include "platform/arguments.h"
#include "platform/child.h"
#include "platform/locks.h"
#include "platform/planning.h"
#include "platform/statusreader.h"
#include "platform/transaction.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace
{

// The host's end of the pipe may be non-blocking.
void AwaitReader()
{
    pollfd output = { STDOUT_FILENO, POLLOUT, 0 };
    poll(&output, 1, -1);
}

// Writes a line without buffering. False when nobody reads it.
bool Say(const std::string& text)
{
    const std::string line = text + '\n';
    for (std::size_t done = 0; done < line.size();) {
        const ssize_t count = write(STDOUT_FILENO, line.data() + done, line.size() - done);
        if (count < 0 && errno == EAGAIN)
            AwaitReader();
        else if (count < 0 && errno != EINTR)
            return false;
        done += count > 0 ? std::size_t(count) : 0;
    }
    return true;
}

// If a host left a standard descriptor closed, a pipe must not get its number.
void OpenStandardDescriptors()
{
    int fd = 0;
    do {
        fd = open("/dev/null", O_RDWR | O_CLOEXEC);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    close(fd);
}

} // namespace

int main(int argc, char** argv)
{
    OpenStandardDescriptors();
    HoldEndSignals();
    const Arguments arguments = SortArguments(std::vector<std::string>(argv + 1, argv + argc));
    const std::string root = Agent::PrivateRoot();
    std::string error = NameError(arguments, root + "/var/lib/dpkg/status");
    if (!CanBeQuoted(root))
        error = "E: The private root cannot be used: " + root;
    if (!error.empty()) {
        Say(PlainText(error));
        return aptFailure;
    }
    if (arguments.plans)
        return PrintPlan(arguments, root, Say);
    const int signal = WaitForLocks(LocksOf(arguments, root), arguments.lockSeconds, Say);
    return signal ? 128 + signal : RunAptGet(arguments, root, Say);
}
