// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Folders, the system's paths, the version text and the package daemon's lock.

#include "install/daemonrunning.h"
#include "support/coneinstancemutex.h"
#include "tests/common/processes.h"
#include "util/paths.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>
#include <csignal>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Agent;

class PathsTest : public QObject
{
    Q_OBJECT

private:
    static void write(const QString& name, const QByteArray& text)
    {
        QDir().mkpath(QFileInfo(name).path());
        QFile file(name);
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
            qFatal("cannot write a test file");
    }
    static QByteArray contents(const QString& name)
    {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    // A start script of the daemon that writes a line each time it runs.
    static QString startScript(const QByteArray& more)
    {
        const QString name = SystemPath(QStringLiteral("/etc/init.d/pakmartd.sh"));
        write(name, "#!/bin/sh\necho \"$1\" >> \"$0.runs\"\n" + more);
        QFile::setPermissions(name, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QFile::remove(name + QLatin1String(".runs"));
        return name;
    }
    // Waits until the script has run as often as wanted, since it runs concurrently.
    static QByteArray runs(const QString& script, const QByteArray& wanted)
    {
        const QString name = script + QLatin1String(".runs");
        [&] { QTRY_COMPARE(contents(name), wanted); }();
        return contents(name);
    }
    // A process that holds the daemon's lock until it is killed.
    static pid_t daemon()
    {
        int ready[2];
        if (pipe(ready) != 0)
            qFatal("no pipe");
        const pid_t child = fork();
        if (child == 0) {
            EndWithParent();
            COneInstanceMutex mutex;
            const char taken = char(mutex.Create("pakmartd"));
            if (::write(ready[1], &taken, 1) == 1)
                pause();
            _exit(1);
        }
        char taken = 0;
        if (read(ready[0], &taken, 1) != 1 || taken != 1)
            qFatal("the lock is not free");
        close(ready[0]);
        close(ready[1]);
        return child;
    }
    static void end(pid_t child)
    {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }

private slots:
    void systemPathsGoBelowThePrivateRoot()
    {
        const QString root = qEnvironmentVariable("PAKMART_SYSROOT");
        QVERIFY(!root.isEmpty());
        QCOMPARE(SystemPath(QStringLiteral("/etc/x")), root + QLatin1String("/etc/x"));
        QCOMPARE(SystemPath("/etc/x"), root.toStdString() + "/etc/x");
        QCOMPARE(PlainPath(SystemPath(QStringLiteral("/etc/x"))), QStringLiteral("/etc/x"));
        QCOMPARE(PlainPath(QStringLiteral("/etc/x")), QStringLiteral("/etc/x"));
        QCOMPARE(PlainPath(root + QLatin1String("x/y")), root + QLatin1String("x/y"));
    }

    void dataFolderIsFixed()
    {
        SetRootPath("/elsewhere/");
        QCOMPARE(GetRootPath(), QStringLiteral("/usr/share/apps/vantrelagent/"));
        QCOMPARE(SettingsFile(), SystemPath("/usr/share/apps/vantrelagent/.vauf"));
    }

    void foldersAreMadeFromTheFirstThatExists()
    {
        QTemporaryDir dir;
        QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("a")));
        QVERIFY(CreateFolderTree(dir.filePath(QStringLiteral("a/b/c"))));
        QVERIFY(QDir(dir.filePath(QStringLiteral("a/b/c"))).exists());
    }

    void foldersThatExistAreLeftAlone()
    {
        QTemporaryDir dir;
        QVERIFY(CreateFolderTree(dir.path()));
        QVERIFY(CreateFolderTree(dir.path() + QLatin1Char('/')));
        QVERIFY(CreateFolderTree(QString()));
        QVERIFY(QDir(dir.path()).isEmpty());
    }

    void relativeFoldersBeginInTheWorkingFolder()
    {
        QTemporaryDir dir;
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(dir.path()));
        QVERIFY(CreateFolderTree(QStringLiteral("one")));
        QVERIFY(CreateFolderTree(QStringLiteral("two/three")));
        QVERIFY(CreateFolderTree(QStringLiteral("two/four/five")));
        QVERIFY(QDir::setCurrent(before));
        for (const char* name : { "one", "two/three", "two/four/five" })
            QVERIFY2(QDir(dir.filePath(QLatin1String(name))).exists(), name);
        QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size(), 2);
        QVERIFY(!QDir(QStringLiteral("/ne")).exists());
    }

    void aLevelThatCannotBeMadeIsTheLast()
    {
        QTemporaryDir dir;
        // ".." exists and is not made; the part after it would be possible.
        QVERIFY(CreateFolderTree(dir.filePath(QStringLiteral("a/../b"))));
        QVERIFY(QDir(dir.filePath(QStringLiteral("a"))).exists());
        QVERIFY(!QDir(dir.filePath(QStringLiteral("b"))).exists());
    }

    void nobodyElseMayWriteToANewFolder()
    {
        QTemporaryDir dir;
        const mode_t mask = umask(0);
        QVERIFY(CreateFolderTree(dir.filePath(QStringLiteral("a/b"))));
        umask(077);
        QVERIFY(CreateFolderTree(dir.filePath(QStringLiteral("c"))));
        umask(mask);
        const auto mode = [&dir](const char* name) {
            struct stat info = {};
            stat(qPrintable(dir.filePath(QLatin1String(name))), &info);
            return int(info.st_mode & 07777);
        };
        QCOMPARE(mode("a"), 0755);
        QCOMPARE(mode("a/b"), 0755);
        QCOMPARE(mode("c"), 0700);
    }

    void trailingSeparatorChangesNothing()
    {
        QTemporaryDir dir;
        QVERIFY(CreateFolderTree(dir.filePath(QStringLiteral("a/b/"))));
        QVERIFY(QDir(dir.filePath(QStringLiteral("a/b"))).exists());
    }

    void doubledSeparatorStopsEarly()
    {
        QTemporaryDir dir;
        QVERIFY(CreateFolderTree(dir.filePath(QStringLiteral("a//b"))));
        QVERIFY(!QDir(dir.filePath(QStringLiteral("a/b"))).exists());
    }

    void unwritableParentStillGivesTrue()
    {
        QTemporaryDir dir;
        // Not even root can make a folder below a file, or in /proc.
        write(dir.filePath(QStringLiteral("file")), "x");
        QVERIFY(CreateFolderTree(dir.filePath(QStringLiteral("file/b/c"))));
        QCOMPARE(contents(dir.filePath(QStringLiteral("file"))), QByteArray("x"));
        QVERIFY(CreateFolderTree(QStringLiteral("/proc/pakmart/b")));
        QVERIFY(!QDir(QStringLiteral("/proc/pakmart")).exists());
    }

    void versionTextIsTheWholeFile()
    {
        const QString name = SystemPath(QStringLiteral("/etc/vantrelos-version"));
        write(name, "VantrelOS 4\nsecond line\n" + QByteArray(5000, 'x') + "\nlast");
        QCOMPARE(GetVantrelOSVersionInfo(), QString::fromLatin1(contents(name)));
        QFile::remove(name);
    }

    void versionTextWithoutTheFileIsEmpty() { QVERIFY(GetVantrelOSVersionInfo().isEmpty()); }

    void versionTextOfAFolderIsEmpty()
    {
        const QString name = SystemPath(QStringLiteral("/etc/vantrelos-version"));
        QVERIFY(QDir().mkdir(name));
        QVERIFY(GetVantrelOSVersionInfo().isEmpty());
        QVERIFY(QDir().rmdir(name));
    }

    void daemonDoesNotRunWithoutItsLock()
    {
        QVERIFY(!DaemonRunning(false));
        // The check has released the lock.
        COneInstanceMutex mutex;
        QCOMPARE(mutex.Create("pakmartd"), 1);
    }

    void daemonRunsWhenAnotherProcessHoldsTheLock()
    {
        const pid_t other = daemon();
        QVERIFY(DaemonRunning(false));
        end(other);
        QVERIFY(!DaemonRunning(false));
    }

    void startScriptIsRunThreeTimesWhenNothingStarts()
    {
        const QString script = startScript("");
        QVERIFY(!DaemonRunning(true));
        QCOMPARE(runs(script, "start\nstart\nstart\n"), QByteArray("start\nstart\nstart\n"));
    }

    void startScriptIsRunOnceEvenWhenTheDaemonRuns()
    {
        const QString script = startScript("");
        const pid_t other = daemon();
        QVERIFY(DaemonRunning(true));
        end(other);
        QCOMPARE(runs(script, "start\n"), QByteArray("start\n"));
    }

    void noStartScriptIsNoDaemon()
    {
        QFile::remove(SystemPath(QStringLiteral("/etc/init.d/pakmartd.sh")));
        QVERIFY(!DaemonRunning(true));
    }
};

QTEST_GUILESS_MAIN(PathsTest)
#include "tst_paths.moc"
