// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A program on a controlling terminal of its own: typed text goes to the program, Ctrl-C
// to all of its processes.
//
//     Terminal terminal(PAKMART, { "install", "1001" }, 80);
//     QVERIFY(terminal.awaits("[y/N]"));
//     terminal.type("y\n");
//     QCOMPARE(terminal.end(), 0);

#pragma once

#include "tests/apps/screen.h"

#include <QElapsedTimer>
#include <QList>
#include <QtTest>
#include <cstring>
#include <fcntl.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

class Terminal
{
public:
    static constexpr const char* ctrlC = "\x03";

    // 0 columns: a terminal that does not report its width.
    Terminal(const char* program, const QList<QByteArray>& words, int columns,
             const char* kind = "xterm")
    {
        winsize size{};
        size.ws_col = static_cast<unsigned short>(columns);
        size.ws_row = columns == 0 ? 0 : 24;
        QVector<char*> arguments{ const_cast<char*>(program) };
        for (const QByteArray& word : words)
            arguments << const_cast<char*>(word.constData());
        arguments << nullptr;
        m_pid = forkpty(&m_master, nullptr, nullptr, &size);
        if (m_pid == 0) {
            setenv("TERM", kind, 1);
            execv(program, arguments.data());
            _exit(127);
        }
        if (m_pid < 0)
            qFatal("there is no terminal to be had");
        fcntl(m_master, F_SETFL, O_NONBLOCK);
        // The other end stays open, so that its settings can be checked.
        m_slave = open(ptsname(m_master), O_RDWR | O_NOCTTY | O_CLOEXEC);
        m_before = settings();
    }
    ~Terminal()
    {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
        close(m_slave);
        close(m_master);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    void type(const char* text) const
    {
        if (write(m_master, text, std::strlen(text)) < 0)
            qFatal("the terminal takes no input");
    }
    void resize(int columns) const
    {
        winsize size{};
        size.ws_col = static_cast<unsigned short>(columns);
        size.ws_row = 24;
        ioctl(m_master, TIOCSWINSZ, &size);
    }

    // Reads until the program has written `text`; false if the program ends first, or a
    // minute passes.
    bool awaits(const QByteArray& text)
    {
        QElapsedTimer time;
        time.start();
        while (!m_written.contains(text) && m_pid > 0 && time.elapsed() < 60000)
            listen();
        return m_written.contains(text);
    }
    // Waits for the program's end. Returns its exit status, or -1.
    int end()
    {
        QElapsedTimer time;
        time.start();
        while (m_pid > 0 && time.elapsed() < 60000)
            listen();
        return m_pid > 0 || !WIFEXITED(m_status) ? -1 : WEXITSTATUS(m_status);
    }

    const QByteArray& written() const { return m_written; }
    const Screen& screen() const { return m_screen; }
    pid_t pid() const { return m_pid; }
    // Whether the terminal's settings are as before, and the cursor is at the beginning
    // of a line.
    bool isAsBefore() const
    {
        return m_screen.isSound() && m_screen.column() == 0 && settings() == m_before;
    }

private:
    QByteArray settings() const
    {
        termios all{};
        tcgetattr(m_slave, &all);
        return QByteArray::number(all.c_lflag) + ' ' + QByteArray::number(all.c_oflag) + ' '
            + QByteArray::number(all.c_iflag);
    }
    void listen()
    {
        QTest::qWait(10); // servers in the test have to run, too
        const bool ended = waitpid(m_pid, &m_status, WNOHANG) == m_pid;
        char bytes[4096];
        for (ssize_t got; (got = read(m_master, bytes, sizeof bytes)) > 0;) {
            m_written.append(bytes, int(got));
            m_screen.write(QByteArray(bytes, int(got)));
        }
        if (ended)
            m_pid = 0;
    }

    int m_master = -1, m_slave = -1, m_status = 0;
    pid_t m_pid = -1;
    QByteArray m_written, m_before;
    Screen m_screen;
};
