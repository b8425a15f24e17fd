// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The package front end with a scripted apt-get: what apt-get is given, how its output is
// passed on, and how it ends.

#include "tests/common/processes.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QtTest>
#include <csignal>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

class AptChildTest : public QObject
{
    Q_OBJECT

private:
    QString m_dir = QString::fromLocal8Bit(qgetenv("TEST_DIR"));
    QProcessEnvironment m_environment = QProcessEnvironment::systemEnvironment();

    static QString frontEnd() { return QStringLiteral(VOS_APT_GET); }
    QString path(const char* name) const { return m_dir + QLatin1Char('/') + QLatin1String(name); }

    // Makes apt-get a script with these shell commands; status lines go to descriptor 3.
    void script(const QByteArray& commands)
    {
        QFile file(path("bin/apt-get"));
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            qFatal("cannot write the scripted apt-get");
        file.write("#!/bin/sh\n" + commands + '\n');
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    void start(QProcess& process, const QStringList& words)
    {
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.setProcessEnvironment(m_environment);
        process.start(frontEnd(), words);
    }
    // Starts an install, and returns what it says up to `text` or a little more.
    QByteArray startUntil(QProcess& process, const char* text)
    {
        start(process, { QStringLiteral("install") });
        QByteArray heard;
        while (!(heard += process.readAll()).contains(text))
            if (!process.waitForReadyRead(60000))
                qFatal("the front end does not say %s", text);
        return heard;
    }
    void finish(QProcess& process)
    {
        if (process.state() != QProcess::NotRunning && !process.waitForFinished(60000))
            qFatal("the front end does not end");
        if (process.exitStatus() != QProcess::NormalExit)
            qFatal("the front end crashed");
    }
    QByteArrayList lines(const QStringList& words = { QStringLiteral("install") },
                         int* status = nullptr)
    {
        QProcess process;
        start(process, words);
        finish(process);
        if (status)
            *status = process.exitCode();
        return process.readAll().split('\n');
    }

private slots:
    void init()
    {
        QVERIFY(QDir().mkpath(path("bin")));
        m_environment = QProcessEnvironment::systemEnvironment();
        m_environment.insert(QStringLiteral("PATH"),
                             path("bin") + QLatin1Char(':')
                                 + QString::fromLocal8Bit(qgetenv("PATH")));
    }

    void exitStatusIsAptGets_data()
    {
        QTest::addColumn<QByteArray>("end");
        QTest::addColumn<int>("status");
        QTest::newRow("well") << QByteArray("exit 0") << 0;
        QTest::newRow("error") << QByteArray("exit 100") << 100;
        QTest::newRow("killed") << QByteArray("kill -KILL $$") << 128 + SIGKILL;
        QTest::newRow("crashed") << QByteArray("kill -SEGV $$") << 128 + SIGSEGV;
    }
    void exitStatusIsAptGets()
    {
        QFETCH(QByteArray, end);
        QFETCH(int, status);
        script(end);
        int found = -1;
        const QByteArrayList said = lines({ QStringLiteral("install") }, &found);
        QCOMPARE(found, status);
        QCOMPARE(said.contains("100% [Done 100%]"), status == 0);
    }

    void withoutAptGet()
    {
        m_environment.insert(QStringLiteral("PATH"), path("nowhere"));
        int status = -1;
        QCOMPARE(lines({ QStringLiteral("update") }, &status).first(),
                 QByteArray("E: Unable to run apt-get"));
        QCOMPARE(status, 127);
    }

    void linesComeThroughPlain()
    {
        script("printf 'a\\033[31m\\tb\\r\\n\\302\\233c\\n\\344d\\n'; "
               "printf 'E: %03000d\\n' 7; printf 'no end'");
        const QByteArrayList said = lines({ QStringLiteral("update") });
        QCOMPARE(said.size(), 6);
        QCOMPARE(said[0], QByteArray("a[31mb"));
        QCOMPARE(said[1], QByteArray("c"));
        QCOMPARE(said[2], QByteArray("d"));
        QCOMPARE(said[3].size(), 2000);
        QVERIFY(said[3].startsWith("E: 0000"));
        QCOMPARE(said[4], QByteArray("no end"));
    }

    void whatWasPrintedFirstIsRelayedFirst()
    {
        // Both are available when the front end looks for them.
        script("kill -STOP $PPID; for i in 1 2 3 4 5 6 7 8 9; do echo line $i; "
               "echo pmstatus:p:${i}0:x >&3; done; kill -CONT $PPID");
        const QByteArrayList said = lines();
        for (int i = 1; i < 10; ++i) {
            const int line = said.indexOf("line " + QByteArray::number(i));
            const int progress = said.indexOf(QByteArray::number(i * 10) + "% [p 20%]");
            QVERIFY(line >= 0);
            QVERIFY2(progress > line, qPrintable(QString::number(i)));
        }
    }

    void nonsenseOnTheStatusDescriptorIsIgnored()
    {
        script("printf 'pmstatus\\npmstatus:a\\nx:y:z:w\\npmstatus:a:1e9:x\\n\\n' >&3; "
               "head -c 100000 /dev/zero | tr '\\0' x >&3; echo >&3; echo pmstatus:a:40:x >&3");
        QByteArrayList said = lines();
        // The progress line may come again while the machine is busy.
        while (said.count("40% [a 20%]") > 1)
            said.removeOne("40% [a 20%]");
        QCOMPARE(said, (QByteArrayList{ "40% [a 20%]", "100% [Done 100%]", "" }));
    }

    void updateTellsNoProgress()
    {
        script("echo dlstatus:1:50:x >&3; echo words");
        QCOMPARE(lines({ QStringLiteral("update") }), (QByteArrayList{ "words", "" }));
    }

    void itsWorldIsAFixedOne()
    {
        for (const char* name : { "LANGUAGE", "LC_ALL", "http_proxy", "HTTPS_PROXY", "DPKG_ROOT",
                                  "DPKG_FORCE", "DPKG_COLORS", "APT_CONFIG" })
            m_environment.insert(QLatin1String(name), QStringLiteral("poison"));
        script("env | grep -c poison; echo $LC_ALL $DEBIAN_FRONTEND $HOME; readlink /proc/$$/fd/0;"
               "grep -c Lock::Timeout $APT_CONFIG; (grep -c Lock::Timeout $APT_CONFIG) 3>&-");
        QCOMPARE(lines({ QStringLiteral("update") }),
                 (QByteArrayList{ "0", "C.UTF-8 noninteractive " + qgetenv("PAKMART_SYSROOT"),
                                  "/dev/null", "1", "1", "" }));
    }

    void thereIsNoTerminalToAsk()
    {
        script("if (exec 9</dev/tty) 2>/dev/null; then echo a terminal; else echo none; fi");
        const QByteArray path = m_environment.value(QStringLiteral("PATH")).toLocal8Bit();
        int terminal = -1;
        const pid_t pid = forkpty(&terminal, nullptr, nullptr, nullptr);
        if (pid == 0) {
            setenv("PATH", path.constData(), 1);
            execl(VOS_APT_GET, VOS_APT_GET, "update", nullptr);
            _exit(126);
        }
        QVERIFY(pid > 0);
        QByteArray said;
        char block[256];
        for (ssize_t count = 0; (count = read(terminal, block, sizeof block)) > 0;)
            said.append(block, int(count));
        int status = -1;
        waitpid(pid, &status, 0);
        close(terminal);
        QCOMPARE(said, QByteArray("none\r\n"));
        QCOMPARE(status, 0);
    }

    void standardDescriptorsMayBeClosed()
    {
        script("echo words; echo pmstatus:a:40:x >&3; read -r x || echo no input");
        QProcess shell;
        shell.setProcessEnvironment(m_environment);
        shell.start(
            QStringLiteral("/bin/sh"),
            { QStringLiteral("-c"), QStringLiteral("exec \"$0\" install <&- 2>&-"), frontEnd() });
        finish(shell);
        const QByteArrayList said = shell.readAll().split('\n');
        for (const char* line : { "words", "40% [a 20%]", "no input", "100% [Done 100%]" })
            QVERIFY2(said.contains(line), line);
        QCOMPARE(said.size(), 5);
    }

    void aDaemonThatStaysIsNotWaitedFor()
    {
        script("sleep 300 & echo $!; exit 3");
        int status = -1;
        const QByteArrayList said = lines({ QStringLiteral("install") }, &status);
        QCOMPARE(status, 3);
        const pid_t daemon = said.first().toInt();
        QVERIFY(daemon > 0);
        QVERIFY(IsRunning(daemon));
        QCOMPARE(kill(daemon, SIGTERM), 0);
    }

    // The lines of the output, each with the milliseconds since the line before.
    QList<QPair<QByteArray, qint64>> timedLines(const QByteArray& commands)
    {
        script(commands);
        QProcess process;
        start(process, { QStringLiteral("install") });
        QList<QPair<QByteArray, qint64>> said;
        QElapsedTimer gap;
        gap.start();
        while (process.state() != QProcess::NotRunning || process.canReadLine()) {
            if (!process.canReadLine() && !process.waitForReadyRead(10000))
                break;
            while (process.canReadLine())
                said << qMakePair(process.readLine().trimmed(), gap.restart());
        }
        finish(process);
        return said;
    }

    void progressIsRepeatedWhileNothingMoves()
    {
        const auto said = timedLines("echo pmstatus:a:40:x >&3; sleep 2; echo Setting up; sleep 1");
        QByteArrayList lines;
        for (const auto& line : said) {
            lines << line.first;
            QVERIFY2(lines.size() == 1 || line.second < 500,
                     line.first + ' ' + QByteArray::number(line.second));
        }
        QVERIFY(lines.count("40% [a 20%]") > 6);
        QCOMPARE(lines.count("Setting up"), 1);
        QCOMPARE(lines.last(), QByteArray("100% [Done 100%]"));
        // To a reader, a repetition of the last line is nothing new.
        lines.removeAll("40% [a 20%]");
        QCOMPARE(lines, (QByteArrayList{ "Setting up", "100% [Done 100%]" }));
    }

    void nothingIsRepeatedBeforeTheFirstProgress()
    {
        script("echo Reading package lists...; sleep 1; echo Building");
        QCOMPARE(
            lines(),
            (QByteArrayList{ "Reading package lists...", "Building", "100% [Done 100%]", "" }));
    }

    void aRepeatedLineEndsNoErrorAndNoList()
    {
        for (const char* line : { "E: first", "W: first", "The following packages:", " details" }) {
            script(QByteArray("echo pmstatus:a:40:x >&3; sleep 0.1; echo '") + line
                   + "'; sleep 1; echo '  more'");
            const QByteArrayList said = lines();
            const int at = said.indexOf(line);
            QVERIFY2(at > 0, line);
            QCOMPARE(said.value(at + 1), QByteArray("  more"));
        }
    }

    // Like a download helper of apt-get that waits for a silent server and keeps
    // apt-get's output open.
    void anEndBeforeDpkgWorksIsPrompt_data()
    {
        QTest::addColumn<int>("number");
        QTest::newRow("SIGINT") << SIGINT;
        QTest::newRow("SIGTERM") << SIGTERM;
    }
    void anEndBeforeDpkgWorksIsPrompt()
    {
        QFETCH(int, number);
        script("(exec sleep 300) & echo dlstatus:1:10:x >&3; exec sleep 300");
        QProcess process;
        startUntil(process, "%");
        QElapsedTimer time;
        time.start();
        QCOMPARE(kill(pid_t(process.processId()), number), 0);
        finish(process);
        const qint64 taken = time.elapsed();
        qInfo("ended after %lld ms", taken);
        QVERIFY2(taken < 1000, QByteArray::number(taken));
        QCOMPARE(process.exitCode(), 128 + number);
    }

    void aStoppedAndContinuedFrontEndLosesNothing()
    {
        script("echo pmstatus:a:40:x >&3; sleep 2; echo after; exit 7");
        QProcess process;
        QByteArray heard = startUntil(process, "%");
        const pid_t pid = pid_t(process.processId());
        QVERIFY(pid > 0);
        for (int i = 0; i < 20; ++i) {
            kill(pid, SIGSTOP);
            QTest::qWait(10);
            kill(pid, SIGCONT);
            QTest::qWait(20);
        }
        finish(process);
        heard += process.readAll();
        QVERIFY(heard.contains("after\n"));
        QCOMPARE(process.exitCode(), 7);
    }

    void onceDpkgWorksASignalIsAnInterruption_data()
    {
        QTest::addColumn<int>("number");
        QTest::newRow("SIGINT") << SIGINT;
        QTest::newRow("SIGTERM") << SIGTERM;
        QTest::newRow("SIGHUP") << SIGHUP;
    }
    void onceDpkgWorksASignalIsAnInterruption()
    {
        QFETCH(int, number);
        script("trap 'echo INT; exit 7' INT; trap 'echo TERM; exit 8' TERM HUP\n"
               "echo pmstatus:dpkg-exec:0:x >&3; echo pmstatus:a:10:x >&3\n"
               "while true; do sleep 0.05; done");
        QProcess process;
        startUntil(process, "10% [a 20%]");
        QCOMPARE(kill(pid_t(process.processId()), number), 0);
        finish(process);
        QCOMPARE(process.readAll().replace("10% [a 20%]\n", ""), QByteArray("INT\n"));
        QCOMPARE(process.exitCode(), 7);
    }

    void beforeThatItIsTheSignal()
    {
        script("trap 'echo TERM; exit 8' TERM; echo ready; while true; do sleep 0.05; done");
        QProcess process;
        startUntil(process, "ready");
        process.terminate();
        finish(process);
        QCOMPARE(process.readAll(), QByteArray("TERM\n"));
        QCOMPARE(process.exitCode(), 8);
    }

    void helpersOfAKilledAptGetGo()
    {
        script("sleep 300 & echo $!; while true; do sleep 0.05; done");
        QProcess process;
        const QByteArray heard = startUntil(process, "\n");
        process.terminate();
        finish(process);
        QCOMPARE(process.exitCode(), 128 + SIGTERM);
        const pid_t helper = heard.split('\n').first().toInt();
        QVERIFY(helper > 0);
        QTRY_VERIFY(!IsRunning(helper));
    }

    void dpkgOutlivesAKilledAptGet()
    {
        script("echo pmstatus:dpkg-exec:0:x >&3; sleep 300 & echo $!; kill -KILL $$");
        int status = -1;
        const QByteArrayList said = lines({ QStringLiteral("install") }, &status);
        QCOMPARE(status, 128 + SIGKILL);
        const pid_t dpkg = said.first().toInt();
        QVERIFY(dpkg > 0);
        QTest::qWait(100);
        QVERIFY(IsRunning(dpkg));
        QCOMPARE(kill(dpkg, SIGTERM), 0);
    }

    void anIgnoredHangUpStaysIgnored()
    {
        script("sed -n 's/^SigIgn:[\\t ]*0*//p' /proc/self/status");
        const QString sh = QStringLiteral("/bin/sh");
        for (const char* before : { "", "trap '' HUP; " }) {
            QProcess shell;
            shell.setProcessEnvironment(m_environment);
            shell.start(sh,
                        { QStringLiteral("-c"),
                          QLatin1String(before) + QStringLiteral("exec \"$0\" update"),
                          frontEnd() });
            finish(shell);
            const bool ignored = shell.readAll().trimmed().toLongLong(nullptr, 16) & 1;
            QCOMPARE(ignored, *before != '\0');
        }
    }

    void withoutAReaderItIsInterrupted()
    {
        QFile::remove(path("interrupted"));
        script("trap 'touch " + path("interrupted").toLocal8Bit()
               + "; exit 1' INT\n"
                 "while true; do echo words; sleep 0.02; done");
        QProcess shell;
        shell.setProcessEnvironment(m_environment);
        shell.start(
            QStringLiteral("/bin/sh"),
            { QStringLiteral("-c"), QStringLiteral("\"$0\" install | head -n 1"), frontEnd() });
        finish(shell);
        QCOMPARE(shell.readAll(), QByteArray("words\n"));
        QTRY_VERIFY(QFile::exists(path("interrupted")));
    }

    void everyLockIsWaitedForAndSaid_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("lock");
        const auto row = [](const char* command, const char* lock) {
            QTest::newRow(lock) << QString::fromLatin1(command) << QString::fromLatin1(lock);
        };
        row("install", "var/lib/dpkg/lock-frontend");
        row("remove", "var/lib/dpkg/lock");
        row("install", "var/cache/apt/archives/lock");
        row("clean", "var/cache/apt/archives/lock");
        row("update", "private/lists/lock");
    }
    void everyLockIsWaitedForAndSaid()
    {
        QFETCH(QString, command);
        QFETCH(QString, lock);
        const QString root = QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT")) + QLatin1Char('/');
        QVERIFY(QDir().mkpath(QFileInfo(root + lock).path()));
        script("echo working");
        const QStringList words{ command, QStringLiteral("-o"),
                                 QStringLiteral("Dir::State::lists=%1private/lists/").arg(root) };
        for (const bool interrupt : { false, true }) {
            QProcess holder;
            holder.start(QStringLiteral("python3"),
                         { QStringLiteral("-c"),
                           QStringLiteral("import fcntl, sys\nf = open(sys.argv[1], 'w')\n"
                                          "fcntl.lockf(f, fcntl.LOCK_EX)\n"
                                          "print('held', flush=True)\nsys.stdin.read()"),
                           root + lock });
            QVERIFY(holder.waitForReadyRead(10000));
            QProcess process;
            start(process, words);
            QByteArray heard;
            QTRY_VERIFY((heard += process.readAll()).endsWith('\n'));
            QCOMPARE(heard,
                     "Waiting for the package lock, which is held by process "
                         + QByteArray::number(holder.processId()) + '\n');
            if (interrupt)
                process.terminate();
            else
                holder.closeWriteChannel();
            finish(process);
            QCOMPARE(process.exitCode(), interrupt ? 128 + SIGTERM : 0);
            QCOMPARE(process.readAll().startsWith("working\n"), !interrupt);
            holder.closeWriteChannel();
            QVERIFY(holder.waitForFinished(10000));
        }
    }

    void aLockIsWaitedForAsLongAsTheCommandLineSays()
    {
        const QString root = QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT")) + QLatin1Char('/');
        QVERIFY(QDir().mkpath(root + QStringLiteral("var/lib/dpkg")));
        script("echo working");
        QProcess holder;
        holder.start(QStringLiteral("python3"),
                     { QStringLiteral("-c"),
                       QStringLiteral("import fcntl, sys\nf = open(sys.argv[1], 'w')\n"
                                      "fcntl.lockf(f, fcntl.LOCK_EX)\n"
                                      "print('held', flush=True)\nsys.stdin.read()"),
                       root + QStringLiteral("var/lib/dpkg/lock") });
        QVERIFY(holder.waitForReadyRead(10000));
        for (const char* seconds : { "0", "1" }) {
            const QByteArrayList said
                = lines({ QStringLiteral("install"), QStringLiteral("-o"),
                          QStringLiteral("DPkg::Lock::Timeout=") + QLatin1String(seconds) });
            QCOMPARE(said.contains("working"), true);
            QCOMPARE(said.first().startsWith("Waiting for the package lock"), *seconds == '1');
        }
        holder.closeWriteChannel();
        QVERIFY(holder.waitForFinished(10000));
    }

    void refusedNamesStartNothing()
    {
        script("echo started");
        int status = -1;
        const QByteArrayList said = lines(
            { QStringLiteral("-yp"), QStringLiteral("install"), QStringLiteral("a\nE: \x1b[2J-") },
            &status);
        QCOMPARE(said, (QByteArrayList{ "E: Not the name of a package: aE: [2J-", "" }));
        QCOMPARE(status, 100);
    }
};

QTEST_GUILESS_MAIN(AptChildTest)
#include "tst_aptchild.moc"
