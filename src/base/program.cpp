// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/program.h"

#include "base/descriptor.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Agent
{

namespace
{

// A file without a name: unlike a pipe, it can be written and read without both ends
// waiting for each other.
Descriptor NamelessFile(const std::string& text)
{
    Descriptor file(memfd_create("text", MFD_CLOEXEC));
    if (file && write(file.Get(), text.data(), text.size()) != ssize_t(text.size()))
        return Descriptor();
    if (file)
        lseek(file.Get(), 0, SEEK_SET);
    return file;
}

std::string TextOf(const Descriptor& file)
{
    const off_t size = lseek(file.Get(), 0, SEEK_END);
    std::string text(size > 0 ? std::size_t(size) : 0, '\0');
    const ssize_t count = pread(file.Get(), text.data(), text.size(), 0);
    text.resize(count > 0 ? std::size_t(count) : 0);
    return text;
}

std::vector<std::string> UntranslatedEnvironment()
{
    std::vector<std::string> variables{ "LC_ALL=C.UTF-8" };
    for (char** one = environ; *one; ++one) {
        if (std::strncmp(*one, "LC_ALL=", 7) != 0 && std::strncmp(*one, "LANGUAGE=", 9) != 0)
            variables.emplace_back(*one);
    }
    return variables;
}

// The form in which the system takes lists of words. It points into `words`.
std::vector<char*> Pointers(std::vector<std::string>& words)
{
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

// Attributes of a new process: no blocked signals, and none that this process ignores.
class Attributes
{
public:
    Attributes()
    {
        sigset_t none, ignored;
        sigemptyset(&none);
        sigemptyset(&ignored);
        for (const int number : { SIGPIPE, SIGINT, SIGTERM, SIGCHLD })
            sigaddset(&ignored, number);
        posix_spawnattr_init(&m_attributes);
        posix_spawnattr_setsigmask(&m_attributes, &none);
        posix_spawnattr_setsigdefault(&m_attributes, &ignored);
        posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        posix_spawn_file_actions_init(&m_actions);
    }
    ~Attributes()
    {
        posix_spawn_file_actions_destroy(&m_actions);
        posix_spawnattr_destroy(&m_attributes);
    }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    void Use(const Descriptor& file, int as)
    {
        posix_spawn_file_actions_adddup2(&m_actions, file.Get(), as);
    }
    int Spawn(pid_t& pid, std::vector<std::string> words,
              std::vector<std::string> environment) const
    {
        return posix_spawnp(&pid, words[0].c_str(), &m_actions, &m_attributes,
                            Pointers(words).data(), Pointers(environment).data());
    }

private:
    posix_spawnattr_t m_attributes;
    posix_spawn_file_actions_t m_actions;
};

// Kills it when the time is over.
int AwaitStatus(pid_t pid, int seconds)
{
    const Descriptor process(int(syscall(SYS_pidfd_open, pid, 0)));
    pollfd end = { process.Get(), POLLIN, 0 };
    if (process && seconds > 0 && poll(&end, 1, seconds * 1000) == 0)
        kill(pid, SIGKILL);
    int raw = 0;
    pid_t ended = -1;
    do {
        ended = waitpid(pid, &raw, 0);
    } while (ended < 0 && errno == EINTR);
    return ended == pid && WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
}

} // namespace

ProgramResult RunProgram(const std::vector<std::string>& words, const std::string& input,
                         const ProgramLimits& limits)
{
    const Descriptor in = NamelessFile(input), out = NamelessFile({}), errors = NamelessFile({});
    ProgramResult result;
    if (!in || !out || !errors) {
        result.errors = std::strerror(errno);
        return result;
    }
    Attributes attributes;
    attributes.Use(in, STDIN_FILENO);
    attributes.Use(out, STDOUT_FILENO);
    attributes.Use(errors, STDERR_FILENO);
    pid_t pid = -1;
    if (const int error = attributes.Spawn(pid, words,
                                           limits.environment.empty() ? UntranslatedEnvironment()
                                                                      : limits.environment)) {
        result.errors = words[0] + ": " + std::strerror(error);
        return result;
    }
    result.status = AwaitStatus(pid, limits.seconds);
    result.output = TextOf(out);
    result.errors = TextOf(errors);
    return result;
}

} // namespace Agent
