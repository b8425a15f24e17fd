// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The host's support library.

#include "support/cconfigfile.h"
#include "support/coneinstancemutex.h"
#include "support/ctracer.h"
#include "support/funkydate.h"
#include "tests/common/filecalls.h"
#include "tests/common/limits.h"

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include "tests/common/plainuser.h"
#include "tests/common/processes.h"

#include <csignal>
#include <ctime>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

class SupportTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    std::string path(const char* name) const
    {
        return m_dir.filePath(QLatin1String(name)).toStdString();
    }
    std::string fileWith(const char* name, const QByteArray& text) const
    {
        QFile file(m_dir.filePath(QLatin1String(name)));
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
            qFatal("cannot write a test file");
        return file.fileName().toStdString();
    }
    static QString root() { return qEnvironmentVariable("PAKMART_SYSROOT"); }
    static QByteArray contents(const std::string& name)
    {
        QFile file(QString::fromStdString(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
    }

private slots:
    void readsKeysAndValues()
    {
        const CConfigFile file(
            fileWith("read",
                     "# a comment\n keep agent xml = 1 \nurl=http://h/x?a=b\nno setting\n"
                     "empty =\ntwice = 1\ntwice = 2\n#twice = 3"),
            false);
        QCOMPARE(file.GetLongValue("keep agent xml", 0), 1L);
        QCOMPARE(file.GetStringValue("url", "none"), std::string("http://h/x?a=b"));
        QCOMPARE(file.GetStringValue("empty", "none"), std::string());
        QCOMPARE(file.GetLongValue("twice", 0), 2L);
        QCOMPARE(file.GetStringValue("Twice", "none"), std::string("none"));
        QCOMPARE(file.GetStringValue("no setting", "none"), std::string("none"));
    }

    void numbersThatAreNone_data()
    {
        QTest::addColumn<QByteArray>("value");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("word") << QByteArray("yes");
        QTest::newRow("text behind") << QByteArray("1x");
        QTest::newRow("too large") << QByteArray("99999999999999999999");
    }
    void numbersThatAreNone()
    {
        QFETCH(QByteArray, value);
        const CConfigFile file(fileWith("numbers", "n = " + value + "\n"), false);
        QCOMPARE(file.GetLongValue("n", 7), 7L);
    }

    void setsAndKeepsTheRest()
    {
        const std::string name = fileWith("set", "# top\na = 1\nodd line\nb = 2");
        CConfigFile file(name, false);
        QVERIFY(file.SetValue("a", "one", true));
        QVERIFY(file.SetValue("c", "new", true));
        QCOMPARE(contents(name), QByteArray("# top\na = one\nodd line\nb = 2\nc = new\n"));
    }

    void writesLateOnClose()
    {
        const std::string name = fileWith("late", "a = 1\n");
        CConfigFile file(name, false);
        QVERIFY(file.SetValue("a", "2", false));
        QCOMPARE(contents(name), QByteArray("a = 1\n"));
        QVERIFY(file.Close());
        QCOMPARE(contents(name), QByteArray("a = 2\n"));
    }

    void closingWithoutAChangeLeavesTheFileToOthers()
    {
        const std::string name = fileWith("others", "a = 1\n");
        CConfigFile file(name, false);
        for (const char* value : { "2", "3" }) {
            QVERIFY(fileWith("others", "theirs = 1\n") == name);
            QVERIFY(file.Close());
            QCOMPARE(contents(name), QByteArray("theirs = 1\n"));
            QVERIFY(file.SetValue("a", value, *value == '3'));
            QVERIFY(file.Close());
            QCOMPARE(contents(name), QByteArray("a = ") + value + '\n');
        }
        QVERIFY(fileWith("others", "theirs = 2\n") == name);
        QVERIFY(file.Close());
        QCOMPARE(contents(name), QByteArray("theirs = 2\n"));
    }

    void unreadableFileIsNotReplaced()
    {
        QTemporaryDir folder;
        QCOMPARE(chmod(qPrintable(folder.path()), 0777), 0);
        const QString name = folder.filePath(QStringLiteral("unreadable"));
        QFile file(name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write("a = 1\n"), qint64(6));
        file.close();
        QCOMPARE(chmod(qPrintable(name), 0), 0);
        bool written = true;
        {
            const PlainUser nobody;
            written = CConfigFile(name.toStdString(), false).SetValue("b", "2", true);
        }
        QCOMPARE(chmod(qPrintable(name), 0600), 0);
        QVERIFY(!written);
        QCOMPARE(contents(name.toStdString()), QByteArray("a = 1\n"));
    }

    void pipeReadsAsEmptyWithoutAWait()
    {
        const std::string name = path("pipe");
        QCOMPARE(mkfifo(name.c_str(), 0600), 0);
        const pid_t child = fork();
        if (child == 0) {
            alarm(10);
            CConfigFile file(name, false);
            _exit(file.GetLongValue("a", 5) == 5 && !file.SetValue("a", "1", true) ? 0 : 1);
        }
        int status = -1;
        QCOMPARE(waitpid(child, &status, 0), child);
        QCOMPARE(status, 0);
    }

    void createsOnlyWhenAskedTo()
    {
        CConfigFile(path("absent"), false);
        QVERIFY(!QFile::exists(QString::fromStdString(path("absent"))));
        CConfigFile(path("made"), true);
        QVERIFY(QFile::exists(QString::fromStdString(path("made"))));
    }

    void keepsModeAndLink()
    {
        const std::string name = fileWith("mode", "a = 1\n");
        QCOMPARE(chmod(name.c_str(), 0640), 0);
        QCOMPARE(symlink(name.c_str(), path("link").c_str()), 0);
        CConfigFile file(path("link"), false);
        QVERIFY(file.SetValue("a", "2", true));
        struct stat info;
        QCOMPARE(lstat(path("link").c_str(), &info), 0);
        QVERIFY(S_ISLNK(info.st_mode));
        QCOMPARE(stat(name.c_str(), &info), 0);
        QCOMPARE(int(info.st_mode & 07777), 0640);
        QCOMPARE(contents(name), QByteArray("a = 2\n"));
    }

    void refusesWhatCannotStandInTheFile()
    {
        const std::string name = fileWith("refuse", "a = 1\n");
        CConfigFile file(name, false);
        QVERIFY(!file.SetValue("", "x", true));
        QVERIFY(!file.SetValue("a=b", "x", true));
        QVERIFY(!file.SetValue("#a", "x", true));
        QVERIFY(!file.SetValue(" a", "x", true));
        QVERIFY(!file.SetValue("a\nb", "x", true));
        QVERIFY(!file.SetValue("a", "x\ny", true));
        QVERIFY(!file.SetValue("a", std::string("x\0y", 3), true));
        QVERIFY(!file.SetValue("a", "x ", true));
        QCOMPARE(contents(name), QByteArray("a = 1\n"));
    }

    void directoryReadsAsEmptyAndIsNotReplaced()
    {
        const std::string name = path("directory");
        QCOMPARE(mkdir(name.c_str(), 0755), 0);
        CConfigFile file(name, false);
        QCOMPARE(file.GetLongValue("a", 5), 5L);
        QVERIFY(!file.SetValue("a", "1", true));
    }

    void binaryFileReadsAsEmptyAndIsNotReplaced()
    {
        const QByteArray bytes("a = 1\n\0\x7f"
                               "ELF",
                               11);
        const std::string name = fileWith("binary", bytes);
        CConfigFile file(name, false);
        QCOMPARE(file.GetLongValue("a", 5), 5L);
        QVERIFY(!file.SetValue("a", "1", true));
        QCOMPARE(contents(name), bytes);
    }

    void hugeFileReadsAsEmpty()
    {
        const std::string name = fileWith("huge", "a = 1\n" + QByteArray(2 << 20, 'x'));
        QCOMPARE(CConfigFile(name, false).GetLongValue("a", 5), 5L);
    }

    void fullDiskLeavesTheOldFile()
    {
        const std::string name = fileWith("full", "a = 1\n");
        std::signal(SIGXFSZ, SIG_IGN);
        bool written = true;
        {
            const LowLimit full(RLIMIT_FSIZE, 3);
            written = CConfigFile(name, false).SetValue("a", "2", true);
        }
        QVERIFY(!written);
        QCOMPARE(contents(name), QByteArray("a = 1\n"));
        QCOMPARE(QDir(m_dir.path()).entryList({ QStringLiteral("full*") }).size(), 1);
    }

    void theFileIsOnTheDiskBeforeItIsInItsPlace()
    {
        const std::string name = fileWith("synced", "a = 1\n");
        Calls::made.clear();
        QVERIFY(CConfigFile(name, false).SetValue("a", "2", true));
        QCOMPARE(Calls::made, std::string("fsync rename fsync")); // the file, then its folder
        for (const char* call : { "fsync", "rename" }) {
            Calls::failing = call;
            CConfigFile file(name, false);
            const bool written = file.SetValue("a", "3", true);
            Calls::failing.clear();
            QVERIFY(!written);
            QCOMPARE(file.GetLongValue("a", 0), 2L);
            QCOMPARE(contents(name), QByteArray("a = 2\n"));
            QCOMPARE(QDir(m_dir.path()).entryList({ QStringLiteral("synced*") }).size(), 1);
        }
    }

    void mutexFallsBackToAnotherFolder()
    {
        const QString run = root() + QStringLiteral("/run/lock");
        QVERIFY(QDir().rename(run, run + QStringLiteral(".away")));
        COneInstanceMutex mutex;
        const int held = mutex.Create("homeless");
        COneInstanceMutex second;
        const int refused = second.Create("homeless");
        QVERIFY(QDir().rename(run + QStringLiteral(".away"), run));
        QCOMPARE(held, 1);
        QCOMPARE(refused, 0);
        QVERIFY(QFile::exists(root() + QStringLiteral("/tmp/homeless.lock")));
    }

    void mutexFollowsNoLink()
    {
        const QString target = m_dir.filePath(QStringLiteral("target"));
        for (const char* folder : { "/run/lock/", "/tmp/" }) {
            const QString link = root() + QLatin1String(folder) + QStringLiteral("linked.lock");
            QVERIFY(QFile::link(target, link));
        }
        COneInstanceMutex mutex;
        QCOMPARE(mutex.Create("linked"), -1);
        QVERIFY(!QFile::exists(target));
        QVERIFY(QFile::remove(root() + QStringLiteral("/tmp/linked.lock")));
        QCOMPARE(mutex.Create("linked"), 1);
        QVERIFY(!QFile::exists(target));
        QVERIFY(!QFileInfo(root() + QStringLiteral("/tmp/linked.lock")).isSymLink());
    }

    void mutexTakesTheFileOfAnotherUser()
    {
        {
            COneInstanceMutex mutex;
            QCOMPARE(mutex.Create("shared"), 1);
        }
        QCOMPARE(chmod(qPrintable(root() + QStringLiteral("/run/lock/shared.lock")), 0444), 0);
        const PlainUser nobody;
        COneInstanceMutex mutex;
        QCOMPARE(mutex.Create("shared"), 1);
        QVERIFY(!QFile::exists(root() + QStringLiteral("/tmp/shared.lock")));
    }

    void mutexIsHeldByOneAtATime()
    {
        COneInstanceMutex first;
        QCOMPARE(first.Create("one"), 1);
        COneInstanceMutex second;
        QCOMPARE(second.Create("one"), 0);
        QCOMPARE(second.Create("two"), 1);
        first.Release();
        QCOMPARE(first.Create("two"), 0);
        QCOMPARE(second.Create("one"), 1);
        // A new name releases the one before.
        QCOMPARE(first.Create("two"), 1);
    }

    // Someone else may have made it, and no writer will ever come.
    void mutexDoesNotWaitForAPipe()
    {
        const std::string pipe = root().toStdString() + "/run/lock/piped.lock";
        QCOMPARE(mkfifo(pipe.c_str(), 0444), 0);
        const pid_t child = fork();
        if (child == 0) {
            alarm(10);
            COneInstanceMutex mutex;
            _exit(mutex.Create("piped") == 1 ? 0 : 1);
        }
        int status = -1;
        QCOMPARE(waitpid(child, &status, 0), child);
        QCOMPARE(unlink(pipe.c_str()), 0);
        QCOMPARE(status, 0);
    }

    void mutexIsNotInheritedByOtherPrograms()
    {
        COneInstanceMutex mutex;
        QCOMPARE(mutex.Create("own"), 1);
        QProcess other;
        other.start(QStringLiteral("cat"), {});
        QVERIFY(other.waitForStarted());
        mutex.Release();
        const int taken = COneInstanceMutex().Create("own");
        other.closeWriteChannel();
        QVERIFY(other.waitForFinished());
        QCOMPARE(taken, 1);
    }

    void mutexGoesWithItsProcess()
    {
        int ready[2];
        QCOMPARE(pipe(ready), 0);
        const pid_t child = fork();
        if (child == 0) {
            EndWithParent();
            COneInstanceMutex mutex;
            const char taken = char(mutex.Create("killed"));
            if (write(ready[1], &taken, 1) == 1)
                pause();
            _exit(1);
        }
        char taken = 0;
        QCOMPARE(read(ready[0], &taken, 1), ssize_t(1));
        QCOMPARE(int(taken), 1);
        COneInstanceMutex mutex;
        QCOMPARE(mutex.Create("killed"), 0);
        QCOMPARE(kill(child, SIGKILL), 0);
        QCOMPARE(waitpid(child, nullptr, 0), child);
        QCOMPARE(mutex.Create("killed"), 1);
        close(ready[0]);
        close(ready[1]);
    }

    void mutexRefusesABadName()
    {
        COneInstanceMutex mutex;
        QCOMPARE(mutex.Create(""), -1);
        QCOMPARE(mutex.Create("../x"), -1);
    }

    void tracerTellsScopesAndLines()
    {
        std::vector<std::string> seen;
        const CTracer::Sink before
            = CTracer::SetSink([&seen](CTracer::Event event, const std::string& text) {
                  seen.push_back(std::to_string(int(event)) + text);
              });
        {
            CTracer tracer("A::B");
            tracer.trace_out("line");
        }
        CTracer::SetSink(before);
        CTracer("unheard").trace_out("unheard");
        QCOMPARE(seen, (std::vector<std::string>{ "0A::B", "1line", "2A::B" }));
    }

    void tracerWritesToTheFileNamedByTheEnvironment()
    {
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("PAKMART_TRACE"), QString::fromStdString(path("trace")));
        child.setProcessEnvironment(environment);
        child.start(QCoreApplication::applicationFilePath(),
                    { QStringLiteral("tracerTellsNothing") });
        QVERIFY(child.waitForFinished());
        QCOMPARE(child.exitCode(), 0);
        QCOMPARE(contents(path("trace")), QByteArray("> scope\n  line\n< scope\n"));
    }
    void tracerTellsNothing() { CTracer("scope").trace_out("line"); }

    void dateIsIsoLocalTime()
    {
        const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
        const QDateTime told = QDateTime::fromString(QString::fromStdString(funky_date_str()),
                                                     QStringLiteral("yyyy-MM-dd HH:mm:ss"));
        QVERIFY(told.isValid());
        QVERIFY(told >= before && told <= QDateTime::currentDateTime());
    }

    void dateIsThatOfTheZone()
    {
        const QByteArray zone = qgetenv("TZ");
        qputenv("TZ", "XXX-05:30");
        tzset();
        QString date = QString::fromStdString(funky_date_str());
        qputenv("TZ", zone);
        tzset();
        QCOMPARE(date.at(10), QLatin1Char(' '));
        const QDateTime told = QDateTime::fromString(
            date.replace(10, 1, QLatin1Char('T')) + QStringLiteral("+05:30"), Qt::ISODate);
        QVERIFY(told.isValid());
        QVERIFY(qAbs(told.secsTo(QDateTime::currentDateTimeUtc())) < 600);
    }
};

QTEST_GUILESS_MAIN(SupportTest)
#include "tst_support.moc"
