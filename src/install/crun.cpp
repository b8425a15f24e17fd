// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "install/crun.h"

#include "util/desktop.h"
#include "util/diagnostics.h"
#include "util/paths.h"

#include <QFile>
#include <cerrno>
#include <cstdio>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace
{

std::vector<std::string> SplitWords(const std::string& command)
{
    std::vector<std::string> words;
    std::string word;
    bool quoted = false;
    char before = '\0';
    for (const char c : command) {
        if (c == '"' && before != '\\')
            quoted = !quoted;
        if (c != ' ' || quoted) {
            word += c;
        } else if (!word.empty()) {
            words.push_back(word);
            word.clear();
        }
        before = c;
    }
    if (!word.empty())
        words.push_back(word);
    return words;
}

} // namespace

CRun::CRun() = default;

CRun::CRun(const QString& program, const QString& arguments, bool wait)
    : m_program(program), m_arguments(arguments), m_wait(wait)
{
}

CRun::~CRun() = default;

int CRun::pid() const
{
    return m_pid;
}

int CRun::Run(const QString& program, const QString& arguments, bool wait)
{
    m_program = program;
    m_arguments = arguments;
    m_wait = wait;
    return Run();
}

int CRun::Run()
{
    if (m_program.isEmpty())
        return -1;
    QString command = m_program;
    if (!m_arguments.isEmpty())
        command += QLatin1Char(' ') + m_arguments;
    std::vector<std::string> words = SplitWords(QFile::encodeName(command).toStdString());
    if (words.empty() || access(words[0].c_str(), X_OK) != 0) {
        const QString name = words.empty() ? QString() : QFile::decodeName(words[0].c_str());
        std::printf("Can not find %s to execute.\n", qUtf8Printable(PlainPath(name)));
        std::fflush(stdout);
        return -1;
    }
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    m_pid = fork();
    if (m_pid == 0) {
        execve(argv[0], argv.data(), environ);
        _exit(127);
    }
    if (m_pid < 0)
        return -1;
    if (m_wait)
        return Wait();
    // Whatever child has ended by now is collected; this one will be by a later run.
    waitpid(-1, nullptr, WNOHANG);
    return -1;
}

int CRun::Wait()
{
    while (true) {
        int status = 0;
        const int ended = waitpid(m_pid, &status, WNOHANG);
        if (ended == -1)
            return errno;
        ProcessMessages();
        if (ended != m_pid || !(WIFEXITED(status) || WIFSIGNALED(status)))
            continue;
        const int result = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        qCDebug(logInstall, "%s %s has ended with %d", qUtf8Printable(m_program),
                qUtf8Printable(m_arguments), result);
        return result;
    }
}
