// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/child.h"

#include "platform/statusreader.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

constexpr int SettingsFd = 4; // where the child finds its settings

volatile pid_t g_child = 0;
volatile std::sig_atomic_t g_dpkgWorks = 0;

void PassOn(int signal)
{
    const int saved = errno;
    if (g_child > 0)
        kill(g_child, g_dpkgWorks ? SIGINT : signal);
    errno = saved;
}

// The settings as a file without a name, so that nothing is left behind.
int SettingsFile(const std::string& settings)
{
    const int fd = memfd_create("apt-settings", MFD_CLOEXEC);
    if (fd >= 0 && write(fd, settings.data(), settings.size()) != ssize_t(settings.size())) {
        close(fd);
        return -1;
    }
    return fd;
}

void SetEnvironment(bool privateRoot)
{
    setenv("LC_ALL", "C.UTF-8", 1);
    setenv("DEBIAN_FRONTEND", "noninteractive", 1);
    setenv("APT_LISTCHANGES_FRONTEND", "none", 1);
    setenv("APT_CONFIG", ("/proc/self/fd/" + std::to_string(SettingsFd)).c_str(), 1);
    // dpkg looks for its helpers there, and a user's path may lack them.
    const char* path = getenv("PATH");
    setenv("PATH", (std::string(path ? path : "/usr/bin:/bin") + ":/usr/sbin:/sbin").c_str(), 1);
    if (!privateRoot)
        return;
    for (const char* name : { "http_proxy", "https_proxy", "ftp_proxy", "all_proxy", "no_proxy",
                              "HTTP_PROXY", "HTTPS_PROXY", "FTP_PROXY", "ALL_PROXY", "NO_PROXY" })
        unsetenv(name);
}

// One read of a descriptor into a reader; false at its end.
bool ReadSome(int fd, LineReader& reader, const Child::Lines& lines)
{
    char block[4096];
    const ssize_t count = read(fd, block, sizeof block);
    if (count > 0)
        reader.Feed(block, std::size_t(count), lines);
    return count > 0 || (count < 0 && errno == EINTR);
}

int ExitStatus(int status)
{
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace

bool Child::Start(const std::vector<std::string>& words, const std::string& settings,
                  bool privateRoot)
{
    int output[2], status[2];
    const int file = SettingsFile(settings);
    if (file < 0 || pipe2(output, O_CLOEXEC) != 0 || pipe2(status, O_CLOEXEC) != 0)
        return false;
    g_child = fork();
    if (g_child == 0)
        Become(words, file, output, status, privateRoot);
    close(file);
    close(output[1]);
    close(status[1]);
    m_output = output[0];
    m_status = status[0];
    return g_child > 0;
}

void Child::Become(const std::vector<std::string>& words, int settings, const int (&output)[2],
                   const int (&status)[2], bool privateRoot)
{
    // A group of its own keeps a terminal's Ctrl-C from dpkg; an interruption
    // comes from us, also when we are killed.
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGINT);
    const int input = open("/dev/null", O_RDONLY | O_CLOEXEC);
    // Out of the way of the numbers they get.
    const int statusEnd = fcntl(status[1], F_DUPFD_CLOEXEC, 10);
    const int settingsEnd = fcntl(settings, F_DUPFD_CLOEXEC, 10);
    dup2(input, STDIN_FILENO);
    dup2(output[1], STDOUT_FILENO);
    dup2(output[1], STDERR_FILENO);
    dup2(statusEnd, StatusFd);
    dup2(settingsEnd, SettingsFd);
    SetEnvironment(privateRoot);
    std::signal(SIGPIPE, SIG_DFL);
    std::vector<char*> argv{ const_cast<char*>("apt-get") };
    for (const std::string& word : words)
        argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    execvp("apt-get", argv.data());
    const char text[] = "E: Unable to run apt-get\n";
    if (write(STDOUT_FILENO, text, sizeof text - 1) < 0)
        _exit(126);
    _exit(127);
}

int Child::Read(const Lines& output, const Lines& status)
{
    LineReader outputLines, statusLines;
    bool outputOpen = true, statusOpen = true, ended = false;
    int exitStatus = 0;
    while (outputOpen || (statusOpen && !ended)) {
        pollfd fds[] = { { outputOpen ? m_output : -1, POLLIN, 0 },
                         { statusOpen ? m_status : -1, POLLIN, 0 } };
        const int ready = poll(fds, 2, 200);
        if (fds[1].revents)
            statusOpen = ReadSome(m_status, statusLines, status);
        if (fds[0].revents)
            outputOpen = ReadSome(m_output, outputLines, output);
        // A daemon that a package started may keep the pipes open for ever: what
        // counts is the child.
        int raw = 0;
        if (!ended && waitpid(g_child, &raw, WNOHANG) == g_child) {
            ended = true;
            exitStatus = ExitStatus(raw);
            g_child = 0;
        } else if (ended && ready == 0) {
            break;
        }
    }
    outputLines.Finish(output);
    int raw = 0;
    if (!ended && waitpid(g_child, &raw, 0) == g_child)
        exitStatus = ExitStatus(raw);
    g_child = 0;
    return exitStatus;
}

void Child::CatchSignals()
{
    struct sigaction action = {};
    action.sa_handler = PassOn;
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGHUP, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

void Child::DpkgWorks()
{
    g_dpkgWorks = 1;
}

void Child::Interrupt()
{
    PassOn(SIGINT);
}
