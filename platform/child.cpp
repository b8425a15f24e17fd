// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/child.h"

#include "platform/statusreader.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <initializer_list>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

volatile pid_t g_child = 0;
volatile std::sig_atomic_t g_dpkgWorks = 0;
volatile std::sig_atomic_t g_signalled = 0;

void PassOn(int signal)
{
    const int saved = errno;
    g_signalled = 1;
    if (g_child > 0)
        kill(g_child, g_dpkgWorks ? SIGINT : signal);
    errno = saved;
}

// Unblocks the end signals, which are now passed on to the child.
void PassSignalsOn()
{
    const sigset_t ends = EndSignals();
    struct sigaction action = {};
    action.sa_handler = PassOn;
    action.sa_flags = SA_RESTART;
    for (const int signal : { SIGINT, SIGTERM, SIGHUP }) {
        if (sigismember(&ends, signal))
            sigaction(signal, &action, nullptr);
    }
    std::signal(SIGPIPE, SIG_IGN);
    sigprocmask(SIG_UNBLOCK, &ends, nullptr);
}

// Puts the settings into a file without a name, so that nothing is left behind.
int SettingsFile(const std::string& settings)
{
    const int fd = memfd_create("apt-settings", MFD_CLOEXEC);
    if (fd >= 0 && write(fd, settings.data(), settings.size()) != ssize_t(settings.size())) {
        close(fd);
        return -1;
    }
    return fd;
}

void SetEnvironment(const std::string& settingsFile, const std::string& privateRoot)
{
    // The programs that read our output know only the untranslated texts.
    unsetenv("LANGUAGE");
    setenv("LC_ALL", "C.UTF-8", 1);
    setenv("DPKG_COLORS", "never", 1);
    setenv("DEBIAN_FRONTEND", "noninteractive", 1);
    setenv("APT_LISTCHANGES_FRONTEND", "none", 1);
    setenv("APT_CONFIG", settingsFile.c_str(), 1);
    // dpkg needs helper programs from these folders, which a user's PATH may lack.
    const char* path = getenv("PATH");
    setenv("PATH", (std::string(path ? path : "/usr/bin:/bin") + ":/usr/sbin:/sbin").c_str(), 1);
    if (privateRoot.empty())
        return;
    for (const char* name : { "http_proxy", "https_proxy", "ftp_proxy", "all_proxy", "no_proxy",
                              "HTTP_PROXY", "HTTPS_PROXY", "FTP_PROXY", "ALL_PROXY", "NO_PROXY",
                              "DPKG_ROOT", "DPKG_ADMINDIR", "DPKG_FORCE", "DPKG_FRONTEND_LOCKED" })
        unsetenv(name);
    setenv("HOME", privateRoot.c_str(), 1); // dpkg reads a settings file there
}

// One read of a descriptor; false at its end.
bool ReadSome(int fd, std::string& bytes)
{
    char block[4096];
    const ssize_t count = read(fd, block, sizeof block);
    const bool interrupted = count < 0 && errno == EINTR;
    bytes.assign(block, count > 0 ? std::size_t(count) : 0);
    return count > 0 || interrupted;
}

bool IsReadable(int fd)
{
    pollfd waiting = { fd, POLLIN, 0 };
    return poll(&waiting, 1, 0) > 0;
}

// Whether the child has ended. It is not reaped yet, so that its process id stays valid.
bool HasEnded(pid_t child)
{
    siginfo_t info = {};
    return waitid(P_PID, id_t(child), &info, WEXITED | WNOHANG | WNOWAIT) == 0
        && info.si_pid == child;
}

// Waits for the child's end; returns whether a signal killed it.
bool AwaitEnd(pid_t child)
{
    siginfo_t info = {};
    int result = -1;
    do {
        result = waitid(P_PID, id_t(child), &info, WEXITED | WNOWAIT);
    } while (result != 0 && errno == EINTR);
    return result == 0 && info.si_code != CLD_EXITED;
}

// Reaps a child that has ended, and returns its exit status.
int Collect(pid_t child)
{
    constexpr int unknown = 100; // anything but success
    int raw = 0;
    pid_t collected = -1;
    do {
        collected = waitpid(child, &raw, 0);
    } while (collected < 0 && errno == EINTR);
    if (collected != child)
        return unknown;
    return WIFSIGNALED(raw) ? 128 + WTERMSIG(raw) : WEXITSTATUS(raw);
}

// A descriptor that is read line by line.
struct Stream {
    int fd;
    const Child::Lines& handler;
    bool open = true;
    LineReader lines = LineReader();

    // Reads the available data, but no more than a pipe can hold.
    void Drain()
    {
        std::string bytes;
        for (int blocks = 0; open && blocks < 16 && IsReadable(fd); ++blocks) {
            open = ReadSome(fd, bytes);
            lines.Feed(bytes.data(), bytes.size(), handler);
        }
    }
};

} // namespace

bool Child::Start(const std::vector<std::string>& words, const std::string& settings,
                  const std::string& privateRoot, const char* program)
{
    if (!Fork(words, settings, privateRoot, program))
        return false;
    g_child = m_pid;
    PassSignalsOn();
    return true;
}

bool Child::StartDpkg(const std::vector<std::string>& words, const std::string& privateRoot)
{
    m_isDpkg = true;
    return Fork(words, std::string(), privateRoot, (privateRoot + "/usr/bin/dpkg").c_str());
}

bool Child::Fork(const std::vector<std::string>& words, const std::string& settings,
                 const std::string& privateRoot, const char* program)
{
    std::signal(SIGCHLD, SIG_DFL); // if it were ignored, the exit status would be lost
    int output[2], status[2];
    const int file = SettingsFile(settings);
    if (file < 0 || pipe2(output, O_CLOEXEC) != 0 || pipe2(status, O_CLOEXEC) != 0)
        return false;
    // The path goes through our own process, since the hooks that apt-get runs do not
    // inherit its descriptors.
    const std::string settingsFile
        = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(file);
    HoldEndSignals();
    g_dpkgWorks = m_isDpkg; // may still be set for the previous child
    m_pid = fork();
    if (m_pid == 0)
        Become(words, settingsFile, output[1], status[1], privateRoot, program);
    close(output[1]);
    close(status[1]);
    m_output = output[0];
    m_status = status[0];
    return m_pid > 0;
}

void Child::Become(const std::vector<std::string>& words, const std::string& settingsFile,
                   int output, int status, const std::string& privateRoot, const char* program)
{
    // In a session of its own, a terminal's Ctrl-C does not reach dpkg, and scripts cannot
    // prompt on the terminal. Only we interrupt the child, even by being killed.
    setsid();
    if (!m_isDpkg)
        prctl(PR_SET_PDEATHSIG, SIGINT);
    const sigset_t ends = EndSignals();
    sigprocmask(SIG_UNBLOCK, &ends, nullptr);
    dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    if (status == statusFd)
        fcntl(status, F_SETFD, 0); // otherwise the exec would close it
    else
        dup2(status, statusFd);
    SetEnvironment(settingsFile, privateRoot);
    std::signal(SIGPIPE, SIG_DFL);
    std::vector<char*> argv{ const_cast<char*>(program) };
    for (const std::string& word : words)
        argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    execvp(program, argv.data());
    const std::string text = std::string("E: Unable to run ") + program + '\n';
    if (write(STDOUT_FILENO, text.data(), text.size()) < 0)
        _exit(126);
    _exit(127);
}

// Reads both pipes until their ends, or until the child has ended and nothing more arrives.
// A status line is passed on only after all output that is already in the other pipe, so
// that both come out in the order in which they were written. The child stays unreaped
// until the end, so that a signal cannot be sent to another process with its id.
int Child::Read(const Lines& output, const Lines& status, const std::function<void()>& tick)
{
    Stream printed{ m_output, output }, told{ m_status, status };
    bool ended = false;
    while (printed.open || (told.open && !ended)) {
        pollfd fds[] = { { printed.open ? m_output : -1, POLLIN, 0 },
                         { told.open ? m_status : -1, POLLIN, 0 } };
        // A download helper that waits for a server keeps the pipes open after apt-get has
        // ended. So after a signal the child's end is checked more often.
        const int ready = poll(fds, 2, g_signalled ? 20 : 100);
        std::string news;
        if (ready > 0 && fds[1].revents)
            told.open = ReadSome(m_status, news);
        printed.Drain();
        told.lines.Feed(news.data(), news.size(), status);
        // A daemon that a package started may keep the pipes open forever, so only the
        // child's end counts.
        if (ended && ready == 0)
            break;
        ended = ended || HasEnded(m_pid);
        tick();
    }
    printed.lines.Finish(output);
    const bool killed = AwaitEnd(m_pid);
    told.Drain();
    g_child = 0;
    // Download helpers that wait for a server do not notice that apt-get has ended, so they
    // are ended here. dpkg is never interrupted in its work.
    if (killed && !g_dpkgWorks)
        kill(-m_pid, SIGTERM);
    return Collect(m_pid);
}

void Child::DpkgWorks()
{
    g_dpkgWorks = 1;
}

void Child::Interrupt()
{
    PassOn(SIGINT);
}

sigset_t EndSignals()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : { SIGINT, SIGTERM, SIGHUP }) {
        struct sigaction now;
        if (sigaction(signal, nullptr, &now) == 0 && now.sa_handler != SIG_IGN)
            sigaddset(&set, signal);
    }
    return set;
}

void HoldEndSignals()
{
    const sigset_t ends = EndSignals();
    sigprocmask(SIG_BLOCK, &ends, nullptr);
}
