// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// vos-apt-get: the machine's apt-get, in the words and the grammar of the
// store's package front end. docs/front-end.md describes both.

#include "platform/aptsettings.h"
#include "platform/arguments.h"
#include "platform/child.h"
#include "platform/endsignals.h"
#include "platform/locks.h"
#include "platform/progress.h"
#include "platform/statusreader.h"
#include "platform/translator.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace
{

constexpr int AptFailure = 100; // apt-get's own status for an error

// The host's end may be one that does not block.
void AwaitReader()
{
    pollfd output = { STDOUT_FILENO, POLLOUT, 0 };
    poll(&output, 1, -1);
}

// Writes a line at once. False when nobody reads it.
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

// Descriptors that a careless host left closed must not become those of pipes.
void OpenStandardDescriptors()
{
    int fd = 0;
    do {
        fd = open("/dev/null", O_RDWR | O_CLOEXEC);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    close(fd);
}

// What is told on the status descriptor, as progress lines if they are wanted.
class StatusTeller
{
public:
    StatusTeller(Child& child, Progress& progress, bool wanted, const Child::Lines& relay)
        : m_child(child), m_progress(progress), m_wanted(wanted), m_relay(relay)
    {
    }

    void Tell(const std::string& line)
    {
        const auto told = ParseStatus(line);
        if (!told)
            return;
        if (told->phase == Status::Phase::Install)
            m_child.DpkgWorks();
        // No package is called that: dpkg starts once more.
        if (!m_wanted || told->item == "dpkg-exec")
            return;
        const std::string text = m_progress.Line(*told);
        if (text != m_last)
            m_relay(text);
        m_last = text;
    }

private:
    Child& m_child;
    Progress& m_progress;
    bool m_wanted;
    const Child::Lines& m_relay;
    std::string m_last;
};

int RunAptGet(const Arguments& arguments, const std::string& root)
{
    Child child;
    if (!child.Start(arguments.words, AptSettings(root, arguments.ownSources, Child::StatusFd),
                     root)) {
        Say("E: Unable to start apt-get");
        return AptFailure;
    }
    const Child::Lines relay = [&child](const std::string& line) {
        if (!Say(line))
            child.Interrupt();
    };
    const bool changes = ChangesPackages(arguments);
    Progress progress;
    StatusTeller teller(child, progress, changes, relay);
    const int status
        = child.Read([&](const std::string& line) { relay(Translate(line, progress)); },
                     [&](const std::string& line) { teller.Tell(line); });
    if (changes && status == 0)
        Say(Progress::Done());
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    OpenStandardDescriptors();
    HoldEndSignals();
    const Arguments arguments = SortArguments(std::vector<std::string>(argv + 1, argv + argc));
    const std::string root = PrivateRoot();
    std::string error = NameError(arguments, root + "/var/lib/dpkg/status");
    if (!CanBeQuoted(root))
        error = "E: The private root cannot be used: " + root;
    if (!error.empty()) {
        Say(PlainText(error));
        return AptFailure;
    }
    const int signal = WaitForLocks(LocksOf(arguments, root), Say);
    return signal ? 128 + signal : RunAptGet(arguments, root);
}
