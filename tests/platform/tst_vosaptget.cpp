// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The package front end on the real apt-get and dpkg, in a private root, with a
// repository on loopback.

#include "base/dpkgstatus.h"
#include "platform/plandigest.h"
#include "tests/common/limits.h"
#include "tests/common/processes.h"
#include "tests/common/scriptedserver.h"
#include "tests/common/testarchive.h"

#include <QtTest>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>

using Package = TestArchive::Package;

class VosAptGetTest : public QObject
{
    Q_OBJECT

private:
    struct Result {
        int status = -1;
        QStringList lines;
        bool has(const QString& line) const { return lines.contains(line); }
        QStringList matching(const char* pattern) const
        {
            return lines.filter(QRegularExpression(QLatin1String(pattern)));
        }
    };

    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<TestArchive> m_archive;
    QString m_root;
    QString m_tree;

    static QString frontEnd() { return QStringLiteral(VOS_APT_GET); }
    QString lists() const { return m_tree + QStringLiteral("/lists/"); }

    QStringList words(const QStringList& command, const QStringList& names) const
    {
        return command
            + QStringList{ QStringLiteral("-o"),
                           QStringLiteral("Dir::Etc::Sourcelist=") + m_tree
                               + QStringLiteral("/sources.list"),
                           QStringLiteral("-o"), QStringLiteral("Dir::State::lists=") + lists() }
        + names;
    }
    static QStringList split(const QByteArray& output)
    {
        return QString::fromUtf8(output).split(QLatin1Char('\n'));
    }
    Result run(const QStringList& arguments, QProcess& process,
               const QString& program = frontEnd()) const
    {
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(program, arguments);
        Result result;
        if (!QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, 120000))
            qFatal("the front end does not end");
        result.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        result.lines = split(process.readAll());
        return result;
    }
    Result run(const QStringList& arguments) const
    {
        QProcess process;
        return run(arguments, process);
    }
    Result install(const QStringList& names, const QStringList& more = {}) const
    {
        return run(words({ QStringLiteral("-yp"), QStringLiteral("install") }, more + names));
    }

    // What the helper runs for a user: the plan that was shown, and no other.
    Result runExpected(const QStringList& command)
    {
        for (const QByteArray architecture : { Agent::NativeArchitecture(), "i386" })
            m_server->answer("/r/dists/././binary-" + architecture + "/Packages",
                             ScriptedServer::http(m_archive->index()));
        std::vector<std::string> asked;
        for (const QString& word : command)
            asked.push_back(word.toStdString());
        const std::string digest = MakePlan(SortArguments(asked), m_root.toStdString()).Digest();
        return run(command + QStringList{ QString::fromStdString("--expect=" + digest) });
    }

    // Serves a package file, ranges included.
    void serve(const Package& package, const QByteArray& bytes)
    {
        const QByteArray path
            = "/r/./" + QFileInfo(m_archive->fileOf(package)).fileName().toLatin1();
        m_server->answer(path, [this, bytes](QTcpSocket* socket, const QByteArray&) {
            socket->write(ranged(bytes));
            socket->disconnectFromHost();
        });
    }
    QByteArray ranged(const QByteArray& bytes) const
    {
        const QRegularExpression range(QStringLiteral("\r\nRange: bytes=([0-9]+)-"));
        const auto match = range.match(QString::fromLatin1(m_server->lastRequest));
        if (!match.hasMatch())
            return ScriptedServer::http(bytes);
        const int from = match.captured(1).toInt();
        return ScriptedServer::http(bytes.mid(from), "206 Partial Content",
                                    "Content-Range: bytes " + QByteArray::number(from) + '-'
                                        + QByteArray::number(bytes.size() - 1) + '/'
                                        + QByteArray::number(bytes.size()) + "\r\n");
    }
    void add(const Package& package)
    {
        m_archive->add(package);
        serve(package, m_archive->contents(m_archive->fileOf(package)));
        placeIndex();
    }
    // Places the index as the store's client does: as a file, with a zero byte at its
    // end.
    void placeIndex()
    {
        QFile index(lists()
                    + QStringLiteral("127.0.0.1:%1_r_dists_._._binary-i386_Packages")
                          .arg(m_server->serverPort()));
        QVERIFY(index.open(QIODevice::WriteOnly));
        index.write(m_archive->index() + '\0' + '\n');
    }
    bool installed(const QByteArray& name) const
    {
        QFile status(m_root + QStringLiteral("/var/lib/dpkg/status"));
        return status.open(QIODevice::ReadOnly)
            && status.readAll().contains("Package: " + name + "\nStatus: install ok installed\n");
    }
    // The words of dpkg's status for a package; empty for an unknown one.
    QByteArray state(const QByteArray& name) const
    {
        const QByteArray begin = "Package: " + name + "\nStatus: ";
        QFile status(m_root + QStringLiteral("/var/lib/dpkg/status"));
        if (!status.open(QIODevice::ReadOnly))
            return "unreadable";
        const QByteArray text = status.readAll();
        const int at = text.indexOf(begin);
        return at < 0 ? QByteArray()
                      : text.mid(at + begin.size(),
                                 text.indexOf('\n', at + begin.size()) - at - begin.size());
    }
    // Puts an installed package into the state in which an interrupted dpkg, or a failed
    // script, leaves it.
    void setState(const QByteArray& name, const QByteArray& words)
    {
        QFile status(m_root + QStringLiteral("/var/lib/dpkg/status"));
        QVERIFY(status.open(QIODevice::ReadWrite));
        const QByteArray text = status.readAll();
        const QByteArray old = "Package: " + name + "\nStatus: " + state(name) + '\n';
        QVERIFY(text.contains(old));
        QVERIFY(status.seek(0) && status.resize(0));
        status.write(
            QByteArray(text).replace(old, "Package: " + name + "\nStatus: " + words + '\n'));
    }
    // The overall percentages in the output.
    static QList<int> overall(const Result& result)
    {
        QList<int> percents;
        for (const QString& line : result.matching("^[0-9]+% \\["))
            percents << line.section(QLatin1Char('%'), 0, 0).toInt();
        return percents;
    }
    static void checkProgress(const Result& result)
    {
        const QList<int> percents = overall(result);
        QVERIFY(percents.size() > 3);
        QVERIFY(std::is_sorted(percents.begin(), percents.end()));
        QCOMPARE(percents.last(), 100);
        for (const QString& line : result.matching("^[0-9]+% \\["))
            QVERIFY2(QRegularExpression(QStringLiteral("\\A[0-9]{1,3}% \\[.* [0-9]{1,3}%\\]\\z"))
                         .match(line)
                         .hasMatch(),
                     qPrintable(line));
    }

    static int runMkroot(const QStringList& arguments)
    {
        QProcess mkroot;
        mkroot.setProcessChannelMode(QProcess::MergedChannels);
        mkroot.start(QStringLiteral(MKROOT), arguments);
        return mkroot.waitForFinished() ? mkroot.exitCode() : -1;
    }
    static void write(const QString& name, const QByteArray& text)
    {
        QFile file(name);
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
            qFatal("cannot write %s", qPrintable(name));
    }
    // These tests are not about signatures.
    static void allowUnsigned(const QString& root)
    {
        QDir().mkpath(root + QStringLiteral("/etc/pakmart"));
        write(root + QStringLiteral("/etc/pakmart/settings"), "[Stores]\nAllowUnsigned=yes\n");
    }
    static void makeExecutable(const QString& name)
    {
        QFile::setPermissions(name, QFile::Permissions(0x7755));
    }

private slots:
    void init()
    {
        m_server = std::make_unique<ScriptedServer>();
        m_archive = std::make_unique<TestArchive>();
        m_root = QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"));
        for (const char* folder : { "/var", "/usr", "/etc" })
            QDir(m_root + QLatin1String(folder)).removeRecursively();
        QCOMPARE(QProcess::execute(QStringLiteral(MKROOT),
                                   { QStringLiteral("--front-end"), frontEnd(), m_root }),
                 0);
        allowUnsigned(m_root);
        m_tree = QString::fromLocal8Bit(qgetenv("TEST_DIR")) + QStringLiteral("/tree");
        QDir(m_tree).removeRecursively();
        QVERIFY(QDir().mkpath(lists() + QStringLiteral("partial")));
        QFile sources(m_tree + QStringLiteral("/sources.list"));
        QVERIFY(sources.open(QIODevice::WriteOnly));
        sources.write("deb " + m_server->url("/r") + " . .\n");
    }

    void installWithTwoNewDependencies()
    {
        add({ "libone", "1.0-1" });
        add({ "libtwo", "2.0" });
        add({ "app", "3.0", "libone, libtwo" });
        const Result result = install({ QStringLiteral("app") });
        QCOMPARE(result.status, 0);
        for (const char* name : { "app", "libone", "libtwo" })
            QVERIFY2(installed(name), name);
        QVERIFY(result.has(QStringLiteral("The following NEW packages will be installed:")));
        QVERIFY(result.has(QStringLiteral("  app libone libtwo")));
        QCOMPARE(result.matching("^Need to get [0-9.,]+k?B of archives\\.$").size(), 1);
        const QString get = QStringLiteral("Get:%1 ") + QString::fromLatin1(m_server->url("/r"))
            + QStringLiteral(" ./. %2 [");
        const QStringList gets = result.matching("^Get:");
        QCOMPARE(gets.size(), 3);
        const QStringList order{ QStringLiteral("libone 1.0-1"), QStringLiteral("libtwo 2.0"),
                                 QStringLiteral("app 3.0") };
        for (int i = 0; i < 3; ++i) {
            QVERIFY2(gets[i].startsWith(get.arg(i + 1).arg(order[i])), qPrintable(gets[i]));
            QVERIFY(QRegularExpression(QStringLiteral("\\[[0-9.,]+k?B\\]\\z"))
                        .match(gets[i])
                        .hasMatch());
        }
        QCOMPARE(result.matching("^Setting up ").size(), 3);
        QVERIFY(result.has(QStringLiteral("Setting up app (3.0) ...")));
        QCOMPARE(result.matching("^[EW]:"), QStringList());
        checkProgress(result);
    }

    // Only lines that the readers know, in this order, with progress lines in between.
    void everyLineOfAnInstall()
    {
        add({ "libone", "1.0-1" });
        add({ "app", "3.0", "libone" });
        const Result result = install({ QStringLiteral("app") });
        QCOMPARE(result.status, 0);
        const QByteArray site = "http://127\\.0\\.0\\.1:[0-9]+/r";
        const QByteArrayList grammar{
            "Reading package lists\\.\\.\\.",
            "Building dependency tree\\.\\.\\.",
            "The following additional packages will be installed:",
            "  libone",
            "The following NEW packages will be installed:",
            "  app libone",
            "0 upgraded, 2 newly installed, 0 to remove and 0 not upgraded\\.",
            "Need to get [0-9.,]+k?B of archives\\.",
            "After this operation, .* of additional disk space will be used\\.",
            "WARNING: The following packages cannot be authenticated!",
            "  libone app",
            "Authentication warning overridden\\.",
            "Get:1 " + site + " \\./\\. libone 1\\.0-1 \\[[0-9.,]+k?B\\]",
            "Get:2 " + site + " \\./\\. app 3\\.0 \\[[0-9.,]+k?B\\]",
            "Fetched .*",
            "Selecting previously unselected package libone\\.",
            "\\(Reading database \\.\\.\\. .*",
            "Preparing to unpack .*libone_1\\.0-1_all\\.deb \\.\\.\\.",
            "Unpacking libone \\(1\\.0-1\\) \\.\\.\\.",
            "Selecting previously unselected package app\\.",
            "Preparing to unpack .*app_3\\.0_all\\.deb \\.\\.\\.",
            "Unpacking app \\(3\\.0\\) \\.\\.\\.",
            "Setting up libone \\(1\\.0-1\\) \\.\\.\\.",
            "Setting up app \\(3\\.0\\) \\.\\.\\.",
            "",
        };
        QStringList rest = result.lines;
        for (const QString& progress : result.matching("^[0-9]+% \\[[A-Za-z0-9 ]+ [0-9]+%\\]$"))
            rest.removeAll(progress);
        for (int i = 0; i < qMin(rest.size(), grammar.size()); ++i) {
            const QRegularExpression line(
                QRegularExpression::anchoredPattern(QString::fromLatin1(grammar[i])));
            QVERIFY2(line.match(rest[i]).hasMatch(), qPrintable(rest[i]));
        }
        QCOMPARE(rest.size(), grammar.size());
    }

    void upgrade()
    {
        add({ "app", "1.0" });
        QCOMPARE(install({ QStringLiteral("app") }).status, 0);
        add({ "app", "1.1" });
        const Result result = install({ QStringLiteral("app") });
        QCOMPARE(result.status, 0);
        QVERIFY(result.has(QStringLiteral("The following packages will be upgraded:")));
        QVERIFY(result.has(QStringLiteral("  app")));
        QVERIFY(result.has(QStringLiteral("Setting up app (1.1) ...")));
        checkProgress(result);
    }

    void configurationFileDoesNotPrompt()
    {
        add({ "conf", "1.0", "", 100, "first\n" });
        QCOMPARE(install({ QStringLiteral("conf") }).status, 0);
        QFile file(m_root + QStringLiteral("/etc/conf.conf"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("mine\n");
        file.close();
        add({ "conf", "1.1", "", 100, "second\n" });
        QCOMPARE(install({ QStringLiteral("conf") }).status, 0);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("mine\n"));
    }

    void missingPackage()
    {
        add({ "app" });
        const Result result = install({ QStringLiteral("nosuch") });
        QCOMPARE(result.status, 100);
        QVERIFY(result.has(QStringLiteral("E: Unable to locate package nosuch")));
    }

    void missingDependencyIsReadAsAnError()
    {
        add({ "app", "1.0", "nowhere" });
        const Result result = install({ QStringLiteral("app") });
        QCOMPARE(result.status, 100);
        const int at = result.lines.indexOf(
            QStringLiteral("E: The following packages have unmet dependencies:"));
        QVERIFY(at >= 0);
        QVERIFY(result.lines[at + 1].startsWith(QLatin1String(" app : Depends: nowhere")));
    }

    void checksumMismatch()
    {
        const Package app{ "app" };
        add(app);
        QByteArray bytes = m_archive->contents(m_archive->fileOf(app));
        bytes[bytes.size() - 1] = char(bytes[bytes.size() - 1] ^ 1);
        serve(app, bytes);
        const Result result = install({ QStringLiteral("app") });
        QCOMPARE(result.status, 100);
        QCOMPARE(result.matching("^E: Failed to fetch .*Hash Sum mismatch$").size(), 1);
        QVERIFY(!installed("app"));
    }

    void serverThatStopsAnsweringHalfway()
    {
        const Package app{ "app", "1.0", "", 50000 };
        add(app);
        const QByteArray bytes = m_archive->contents(m_archive->fileOf(app));
        m_server->answer("/r/./app_1.0_all.deb", [bytes](QTcpSocket* socket, const QByteArray&) {
            socket->write(ScriptedServer::http(bytes).left(20000));
        });
        const Result result
            = install({ QStringLiteral("app") },
                      { QStringLiteral("-o"), QStringLiteral("Acquire::http::Timeout=1") });
        QCOMPARE(result.status, 100);
        QVERIFY(!result.matching("^E: Failed to fetch").isEmpty());
        QVERIFY(!installed("app"));
    }

    void interruptedDownloadIsResumed()
    {
        const Package app{ "app", "1.0", "", 50000 };
        add(app);
        const QByteArray bytes = m_archive->contents(m_archive->fileOf(app));
        m_server->answer("/r/./app_1.0_all.deb", [bytes](QTcpSocket* socket, const QByteArray&) {
            socket->write(ScriptedServer::http(bytes).left(30000));
            socket->disconnectFromHost();
        });
        QCOMPARE(install({ QStringLiteral("app") }).status, 100);
        const QFileInfo partial(m_root
                                + QStringLiteral("/var/cache/apt/archives/partial/"
                                                 "app_1.0_all.deb"));
        QVERIFY(partial.size() > 0 && partial.size() < bytes.size());
        serve(app, bytes);
        m_server->lastRequest.clear();
        QCOMPARE(install({ QStringLiteral("app") }).status, 0);
        QVERIFY(m_server->lastRequest.contains("\r\nRange: bytes="));
        QVERIFY(installed("app"));
    }

    void fullDisk()
    {
        const Package app{ "app", "1.0", "", 300000 };
        add(app);
        Result result;
        {
            // A limit on the size of files, which the children inherit.
            ::signal(SIGXFSZ, SIG_IGN);
            const LowLimit small(RLIMIT_FSIZE, 100000);
            result = install({ QStringLiteral("app") });
        }
        QVERIFY(result.status != 0);
        QVERIFY(!result.matching("^E: ").isEmpty());
        QVERIFY(!installed("app"));
        QCOMPARE(install({ QStringLiteral("app") }).status, 0);
    }

    void listingPrintsQuotedUris()
    {
        add({ "lib" });
        add({ "app", "1.0", "lib" });
        const Result result = run(words(
            { QStringLiteral("-yp"), QStringLiteral("--print-uris"), QStringLiteral("install") },
            { QStringLiteral("app") }));
        QCOMPARE(result.status, 0);
        const QString base = QString::fromLatin1(m_server->url("/r/./"));
        const QStringList uris = result.matching("^'");
        QCOMPARE(uris.size(), 2);
        QVERIFY(uris[0].startsWith(QLatin1Char('\'') + base
                                   + QLatin1String("lib_1.0_all.deb' lib_1.0_all.deb ")));
        QCOMPARE(overall(result), QList<int>());
        QCOMPARE(m_server->asked, QList<QByteArray>());
    }

    void listingNamesWhatTheCacheHasAlready()
    {
        add({ "lib" });
        add({ "app", "1.0", "lib" });
        QCOMPARE(install({ QStringLiteral("lib") }, { QStringLiteral("-d") }).status, 0);
        const QString archives = m_root + QStringLiteral("/var/cache/apt/archives/");
        QVERIFY(QFile::exists(archives + QStringLiteral("lib_1.0_all.deb")));
        const Result result
            = install({ QStringLiteral("app") }, { QStringLiteral("--print-uris") });
        QCOMPARE(result.status, 0);
        QCOMPARE(result.matching("^'").size(), 2);
    }

    void updateTakesAnUnsignedFlatRepository()
    {
        QFile sources(m_tree + QStringLiteral("/sources.list"));
        QVERIFY(sources.open(QIODevice::WriteOnly));
        sources.write("deb " + m_server->url("/r") + " ./\n");
        sources.close();
        m_archive->add({ "app" });
        m_server->answer("/r/./Packages", ScriptedServer::http(m_archive->index()));
        const Result result = run(words({ QStringLiteral("update") }, {}));
        QCOMPARE(result.status, 0);
        QCOMPARE(result.matching("^E:"), QStringList());
        QVERIFY(!QDir(lists()).entryList({ QStringLiteral("*_r_._Packages*") }).isEmpty());
    }

    void removeAndClean()
    {
        add({ "app" });
        QCOMPARE(install({ QStringLiteral("app") }).status, 0);
        const QDir archives(m_root + QStringLiteral("/var/cache/apt/archives"));
        QCOMPARE(archives.entryList({ QStringLiteral("*.deb") }).size(), 1);
        QCOMPARE(run(words({ QStringLiteral("clean"), QString() }, {})).status, 0);
        QCOMPARE(archives.entryList({ QStringLiteral("*.deb") }).size(), 0);
        const Result result = run(
            words({ QStringLiteral("-yp"), QStringLiteral("remove") }, { QStringLiteral("app") }));
        QCOMPARE(result.status, 0);
        QVERIFY(!installed("app"));
        QVERIFY(!QFile::exists(m_root + QStringLiteral("/usr/bin/app")));
        checkProgress(result);
    }

    void badOptionGetsAptsOwnErrorAndStatus()
    {
        const Result result = run({ QStringLiteral("-yp"), QStringLiteral("--nonsense"),
                                    QStringLiteral("install"), QStringLiteral("a") });
        QProcess apt;
        apt.start(QStringLiteral("apt-get"),
                  { QStringLiteral("-y"), QStringLiteral("--nonsense"), QStringLiteral("install"),
                    QStringLiteral("a") });
        QVERIFY(apt.waitForFinished());
        QCOMPARE(result.status, apt.exitCode());
        QCOMPARE(result.lines.first(),
                 QString::fromUtf8(apt.readAllStandardError().split('\n').value(0)));
    }

    void namesAreNoPatternsAndNoRemovals()
    {
        add({ "app" });
        add({ "bash-like" });
        QCOMPARE(install({ QStringLiteral("app") }).status, 0);
        for (const char* name :
             { "app-", "?installed", "~n.", "ap*", "app/x", "--", "-a", "b.*e" }) {
            const Result result = install({ QStringLiteral("--"), QLatin1String(name) });
            QVERIFY2(result.status == 100, name);
            QVERIFY2(!result.matching("^E: ").isEmpty(), name);
        }
        // A name that could be a pattern is only a name.
        const Result dots = install({ QStringLiteral("ba.h-like") });
        QCOMPARE(dots.status, 100);
        const Result plus = run(words({ QStringLiteral("-yp"), QStringLiteral("remove") },
                                      { QStringLiteral("bash-like+") }));
        QCOMPARE(plus.status, 100);
        QVERIFY(installed("app"));
        QVERIFY(!installed("bash-like"));
    }

    void anInstallRemovesWhatIsNamedForThat()
    {
        add({ "app" });
        add({ "old" });
        QCOMPARE(install({ QStringLiteral("old") }).status, 0);
        const QStringList remove{ QStringLiteral("--remove=old") };
        QCOMPARE(install({ QStringLiteral("app") }, remove).status, 100);
        QVERIFY(installed("old") && !installed("app"));
        const Result result = install({ QStringLiteral("app") },
                                      remove + QStringList{ QStringLiteral("--allow-removals") });
        QCOMPARE(result.status, 0);
        QVERIFY(!installed("old") && installed("app"));
    }

    void anInstallTakesNothingAway()
    {
        add({ "libold" });
        add({ "oldapp", "1.0", "libold" });
        add({ "rival", "1.0", "", 100, "", "Conflicts: libold\n" });
        QCOMPARE(install({ QStringLiteral("oldapp") }).status, 0);
        const QString text = QStringLiteral(
            "E: Packages need to be removed but remove is disabled: libold, oldapp");
        for (const bool listing : { false, true }) {
            const Result result
                = install({ QStringLiteral("rival") },
                          listing ? QStringList{ QStringLiteral("--print-uris") } : QStringList());
            QCOMPARE(result.status, 100);
            QCOMPARE(result.matching("^E:"), QStringList{ text });
            QCOMPARE(result.matching("^'"), QStringList());
        }
        QVERIFY(installed("oldapp") && installed("libold") && !installed("rival"));
        const Result allowed
            = install({ QStringLiteral("rival") }, { QStringLiteral("--allow-removals") });
        QCOMPARE(allowed.status, 0);
        QVERIFY(!installed("oldapp") && !installed("libold") && installed("rival"));
    }

    void aMachineThatCleansUpStillInstalls()
    {
        add({ "lib" });
        add({ "app", "1.0", "lib" });
        add({ "other" });
        QCOMPARE(install({ QStringLiteral("app") }).status, 0);
        QCOMPARE(run(words({ QStringLiteral("-yp"), QStringLiteral("remove") },
                           { QStringLiteral("app") }))
                     .status,
                 0);
        write(m_root + QStringLiteral("/etc/apt/apt.conf.d/50clean"),
              "APT::Get::AutomaticRemove \"true\";\nAPT::Get::Remove \"true\";\n");
        QCOMPARE(install({ QStringLiteral("other") }).status, 0);
        QVERIFY(installed("other") && installed("lib"));
    }

    void aSimulationSaysWhatWouldGo()
    {
        add({ "lib" });
        add({ "app", "1.0", "lib" });
        QCOMPARE(install({ QStringLiteral("app") }).status, 0);
        const Result result = run(
            words({ QStringLiteral("-yp"), QStringLiteral("--simulate"), QStringLiteral("remove") },
                  { QStringLiteral("lib") }));
        QCOMPARE(result.status, 0);
        QCOMPARE(
            result.matching("^Remv "),
            (QStringList{ QStringLiteral("Remv app [1.0]"), QStringLiteral("Remv lib [1.0]") }));
        QCOMPARE(overall(result), QList<int>());
        QVERIFY(installed("app") && installed("lib"));
    }

    void aFailingScriptOfAnotherPackageFailsNoInstall()
    {
        add({ "bad", "1.0", "", 100, "", "", "postinst" });
        add({ "good" });
        add({ "needsbad", "1.0", "bad" });
        const Result bad = install({ QStringLiteral("bad") });
        QCOMPARE(bad.status, 100);
        QCOMPARE(bad.matching("^E:").size(), 1);
        QVERIFY(state("bad") == "install ok half-configured");
        const Result good = install({ QStringLiteral("good") });
        QCOMPARE(good.status, 0);
        QCOMPARE(good.matching("^E:"), QStringList());
        QVERIFY(good.has(QStringLiteral("W: dpkg failed for packages that were not asked for: bad "
                                        "(half-configured)")));
        QVERIFY(good.lines.contains(QStringLiteral("100% [Done 100%]")));
        QVERIFY(installed("good"));
        // A package that needs it fails, and so does a package that is requested together
        // with it.
        for (const char* name : { "needsbad", "bad" }) {
            const Result result = install({ QStringLiteral("good"), QLatin1String(name) });
            QCOMPARE(result.status, 100);
            QCOMPARE(result.matching("^E: Sub-process .* returned an error code \\(1\\)$").size(),
                     1);
        }
        QVERIFY(!installed("needsbad"));
        // The other error lines still make the run fail.
        QCOMPARE(install({ QStringLiteral("nosuch") }).status, 100);
    }

    // The old version stays soundly installed, but that is not a success.
    void anUpgradeThatDpkgDidNotComeToIsAFailure()
    {
        add({ "app" });
        QCOMPARE(install({ QStringLiteral("app") }).status, 0);
        add({ "first", "1.0", "", 100, "", "", "postinst" });
        add({ "app", "2.0", "", 100, "", "Pre-Depends: first\n" });
        const Result result = install({ QStringLiteral("app") });
        QCOMPARE(result.status, 100);
        QCOMPARE(result.matching("^E: Sub-process").size(), 1);
        QCOMPARE(result.matching("^100%"), QStringList());
    }

    void aHalfInstalledPackageIsInstalledAgain_data()
    {
        QTest::addColumn<QByteArray>("state");
        for (const char* words : { "install reinstreq half-installed", "install ok half-installed",
                                   "deinstall ok half-installed", "install reinstreq unpacked" })
            QTest::newRow(words) << QByteArray(words);
    }
    void aHalfInstalledPackageIsInstalledAgain()
    {
        QFETCH(QByteArray, state);
        add({ "app" });
        QCOMPARE(install({ QStringLiteral("app") }).status, 0);
        QVERIFY(QFile::remove(m_root + QStringLiteral("/usr/bin/app")));
        setState("app", state);
        QCOMPARE(run(words({ QStringLiteral("clean") }, {})).status, 0);
        const Result listing
            = install({ QStringLiteral("app") }, { QStringLiteral("--print-uris") });
        QCOMPARE(listing.matching("^'").size(), 1);
        const Result result = install({ QStringLiteral("app") });
        QCOMPARE(result.status, 0);
        QCOMPARE(this->state("app"), QByteArray("install ok installed"));
        QVERIFY(QFile::exists(m_root + QStringLiteral("/usr/bin/app")));
    }

    void aHalfInstalledPackageThatTheInstallNeedsIsInstalledAgain_data()
    {
        aHalfInstalledPackageIsInstalledAgain_data();
    }
    void aHalfInstalledPackageThatTheInstallNeedsIsInstalledAgain()
    {
        QFETCH(QByteArray, state);
        add({ "lib" });
        add({ "app", "1.0", "lib" });
        QCOMPARE(install({ QStringLiteral("lib") }).status, 0);
        const QString library = m_root + QStringLiteral("/usr/bin/lib");
        for (const char* app : { "", "install ok unpacked", "install ok half-configured",
                                 "install reinstreq half-installed" }) {
            // apt-get asks the user to repair some states by hand; no crash during an
            // install leads to these.
            if (*app && !state.contains("reinstreq"))
                continue;
            QVERIFY(QFile::remove(library));
            setState("lib", state);
            if (*app)
                setState("app", app);
            const Result result = install({ QStringLiteral("app") });
            QCOMPARE(result.status, 0);
            QCOMPARE(result.matching("^Left as they are"), QStringList());
            QCOMPARE(this->state("app"), QByteArray("install ok installed"));
            QCOMPARE(this->state("lib"), QByteArray("install ok installed"));
            QVERIFY(QFile::exists(library));
        }
    }

    // If an installed package needs it as well, that is a run of its own.
    void thePlanIncludesWhatIsInstalledAgainFirst_data()
    {
        QTest::addColumn<bool>("isUpgrade");
        QTest::newRow("for a new package") << false;
        QTest::newRow("for an upgrade") << true;
    }
    void thePlanIncludesWhatIsInstalledAgainFirst()
    {
        QFETCH(bool, isUpgrade);
        add({ "lib" });
        add({ "app", "1.0", "lib" });
        const char* const first = isUpgrade ? "app" : "lib";
        QCOMPARE(install({ QString::fromLatin1(first) }).status, 0);
        if (isUpgrade)
            add({ "app", "2.0", "lib" });
        setState("lib", "install reinstreq half-installed");
        const Result result = runExpected(
            words({ QStringLiteral("-yp"), QStringLiteral("install") }, { QStringLiteral("app") }));
        QVERIFY2(result.status == 0, qPrintable(result.lines.join(QLatin1Char('\n'))));
        QCOMPARE(result.matching("^Installing again").isEmpty(), !isUpgrade);
        QCOMPARE(state("app"), QByteArray("install ok installed"));
        QCOMPARE(state("lib"), QByteArray("install ok installed"));
    }

    // apt's log of the order of packages is that of the last change.
    void aPlanLeavesThePlannersLogAlone()
    {
        const QString log = m_root + QStringLiteral("/var/log/apt/eipp.log.xz");
        add({ "app" });
        add({ "other" });
        QCOMPARE(install({ QStringLiteral("app") }).status, 0);
        QVERIFY(QFile::remove(log));
        const Result plan = run(
            words({ QStringLiteral("-yp"), QStringLiteral("--plan"), QStringLiteral("install") },
                  { QStringLiteral("other") }));
        QVERIFY(plan.lines.contains(QStringLiteral("Package: other")));
        QVERIFY(!QFile::exists(log));
    }

    void anExpectedPlanBeginsWithWhatDpkgLeft_data()
    {
        QTest::addColumn<QStringList>("command");
        QTest::addColumn<bool>("isInterrupted"); // or "lib" is only unpacked
        QTest::newRow("install") << QStringList{ QStringLiteral("install"), QStringLiteral("app") }
                                 << true;
        QTest::newRow("remove") << QStringList{ QStringLiteral("remove"), QStringLiteral("other") }
                                << true;
        QTest::newRow("repair") << QStringList{ QStringLiteral("--fix-broken"),
                                                QStringLiteral("install") }
                                << true;
        QTest::newRow("reinstall")
            << QStringList{ QStringLiteral("--fix-broken"), QStringLiteral("--reinstall"),
                            QStringLiteral("install"), QStringLiteral("lib") }
            << false;
    }
    void anExpectedPlanBeginsWithWhatDpkgLeft()
    {
        QFETCH(QStringList, command);
        QFETCH(bool, isInterrupted);
        for (const char* name : { "lib", "app", "other" })
            add({ name });
        QCOMPARE(install({ QStringLiteral("lib"), QStringLiteral("other") }).status, 0);
        if (isInterrupted) {
            QFile status(m_root + QStringLiteral("/var/lib/dpkg/status"));
            QVERIFY(status.open(QIODevice::ReadOnly));
            const QByteArray text = status.readAll();
            const int lib = text.indexOf("Package: lib\n");
            write(m_root + QStringLiteral("/var/lib/dpkg/updates/0000"),
                  text.mid(lib, text.indexOf("\n\n", lib) + 2 - lib)
                      .replace("ok installed", "ok unpacked"));
        } else
            setState("lib", "install ok unpacked");
        const Result result = runExpected(words({ QStringLiteral("-yp") }, command));
        QVERIFY2(result.status == 0, qPrintable(result.lines.join(QLatin1Char('\n'))));
        QCOMPARE(result.matching("^Setting up lib ").isEmpty(), false);
        QCOMPARE(state("lib"), QByteArray("install ok installed"));
        QCOMPARE(state("app").isEmpty(), !command.contains(QStringLiteral("app")));
        QCOMPARE(state("other").isEmpty(), command.contains(QStringLiteral("other")));
        QVERIFY(QDir(m_root + QStringLiteral("/var/lib/dpkg/updates")).isEmpty());
    }

    // apt-get may or may not repair them; the output names those that are left.
    void brokenPackagesThatNobodyNeedsAreLeftAndSaid()
    {
        for (const char* name : { "app", "broken", "other" })
            add({ name });
        QCOMPARE(install({ QStringLiteral("broken"), QStringLiteral("other") }).status, 0);
        setState("broken", "install reinstreq half-installed");
        add({ "app", "2.0", "other" });
        setState("other", "install reinstreq half-installed");
        const Result result = install({ QStringLiteral("app") });
        QCOMPARE(result.status, 0);
        QCOMPARE(result.matching("^Left as they are"),
                 QStringList{ QStringLiteral("Left as they are: broken (half-installed)") });
        QCOMPARE(this->state("broken"), QByteArray("install reinstreq half-installed"));
        QCOMPARE(this->state("other"), QByteArray("install ok installed"));
    }

    void aPackageInAnyStateIsRemoved_data()
    {
        QTest::addColumn<QByteArray>("state");
        for (const char* words :
             { "install ok installed", "install ok unpacked", "install ok half-configured",
               "install reinstreq half-installed", "install ok half-installed",
               "deinstall ok half-installed", "install reinstreq unpacked" })
            QTest::newRow(words) << QByteArray(words);
    }
    void aPackageInAnyStateIsRemoved()
    {
        QFETCH(QByteArray, state);
        add({ "app" });
        QCOMPARE(install({ QStringLiteral("app") }).status, 0);
        setState("app", state);
        const Result result = run(
            words({ QStringLiteral("-yp"), QStringLiteral("remove") }, { QStringLiteral("app") }));
        QCOMPARE(result.status, 0);
        QCOMPARE(this->state("app"), QByteArray());
        QVERIFY(!QFile::exists(m_root + QStringLiteral("/usr/bin/app")));
    }

    void aRefreshThatFailedSaysSo_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::newRow("503") << ScriptedServer::http("busy", "503 Service Unavailable");
        QTest::newRow("404") << ScriptedServer::http("gone", "404 Not Found");
        QTest::newRow("no server") << QByteArray();
    }
    void aRefreshThatFailedSaysSo()
    {
        QFETCH(QByteArray, answer);
        write(m_tree + QStringLiteral("/sources.list"), "deb " + m_server->url("/r") + " ./\n");
        if (answer.isEmpty())
            write(m_tree + QStringLiteral("/sources.list"), "deb http://127.0.0.1:1/r ./\n");
        else
            m_server->answer("/r/./Packages", answer);
        const Result result = run(words({ QStringLiteral("update") }, {}));
        QCOMPARE(result.status, 100);
        QVERIFY(!result.matching("^E: Failed to fetch ").isEmpty());
    }

    // The reasons are recognised by apt's own English texts.
    void reasonsAreAptsOwnTexts()
    {
        add({ "app" });
        QCOMPARE(install({ QStringLiteral("nosuch") }).matching("^E:"),
                 QStringList{ QStringLiteral("E: Unable to locate package nosuch") });
        QProcess holder;
        holder.start(QStringLiteral("python3"),
                     { QStringLiteral("-c"),
                       QStringLiteral("import fcntl, sys\nf = open(sys.argv[1], 'w')\n"
                                      "fcntl.lockf(f, fcntl.LOCK_EX)\nprint('held', flush=True)\n"
                                      "sys.stdin.read()"),
                       m_root + QStringLiteral("/var/lib/dpkg/lock-frontend") });
        QVERIFY(holder.waitForReadyRead(10000));
        const Result locked
            = install({ QStringLiteral("app") },
                      { QStringLiteral("-o"), QStringLiteral("DPkg::Lock::Timeout=0") });
        holder.closeWriteChannel();
        QVERIFY(holder.waitForFinished(10000));
        QCOMPARE(locked.status, 100);
        QCOMPARE(locked
                     .matching("^E: Could not get lock .*/lock-frontend\\. It is held by process "
                               "[0-9]+")
                     .size(),
                 1);
        QCOMPARE(locked.matching("^Waiting"), QStringList());
    }

    void heldLockIsWaitedForAndSaid()
    {
        add({ "app" });
        // Another process holds dpkg's lock until its input ends.
        QProcess holder;
        holder.start(QStringLiteral("python3"),
                     { QStringLiteral("-c"),
                       QStringLiteral("import fcntl, sys\nf = open(sys.argv[1], 'w')\n"
                                      "fcntl.lockf(f, fcntl.LOCK_EX)\nprint('held', flush=True)\n"
                                      "sys.stdin.read()"),
                       m_root + QStringLiteral("/var/lib/dpkg/lock-frontend") });
        QVERIFY(holder.waitForReadyRead(10000));
        QProcess process;
        QByteArray heard;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(
            frontEnd(),
            words({ QStringLiteral("-yp"), QStringLiteral("install") }, { QStringLiteral("app") }));
        QTRY_VERIFY((heard += process.readAll()).contains("Waiting for the package lock"));
        QVERIFY(heard.contains("process " + QByteArray::number(holder.processId())));
        QTest::qWait(300);
        QCOMPARE(process.state(), QProcess::Running);
        holder.closeWriteChannel();
        QVERIFY(holder.waitForFinished(10000));
        QTRY_COMPARE_WITH_TIMEOUT(process.state(), QProcess::NotRunning, 60000);
        QCOMPARE(process.exitCode(), 0);
        QVERIFY(installed("app"));
    }

    void signalsReachTheChild_data()
    {
        QTest::addColumn<int>("number");
        QTest::newRow("SIGINT") << SIGINT;
        QTest::newRow("SIGTERM") << SIGTERM;
    }
    void signalsReachTheChild()
    {
        QFETCH(int, number);
        const Package app{ "app", "1.0", "", 50000 };
        add(app);
        const QByteArray bytes = m_archive->contents(m_archive->fileOf(app));
        bool asked = false;
        // Sends half of the archive, and then nothing more.
        m_server->answer("/r/./app_1.0_all.deb",
                         [&asked, bytes](QTcpSocket* socket, const QByteArray&) {
                             asked = true;
                             socket->write(ScriptedServer::http(bytes).left(20000));
                         });
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(
            frontEnd(),
            words({ QStringLiteral("-yp"), QStringLiteral("install") }, { QStringLiteral("app") }));
        QTRY_VERIFY_WITH_TIMEOUT(asked, 30000);
        QFile children(QStringLiteral("/proc/%1/task/%1/children").arg(process.processId()));
        QVERIFY(children.open(QIODevice::ReadOnly));
        const QString child = QString::fromLatin1(children.readAll().trimmed());
        QVERIFY(!child.isEmpty());
        QCOMPARE(kill(pid_t(process.processId()), number), 0);
        QTRY_COMPARE_WITH_TIMEOUT(process.state(), QProcess::NotRunning, 30000);
        QCOMPARE(process.exitCode(), 128 + number);
        QVERIFY(!QFile::exists(QStringLiteral("/proc/") + child));
        // No download helper is left either.
        QTRY_COMPARE_WITH_TIMEOUT(ProcessesOfSession(child.toInt()), QStringList(), 10000);
        // Nothing is left unfinished: the next install works.
        serve(app, bytes);
        QCOMPARE(install({ QStringLiteral("app") }).status, 0);
    }

    void nothingOfTheMachineLeaksIn()
    {
        add({ "app" });
        QFile poison(m_tree + QStringLiteral("/poison"));
        QVERIFY(poison.open(QIODevice::WriteOnly));
        poison.write("Acquire::http::Proxy \"http://127.0.0.1:1/\";\n"
                     "DPkg::Pre-Invoke {\"touch "
                     + m_tree.toLocal8Bit() + "/hook\";};\n");
        poison.close();
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("APT_CONFIG"), poison.fileName());
        environment.insert(QStringLiteral("http_proxy"), QStringLiteral("http://127.0.0.1:1/"));
        environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("de_DE.UTF-8"));
        environment.insert(QStringLiteral("LANGUAGE"), QStringLiteral("de"));
        environment.insert(QStringLiteral("PATH"), QStringLiteral("/usr/bin:/bin"));
        environment.insert(QStringLiteral("DPKG_ADMINDIR"), QStringLiteral("/nonexistent"));
        environment.insert(QStringLiteral("DPKG_FORCE"), QStringLiteral("nonsense"));
        // dpkg reads settings in the user's home.
        const QString home = m_tree + QStringLiteral("/home");
        QVERIFY(QDir().mkpath(home));
        write(home + QStringLiteral("/.dpkg.cfg"), "path-exclude=/usr/*\n");
        environment.insert(QStringLiteral("HOME"), home);
        process.setProcessEnvironment(environment);
        const Result result = run(
            words({ QStringLiteral("-yp"), QStringLiteral("install") }, { QStringLiteral("app") }),
            process);
        QCOMPARE(result.status, 0);
        QVERIFY(!QFile::exists(m_tree + QStringLiteral("/hook")));
        QVERIFY(result.has(QStringLiteral("Setting up app (1.0) ...")));
        QVERIFY(QFile::exists(m_root + QStringLiteral("/usr/bin/app")));
    }

    void hooksHaveTheSameSettings()
    {
        add({ "app" });
        const QString hook = m_tree + QStringLiteral("/hook");
        write(hook, "#!/bin/sh\napt-config dump Dir\n");
        makeExecutable(hook);
        const Result result
            = install({ QStringLiteral("app") },
                      { QStringLiteral("-o"), QStringLiteral("DPkg::Pre-Invoke::=") + hook });
        QCOMPARE(result.status, 0);
        QVERIFY(result.has(QStringLiteral("Dir \"%1/\";").arg(m_root)));
        QCOMPARE(result.matching("^[EW]:"), QStringList());
    }

    void theRootMayBeNamedFromHere()
    {
        add({ "app" });
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("PAKMART_SYSROOT"), QFileInfo(m_root).fileName());
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(QFileInfo(m_root).path());
        const Result result = run(
            words({ QStringLiteral("-yp"), QStringLiteral("install") }, { QStringLiteral("app") }),
            process);
        QCOMPARE(result.status, 0);
        QVERIFY(installed("app"));
    }

    void twoAtOnceWaitForEachOther()
    {
        add({ "app" });
        add({ "other", "2.0" });
        QProcess first, second;
        first.start(
            frontEnd(),
            words({ QStringLiteral("-yp"), QStringLiteral("install") }, { QStringLiteral("app") }));
        second.start(frontEnd(),
                     words({ QStringLiteral("-yp"), QStringLiteral("install") },
                           { QStringLiteral("other") }));
        for (QProcess* process : { &first, &second }) {
            QTRY_COMPARE_WITH_TIMEOUT(process->state(), QProcess::NotRunning, 60000);
            QVERIFY2(process->exitCode() == 0, process->readAll().constData());
        }
        QVERIFY(installed("app"));
        QVERIFY(installed("other"));
    }

    // If the tests run as root, this one gives up root's rights.
    void worksWithoutBeingRoot()
    {
        add({ "lib" });
        add({ "app", "1.0", "lib" });
        const QTemporaryDir dir;
        const QString base = dir.path(), root = base + QStringLiteral("/root"),
                      tree = base + QStringLiteral("/tree"),
                      program = base + QStringLiteral("/vos-apt-get");
        QVERIFY(QFile::copy(frontEnd(), program));
        QCOMPARE(runMkroot({ QStringLiteral("--front-end"), program, root }), 0);
        allowUnsigned(root);
        QCOMPARE(QProcess::execute(QStringLiteral("cp"), { QStringLiteral("-r"), m_tree, tree }),
                 0);
        QString command = QStringLiteral("exec \"$@\"");
        if (geteuid() == 0)
            command = QStringLiteral("chown -R 65534:65534 '%1' && exec setpriv --reuid=65534 "
                                     "--regid=65534 --clear-groups -- \"$@\"")
                          .arg(base);
        QStringList arguments = words({ QStringLiteral("-yp"), QStringLiteral("install") },
                                      { QStringLiteral("app") });
        arguments.replaceInStrings(m_tree, tree);
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("PAKMART_SYSROOT"), root);
        environment.insert(QStringLiteral("PATH"), QStringLiteral("/usr/bin:/bin"));
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(QStringLiteral("/"));
        const QStringList shell{ QStringLiteral("-c"), command, QStringLiteral("sh"), program };
        const Result result = run(shell + arguments, process, QStringLiteral("/bin/sh"));
        QVERIFY2(result.status == 0, qPrintable(result.lines.join(QLatin1Char('\n'))));
        QVERIFY(result.has(QStringLiteral("Setting up app (1.0) ...")));
        checkProgress(result);
        QVERIFY(QFileInfo(root + QStringLiteral("/usr/bin/app")).ownerId() != 0);
    }

    void theRootsDpkgWorksThere()
    {
        add({ "app" });
        QCOMPARE(install({ QStringLiteral("app") }).status, 0);
        QProcess dpkg;
        dpkg.start(m_root + QStringLiteral("/usr/bin/dpkg"),
                   { QStringLiteral("--configure"), QStringLiteral("-a") });
        QVERIFY(dpkg.waitForFinished());
        QCOMPARE(dpkg.exitCode(), 0);
        dpkg.start(m_root + QStringLiteral("/usr/bin/dpkg"), { QStringLiteral("-l") });
        QVERIFY(dpkg.waitForFinished());
        QCOMPARE(dpkg.readAll().count("\nii "), 1);
    }

    void mkrootRefusesWhatIsNoPrivateRoot()
    {
        const QTemporaryDir dir;
        const auto make = [](const QString& root) {
            return runMkroot({ QStringLiteral("--front-end"), frontEnd(), root });
        };
        QCOMPARE(make(QStringLiteral("/")), 1);
        // A folder with somebody's files, a file, a system with users.
        write(dir.filePath(QStringLiteral("letter")), "dear");
        QCOMPARE(make(dir.path()), 1);
        QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
                 QStringList{ QStringLiteral("letter") });
        QCOMPARE(make(dir.filePath(QStringLiteral("letter"))), 1);
        QVERIFY(QDir(dir.path()).mkpath(QStringLiteral("system/etc")));
        write(dir.filePath(QStringLiteral("system/etc/passwd")), "root");
        QCOMPARE(make(dir.filePath(QStringLiteral("system"))), 1);
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("system/var"))));
    }

    void mkrootKeepsWhatIsThere()
    {
        add({ "app" });
        QCOMPARE(install({ QStringLiteral("app") }).status, 0);
        // A folder that a package may contain, and that mkroot itself does not make.
        QVERIFY(QDir(m_root).mkpath(QStringLiteral("opt")));
        QCOMPARE(runMkroot({ QStringLiteral("--front-end"), frontEnd(), m_root }), 0);
        QVERIFY(installed("app"));
        QVERIFY(QDir(m_root).rmdir(QStringLiteral("opt")));
        struct stat info;
        QCOMPARE(stat(QFile::encodeName(m_root + QStringLiteral("/tmp")).constData(), &info), 0);
        QCOMPARE(info.st_mode & 07777u, 01777u);
    }

    void mkrootsCommandLine()
    {
        const QTemporaryDir dir;
        const QString root = dir.filePath(QStringLiteral("root"));
        QCOMPARE(runMkroot({}), 2);
        QCOMPARE(runMkroot({ QString() }), 2);
        QCOMPARE(runMkroot({ root, root }), 2);
        QCOMPARE(runMkroot({ QStringLiteral("--nonsense"), root }), 2);
        QCOMPARE(runMkroot({ QStringLiteral("--front-end") }), 2);
        QCOMPARE(runMkroot({ QStringLiteral("--front-end"), dir.path(), root }), 1);
        QVERIFY(!QFile::exists(root));
        QCOMPARE(runMkroot({ QStringLiteral("--help") }), 0);
    }
};

QTEST_GUILESS_MAIN(VosAptGetTest)
#include "tst_vosaptget.moc"
