// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// vos-apt-get: runs the machine's apt-get with the command line and output format of the
// store's package front end. docs/front-end.md describes both.

#include "base/privateroot.h"
#include "platform/aptwords.h"
#include "platform/arguments.h"
#include "platform/changecheck.h"
#include "platform/child.h"
#include "platform/handover.h"
#include "platform/interrupted.h"
#include "platform/locks.h"
#include "platform/plandigest.h"
#include "platform/planning.h"
#include "platform/replycheck.h"
#include "platform/statusreader.h"
#include "platform/storesession.h"
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

// Carries out one plan and no other.
int RunExpected(Arguments arguments, const std::string& root)
{
    PrintedPlan plan;
    if (const int status = CheckPlan(arguments, root, Say, plan))
        return status;
    const ChangeCheck check(plan);
    const std::vector<std::string> words = check.Words();
    if (words.empty()) {
        Say("E: The changes cannot be checked");
        return aptFailure;
    }
    arguments.words.insert(arguments.words.begin(), words.begin(), words.end());
    // What is put right first has a run of its own, with these options.
    const std::vector<std::string> part = check.Words(ChangeCheck::Scope::Part);
    arguments.options.insert(arguments.options.begin(), part.begin(), part.end());
    FinishInterrupted(arguments, root, Say);
    const int status = RunAptGet(arguments, root, Say);
    FinishInterrupted(arguments, root, Say); // dpkg may have been killed after its last package
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    OpenStandardDescriptors();
    if (const int status = RunChangeCheck(std::vector<std::string>(argv + 1, argv + argc));
        status >= 0)
        return status;
    if (const int status
        = RunReplyCheck(std::vector<std::string>(argv + 1, argv + argc), Agent::PrivateRoot());
        status >= 0)
        return status;
    HoldEndSignals();
    Arguments arguments = SortArguments(std::vector<std::string>(argv + 1, argv + argc));
    const std::string root = Agent::PrivateRoot();
    std::string error = NameError(arguments, root + "/var/lib/dpkg/status");
    if (!CanBeQuoted(root))
        error = "E: The private root cannot be used: " + root;
    if (!error.empty()) {
        Say(PlainText(error));
        return aptFailure;
    }
    const Writer say = Say;
    StoreSession stores(root, say);
    if (const int status = stores.Prepare(arguments); status >= 0)
        return status;
    arguments.stallSeconds = stores.StallSeconds();
    if (arguments.plans)
        return PrintPlan(arguments, root, Say);
    if (NeedsHelper(arguments))
        return HandOver(arguments, Say);
    const int signal = WaitForLocks(LocksOf(arguments, root), arguments.lockSeconds, Say);
    if (signal)
        return 128 + signal;
    return arguments.expectedPlan.empty() ? RunAptGet(arguments, root, Say)
                                          : RunExpected(arguments, root);
}
