// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// vos-apt-get: the machine's apt-get, in the words and the grammar of the
// store's package front end. docs/front-end.md describes both.

#include "platform/aptsettings.h"
#include "platform/arguments.h"
#include "platform/child.h"
#include "platform/progress.h"
#include "platform/statusreader.h"
#include "platform/translator.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace
{

constexpr int AptFailure = 100; // apt-get's own status for an error

// Writes a line at once. False when nobody reads it.
bool Say(const std::string& text)
{
    const std::string line = text + '\n';
    for (std::size_t done = 0; done < line.size();) {
        const ssize_t count = write(STDOUT_FILENO, line.data() + done, line.size() - done);
        if (count < 0 && errno != EINTR)
            return false;
        done += count > 0 ? std::size_t(count) : 0;
    }
    return true;
}

// What is wrong with the names, if anything.
std::string WrongName(const Arguments& arguments, const std::string& root)
{
    const bool remove = arguments.command == "remove" || arguments.command == "purge";
    if (!remove && arguments.command != "install")
        return std::string();
    for (const std::string& name : arguments.names) {
        if (!IsPlainName(name))
            return "E: Not the name of a package: " + name;
        if (remove && name.back() == '+' && !IsKnownPackage(root + "/var/lib/dpkg/status", name))
            return "E: Unable to locate package " + name;
    }
    return std::string();
}

// Says so when another process holds dpkg's lock; apt-get waits for it.
void TellOfHeldLock(const std::string& root)
{
    for (const char* name : { "/var/lib/dpkg/lock-frontend", "/var/lib/dpkg/lock" }) {
        const int fd = open((root + name).c_str(), O_RDWR | O_CLOEXEC);
        if (fd < 0)
            continue;
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        const bool held = fcntl(fd, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
        close(fd);
        if (held) {
            Say("Waiting for the package lock, which is held by process "
                + std::to_string(lock.l_pid));
            return;
        }
    }
}

int RunAptGet(const Arguments& arguments, const std::string& root)
{
    const bool changes
        = !arguments.printUris && (arguments.command == "install" || arguments.command == "remove");
    if (changes)
        TellOfHeldLock(root);
    Child child;
    child.CatchSignals();
    if (!child.Start(arguments.words, AptSettings(root, arguments.ownSources, Child::StatusFd),
                     !root.empty())) {
        Say("E: Unable to start apt-get");
        return AptFailure;
    }
    Progress progress;
    std::string lastProgress;
    const auto relay = [&child](const std::string& line) {
        if (!Say(line))
            child.Interrupt();
    };
    const int status
        = child.Read([&](const std::string& line) { relay(Translate(line, progress)); },
                     [&](const std::string& line) {
                         const auto told = ParseStatus(line);
                         if (!told)
                             return;
                         if (told->phase == Status::Phase::Install)
                             child.DpkgWorks();
                         const std::string text = progress.Line(*told);
                         if (changes && text != lastProgress)
                             relay(text);
                         lastProgress = text;
                     });
    if (changes && status == 0)
        Say(Progress::Done());
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    const Arguments arguments = SortArguments(std::vector<std::string>(argv + 1, argv + argc));
    const std::string root = PrivateRoot();
    if (!CanBeQuoted(root)) {
        Say("E: The private root cannot be used: " + root);
        return AptFailure;
    }
    const std::string wrong = WrongName(arguments, root);
    if (!wrong.empty()) {
        Say(wrong);
        return AptFailure;
    }
    return RunAptGet(arguments, root);
}
