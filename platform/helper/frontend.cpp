// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/helper/helper.h"

#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

pid_t Helper::StartFrontEnd(const std::vector<std::string>& words, Agent::Descriptor& output) const
{
    const char* const environment[]
        = { "PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C.UTF-8", "HOME=/root", nullptr };
    std::vector<const char*> argv{ m_program };
    for (const std::string& word : words)
        argv.push_back(word.c_str());
    argv.push_back(nullptr);
    int ends[2];
    posix_spawnattr_t how;
    posix_spawn_file_actions_t files;
    if (pipe2(ends, O_CLOEXEC) != 0 || posix_spawnattr_init(&how) != 0
        || posix_spawn_file_actions_init(&files) != 0)
        return -1;
    output = Agent::Descriptor(ends[0]);
    const Agent::Descriptor input(ends[1]);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&how, &signals);
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&how, &signals);
    posix_spawnattr_setflags(&how,
                             POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    pid_t process = -1;
    const bool isRunning = posix_spawn_file_actions_addchdir_np(&files, "/") == 0
        && posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0) == 0
        && posix_spawn_file_actions_adddup2(&files, input.Get(), STDOUT_FILENO) == 0
        && posix_spawn_file_actions_adddup2(&files, input.Get(), STDERR_FILENO) == 0
        && posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1) == 0
        && posix_spawn(&process, argv[0], &files, &how, const_cast<char**>(argv.data()),
                       const_cast<char**>(environment))
            == 0;
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&how);
    return isRunning ? process : -1;
}
