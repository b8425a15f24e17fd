// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "pager.h"

#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace
{

// A pager that was left early closes its end. That is no failure, and must not end pakmart
// before the pager is waited for.
void IgnoreClosedPipes()
{
    std::signal(SIGPIPE, SIG_IGN);
}

// The child gets the signal's default action again, and Ctrl-C is the pager's own affair.
pid_t Spawn(const QStringList& command, int input, int output)
{
    std::vector<QByteArray> words;
    for (const QString& word : command)
        words.push_back(QFile::encodeName(word));
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (QByteArray& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    pid_t pid = 0;
    const int error
        = posix_spawn(&pid, arguments.front(), &files, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    return error == 0 ? pid : 0;
}

} // namespace

QStringList Pager::Command()
{
    const QString wanted = qEnvironmentVariable("PAGER", QStringLiteral("less -FRX"));
    QStringList words = QProcess::splitCommand(wanted);
    if (words.isEmpty() || words.first() == QLatin1String("cat"))
        return QStringList();
    words.first() = QStandardPaths::findExecutable(words.first());
    return words.first().isEmpty() ? QStringList() : words;
}

bool Pager::Start(int terminal)
{
    const QStringList command = Command();
    int ends[2];
    if (command.isEmpty() || pipe2(ends, O_CLOEXEC) != 0)
        return false;
    // Options of "less" for colours, unless the user has set some.
    if (!qEnvironmentVariableIsSet("LESS"))
        qputenv("LESS", "FRX");
    IgnoreClosedPipes();
    m_pid = Spawn(command, ends[0], terminal);
    close(ends[0]);
    if (m_pid == 0) {
        close(ends[1]);
        return false;
    }
    m_input = ends[1];
    return true;
}

Pager::~Pager()
{
    if (m_pid == 0)
        return;
    close(m_input);
    while (waitpid(m_pid, nullptr, 0) < 0 && errno == EINTR) { }
}
