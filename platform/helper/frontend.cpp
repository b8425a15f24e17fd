// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/helper/frontend.h"

#include "platform/helper/places.h"

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

void ResetSignals()
{
    for (int number = 1; number < NSIG; ++number)
        std::signal(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void Become(const std::vector<char*>& argv, int output)
{
    const char* const environment[]
        = { "PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C.UTF-8", "HOME=/root", nullptr };
    setsid();
    umask(022);
    ResetSignals();
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (chdir("/") == 0 && dup2(nothing, STDIN_FILENO) >= 0 && dup2(output, STDOUT_FILENO) >= 0
        && dup2(output, STDERR_FILENO) >= 0 && close_range(STDERR_FILENO + 1, ~0U, 0) == 0)
        execve(argv[0], argv.data(), const_cast<char* const*>(environment));
    _exit(127);
}

} // namespace

FrontEnd StartFrontEnd(const std::vector<std::string>& words)
{
    const std::string program = FrontEndProgram();
    std::vector<char*> argv{ const_cast<char*>(program.c_str()) };
    for (const std::string& word : words)
        argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return FrontEnd();
    FrontEnd run;
    run.output = Agent::Descriptor(ends[0]);
    const Agent::Descriptor input(ends[1]);
    run.process = fork();
    if (run.process == 0)
        Become(argv, input.Get());
    return run;
}
