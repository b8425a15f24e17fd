// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// While the library waits for children and locks, events are processed, interrupted calls
// are repeated, and a cancelled install ends at once.

#include "installscene.h"
#include "tests/common/pulse.h"

#include "install/crun.h"
#include "install/daemonrunning.h"
#include "util/paths.h"

#include <QElapsedTimer>
#include <QtTest>
#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/time.h>

using namespace Agent;

namespace
{

volatile std::sig_atomic_t g_alarms = 0;

// A signal every two milliseconds, with a handler that interrupts system calls.
class Alarms
{
public:
    Alarms()
    {
        g_alarms = 0;
        struct sigaction action = {};
        action.sa_handler = [](int) { g_alarms = g_alarms + 1; };
        sigaction(SIGALRM, &action, &m_before);
        set(2000);
    }
    ~Alarms()
    {
        set(0);
        sigaction(SIGALRM, &m_before, nullptr);
    }
    Alarms(const Alarms&) = delete;
    Alarms& operator=(const Alarms&) = delete;

private:
    static void set(suseconds_t microseconds)
    {
        const itimerval every{ { 0, microseconds }, { 0, microseconds } };
        setitimer(ITIMER_REAL, &every, nullptr);
    }
    struct sigaction m_before = {};
};

// Measured gaps are a few milliseconds; a loaded machine adds to them.
constexpr qint64 longestGap = 500;
constexpr qint64 longestCancel = 3000;

} // namespace

class WaitsTest : public QObject
{
    Q_OBJECT

private:
    InstallScene m_scene;

    // Locks the tree as another process would.
    static int lockTree()
    {
        const QString tree = QDir::homePath() + QStringLiteral("/.vos-apt-get");
        QDir().mkpath(tree);
        const int fd
            = open(qPrintable(tree + QStringLiteral("/lock")), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        if (fd < 0 || flock(fd, LOCK_EX) != 0)
            qFatal("cannot hold the lock");
        return fd;
    }
    void sourcesChange()
    {
        m_scene.server.answer("/s",
                              InstallScene::reply("<list type=\"dep\"><entry timestamp=\""
                                                  + QByteArray::number(++m_n)
                                                  + "\">deb http://h/a ./</entry></list>"));
    }
    static void silent(QTcpSocket*, const QByteArray&) { }
    int m_n = 0;

private slots:
    void init()
    {
        m_scene.reset();
        QFile::remove(SystemPath(QStringLiteral("/etc/init.d/pakmartd.sh")));
    }

    void eventsGoOnDuringAnInstall_data()
    {
        QTest::addColumn<QString>("phase");
        for (const char* phase :
             { "listing", "half a line", "download", "end without output", "refresh", "clean",
               "dpkg --configure", "lock", "zero bytes", "slow sources" })
            QTest::newRow(phase) << QString::fromLatin1(phase);
    }
    void eventsGoOnDuringAnInstall()
    {
        QFETCH(QString, phase);
        const auto is = [&phase](const char* name) { return phase == QLatin1String(name); };
        int fd = -1;
        if (is("listing"))
            m_scene.listing = "sleep 1; " + m_scene.listing;
        else if (is("half a line"))
            m_scene.install = "printf Sett; sleep 1; echo 'ing up foo (1) ...'";
        else if (is("download"))
            m_scene.install = "echo 'Get:1 http://h ./. foo 1 [5B]'; echo '1% [1 foo 1%]'; sleep 1";
        else if (is("end without output"))
            m_scene.install = "exec >/dev/null 2>&1; sleep 1";
        else if (is("refresh"))
            m_scene.update = "sleep 1";
        else if (is("clean"))
            m_scene.update = "exit 0;; *' clean '*|' clean '*) sleep 1";
        else if (is("dpkg --configure"))
            m_scene.frontEnd.install(QStringLiteral("dpkg"), "sleep 1");
        else if (is("zero bytes"))
            m_scene.install = "printf x; head -c 30000000 /dev/zero; echo";
        else if (is("lock"))
            fd = lockTree();
        else
            m_scene.server.answer("/s", [](QTcpSocket* socket, const QByteArray&) {
                QTimer::singleShot(1000, socket, [socket] {
                    socket->write(InstallScene::reply("<list type=\"dep\"/>"));
                    socket->disconnectFromHost();
                });
            });
        if (is("refresh"))
            sourcesChange();
        if (fd >= 0)
            QTimer::singleShot(1000, this, [fd] { close(fd); });
        const Pulse pulse;
        QCOMPARE(m_scene.run().last(), QStringLiteral("complete 1"));
        qInfo("longest gap: %lld ms of %d beats", pulse.longestGap(), pulse.beats());
        QVERIFY2(pulse.longestGap() < longestGap, qPrintable(QString::number(pulse.longestGap())));
        QVERIFY(pulse.beats() > 10);
    }

    void eventsGoOnWhileAFolderIsMissing()
    {
        const Pulse pulse;
        QVERIFY(!CRunAptGet::MkDir("/proc/nowhere/x"));
        QVERIFY(pulse.beats() > 50);
        QVERIFY(pulse.longestGap() < longestGap);
    }

    void folderThatAppearsALittleLateIsFound()
    {
        const QString late = QDir::homePath() + QStringLiteral("/file/late");
        QFile blocker(QDir::homePath() + QStringLiteral("/file"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        QTimer::singleShot(300, this, [&blocker, late] {
            blocker.remove();
            QDir().mkpath(late);
        });
        QVERIFY(CRunAptGet::MkDir(late.toStdString()));
    }

    void eventsGoOnWhileTheDaemonStarts()
    {
        const QString script = SystemPath(QStringLiteral("/etc/init.d/pakmartd.sh"));
        QDir().mkpath(QFileInfo(script).path());
        QFile file(script);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("#!/bin/sh\nsleep 0.5\necho ran >> $0.ran\n");
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        file.close();
        const Pulse pulse;
        QVERIFY(!DaemonRunning(true));
        QVERIFY(pulse.longestGap() < longestGap);
        // Each time, the lock was checked after the script had run.
        QFile ran(script + QStringLiteral(".ran"));
        QVERIFY(ran.open(QIODevice::ReadOnly));
        QCOMPARE(ran.readAll(), QByteArray("ran\nran\nran\n"));
    }

    void daemonThatTakesItsLockLateIsSeen()
    {
        const QString script = SystemPath(QStringLiteral("/etc/init.d/pakmartd.sh"));
        const QString lock = SystemPath(QStringLiteral("/run/lock/pakmartd.lock"));
        QDir().mkpath(QFileInfo(script).path());
        QFile file(script);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("#!/bin/sh\necho ran >> $0.ran\nsleep 0.3\nflock " + lock.toLocal8Bit()
                   + " sleep 5 > /dev/null 2>&1 &\necho $! > $0.pid\n");
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        file.close();
        QFile::remove(script + QStringLiteral(".ran"));
        QVERIFY(DaemonRunning(true));
        QFile ran(script + QStringLiteral(".ran"));
        QVERIFY(ran.open(QIODevice::ReadOnly));
        QCOMPARE(ran.readAll(), QByteArray("ran\n"));
        QFile pid(script + QStringLiteral(".pid"));
        QVERIFY(pid.open(QIODevice::ReadOnly));
        kill(pid.readAll().trimmed().toInt(), SIGTERM);
    }

    // Interruptions.

    void interruptedReadIsNoEnd()
    {
        m_scene.frontEnd.install(QStringLiteral("vos-apt-get"),
                                 "case $* in *install*) i=0; while [ $i -lt 200 ]; do echo line "
                                 "$i; sleep 0.005; i=$((i+1)); done;; esac");
        const Alarms alarms;
        CRunAptGet runner;
        QCOMPARE(runner.Run('I', "a", false, false), 0);
        QCOMPARE(runner.Messages().size(), std::size_t(200));
        QVERIFY(g_alarms > 10);
    }

    void interruptedReadOfAHostsStreamIsNoEnd()
    {
        FILE* stream = popen("printf abc; sleep 0.2; echo def", "r");
        const Alarms alarms;
        CRunAptGet runner;
        char line[100];
        int length = 0;
        QVERIFY(runner.readLine(line, sizeof line, stream, length));
        QCOMPARE(QByteArray(line), QByteArray("abcdef"));
        QVERIFY(g_alarms > 10);
        while (pclose(stream) < 0 && errno == EINTR) { }
    }

    void interruptedWaitIsNoEnd()
    {
        const Alarms alarms;
        CRun run(QStringLiteral("/bin/sh"), QStringLiteral("-c \"sleep 0.3\""), true);
        // The quotes stay, so that the shell looks for a program with that name.
        QCOMPARE(run.Run(), 127);
        QCOMPARE(CRun(QStringLiteral("/bin/sleep"), QStringLiteral("0.3"), true).Run(), 0);
        QVERIFY(g_alarms > 10);
    }

    void frontEndsChildThatKeepsThePipeOpenIsNotWaitedFor()
    {
        m_scene.frontEnd.install(QStringLiteral("vos-apt-get"),
                                 "case $* in *install*) sleep 20 & echo $! > $TEST_DIR/daemon; "
                                 "echo done;; esac");
        QElapsedTimer time;
        time.start();
        CRunAptGet runner;
        QCOMPARE(runner.Run('I', "a", false, false), 0);
        QCOMPARE(runner.Messages(), AptGetMessages{ "done" });
        QVERIFY(time.elapsed() < 10000);
        QFile pid(QString::fromLocal8Bit(qgetenv("TEST_DIR")) + QStringLiteral("/daemon"));
        QVERIFY(pid.open(QIODevice::ReadOnly));
        kill(pid.readAll().trimmed().toInt(), SIGTERM);
    }

    // Cancelling.

    void cancelEndsEachPhase_data()
    {
        QTest::addColumn<QString>("phase");
        QTest::addColumn<int>("after"); // milliseconds
        for (const char* phase : { "lock", "product", "sources", "refresh", "listing", "packages",
                                   "download", "first question" })
            QTest::newRow(phase) << QString::fromLatin1(phase) << 400;
    }
    void cancelEndsEachPhase()
    {
        QFETCH(QString, phase);
        QFETCH(int, after);
        const auto is = [&phase](const char* name) { return phase == QLatin1String(name); };
        const int fd = is("lock") ? lockTree() : -1;
        if (is("product"))
            m_scene.server.answer("/a", silent);
        if (is("sources"))
            m_scene.server.answer("/s", silent);
        if (is("packages"))
            m_scene.server.answer("/p", silent);
        if (is("refresh")) {
            sourcesChange();
            m_scene.update = "exec sleep 20";
        }
        if (is("listing"))
            m_scene.listing = "exec sleep 20";
        if (is("download"))
            m_scene.install = "echo 'Get:1 http://h ./. foo 1 [5B]'; exec sleep 20";
        QElapsedTimer time;
        bool could = false;
        const BoxCloser boxes;
        m_scene.run([&](CAPIInstallPackages* request) {
            const QPointer<CAPIInstallPackages> install(request);
            const auto cancel = [&, install] {
                time.start();
                could = install && install->CanCancel() && install->Cancel();
            };
            if (is("first question"))
                connect(request, &CAPIInstallPackages::signalCanContinue, qApp, cancel);
            else
                QTimer::singleShot(after, this, cancel);
        });
        const qint64 took = time.elapsed();
        if (fd >= 0)
            close(fd);
        qInfo("cancelled in %lld ms", took);
        QVERIFY(could);
        QVERIFY2(took < longestCancel, qPrintable(QString::number(took)));
        QCOMPARE(
            m_scene.events.mid(m_scene.events.size() - 2),
            (QStringList{ QStringLiteral("failure cancelled"), QStringLiteral("complete 0") }));
        QCOMPARE(m_scene.events.filter(QStringLiteral("outcome")),
                 QStringList(QStringLiteral("outcome 0")));
        QCOMPARE(m_scene.events.filter(QStringLiteral("error")), QStringList());
        QCOMPARE(boxes.texts, QStringList());
        // An earlier listing that ended has cleaned the cache; a cancelled step does not.
        const bool listed = is("packages") || is("download") || is("first question");
        QCOMPARE(m_scene.frontEnd.calls().filter(QStringLiteral("clean")).size(), int(listed));
        // The tree is left in a state in which the next install works.
        m_scene.reset();
        QCOMPARE(m_scene.run().last(), QStringLiteral("complete 1"));
    }

    void cancelEndsRemovesAndRefreshes_data()
    {
        QTest::addColumn<bool>("remove");
        QTest::newRow("remove") << true;
        QTest::newRow("refresh") << false;
    }
    void cancelEndsRemovesAndRefreshes()
    {
        QFETCH(bool, remove);
        m_scene.frontEnd.install(QStringLiteral("vos-apt-get"),
                                 "echo 'Reading package lists...'; exec sleep 20");
        CRunAptGet runner;
        QElapsedTimer time;
        QTimer::singleShot(300, this, [&] {
            time.start();
            QVERIFY(runner.CanCancel());
            QVERIFY(runner.Cancel());
        });
        if (remove)
            QCOMPARE(runner.Run('R', "foo", false, false), 0);
        else
            QVERIFY(!runner.RefreshLists(true));
        qInfo("cancelled in %lld ms", time.elapsed());
        QVERIFY(time.elapsed() < longestCancel);
        QCOMPARE(runner.Failure(), AgentError::Cancelled);
        QVERIFY(runner.WasCancelled());
        QVERIFY(!runner.CanCancel());
        // The next run is not cancelled any more.
        m_scene.frontEnd.install(QStringLiteral("vos-apt-get"), "exit 0");
        QCOMPARE(runner.Run('R', "foo", false, false), 0);
        QCOMPARE(runner.Failure(), AgentError::NoFailure);
        QVERIFY(!runner.WasCancelled());
    }

    void removeIsNotCancelledOnceThePackageToolsRemove()
    {
        // It continues after the attempt.
        const QString flag = QString::fromLocal8Bit(qgetenv("TEST_DIR")) + QStringLiteral("/flag");
        const QByteArray name = QFile::encodeName(flag);
        m_scene.frontEnd.install(QStringLiteral("vos-apt-get"),
                                 "echo 'Removing foo (1) ...'; : > " + name + "; n=0; while [ -e "
                                     + name
                                     + " ] && [ $n -lt 600 ]; do sleep 0.1; n=$((n+1)); done");
        CRunAptGet runner;
        bool could = true;
        QTimer look;
        connect(&look, &QTimer::timeout, this, [&, seen = 0]() mutable {
            seen += QFile::exists(flag);
            // The line was written before the file, and is read between two checks.
            if (seen < 5)
                return;
            could = runner.CanCancel() || runner.Cancel();
            QFile::remove(flag);
            look.stop();
        });
        look.start(20);
        QCOMPARE(runner.Run('R', "foo", false, false), 0);
        QVERIFY(!look.isActive());
        QVERIFY(!could);
        QCOMPARE(runner.Failure(), AgentError::NoFailure);
    }

    void cancelInASlotStopsBeforeTheNextStep()
    {
        for (const bool byName : { false, true }) {
            m_scene.frontEnd.forget();
            m_scene.server.asked.clear();
            m_scene.run(
                [](CAPIInstallPackages* request) {
                    connect(request, &CAPIInstallPackages::signalPreInstallInformation, request,
                            [request] { request->Cancel(); });
                },
                byName);
            QVERIFY(!m_scene.started);
            QCOMPARE(m_scene.events,
                     (QStringList{ QStringLiteral("outcome 0"), QStringLiteral("failure cancelled"),
                                   QStringLiteral("complete 0") }));
            QCOMPARE(m_scene.frontEnd.calls(), QStringList());
            QVERIFY(!m_scene.server.asked.join().contains("/a"));
        }
    }

    void cancelWhenTheInstallBegins()
    {
        m_scene.run([](CAPIInstallPackages* request) {
            connect(request, &CAPIInstallPackages::signalBeginInstall, request,
                    [request] { request->Cancel(); });
        });
        QCOMPARE(m_scene.events,
                 (QStringList{ QStringLiteral("begin"), QStringLiteral("report 0"),
                               QStringLiteral("outcome 0"), QStringLiteral("failure cancelled"),
                               QStringLiteral("complete 0") }));
        QCOMPARE(m_scene.frontEnd.calls().filter(QStringLiteral("-yp install")), QStringList());
    }

    void nothingIsCancelledOnceThePackageToolsUnpack_data()
    {
        QTest::addColumn<QByteArray>("line");
        for (const char* line :
             { "Selecting previously unselected package foo.", "(Reading database ...",
               "Preparing to unpack .../foo.deb ...", "Unpacking foo (1) ...",
               "Setting up foo (1) ...", "Removing bar (1) ...", "Preconfiguring packages ..." })
            QTest::newRow(line) << QByteArray(line);
    }
    void nothingIsCancelledOnceThePackageToolsUnpack()
    {
        QFETCH(QByteArray, line);
        m_scene.install = "echo '" + line + "'; sleep 0.5; echo 'Setting up foo (1) ...'";
        bool asked = false, could = true, did = true;
        m_scene.run([&](CAPIInstallPackages* request) {
            connect(request, &CAPIInstallPackages::signalBeginInstall, request, [&, request] {
                QTimer::singleShot(250, request, [&, request] {
                    asked = true;
                    could = request->CanCancel();
                    did = request->Cancel();
                });
            });
        });
        QVERIFY(asked);
        QVERIFY(!could);
        QVERIFY(!did);
        QCOMPARE(m_scene.events.last(), QStringLiteral("complete 1"));
    }

    void nothingIsCancelledBeforeOrAfter()
    {
        bool before = true, after = true;
        m_scene.run([&](CAPIInstallPackages* request) {
            before = request->CanCancel() || request->Cancel();
            connect(request, &CAPIInstallPackages::signalBuildErrorReport, request,
                    [&, request] { after = request->CanCancel() || request->Cancel(); });
        });
        QVERIFY(!before);
        QVERIFY(!after);
        QCOMPARE(m_scene.events.last(), QStringLiteral("complete 1"));
        QVERIFY(!CRunAptGet().Cancel());
    }

    void frontEndThatDoesNotHearIsTheTruth()
    {
        m_scene.install = "trap '' TERM; echo one; sleep 0.5; echo 'Setting up foo (1) ...'";
        m_scene.run([&](CAPIInstallPackages* request) {
            connect(request, &CAPIInstallPackages::signalBeginInstall, request, [request] {
                QTimer::singleShot(200, request, [request] { QVERIFY(request->Cancel()); });
            });
        });
        // It was installed, and that is reported.
        QCOMPARE(m_scene.events.last(), QStringLiteral("complete 1"));
        QCOMPARE(m_scene.frontEnd.calls().filter(QStringLiteral("clean")).size(), 2);
    }

    void hostThatBlocksTheSignalCanCancelAllTheSame()
    {
        sigset_t end, before;
        sigemptyset(&end);
        sigaddset(&end, SIGTERM);
        sigprocmask(SIG_BLOCK, &end, &before);
        m_scene.install = "exec sleep 20";
        QElapsedTimer time;
        time.start();
        m_scene.run([](CAPIInstallPackages* request) {
            connect(request, &CAPIInstallPackages::signalBeginInstall, request, [request] {
                QTimer::singleShot(100, request, [request] { request->Cancel(); });
            });
        });
        sigprocmask(SIG_SETMASK, &before, nullptr);
        QCOMPARE(m_scene.events.last(), QStringLiteral("complete 0"));
        QVERIFY(time.elapsed() < 15000);
    }
};

QTEST_MAIN(WaitsTest)
#include "tst_waits.moc"
