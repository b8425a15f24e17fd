// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart as a user runs it: the real program, store server, apt-get and dpkg, on the
// demo store.

#include "tests/apps/demomachine.h"
#include "tests/apps/stalledpool.h"

#include <QDir>
#include <QImage>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>
#include <QtTest>
#include <signal.h>

class PakmartTest : public QObject
{
    Q_OBJECT

private:
    using Result = DemoMachine::Result;

    DemoMachine m_machine;
    const QString m_root = m_machine.root;
    const QString m_dir = m_machine.dir;

    static Result pakmart(const QStringList& words, const QByteArray& input = QByteArray())
    {
        return DemoMachine::pakmart(words, input);
    }
    QByteArray dpkgStatus() const { return m_machine.dpkgStatus(); }

private slots:
    void initTestCase() { QVERIFY(m_machine.setUp()); }
    void cleanupTestCase() { QCOMPARE(m_machine.endServer(SIGTERM), 0); }
    void init() { QVERIFY(m_machine.useServer(m_machine.url())); }

    void helpAndVersion()
    {
        const Result help = pakmart({ QStringLiteral("--help") });
        QCOMPARE(help.status, 0);
        for (const char* word :
             { "install", "remove", "update-sources", "recent", "--run", "forget", "--yes",
               "--verbose", "--dialogs", "--package", "--version" })
            QVERIFY2(help.out.contains(QLatin1String(word)), word);
        QVERIFY(pakmart({ QStringLiteral("--version") }).out.startsWith(QLatin1String("pakmart ")));
    }

    // Before anything is installed.
    void nothingHasBeenUsedYet()
    {
        const Result result = pakmart({ QStringLiteral("recent") });
        QCOMPARE(result.status, 0);
        QCOMPARE(result.out, QStringLiteral("No application has been used yet.\n"));
        QCOMPARE(pakmart({ QStringLiteral("recent"), QStringLiteral("--run"), QStringLiteral("1") })
                     .status,
                 1);
        QCOMPARE(pakmart({ QStringLiteral("forget"), QStringLiteral("1001") }).status, 1);
    }

    void installAndRemove()
    {
        const Result result
            = pakmart({ QStringLiteral("install"), QStringLiteral("-y"), QStringLiteral("1001") });
        QCOMPARE(result.status, 0);
        QCOMPARE(result.err, QString());
        QVERIFY2(result.out.startsWith(QStringLiteral("To be installed:\n  libpixel    1.2-3  ")),
                 qPrintable(result.out));
        QVERIFY2(result.out.contains(QStringLiteral("needed by starlander\n  starlander  ")),
                 qPrintable(result.out));
        QVERIFY(result.out.contains(QStringLiteral("Downloading starlander")));
        QVERIFY(result.out.contains(QStringLiteral("starlander 1.0-1 is installed.")));
        // The library's own lines are in the log.
        QVERIFY(!result.out.contains(QStringLiteral("launching CAPI")));
        QVERIFY(dpkgStatus().contains("Package: starlander\nStatus: install ok installed\n"));
        QVERIFY(dpkgStatus().contains("Package: libpixel\nStatus: install ok installed\n"));
        QCOMPARE(m_machine.leftInTree(), QStringList());
        QProcess program;
        program.start(m_root + QStringLiteral("/usr/games/starlander"), QStringList());
        QVERIFY(program.waitForFinished());
        QVERIFY(!program.readAll().isEmpty() && program.exitCode() == 0);

        const Result again = pakmart({ QStringLiteral("remove"), QStringLiteral("starlander") });
        QCOMPARE(again.status, 3); // nobody said yes
        const Result removed
            = pakmart({ QStringLiteral("remove"), QStringLiteral("starlander") }, "y\n");
        QCOMPARE(removed.status, 0);
        QVERIFY(!QFile::exists(m_root + QStringLiteral("/usr/games/starlander")));
        const Result gone = pakmart(
            { QStringLiteral("remove"), QStringLiteral("-y"), QStringLiteral("starlander") });
        QCOMPARE(gone.status, 1);
        QVERIFY(gone.err.contains(QStringLiteral("starlander is not installed")));
    }

    void verboseShowsTheLinesOfThePackageTools()
    {
        const Result result = pakmart({ QStringLiteral("-v"), QStringLiteral("install"),
                                        QStringLiteral("-y"), QStringLiteral("4001") });
        QCOMPARE(result.status, 0);
        QVERIFY2(result.out.contains(QStringLiteral("\nSetting up ")), qPrintable(result.out));
    }

    void packagesByName()
    {
        const Result result = pakmart({ QStringLiteral("install"), QStringLiteral("--package"),
                                        QStringLiteral("-y"), QStringLiteral("mazerunner"),
                                        QStringLiteral("colourpicker") });
        QCOMPARE(result.status, 0);
        QVERIFY(dpkgStatus().contains("Package: mazerunner\nStatus: install ok installed\n"));
        QVERIFY(dpkgStatus().contains("Package: colourpicker\nStatus: install ok installed\n"));
    }

    void declined_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::newRow("no") << QByteArray("n\n");
        QTest::newRow("empty line") << QByteArray("\n");
        QTest::newRow("end of input") << QByteArray();
    }
    void declined()
    {
        QFETCH(QByteArray, answer);
        const Result result
            = pakmart({ QStringLiteral("install"), QStringLiteral("2002") }, answer);
        QCOMPARE(result.status, 3);
        QVERIFY(result.out.contains(QStringLiteral("Nothing was installed.")));
        QVERIFY(!dpkgStatus().contains("wordcounter"));
        QCOMPARE(m_machine.leftInTree(), QStringList());
    }

    void accepted()
    {
        QCOMPARE(pakmart({ QStringLiteral("install"), QStringLiteral("2002") }, "yes\n").status, 0);
        QVERIFY(dpkgStatus().contains("wordcounter"));
    }

    void failures_data()
    {
        QTest::addColumn<QString>("serial");
        QTest::addColumn<QString>("text");
        QTest::newRow("dependency that nobody has") << "9001"
                                                    << "warpdrive : Depends: libwarpcore";
        QTest::newRow("damaged archive") << "9002"
                                         << "Hash Sum mismatch";
        QTest::newRow("unknown product") << "4444"
                                         << "There is no product with the number";
    }
    void failures()
    {
        QFETCH(QString, serial);
        QFETCH(QString, text);
        const Result result
            = pakmart({ QStringLiteral("install"), QStringLiteral("--yes"), serial });
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(text), qPrintable(result.err));
        QCOMPARE(m_machine.leftInTree(), QStringList());
    }

    void updateSources()
    {
        const Result result = pakmart({ QStringLiteral("update-sources") });
        QCOMPARE(result.status, 0);
        QVERIFY(result.out.contains(QStringLiteral("up to date")));
    }

    void serverThatIsGoneDoesNotHangOnABoxNobodySees()
    {
        QVERIFY(m_machine.useServer(QStringLiteral("http://127.0.0.1:1")));
        const Result sources = pakmart({ QStringLiteral("update-sources") });
        QCOMPARE(sources.status, 1);
        QVERIFY(sources.err.contains(QStringLiteral("The store cannot be reached.")));
        const Result install
            = pakmart({ QStringLiteral("install"), QStringLiteral("-y"), QStringLiteral("1001") });
        QCOMPARE(install.status, 1);
        QVERIFY(install.err.contains(QStringLiteral("The store cannot be reached.")));
    }

    void missingFrontEndIsToldInWords()
    {
        const QString frontEnd = m_root + QStringLiteral("/usr/bin/vos-apt-get");
        QVERIFY(QFile::rename(frontEnd, frontEnd + QStringLiteral(".away")));
        const Result result
            = pakmart({ QStringLiteral("install"), QStringLiteral("-y"), QStringLiteral("2003") });
        QVERIFY(QFile::rename(frontEnd + QStringLiteral(".away"), frontEnd));
        QCOMPARE(result.status, 1);
        QVERIFY(result.err.contains(
            QStringLiteral("The package tools of the system cannot be started.")));
    }

    void installedApplicationsAreListedStartedAndForgotten()
    {
        QCOMPARE(pakmart({ QStringLiteral("update") }).status, 0);
        for (const char* serial : { "1001", "1003" }) {
            QTest::qWait(1100); // uses must differ in their second
            QCOMPARE(
                pakmart({ QStringLiteral("install"), QStringLiteral("-y"), QLatin1String(serial) })
                    .status,
                0);
        }
        QString list = pakmart({ QStringLiteral("recent") }).out;
        static const QRegularExpression line(
            QStringLiteral("^ +\\d  \\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d  Star Lander \\(1001\\)$"),
            QRegularExpression::MultilineOption);
        QVERIFY2(line.match(list).hasMatch(), qPrintable(list));
        QVERIFY(list.indexOf(QStringLiteral("(1003)")) < list.indexOf(QStringLiteral("(1001)")));

        // The started application is now first.
        QTest::qWait(1100);
        const int place
            = list.left(list.indexOf(QStringLiteral("(1001)"))).count(QLatin1Char('\n')) + 1;
        const Result run = pakmart(
            { QStringLiteral("recent"), QStringLiteral("--run"), QString::number(place) });
        QCOMPARE(run.status, 0);
        QCOMPARE(run.out, QStringLiteral("Star Lander is started.\n"));
        list = pakmart({ QStringLiteral("recent") }).out;
        QVERIFY(list.startsWith(QLatin1String("  1 ")));
        QVERIFY(list.indexOf(QStringLiteral("(1001)")) < list.indexOf(QStringLiteral("(1003)")));

        // A removed application cannot be started, and stays in the list until it is
        // forgotten.
        QCOMPARE(pakmart({ QStringLiteral("remove"), QStringLiteral("-y"),
                           QStringLiteral("starlander") })
                     .status,
                 0);
        const Result gone
            = pakmart({ QStringLiteral("recent"), QStringLiteral("--run"), QStringLiteral("1") });
        QCOMPARE(gone.status, 1);
        QCOMPARE(gone.err,
                 QStringLiteral("pakmart: Star Lander cannot be started: its package, starlander, "
                                "is not installed\n"));
        const Result forget = pakmart({ QStringLiteral("forget"), QStringLiteral("1001") });
        QCOMPARE(forget.status, 0);
        QCOMPARE(forget.out, QStringLiteral("Star Lander is forgotten.\n"));
        QVERIFY(!pakmart({ QStringLiteral("recent") }).out.contains(QStringLiteral("(1001)")));
        const Result again = pakmart({ QStringLiteral("forget"), QStringLiteral("1001") });
        QCOMPARE(again.status, 1);
        QVERIFY(again.err.contains(QStringLiteral("serial number 1001")));
        QCOMPARE(pakmart({ QStringLiteral("forget"), QStringLiteral("99999999999") }).status, 1);
    }

    void damagedListIsRepairedOrToldInWords()
    {
        const QString name
            = QDir::homePath() + QStringLiteral("/.kde/share/apps/vantrelagent/.rulist.k1");
        QFile index(name);
        const QString before = pakmart({ QStringLiteral("recent") }).out;
        QVERIFY(before.contains(QStringLiteral("(1003)")));
        QVERIFY(index.resize(0));
        const Result repaired = pakmart({ QStringLiteral("recent") });
        QCOMPARE(repaired.status, 0);
        QCOMPARE(repaired.out, before);

        // An obstacle in place of a file is not removed.
        QVERIFY(index.rename(name + QStringLiteral(".away")));
        QVERIFY(QDir().mkdir(name));
        const Result refused = pakmart({ QStringLiteral("recent") });
        QCOMPARE(refused.status, 1);
        QCOMPARE(refused.err,
                 QStringLiteral("pakmart: the list of applications cannot be opened\n  %1: Is a "
                                "directory\n")
                     .arg(name));
        QCOMPARE(pakmart({ QStringLiteral("forget"), QStringLiteral("1003") }).status, 1);
        QVERIFY(QDir().rmdir(name));
        QVERIFY(index.rename(name));
        QCOMPARE(pakmart({ QStringLiteral("recent") }).out, before);
    }

    void unwritableHomeFailsInWords()
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), QStringLiteral("/proc/nowhere"));
        environment.insert(QStringLiteral("XDG_CACHE_HOME"), QStringLiteral("/proc/nowhere"));
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(PAKMART),
                      { QStringLiteral("install"), QStringLiteral("-y"), QStringLiteral("2003") });
        QVERIFY(process.waitForFinished(120000));
        QCOMPARE(process.exitCode(), 1);
        QVERIFY(!process.readAllStandardError().isEmpty());
    }

    void picturesOfTheDialogs()
    {
        const QString folder = m_dir + QStringLiteral("/pictures");
        QVERIFY(QDir().mkpath(folder));
        QCOMPARE(pakmart({ QStringLiteral("install"), QStringLiteral("-y"), QStringLiteral("3001"),
                           QStringLiteral("--pictures"), folder })
                     .status,
                 0);
        for (const char* name : { "/success.png", "/success-log.png" })
            QCOMPARE(QImage(folder + QLatin1String(name)).size(), QSize(370, 220));
    }

    void interruptionEndsARequestThatGetsNoAnswer()
    {
        QTcpServer mute;
        QVERIFY(mute.listen(QHostAddress::LocalHost));
        QVERIFY(m_machine.useServer(QStringLiteral("http://127.0.0.1:%1").arg(mute.serverPort())));
        QProcess process;
        process.start(QStringLiteral(PAKMART),
                      { QStringLiteral("install"), QStringLiteral("-y"), QStringLiteral("4003") });
        QVERIFY(mute.waitForNewConnection(30000));
        QTest::qWait(300);
        QCOMPARE(kill(pid_t(process.processId()), SIGINT), 0);
        QTRY_COMPARE_WITH_TIMEOUT(process.state(), QProcess::NotRunning, 30000);
        QCOMPARE(process.exitCode(), 130);
        QCOMPARE(m_machine.leftInTree(), QStringList());
    }

    void interruptionLeavesNothingBehind_data()
    {
        QTest::addColumn<int>("number");
        QTest::newRow("Ctrl-C") << SIGINT;
        QTest::newRow("SIGTERM") << SIGTERM;
    }
    void interruptionLeavesNothingBehind()
    {
        QFETCH(int, number);
        QDir archives(m_root + QStringLiteral("/var/cache/apt/archives"));
        for (const QString& name : archives.entryList({ QStringLiteral("*.deb") }))
            QVERIFY(archives.remove(name)); // so that it has to be fetched
        StalledPool pool(m_machine.store());
        QVERIFY(m_machine.useServer(pool.url()));
        QProcess process;
        process.start(QStringLiteral(PAKMART),
                      { QStringLiteral("install"), QStringLiteral("-y"), QStringLiteral("4003") });
        QByteArray heard;
        QTRY_VERIFY_WITH_TIMEOUT((heard += process.readAllStandardOutput()).contains("Downloading"),
                                 60000);
        QTest::qWait(500);
        const QString pid = QString::number(process.processId());
        QFile children(QStringLiteral("/proc/%1/task/%1/children").arg(pid));
        QVERIFY(children.open(QIODevice::ReadOnly));
        const QList<QByteArray> before = children.readAll().simplified().split(' ');
        QElapsedTimer time;
        time.start();
        QCOMPARE(kill(pid_t(process.processId()), number), 0);
        QTRY_COMPARE_WITH_TIMEOUT(process.state(), QProcess::NotRunning, 60000);
        qInfo("ended after %lld ms", time.elapsed());
        QVERIFY(time.elapsed() < 3000);
        QCOMPARE(process.exitCode(), 130);
        for (const QByteArray& child : before)
            QTRY_VERIFY(!QFile::exists(QLatin1String("/proc/") + QString::fromLatin1(child)));
        QCOMPARE(m_machine.leftInTree(), QStringList());
        QVERIFY(!dpkgStatus().contains("Package: typingtutor"));
        QCOMPARE(pool.end(SIGTERM), 0);
        QVERIFY(m_machine.useServer(m_machine.url()));
        QCOMPARE(
            pakmart({ QStringLiteral("install"), QStringLiteral("-y"), QStringLiteral("4003") })
                .status,
            0);
        QVERIFY(dpkgStatus().contains("Package: typingtutor"));
        QCOMPARE(pakmart({ QStringLiteral("remove"), QStringLiteral("-y"),
                           QStringLiteral("typingtutor") })
                     .status,
                 0);
    }
};

QTEST_GUILESS_MAIN(PakmartTest)
#include "tst_pakmart.moc"
