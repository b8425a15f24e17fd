// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Runs a program and kills something before the k-th change of a file, whichever process
// is about to make the change and through whatever library: either that process, or the
// program with everything that it started. Or the change alone is refused, as by a full disk.
//
// The kernel stops the processes before each such call: a filter (seccomp) selects the
// calls, and a tracer (ptrace) counts them. Syncing is not counted: a killed process
// leaves the same before and after it.

#pragma once

#include <QFile>
#include <QStringList>
#include <QtGlobal>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <set>
#include <string>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

// OneAsked: by SIGTERM, which arrives after the change. None: the change is refused.
enum class Killed { All, One, OneAsked, None };

struct CutRun {
    bool traced; // false if this system does not allow tracing
    bool cut; // there was a k-th change
    bool hung; // a process did not end within two minutes
    int status; // the program's; -1 if it was killed
    int changes; // the number of counted changes
    char last[256]; // the change that was prevented, or else the last one
};

// The filter: selects the calls that the tracer sees.
class ChangeFilter
{
public:
    // Child processes inherit the filter.
    static bool begin()
    {
        std::vector<sock_filter> program = ChangeFilter::program();
        const sock_fprog filter{ static_cast<unsigned short>(program.size()), program.data() };
        return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0
            && syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &filter) == 0;
    }
    static bool isWrite(long call)
    {
        return std::find(std::begin(writes), std::end(writes), call) != std::end(writes);
    }

private:
    static constexpr long writes[]
        = { SYS_write,     SYS_pwrite64,  SYS_writev,          SYS_pwritev, SYS_pwritev2,
            SYS_ftruncate, SYS_fallocate, SYS_copy_file_range, SYS_sendfile };
    static constexpr long others[] = {
        SYS_truncate, SYS_renameat2, SYS_linkat,  SYS_symlinkat,
        SYS_unlinkat, SYS_mkdirat,   SYS_fchmod,  SYS_fchmodat,
#ifdef SYS_renameat
        SYS_renameat,
#endif
#ifdef SYS_rename // not on newer machines
        SYS_rename,   SYS_link,      SYS_symlink, SYS_unlink,
        SYS_mkdir,    SYS_rmdir,     SYS_creat,   SYS_chmod,
#endif
    };

    static std::vector<sock_filter> program()
    {
        std::vector<sock_filter> program{ load(offsetof(seccomp_data, nr)) };
        for (const long call : writes)
            addCall(program, call);
        for (const long call : others)
            addCall(program, call);
#ifdef SYS_open
        addOpening(program, SYS_open, 1);
#endif
        addOpening(program, SYS_openat, 2);
        program.push_back(give(SECCOMP_RET_ALLOW));
        return program;
    }
    static void addCall(std::vector<sock_filter>& program, long call)
    {
        program.push_back(jump(BPF_JEQ, unsigned(call), 1));
        program.push_back(give(SECCOMP_RET_TRACE));
    }
    // Adds calls that open a file and may create or truncate it.
    static void addOpening(std::vector<sock_filter>& program, long call, unsigned flags)
    {
        program.push_back(jump(BPF_JEQ, unsigned(call), 4));
        program.push_back(load(offsetof(seccomp_data, args) + 8 * flags));
        program.push_back(jump(BPF_JSET, O_CREAT | O_TRUNC, 1));
        program.push_back(give(SECCOMP_RET_TRACE));
        program.push_back(give(SECCOMP_RET_ALLOW));
    }
    static sock_filter load(std::size_t offset)
    {
        return { BPF_LD | BPF_W | BPF_ABS, 0, 0, unsigned(offset) };
    }
    static sock_filter give(unsigned action)
    {
        return { BPF_RET | BPF_K, 0, 0, action };
    }
    // Skips some instructions unless the last loaded value matches.
    static sock_filter jump(unsigned test, unsigned value, std::uint8_t over)
    {
        return { static_cast<unsigned short>(BPF_JMP | test | BPF_K), 0, over, value };
    }
};

// The tracer. It runs in a process of its own, which has no other children.
class ChangeTracer
{
public:
    ChangeTracer(int k, Killed killed) : m_k(k), m_killed(killed), m_run() { }

    // Starts the program and follows it to its end.
    CutRun run(char* const* words, const char* output)
    {
        int go[2];
        if (pipe(go) != 0)
            return m_run;
        m_program = fork();
        if (m_program == 0)
            become(words, output, go);
        close(go[0]);
        constexpr long options = PTRACE_O_EXITKILL | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK
            | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC | PTRACE_O_TRACESECCOMP;
        m_run.traced = ptrace(PTRACE_SEIZE, m_program, nullptr, options) == 0;
        if (!m_run.traced || write(go[1], "", 1) != 1)
            kill(m_program, SIGKILL);
        close(go[1]);
        follow();
        m_run.traced = m_run.traced && (m_run.status != noFilter || m_run.changes > 0);
        return m_run;
    }

private:
    static constexpr int noFilter = 99; // a status

    [[noreturn]] static void become(char* const* words, const char* output, const int* go)
    {
        char byte;
        close(go[1]);
        const int out = open(output, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        const int none = open("/dev/null", O_RDONLY | O_CLOEXEC);
        const bool ready = read(go[0], &byte, 1) == 1 && dup2(none, 0) == 0 && dup2(out, 1) == 1
            && dup2(out, 2) == 2 && close(go[0]) == 0;
        if (ready && !ChangeFilter::begin())
            _exit(noFilter);
        if (ready)
            execv(words[0], words);
        _exit(127);
    }

    void follow()
    {
        struct sigaction action = {}; // interrupts a waiting call
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, nullptr);
        alarm(120);
        m_tasks.insert(m_program);
        for (;;) {
            int status = 0;
            const pid_t task = waitpid(-1, &status, __WALL);
            if (task > 0)
                came(task, status);
            else if (errno != EINTR)
                return;
            else
                giveUp();
        }
    }
    void giveUp()
    {
        m_run.hung = true;
        for (const pid_t task : m_tasks)
            kill(task, SIGKILL);
    }
    void came(pid_t task, int status)
    {
        if (WIFSTOPPED(status)) {
            m_tasks.insert(task);
            stopped(task, status);
            return;
        }
        m_tasks.erase(task);
        if (task == m_program)
            ended(status);
    }
    void ended(int status) { m_run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1; }
    void stopped(pid_t task, int status)
    {
        const int event = status >> 16;
        if (event == PTRACE_EVENT_SECCOMP && isChange(task) && m_run.changes++ == m_k)
            m_killed == Killed::None ? refuse(task) : cut(task);
        if (m_run.cut && m_killed == Killed::All)
            kill(task, SIGKILL); // also one that has just appeared
        const int signal = WSTOPSIG(status);
        const bool waits = event == PTRACE_EVENT_STOP && signal != SIGTRAP;
        ptrace(waits ? PTRACE_LISTEN : PTRACE_CONT, task, nullptr, event == 0 ? signal : 0);
    }
    // Killed processes make no further call. The others run to their end.
    void cut(pid_t changing)
    {
        m_run.cut = true;
        for (const pid_t task : m_tasks)
            if (m_killed == Killed::All || task == changing)
                kill(task, m_killed == Killed::OneAsked ? SIGTERM : SIGKILL);
    }
    // The kernel makes no call with the number -1, and returns what is there already.
    void refuse(pid_t task)
    {
#ifdef __x86_64__
        user_regs_struct registers;
        if (ptrace(PTRACE_GETREGS, task, nullptr, &registers) != 0)
            return;
        registers.orig_rax = static_cast<unsigned long long>(-1);
        registers.rax = static_cast<unsigned long long>(-ENOSPC);
        m_run.cut = ptrace(PTRACE_SETREGS, task, nullptr, &registers) == 0;
#else
        static_cast<void>(task);
#endif
    }
    bool isChange(pid_t task)
    {
        __ptrace_syscall_info info;
        if (ptrace(PTRACE_GET_SYSCALL_INFO, task, sizeof info, &info) <= 0
            || info.op != PTRACE_SYSCALL_INFO_SECCOMP)
            return false;
        const long call = long(info.seccomp.nr);
        const std::string file = "/proc/" + std::to_string(task) + "/fd/"
            + std::to_string(int(info.seccomp.args[call == SYS_copy_file_range ? 2 : 0]));
        struct stat status;
        const bool isWrite = ChangeFilter::isWrite(call);
        if (isWrite && (stat(file.c_str(), &status) != 0 || !S_ISREG(status.st_mode)))
            return false;
        if (!m_run.cut)
            describe(task, call, isWrite ? file : std::string());
        return true;
    }
    void describe(pid_t task, long call, const std::string& file)
    {
        char name[32] = {}, path[160] = {};
        const std::string command = "/proc/" + std::to_string(task) + "/comm";
        const int opened = open(command.c_str(), O_RDONLY | O_CLOEXEC);
        if (opened >= 0 && read(opened, name, sizeof name - 1) > 0)
            name[std::strcspn(name, "\n")] = '\0';
        close(opened);
        if (file.empty() || readlink(file.c_str(), path, sizeof path - 1) < 0)
            path[0] = '\0';
        std::snprintf(m_run.last, sizeof m_run.last, "%s, call %ld %s", name, call, path);
    }

    const int m_k;
    const Killed m_killed;
    CutRun m_run;
    pid_t m_program = -1;
    std::set<pid_t> m_tasks; // processes and threads that have not ended
};

// Runs a program until it and everything that it started has ended, and kills at change
// k, counted from 0; a negative k kills nothing. The output goes to the file `output`.
inline CutRun RunCutAt(int k, Killed killed, const QStringList& words, const QString& output)
{
    std::vector<std::string> texts;
    for (const QString& word : words)
        texts.push_back(QFile::encodeName(word).toStdString());
    std::vector<char*> arguments;
    for (std::string& text : texts)
        arguments.push_back(text.data());
    arguments.push_back(nullptr);
    const std::string file = QFile::encodeName(output).toStdString();
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        qFatal("no pipe");
    const pid_t tracer = fork();
    if (tracer == 0) {
        const CutRun run = ChangeTracer(k, killed).run(arguments.data(), file.c_str());
        _exit(write(ends[1], &run, sizeof run) == sizeof run ? 0 : 1);
    }
    close(ends[1]);
    CutRun run;
    const bool reported = tracer > 0 && read(ends[0], &run, sizeof run) == sizeof run;
    close(ends[0]);
    if (!reported || waitpid(tracer, nullptr, 0) != tracer)
        qFatal("the tracer is lost");
    return run;
}
