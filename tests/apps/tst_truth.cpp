// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart's reports about a change agree with dpkg's status: with the real program, store
// server, apt-get and dpkg, and with packages that fail, conflict and are needed by
// others.

#include "archivestore.h"
#include "stalledpool.h"
#include "tests/common/statusfile.h"

#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QtTest>
#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

class TruthTest : public QObject, ArchiveStore
{
    Q_OBJECT

private:
    struct Result {
        int status = -1;
        QString out, err;
    };

    static void start(QProcess& process, const QByteArray& words)
    {
        process.start(QStringLiteral(PAKMART),
                      QString::fromLatin1(words).split(QLatin1Char(' '), Qt::SkipEmptyParts));
    }
    // Waits for the process's end; servers of this process keep answering.
    static Result resultOf(QProcess& process)
    {
        QEventLoop loop;
        connect(&process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), &loop,
                &QEventLoop::quit);
        QTimer::singleShot(120000, &loop, [] { qFatal("pakmart does not end"); });
        if (process.state() != QProcess::NotRunning)
            loop.exec();
        return { process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                 QString::fromUtf8(process.readAllStandardOutput()),
                 QString::fromUtf8(process.readAllStandardError()) };
    }
    Result pakmart(const QByteArray& words, const QByteArray& input = QByteArray())
    {
        QProcess process;
        start(process, words);
        process.write(input);
        process.closeWriteChannel();
        return resultOf(process);
    }
    QString treePath(const char* name) const
    {
        return QDir::homePath() + QStringLiteral("/.vos-apt-get/") + QLatin1String(name);
    }
    // Replaces the front end by a script, in which "$FRONT_END" is the real one.
    class Wrapper
    {
    public:
        Wrapper(const QString& root, const QByteArray& script)
            : m_program(root + QStringLiteral("/usr/bin/vos-apt-get")),
              m_away(m_program + QStringLiteral(".away"))
        {
            if (!QFile::rename(m_program, m_away)
                || !WriteTextFile(m_program,
                                  "#!/bin/sh\nFRONT_END=" + QFile::encodeName(m_away) + '\n'
                                      + script + '\n'))
                qFatal("cannot wrap the front end");
            QFile::setPermissions(m_program, QFile::Permissions(0x7755));
        }
        ~Wrapper()
        {
            QFile::remove(m_program);
            QFile::rename(m_away, m_program);
        }
        Wrapper(const Wrapper&) = delete;
        Wrapper& operator=(const Wrapper&) = delete;

    private:
        const QString m_program, m_away;
    };

private slots:
    void initTestCase()
    {
        makeRoot();
        QByteArray products;
        int serial = 0;
        for (const char* name : { "good", "bad", "rival", "app" })
            products += "Serial: " + QByteArray::number(++serial) + "\nName: The " + name
                + "\nCategory: Games\nPackage: " + name + "\nDescription: d\n\n";
        QVERIFY(write("products", products));
        QVERIFY(write("updates", ""));
        publish({ { "good" },
                  { "good2" },
                  { "bad", "1.0", "", 100, "", "", "postinst" },
                  { "badprerm", "1.0", "", 100, "", "", "prerm" },
                  { "badpostrm", "1.0", "", 100, "", "", "postrm" },
                  { "badboth", "1.0", "", 100, "", "", "prerm postinst" },
                  { "badpreinst", "1.0", "", 100, "", "", "preinst postrm" },
                  { "lib" },
                  { "app", "1.0", "lib" },
                  { "rival", "1.0", "", 100, "", "Conflicts: lib\n" } });
        serve();
    }
    void cleanupTestCase() { m_server.reset(); }
    // Each test begins with nothing installed.
    void init()
    {
        QVERIFY(WriteTextFile(StatusFile(), ""));
        QDir(m_root + QStringLiteral("/var/lib/dpkg/info")).removeRecursively();
        QVERIFY(QDir(m_root).mkpath(QStringLiteral("var/lib/dpkg/info")));
    }

    void anInstallNamesWhatIsInstalled()
    {
        const Result result = pakmart("install --yes --package app good");
        QCOMPARE(result.err, QString());
        QCOMPARE(result.status, 0);
        QVERIFY2(result.out.endsWith(QLatin1String("app 1.0 is installed.\ngood 1.0 is installed.\n"
                                                   "lib 1.0 is installed.\n")),
                 qPrintable(result.out));
    }

    void aFailingScriptIsNoInstall_data()
    {
        QTest::addColumn<QByteArray>("words");
        QTest::newRow("product") << QByteArray("install --yes 2");
        QTest::newRow("package") << QByteArray("install --yes --package bad");
    }
    void aFailingScriptIsNoInstall()
    {
        QFETCH(QByteArray, words);
        const Result result = pakmart(words);
        QCOMPARE(result.status, 1);
        QVERIFY(!result.out.contains(QLatin1String("is installed")));
        QCOMPARE(StatusWords("bad"), QByteArray("install ok half-configured"));
        QVERIFY2(result.err.contains(QLatin1String(
                     "pakmart: bad is half-configured (its state is 'install ok half-configured'): "
                     "'pakmart install --package bad' tries again, 'pakmart remove bad' "
                     "removes it\n")),
                 qPrintable(result.err));
    }

    void aPackageWhoseScriptFailsIsInNobodysWay_data()
    {
        QTest::addColumn<QByteArray>("packages");
        QTest::addColumn<QByteArray>("left"); // the state that it is left in
        QTest::newRow("postinst") << QByteArray("bad") << QByteArray("install ok half-configured");
        QTest::newRow("prerm") << QByteArray("badprerm") << QByteArray("install ok installed");
        QTest::newRow("postrm") << QByteArray("badpostrm")
                                << QByteArray("deinstall ok half-installed");
        QTest::newRow("prerm and postinst")
            << QByteArray("badboth") << QByteArray("install ok half-configured");
        QTest::newRow("preinst") << QByteArray("badpreinst")
                                 << QByteArray("install reinstreq half-installed");
        QTest::newRow("all") << QByteArray("bad badprerm badpostrm badboth badpreinst")
                             << QByteArray();
    }
    void aPackageWhoseScriptFailsIsInNobodysWay()
    {
        QFETCH(QByteArray, packages);
        QFETCH(QByteArray, left);
        for (const QByteArray& name : packages.split(' ')) {
            pakmart("install --yes --package " + name);
            if (name != "bad" && name != "badpreinst")
                QCOMPARE(pakmart("remove --yes " + name).status, 1);
        }
        if (!left.isEmpty())
            QCOMPARE(StatusWords(packages.constData()), left);
        for (const char* words : { "install --yes 1", "install --yes --package good2 app" }) {
            const Result result = pakmart(words);
            QVERIFY2(!result.err.contains(QLatin1String("pakmart:")), qPrintable(result.err));
            QCOMPARE(result.status, 0);
        }
        for (const char* name : { "good", "good2", "app", "lib" })
            QCOMPARE(StatusWords(name), QByteArray("install ok installed"));
        const Result removed = pakmart("remove --yes --allow-removals good2 lib");
        QCOMPARE(removed.err, QString());
        QCOMPARE(removed.status, 0);
        QVERIFY2(removed.out.contains(
                     QLatin1String("app is removed.\ngood2 is removed.\nlib is removed.\n")),
                 qPrintable(removed.out));
        QCOMPARE(StatusWords("lib"), QByteArray("none"));
        // It is unchanged, and can still be removed if dpkg is able to.
        if (!left.isEmpty())
            QCOMPARE(StatusWords(packages.constData()), left);
        if (packages != "bad")
            return;
        QCOMPARE(pakmart("remove --yes bad").status, 0);
        QCOMPARE(StatusWords("bad"), QByteArray("none"));
    }

    void aBrokenPackageThatIsNeededIsInstalledAgain()
    {
        QCOMPARE(pakmart("install --yes --package lib").status, 0);
        SetStatusWords("lib", "install reinstreq half-installed");
        const Result result = pakmart("install --yes --package app");
        QCOMPARE(result.err, QString());
        QCOMPARE(result.status, 0);
        QCOMPARE(StatusWords("lib"), QByteArray("install ok installed"));
        QCOMPARE(StatusWords("app"), QByteArray("install ok installed"));
    }

    void aBrokenPackageThatOthersNeedIsInNobodysWay()
    {
        QCOMPARE(pakmart("install --yes --package app").status, 0);
        SetStatusWords("lib", "install reinstreq half-installed");
        const Result result = pakmart("install -v --yes --package good");
        QCOMPARE(result.err, QString());
        QCOMPARE(result.status, 0);
        // The package front end mends it on this occasion, which is shown before.
        QVERIFY2(result.out.contains(QLatin1String("To be installed:\n  good  1.0\n"
                                                   "To be installed again:\n  lib  1.0")),
                 qPrintable(result.out));
        QVERIFY2(result.out.contains(QLatin1String("Installing again what is half-installed: lib")),
                 qPrintable(result.out));
        QCOMPARE(StatusWords("good"), QByteArray("install ok installed"));
        QCOMPARE(StatusWords("app"), QByteArray("install ok installed"));
        QCOMPARE(StatusWords("lib"), QByteArray("install ok installed"));
    }

    void aProductWhosePackageToolsCannotBeStartedIsNotInstalled()
    {
        // No process can be started for the install, once its packages are known.
        const QString flag = m_dir + QStringLiteral("/no-fork");
        const Wrapper wrapper(m_root,
                              "case \"$*\" in\n*--plan*) \"$FRONT_END\" \"$@\"; s=$?; : > "
                                  + QFile::encodeName(flag)
                                  + "; exit $s ;;\nesac\nexec \"$FRONT_END\" \"$@\"");
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("LD_PRELOAD"), QStringLiteral(NOFORK));
        environment.insert(QStringLiteral("PAKMART_TEST_NO_FORK"), flag);
        environment.insert(QStringLiteral("ASAN_OPTIONS"),
                           QStringLiteral("detect_leaks=0:verify_asan_link_order=0"));
        const auto install = [&](const QByteArray& words) {
            QProcess process;
            process.setProcessEnvironment(environment);
            start(process, words);
            const Result result = resultOf(process);
            [&] { QVERIFY(QFile::remove(flag)); }();
            return result;
        };
        const Result product = install("install --yes 1");
        const Result package = install("install --yes --package good");
        for (const Result& result : { product, package }) {
            QCOMPARE(result.status, 1);
            QVERIFY(!result.out.contains(QLatin1String("is installed")));
            QVERIFY2(result.err.contains(QLatin1String("cannot be started")),
                     qPrintable(result.err));
            QCOMPARE(StatusWords("good"), QByteArray("none"));
        }
        const Result list = pakmart("recent");
        QVERIFY2(!list.out.contains(QLatin1String("The good")), qPrintable(list.out));
    }

    void aHalfWayInstalledPackageIsInstalledAgain_data()
    {
        QTest::addColumn<QByteArray>("words");
        for (const char* words : { "install reinstreq half-installed", "install ok half-installed",
                                   "install ok unpacked", "install ok half-configured" })
            QTest::newRow(words) << QByteArray(words);
    }
    void aHalfWayInstalledPackageIsInstalledAgain()
    {
        QFETCH(QByteArray, words);
        QCOMPARE(pakmart("install --yes --package good").status, 0);
        QVERIFY(QFile::remove(m_root + QStringLiteral("/usr/bin/good")));
        SetStatusWords("good", words);
        const Result result = pakmart("install --yes 1");
        QCOMPARE(result.err, QString());
        QCOMPARE(result.status, 0);
        QCOMPARE(StatusWords("good"), QByteArray("install ok installed"));
        // A package that is only not configured has its files.
        QVERIFY(QFile::exists(m_root + QStringLiteral("/usr/bin/good"))
                == words.contains("half-installed"));
    }

    void anInstallThatWouldRemoveSomethingIsRefused()
    {
        QCOMPARE(pakmart("install --yes --package app").status, 0);
        const QByteArray before = StatusText();
        for (const char* words : { "install --yes 3", "install --yes --package rival" }) {
            const Result result = pakmart(words);
            QCOMPARE(result.status, 1);
            QVERIFY2(result.err.contains(QLatin1String("app, lib")), qPrintable(result.err));
            QVERIFY2(result.err.contains(QLatin1String("--allow-removals permits")),
                     qPrintable(result.err));
            QVERIFY2(result.out.contains(QLatin1String("To be REMOVED:\n  app  1.0  ")),
                     qPrintable(result.out));
            QCOMPARE(StatusText(), before);
        }
    }

    void aRemoveNamesAllThatGoesBeforeItAsks()
    {
        QCOMPARE(pakmart("install --yes --package app good").status, 0);
        const QByteArray before = StatusText();
        const Result declined = pakmart("remove lib", "n\n");
        QCOMPARE(declined.status, 3);
        QCOMPARE(declined.out,
                 QStringLiteral("To be REMOVED:\n  app  1.0  needs lib\n"
                                "  lib  1.0\n"
                                "Remove what was not named, too: app? [y/N] \n"
                                "Nothing was removed.\n"));
        // The second question is about the whole.
        QCOMPARE(pakmart("remove lib", "y\nn\n").status, 3);
        const Result refused = pakmart("remove --yes lib");
        QCOMPARE(refused.status, 1);
        QCOMPARE(refused.err,
                 QStringLiteral("pakmart: nothing was changed: app would be removed as well, which "
                                "--allow-removals permits\n"));
        QCOMPARE(StatusText(), before);
        const Result done = pakmart("remove --yes --allow-removals lib");
        QCOMPARE(done.err, QString());
        QCOMPARE(done.status, 0);
        QVERIFY2(done.out.endsWith(QLatin1String("app is removed.\nlib is removed.\n")),
                 qPrintable(done.out));
        QCOMPARE(StatusWords("app"), QByteArray("none"));
        QCOMPARE(StatusWords("good"), QByteArray("install ok installed"));
    }

    void aRemoveTakesAPackageInEveryState_data()
    {
        QTest::addColumn<QByteArray>("words");
        for (const char* words :
             { "install ok installed", "hold ok installed", "deinstall ok installed",
               "purge ok installed", "install reinstreq installed", "install ok unpacked",
               "hold ok unpacked", "install reinstreq unpacked", "install ok half-configured",
               "install reinstreq half-configured", "deinstall ok half-configured",
               "install ok half-installed", "install reinstreq half-installed",
               "hold reinstreq half-installed", "deinstall ok half-installed",
               "purge reinstreq half-installed" })
            QTest::newRow(words) << QByteArray(words);
        QTest::newRow("triggers-pending")
            << QByteArray("install ok triggers-pending\nTriggers-Pending: /x");
        QTest::newRow("triggers-awaited")
            << QByteArray("install ok triggers-awaited\nTriggers-Awaited: lib");
    }
    void aRemoveTakesAPackageInEveryState()
    {
        QFETCH(QByteArray, words);
        QCOMPARE(pakmart("install --yes --package good").status, 0);
        if (words.contains("Awaited"))
            QCOMPARE(pakmart("install --yes --package lib").status, 0);
        SetStatusWords("good", words);
        if (words.contains("Awaited"))
            SetStatusWords("lib", "install ok triggers-pending\nTriggers-Pending: /x");
        const Result result = pakmart("remove good", "y\n");
        QCOMPARE(result.err, QString());
        QCOMPARE(result.status, 0);
        QCOMPARE(StatusWords("good"), QByteArray("none"));
    }

    // The journal of a killed dpkg counts, and blocks nothing.
    void afterAnInterruptedDpkgAllGoesOn_data()
    {
        QTest::addColumn<QByteArray>("words");
        QTest::addColumn<QByteArray>("after");
        QTest::newRow("install") << QByteArray("install --yes --package good")
                                 << QByteArray("install ok installed");
        QTest::newRow("remove") << QByteArray("remove --yes good") << QByteArray("none");
    }
    void afterAnInterruptedDpkgAllGoesOn()
    {
        QFETCH(QByteArray, words);
        QFETCH(QByteArray, after);
        QCOMPARE(pakmart("install --yes --package good").status, 0);
        SetStatusWords("good", "install reinstreq half-installed");
        const QByteArray text = StatusText();
        const int at = text.indexOf("Package: good\n");
        QVERIFY(WriteTextFile(m_root + QStringLiteral("/var/lib/dpkg/updates/0000"),
                              text.mid(at, text.indexOf("\n\n", at) - at + 2)));
        const Result result = pakmart(words);
        QVERIFY2(!result.err.contains(QLatin1String("pakmart:")), qPrintable(result.err));
        QCOMPARE(result.status, 0);
        QCOMPARE(StatusWords("good"), after);
    }

    // A lock held by another process prevents dpkg from working.
    void anInterruptedRemoveSaysThatNothingWent()
    {
        QCOMPARE(pakmart("install --yes --package good good2").status, 0);
        const int lock = open(
            QFile::encodeName(m_root + QStringLiteral("/var/lib/dpkg/lock-frontend")).constData(),
            O_RDWR | O_CREAT | O_CLOEXEC, 0640);
        struct flock all = {};
        all.l_type = F_WRLCK;
        QVERIFY(fcntl(lock, F_SETLK, &all) == 0);
        QProcess process;
        start(process, "remove --yes good good2");
        QByteArray heard;
        QTRY_VERIFY_WITH_TIMEOUT(
            (heard += process.readAllStandardOutput()).contains("Waiting for the package lock"),
            60000);
        kill(pid_t(process.processId()), SIGINT);
        const Result result = resultOf(process);
        close(lock);
        QCOMPARE(result.status, 130);
        const QString words
            = QStringLiteral(" is not removed (its state is 'install ok installed')\n");
        QVERIFY2(result.err.contains(QLatin1String("pakmart: good") + words),
                 qPrintable(result.err));
        QVERIFY2(result.err.contains(QLatin1String("pakmart: good2") + words),
                 qPrintable(result.err));
        QVERIFY2(!result.out.contains(QLatin1String("is removed")), qPrintable(result.out));
        QCOMPARE(StatusWords("good"), QByteArray("install ok installed"));
        QCOMPARE(pakmart("remove --yes good good2").status, 0);
    }

    void aRemoveThatIsInterruptedTooLateSaysWhatWent()
    {
        QCOMPARE(pakmart("install --yes --package good").status, 0);
        // dpkg has removed the package, and the script ends when the test removes the
        // file.
        const QString flag = m_dir + QStringLiteral("/removed");
        const QByteArray name = QFile::encodeName(flag);
        const Wrapper wrapper(
            m_root,
            "\"$FRONT_END\" \"$@\"; s=$?\ncase \"$*\" in\n*--plan*) ;;\n*remove*) : > " + name
                + "; n=0; while [ -e " + name
                + " ] && [ $n -lt 600 ]; do sleep 0.1; n=$((n+1)); done ;;\nesac\nexit $s");
        QProcess process;
        start(process, "remove --yes good");
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(flag), 60000);
        kill(pid_t(process.processId()), SIGINT);
        QVERIFY(QFile::remove(flag));
        const Result result = resultOf(process);
        QCOMPARE(result.status, 130);
        QVERIFY2(result.out.contains(QLatin1String("good is removed.\n")), qPrintable(result.out));
        QVERIFY2(!result.err.contains(QLatin1String("is not removed")), qPrintable(result.err));
        QCOMPARE(StatusWords("good"), QByteArray("none"));
    }

    void aRefreshWaitsForAnotherInstallationAndSaysSo()
    {
        QCOMPARE(pakmart("update-sources").status, 0);
        const int lock = open(QFile::encodeName(treePath("lock")).constData(),
                              O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        QVERIFY(flock(lock, LOCK_EX) == 0);
        QVERIFY(ftruncate(lock, 0) == 0 && ::write(lock, "store 77\n", 9) == 9);
        for (const char* words : { "update-sources", "os-update --yes" }) {
            QProcess process;
            start(process, words);
            QByteArray heard;
            QTRY_VERIFY_WITH_TIMEOUT(
                (heard += process.readAllStandardOutput())
                    .contains("Waiting for another installation to end: store (process 77)"),
                60000);
            QCOMPARE(process.state(), QProcess::Running);
            kill(pid_t(process.processId()), SIGINT);
            QCOMPARE(resultOf(process).status, 130);
        }
        QProcess process;
        start(process, "update-sources");
        QByteArray heard;
        QTRY_VERIFY_WITH_TIMEOUT((heard += process.readAllStandardOutput()).contains("Waiting"),
                                 60000);
        close(lock);
        const Result result = resultOf(process);
        QCOMPARE(result.status, 0);
        QVERIFY2(result.out.contains(QLatin1String("up to date")), qPrintable(result.out));
    }

    void aServerThatIsBusyForTheFirstInstallSpoilsNothing()
    {
        QVERIFY(QDir(treePath("")).removeRecursively());
        FailingPool pool(m_store);
        serverIs(pool.url());
        pool.fail("/pool/main/", "503 Service Unavailable");
        const Result first = pakmart("install --yes 1");
        const Result still = pakmart("update-sources");
        const int failures = pool.failures();
        pool.fail("/pool/main/");
        const Result second = pakmart("install --yes 1");
        const Result now = pakmart("update-sources");
        serverIs(m_server->url());
        QVERIFY2(failures > 0, qPrintable(first.err + still.err));
        QCOMPARE(first.status, 1);
        QVERIFY2(first.err.contains(QLatin1String("The package lists could not be refreshed.")),
                 qPrintable(first.err));
        QCOMPARE(StatusWords("good"), QByteArray("install ok installed")); // by the second one
        QCOMPARE(still.status, 1);
        QVERIFY2(still.err.contains(QLatin1String("could not be refreshed")),
                 qPrintable(still.err));
        QVERIFY2(still.err.contains(QLatin1String("503")), qPrintable(still.err));
        QVERIFY(!still.out.contains(QLatin1String("up to date")));
        QCOMPARE(second.err, QString());
        QCOMPARE(second.status, 0);
        QCOMPARE(StatusWords("good"), QByteArray("install ok installed"));
        QCOMPARE(now.status, 0);
        QCOMPARE(pool.end(SIGTERM), 0);
    }

    void whatIsGoneIsNotRemoved_data()
    {
        QTest::addColumn<QByteArray>("words");
        for (const char* words : { "deinstall ok config-files", "purge ok not-installed" })
            QTest::newRow(words) << QByteArray(words);
    }
    void whatIsGoneIsNotRemoved()
    {
        QFETCH(QByteArray, words);
        QCOMPARE(pakmart("install --yes --package good").status, 0);
        SetStatusWords("good", words);
        const Result result = pakmart("remove --yes good");
        QCOMPARE(result.status, 1);
        QCOMPARE(result.err.section(QLatin1Char('\n'), 0, 0),
                 QStringLiteral("pakmart: good is not installed."));
    }

    void aRemoveThatFailsSaysHowThePackageIs_data()
    {
        QTest::addColumn<QByteArray>("package");
        QTest::addColumn<QByteArray>("after");
        QTest::newRow("prerm") << QByteArray("badprerm") << QByteArray("install ok installed");
        QTest::newRow("postrm") << QByteArray("badpostrm")
                                << QByteArray("deinstall ok half-installed");
    }
    void aRemoveThatFailsSaysHowThePackageIs()
    {
        QFETCH(QByteArray, package);
        QFETCH(QByteArray, after);
        QCOMPARE(pakmart("install --yes --package " + package).status, 0);
        const Result result = pakmart("remove --yes " + package);
        QCOMPARE(result.status, 1);
        QCOMPARE(StatusWords(package.constData()), after);
        QVERIFY(!result.out.contains(QLatin1String("is removed")));
        QString said = result.err;
        said.replace(QRegularExpression(QStringLiteral("\n(?!pakmart:|\\z)")), QStringLiteral(" "));
        const QByteArray script = package == "badprerm" ? "badprerm package pre-removal"
                                                        : "badpostrm package post-removal";
        const QRegularExpression why(QString::fromLatin1(
            "\\Apakmart: A script of a package failed\\. installed " + script
            + " script subprocess returned error exit status [0-9]+\\. " + package
            + " is not removed \\(its state is '" + after + "'\\)\\.\npakmart: "));
        QVERIFY2(why.match(said).hasMatch(), qPrintable(result.err));
    }

    void aRefreshThatFailedIsNotUpToDate_data()
    {
        QTest::addColumn<QByteArray>("words");
        QTest::newRow("sources") << QByteArray("update-sources");
        QTest::newRow("no updates") << QByteArray("os-update --yes");
        QTest::newRow("updates") << QByteArray("os-update --yes good");
    }
    void aRefreshThatFailedIsNotUpToDate()
    {
        QFETCH(QByteArray, words);
        QCOMPARE(pakmart("install --yes --package good").status, 0);
        const bool offers = words.endsWith(" good");
        QVERIFY(write("updates", offers ? "Package: good\n" : ""));
        const QString index = m_store + QStringLiteral("/pool/main/Packages");
        // Twice, since a failed refresh also leaves the state unknown the next time.
        QVERIFY(QFile::rename(index, index + QStringLiteral(".away")));
        const QByteArray command = offers ? words.chopped(5) : words;
        const Result first = pakmart(command), second = pakmart(command);
        QVERIFY(QFile::rename(index + QStringLiteral(".away"), index));
        const Result healed = pakmart(command);
        QVERIFY(write("updates", ""));
        for (const Result& result : { first, second }) {
            QCOMPARE(result.status, 1);
            QVERIFY2(!result.out.contains(QLatin1String("up to date")), qPrintable(result.out));
            QVERIFY2(result.err.contains(QLatin1String("could not be refreshed")),
                     qPrintable(result.err));
        }
        QCOMPARE(healed.status, 0);
        QVERIFY(healed.out.contains(QLatin1String("up to date")));
    }

    void anUpdateWhoseScriptFailsIsNamed()
    {
        QVERIFY(write("updates", "Package: bad\n"));
        const Result result = pakmart("os-update --yes");
        QVERIFY(write("updates", ""));
        QCOMPARE(result.status, 1);
        QVERIFY(!result.out.contains(QLatin1String("up to date")));
        QVERIFY2(result.err.contains(QLatin1String("bad is half-configured"))
                     || result.err.contains(QLatin1String("the update failed")),
                 qPrintable(result.err));
    }
};

QTEST_GUILESS_MAIN(TruthTest)
#include "tst_truth.moc"
