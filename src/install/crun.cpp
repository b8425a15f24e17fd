// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "install/crun.h"

#include "install/frontendchild.h"
#include "support/ctracer.h"
#include "util/eventwait.h"
#include "util/loginstall.h"
#include "util/paths.h"
#include "util/standardoutput.h"

#include <QFile>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace Agent;

namespace
{

// Splits a command at blanks outside quotes. There is no shell: quotes stay in the words,
// and a backslash only keeps a quote from counting.
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

// The children of runs that did not wait, until they are reaped.
std::vector<pid_t>& LeftBehind()
{
    static std::vector<pid_t> children;
    return children;
}

// Reaps those that have ended, each by its process id: other children are the host's.
void CollectLeftBehind()
{
    std::vector<pid_t>& children = LeftBehind();
    const auto hasEnded = [](pid_t child) {
        const pid_t ended = waitpid(child, nullptr, WNOHANG);
        return ended == child || (ended == -1 && errno != EINTR);
    };
    children.erase(std::remove_if(children.begin(), children.end(), hasEnded), children.end());
}

} // namespace

class CRun::Private
{
public:
    int m_pid = -1;
    QString m_program;
    QString m_arguments;
    bool m_wait = false;
    bool m_running = false; // as far as known: the process id is still the child's
};

CRun::CRun() : d(std::make_unique<Private>()) { }

CRun::CRun(const QString& program, const QString& arguments, bool wait) : CRun()
{
    d->m_program = program;
    d->m_arguments = arguments;
    d->m_wait = wait;
}

CRun::CRun(const CRun& other) : d(std::make_unique<Private>(*other.d)) { }

CRun& CRun::operator=(const CRun& other)
{
    *d = *other.d;
    return *this;
}

CRun::~CRun() = default;

int CRun::pid() const
{
    return d->m_pid;
}

int CRun::Run(const QString& program, const QString& arguments, bool wait)
{
    d->m_program = program;
    d->m_arguments = arguments;
    d->m_wait = wait;
    return Run();
}

int CRun::Run()
{
    CTracer tracer("CRun::Run");
    if (d->m_program.isEmpty())
        return -1;
    QString command = d->m_program;
    if (!d->m_arguments.isEmpty())
        command += QLatin1Char(' ') + d->m_arguments;
    std::vector<std::string> words = SplitWords(QFile::encodeName(command).toStdString());
    if (words.empty() || access(words[0].c_str(), X_OK) != 0) {
        const QString name = words.empty() ? QString() : QFile::decodeName(words[0].c_str());
        WriteLine(QLatin1String("Can not find ") + PlainPath(name) + QLatin1String(" to execute."));
        return -1;
    }
    CollectLeftBehind();
    if (!Start(words))
        return -1;
    if (d->m_wait)
        return Wait();
    LeftBehind().push_back(d->m_pid);
    return -1;
}

bool CRun::Start(std::vector<std::string>& words)
{
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    d->m_pid = fork();
    if (d->m_pid == 0) {
        LetEndSignalThrough();
        execve(argv[0], argv.data(), environ);
        _exit(127);
    }
    d->m_running = d->m_pid > 0;
    return d->m_running;
}

// Polls the child instead of blocking in waitpid, so that events are processed meanwhile. It
// asks for this child's id only, so that the host's own children are left to the host.
int CRun::Wait()
{
    while (true) {
        int status = 0;
        const int ended = waitpid(d->m_pid, &status, WNOHANG);
        if (ended == -1 && errno == EINTR)
            continue;
        if (ended == -1 || (ended == d->m_pid && (WIFEXITED(status) || WIFSIGNALED(status))))
            d->m_running = false;
        if (ended == -1)
            return errno;
        if (!d->m_running) {
            const int result = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            qCDebug(logInstall, "%s %s has ended with %d", qUtf8Printable(d->m_program),
                    qUtf8Printable(d->m_arguments), result);
            return result;
        }
        PassEvents();
    }
}

bool CRun::IsRunning()
{
    CTracer tracer("CRun::IsRunning");
    CollectLeftBehind();
    const std::vector<pid_t>& left = LeftBehind();
    if (!d->m_wait)
        d->m_running = std::find(left.begin(), left.end(), d->m_pid) != left.end();
    return d->m_running;
}

bool CRun::Terminate()
{
    CTracer tracer("CRun::Terminate");
    return IsRunning() && kill(d->m_pid, SIGTERM) == 0;
}
