// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The process runner.

#include "install/crun.h"
#include "tests/common/limits.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>
#include <cerrno>
#include <csignal>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

// If a test fails while its child waits on a pipe, ends the child.
class ChildGuard
{
public:
    explicit ChildGuard(const CRun& run) : m_run(run) { }
    ~ChildGuard()
    {
        // A child that was reaped may not be signalled any more.
        if (m_run.pid() > 0 && waitpid(m_run.pid(), nullptr, WNOHANG) == 0) {
            kill(m_run.pid(), SIGKILL);
            waitpid(m_run.pid(), nullptr, 0);
        }
    }
    ChildGuard(const ChildGuard&) = delete;
    ChildGuard& operator=(const ChildGuard&) = delete;

private:
    const CRun& m_run;
};

} // namespace

class CRunTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    static QByteArray nameOf(int pid)
    {
        QFile name(QStringLiteral("/proc/%1/comm").arg(pid));
        return name.open(QIODevice::ReadOnly) ? name.readAll().trimmed() : QByteArray();
    }

    // An executable file in the test's folder.
    QString program(const char* name, const QByteArray& text) const
    {
        QFile file(m_dir.filePath(QLatin1String(name)));
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
            qFatal("cannot write a test program");
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return file.fileName();
    }
    QByteArray contents(const char* name) const
    {
        QFile file(m_dir.filePath(QLatin1String(name)));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<none>");
    }
    // Returns what `run` writes to standard output.
    template <typename Run> QByteArray output(Run run) const
    {
        std::fflush(stdout);
        const int before = dup(1);
        const QString name = m_dir.filePath(QStringLiteral("stdout"));
        if (!std::freopen(qPrintable(name), "w", stdout))
            qFatal("cannot redirect");
        run();
        std::fflush(stdout);
        dup2(before, 1);
        close(before);
        return contents("stdout");
    }
    // The words that a program gets if it is started with `arguments`.
    QByteArray words(const QString& arguments) const
    {
        const QString show = program("show",
                                     "#!/bin/sh\nfor w in \"$@\"; do printf '<%s>' \"$w\"; "
                                     "done > \"${0%/*}/words\"\n");
        QFile::remove(m_dir.filePath(QStringLiteral("words")));
        CRun run(show, arguments, true);
        return run.Run() == 0 ? contents("words") : QByteArray("<failed>");
    }

private slots:
    void newRunnerHasNoProcess()
    {
        CRun run;
        QCOMPARE(run.pid(), -1);
        QCOMPARE(run.Run(), -1);
        QCOMPARE(run.Run(QString(), QStringLiteral("x"), true), -1);
        QCOMPARE(run.pid(), -1);
    }

    void mkdirSplitsIntoThreeWords()
    {
        QCOMPARE(words(QStringLiteral("-p /a/b")), QByteArray("<-p></a/b>"));
        const QString path = m_dir.filePath(QStringLiteral("a/b"));
        CRun run(QStringLiteral("/bin/mkdir"), QStringLiteral("-p ") + path, true);
        QCOMPARE(run.Run(), 0);
        QVERIFY(QDir(path).exists());
    }

    void severalBlanksGiveNoEmptyWords()
    {
        QCOMPARE(words(QStringLiteral("  a   b  ")), QByteArray("<a><b>"));
    }

    void quotesKeepBlanksAndStay()
    {
        QCOMPARE(words(QStringLiteral("a \"b c\"")), QByteArray("<a><\"b c\">"));
    }

    void escapedQuoteDoesNotToggle()
    {
        QCOMPARE(words(QStringLiteral("a\\\"b c")), QByteArray("<a\\\"b><c>"));
        QCOMPARE(words(QStringLiteral("\"a \\\" b\" c")), QByteArray("<\"a \\\" b\"><c>"));
    }

    void unclosedQuoteTakesTheRest()
    {
        QCOMPARE(words(QStringLiteral("\"a b  c")), QByteArray("<\"a b  c>"));
    }

    void noShellReadsTheArguments()
    {
        QCOMPARE(words(QStringLiteral("$HOME ; * `x`")), QByteArray("<$HOME><;><*><`x`>"));
    }

    void waitingRunReturnsTheExitCode()
    {
        CRun run(program("seven", "#!/bin/sh\nexit 7\n"), QString(), true);
        QCOMPARE(run.Run(), 7);
        QVERIFY(run.pid() > 0);
    }

    void killedChildGives128AndTheSignal()
    {
        CRun run(program("killed", "#!/bin/sh\nkill -9 $$\n"), QString(), true);
        QCOMPARE(run.Run(), 128 + SIGKILL);
        QCOMPARE(run.Run(program("term", "#!/bin/sh\nkill -15 $$\n"), QString(), true),
                 128 + SIGTERM);
    }

    void waitingRunLeavesNoZombie()
    {
        CRun run(program("end", "#!/bin/sh\nexit 0\n"), QString(), true);
        QCOMPARE(run.Run(), 0);
        errno = 0;
        QCOMPARE(waitpid(run.pid(), nullptr, WNOHANG), -1);
        QCOMPARE(errno, ECHILD);
    }

    void failingExecveGives127()
    {
        CRun run(program("noformat",
                         "\x7f"
                         "ELF rubbish"),
                 QString(), true);
        QCOMPARE(run.Run(), 127);
    }

    void missingProgramIsSaid()
    {
        int result = 0;
        const QByteArray said = output([&] {
            CRun run(QStringLiteral("/nowhere/tool"), QStringLiteral("-x y"), true);
            result = run.Run();
        });
        QCOMPARE(result, -1);
        QCOMPARE(said, QByteArray("Can not find /nowhere/tool to execute.\n"));
    }

    void notExecutableIsSaid()
    {
        const QString name = program("plain", "text");
        QFile::setPermissions(name, QFile::ReadOwner);
        int result = 0;
        const QByteArray said = output([&] {
            CRun run;
            result = run.Run(name, QString(), false);
        });
        QCOMPARE(result, -1);
        QCOMPARE(said, QByteArray("Can not find " + name.toUtf8() + " to execute.\n"));
    }

    void blankProgramStartsNothing()
    {
        CRun run;
        output([&] { QCOMPARE(run.Run(QStringLiteral("  "), QString(), true), -1); });
        QCOMPARE(run.pid(), -1);
    }

    void noProcessMoreStartsNothing()
    {
        for (const bool wait : { true, false }) {
            CRun run(QStringLiteral("/bin/true"), QString(), wait);
            int result = 0;
            {
                const NoMoreProcesses limit;
                result = run.Run();
            }
            QCOMPARE(result, -1);
            QCOMPARE(run.pid(), -1);
        }
        CRun later(QStringLiteral("/bin/true"), QString(), true);
        QCOMPARE(later.Run(), 0);
    }

    void withoutWaitItReturnsAtOnceAndRunsOn()
    {
        CRun run;
        const ChildGuard guard(run);
        QVERIFY(mkfifo(qPrintable(m_dir.filePath(QStringLiteral("gate"))), 0600) == 0);
        const QString later = program("later",
                                      "#!/bin/sh\nread x < \"${0%/*}/gate\"; echo $x > "
                                      "\"${0%/*}/later.out\"\n");
        QCOMPARE(run.Run(later, QString(), false), -1);
        QVERIFY(run.pid() > 0);
        QCOMPARE(contents("later.out"), QByteArray("<none>"));
        QFile gate(m_dir.filePath(QStringLiteral("gate")));
        QVERIFY(gate.open(QIODevice::WriteOnly));
        gate.write("done\n");
        gate.close();
        QCOMPARE(waitpid(run.pid(), nullptr, 0), run.pid());
        QCOMPARE(contents("later.out"), QByteArray("done\n"));
    }

    void laterRunCollectsAFinishedOne()
    {
        // It must not end before its own run returns, which would reap it.
        CRun first(program("first", "#!/bin/sh\nread x < \"${0%/*}/first.gate\"\n"), QString(),
                   false);
        const ChildGuard guard(first);
        const QString path = m_dir.filePath(QStringLiteral("first.gate"));
        QVERIFY(mkfifo(qPrintable(path), 0600) == 0);
        first.Run();
        QFile gate(path);
        QVERIFY(gate.open(QIODevice::WriteOnly));
        gate.close();
        siginfo_t info;
        QCOMPARE(waitid(P_PID, id_t(first.pid()), &info, WEXITED | WNOWAIT), 0);
        CRun second(QStringLiteral("/bin/true"), QString(), false);
        second.Run();
        QCOMPARE(kill(first.pid(), 0), -1);
        waitpid(second.pid(), nullptr, 0);
    }

    void copiesHaveTheSameProgramAndChild()
    {
        CRun run(QStringLiteral("/bin/sleep"), QStringLiteral("60"), false);
        QCOMPARE(run.Run(), -1);
        const ChildGuard guard(run);
        // Before that it has the handlers of this test.
        QTRY_COMPARE(nameOf(run.pid()), QByteArray("sleep"));
        CRun copy(run);
        QCOMPARE(copy.pid(), run.pid());
        CRun assigned;
        assigned = copy;
        QCOMPARE(assigned.pid(), run.pid());
        QVERIFY(assigned.IsRunning());
        QVERIFY(assigned.Terminate());
        QTRY_VERIFY(!run.IsRunning());
        QTRY_VERIFY(!copy.IsRunning());
    }

    void childrenOfTheHostAreLeftToTheHost()
    {
        const pid_t hosts = fork();
        if (hosts == 0)
            _exit(5);
        siginfo_t info;
        QCOMPARE(waitid(P_PID, id_t(hosts), &info, WEXITED | WNOWAIT), 0);
        CRun without(QStringLiteral("/bin/true"), QString(), false);
        without.Run();
        CRun with(QStringLiteral("/bin/true"), QString(), true);
        QCOMPARE(with.Run(), 0);
        int status = 0;
        QCOMPARE(waitpid(hosts, &status, 0), hosts);
        QCOMPARE(WEXITSTATUS(status), 5);
        QTRY_VERIFY(!without.IsRunning());
    }

    void runningProgramCanBeEnded()
    {
        for (const bool wait : { false, true }) {
            CRun run(QStringLiteral("/bin/sleep"), QStringLiteral("20"), wait);
            bool ended = false;
            QTimer::singleShot(50, this, [&] { ended = run.IsRunning() && run.Terminate(); });
            const int result = run.Run();
            QTRY_VERIFY(!run.IsRunning());
            QVERIFY(ended);
            QCOMPARE(result, wait ? 128 + SIGTERM : -1);
            QVERIFY(!run.Terminate());
        }
        QVERIFY(!CRun().IsRunning());
    }

    void aChildCollectedByAnotherEndsTheWaitWithErrno()
    {
        CRun run(program("taken", "#!/bin/sh\nread x < \"${0%/*}/taken.gate\"\n"), QString(), true);
        const ChildGuard guard(run);
        QVERIFY(mkfifo(qPrintable(m_dir.filePath(QStringLiteral("taken.gate"))), 0600) == 0);
        QTimer::singleShot(0, this, [&] {
            kill(run.pid(), SIGKILL);
            waitpid(run.pid(), nullptr, 0);
        });
        QCOMPARE(run.Run(), ECHILD);
    }

    void timersFireDuringAWait()
    {
        QVERIFY(mkfifo(qPrintable(m_dir.filePath(QStringLiteral("timer.gate"))), 0600) == 0);
        CRun run(program("timed", "#!/bin/sh\nread x < \"${0%/*}/timer.gate\"; exit 3\n"),
                 QString(), true);
        const ChildGuard guard(run);
        // The child ends only when a timer lets it.
        int fired = 0;
        QTimer timer;
        connect(&timer, &QTimer::timeout, this, [&] {
            if (++fired != 3)
                return;
            QFile gate(m_dir.filePath(QStringLiteral("timer.gate")));
            QVERIFY(gate.open(QIODevice::WriteOnly));
            gate.write("go\n");
        });
        timer.start(1);
        QCOMPARE(run.Run(), 3);
        QVERIFY(fired >= 3);
    }

    void childInheritsTheEnvironment()
    {
        qputenv("CRUN_TEST", "4");
        CRun run(program("env", "#!/bin/sh\nexit $CRUN_TEST\n"), QString(), true);
        QCOMPARE(run.Run(), 4);
    }
};

QTEST_GUILESS_MAIN(CRunTest)
#include "tst_crun.moc"
