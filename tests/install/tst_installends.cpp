// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Every way in which an install can end, and the signals that a silent host gets.

#include "installscene.h"

#include "tests/common/limits.h"
#include "util/paths.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QProcess>
#include <QtTest>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace
{

QString Tree(const char* path = "")
{
    return QDir::homePath() + QLatin1String("/.vos-apt-get") + QLatin1String(path);
}

// The private tree, in use by another program.
class OtherInstall
{
public:
    OtherInstall()
    {
        QDir().mkpath(Tree());
        m_fd = open(qPrintable(Tree("/lock")), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        if (m_fd < 0 || flock(m_fd, LOCK_EX) != 0 || ftruncate(m_fd, 0) != 0
            || write(m_fd, "store 77\n", 9) != 9)
            qFatal("cannot hold the lock");
    }
    ~OtherInstall() { end(); }
    OtherInstall(const OtherInstall&) = delete;
    OtherInstall& operator=(const OtherInstall&) = delete;
    void end()
    {
        if (m_fd >= 0)
            close(m_fd);
        m_fd = -1;
    }

private:
    int m_fd;
};

} // namespace

class InstallEndsTest : public QObject
{
    Q_OBJECT

private:
    InstallScene m_scene;

private slots:
    void init()
    {
        QDir(Tree()).removeRecursively();
        m_scene.reset();
    }
    void cleanup()
    {
        QVERIFY(!QFile::exists(Tree("/lists")));
        QVERIFY(!QFile::exists(Tree("/apt/vos-sources.list")));
    }

    void successHasNoReason()
    {
        QCOMPARE(m_scene.run(),
                 (QStringList{ QStringLiteral("begin"), QStringLiteral("report 1"),
                               QStringLiteral("outcome 1"), QStringLiteral("complete 1") }));
    }

    // The front end's output for a listing or an install, and the reason derived from it.
    void frontEndsReason_data()
    {
        QTest::addColumn<bool>("inListing");
        QTest::addColumn<QByteArray>("commands");
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("detail");
        const auto row = [](const char* name, bool inListing, const char* lines, const char* code,
                            int status = 100) {
            QTest::newRow(name) << inListing
                                << QByteArray("printf '" + QByteArray(lines) + "'; exit "
                                              + QByteArray::number(status))
                                << QString::fromLatin1(code)
                                << QString::fromLatin1(lines).section(QLatin1String("\\n"), 0, 0);
        };
        row("unmet dependencies", true,
            "The following packages have unmet dependencies:\\n foo : Depends: bar but it is not "
            "installable\\nE: Unable to correct problems, you have held broken packages.\\n",
            "dependency-error");
        row("held packages", true,
            "E: Unable to correct problems, you have held broken packages.\\n", "dependency-error");
        row("no such package", true, "E: Unable to locate package foo\\n", "unknown-product");
        row("no such package, in older words", true, "E: Couldn\"t find package foo\\n",
            "package-tools-failed");
        row("no candidate", true, "E: Package foo has no installation candidate\\n",
            "unknown-product");
        row("no such version", true, "E: Version 9 for foo was not found\\n", "unknown-product");
        row("installed already", true, "foo is already the newest version (1).\\n", "nothing-to-do",
            0);
        row("nothing to be done", true,
            "0 upgraded, 0 newly installed, 0 to remove and 0 not upgraded.\\n", "nothing-to-do",
            0);
        row("no file named", true, "hello\\n", "package-tools-failed", 0);
        row("removal refused", true, "E: Packages need to be removed but remove is disabled.\\n",
            "would-remove");
        row("apt-get is missing", true, "E: Unable to run apt-get\\n", "package-tools-missing",
            127);
        row("hash mismatch", false,
            "E: Failed to fetch http://h/foo.deb  Hash Sum mismatch\\nE: Unable to fetch some "
            "archives\\n",
            "hash-mismatch");
        row("unexpected size", false,
            "E: Failed to fetch http://h/foo.deb  File has unexpected size (1 != 2)\\n",
            "hash-mismatch");
        row("not downloaded", false, "E: Failed to fetch http://h/foo.deb  404  Not Found\\n",
            "download-failed");
        row("not downloaded, without a file", false, "E: Unable to fetch some archives\\n",
            "download-failed");
        row("no room for archives", false,
            "E: You don\\047t have enough free space in /var/cache/apt/archives/.\\n",
            "no-disk-space");
        row("disk full in dpkg", false,
            "dpkg: error: failed to write (No space left on device)\\nE: Sub-process "
            "/usr/bin/dpkg returned an error code (1)\\n",
            "no-disk-space");
        row("lock held", false,
            "E: Could not get lock /var/lib/dpkg/lock-frontend. It is held by process 1 (apt)\\nE: "
            "Unable to acquire the dpkg frontend lock\\n",
            "lock-held");
        row("dpkg locked", false,
            "dpkg: error: dpkg frontend lock was locked by another process with pid 1\\n",
            "lock-held");
        row("not root", false,
            "E: Could not open lock file /var/lib/dpkg/lock-frontend - open (13: Permission "
            "denied)\\nE: Unable to acquire the dpkg frontend lock, are you root?\\n",
            "not-permitted");
        row("a script of the package failed", false,
            "E: Sub-process /usr/bin/dpkg returned an error code (1)\\n", "package-tools-failed");
        row("an error line and status 0", false, "E: odd\\n", "package-tools-failed", 0);
        row("no word", false, "", "package-tools-failed", 1);
    }
    void frontEndsReason()
    {
        QFETCH(bool, inListing);
        QFETCH(QByteArray, commands);
        QFETCH(QString, code);
        QFETCH(QString, detail);
        (inListing ? m_scene.listing : m_scene.install) = commands;
        const QStringList events = m_scene.run();
        // Once, and immediately before the end.
        QCOMPARE(events.filter(QStringLiteral("failure ")).size(), 1);
        QCOMPARE(events.mid(events.size() - 2),
                 (QStringList{ QLatin1String("failure ") + code, QStringLiteral("complete 0") }));
        QCOMPARE(events.contains(QStringLiteral("begin")), !inListing);
        QVERIFY(events.contains(QStringLiteral("outcome 0")));
        QVERIFY(!m_scene.sentence.isEmpty());
        detail.replace(QLatin1String("\\047"), QLatin1String("'"));
        QVERIFY2(detail.isEmpty() || m_scene.details.startsWith(detail),
                 qPrintable(m_scene.details));
    }

    void unknownPackageIsNamed()
    {
        m_scene.listing = "echo 'E: Unable to locate package foo'; exit 100";
        m_scene.run();
        QCOMPARE(m_scene.sentence,
                 AgentError::Sentence(AgentError::UnknownProduct)
                     + QLatin1String(" Unable to locate package foo."));
    }

    void longOutputIsCutToItsEnd()
    {
        m_scene.install
            = "i=0; while [ $i -lt 100 ]; do echo line $i; i=$((i+1)); done; echo 'E: x'; exit 1";
        m_scene.run();
        const QStringList lines = m_scene.details.split(QLatin1Char('\n'));
        QCOMPARE(lines.size(), 40);
        QCOMPARE(lines.first(), QStringLiteral("line 61"));
        QCOMPARE(lines.last(), QStringLiteral("E: x"));
    }

    // The server's answers, and the reason derived from them.
    void serversReason_data()
    {
        QTest::addColumn<QByteArray>("path");
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("sentence");
        const QByteArray no
            = ScriptedServer::http("<agentfunction resultcode=\"FAILED\" msg=\"No product 7.\"/>");
        QTest::newRow("unknown product")
            << QByteArray("/a") << no << QStringLiteral("unknown-product") << "No product 7.";
        QTest::newRow("information about no package")
            << QByteArray("/a") << InstallScene::reply("<nothing/>")
            << QStringLiteral("reply-not-understood") << "";
        QTest::newRow("package information refused")
            << QByteArray("/p") << no << QStringLiteral("refused-by-server") << "No product 7.";
        QTest::newRow("no package information")
            << QByteArray("/p") << InstallScene::reply("") << QStringLiteral("reply-not-understood")
            << "Pakmart encountered an error while requesting information about the products(s) "
               "that you are trying to install.";
        QTest::newRow("an address that is not one word")
            << QByteArray("/p")
            << InstallScene::reply("<package_info><package><package_url>a b</package_url>"
                                   "<package_data>x</package_data></package></package_info>")
            << QStringLiteral("reply-not-understood") << "";
        QTest::newRow("an index that cannot be written")
            << QByteArray("/p")
            << InstallScene::reply("<package_info><package><package_url>http://"
                                   + QByteArray(300, 'a')
                                   + "</package_url><package_data>x</package_data></package>"
                                     "</package_info>")
            << QStringLiteral("cannot-write") << "";
    }
    void serversReason()
    {
        QFETCH(QByteArray, path);
        QFETCH(QByteArray, answer);
        QFETCH(QString, code);
        QFETCH(QString, sentence);
        m_scene.server.answer(path, answer);
        const QStringList events = m_scene.run();
        QCOMPARE(events.filter(QStringLiteral("failure ")).size(), 1);
        QCOMPARE(events.mid(events.size() - 2),
                 (QStringList{ QLatin1String("failure ") + code, QStringLiteral("complete 0") }));
        if (!sentence.isEmpty())
            QCOMPARE(m_scene.sentence, sentence);
        QVERIFY(!m_scene.sentence.isEmpty());
    }

    void missingFrontEnd()
    {
        m_scene.run([](CAPIInstallPackages*) {
            QFile::remove(ScriptedFrontEnd::path(QStringLiteral("vos-apt-get")));
        });
        QCOMPARE(m_scene.events.mid(m_scene.events.size() - 2),
                 (QStringList{ QStringLiteral("failure package-tools-missing"),
                               QStringLiteral("complete 0") }));
    }

    void refusedNameHasItsOwnTextOnly()
    {
        PackageNameArray names{ "$(evil)" };
        auto* request = new CAPIInstallPackages(nullptr, names, false);
        QString sentence;
        connect(request, &CAPI::signalFailure, qApp,
                [&sentence](AgentError::Code code, const QString& text, const QString&) {
                    sentence = AgentError::Name(code) + QLatin1Char(' ') + text;
                });
        BoxCloser boxes;
        QVERIFY(!request->Execute());
        QCOMPARE(sentence, QStringLiteral("refused-name Refused the package name '$(evil)'"));
        QCOMPARE(m_scene.frontEnd.calls(), QStringList());
    }

    void declinedIsSaidThoughItIsNoFailure()
    {
        m_scene.run([](CAPIInstallPackages* request) {
            connect(request, &CAPIInstallPackages::signalCanContinue, qApp,
                    [](int, bool& go) { go = false; });
        });
        QCOMPARE(m_scene.events,
                 (QStringList{ QStringLiteral("outcome 1"), QStringLiteral("failure declined"),
                               QStringLiteral("complete 1") }));
    }

    void menusAreToldOfAListingToo()
    {
        QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus,
                                                            QStringLiteral("listener"));
        QVERIFY(bus.connect(QString(), QStringLiteral("/KIPC"), QStringLiteral("org.kde.KIPC"),
                            QStringLiteral("message"), this, SLOT(onMessage(int, int))));
        const auto broadcasts = [this, &bus] {
            // When this call returns, everything sent before it has arrived.
            bus.interface()->isServiceRegistered(QStringLiteral("x"));
            QTest::qWait(300);
            const int count = m_messages;
            m_messages = 0;
            return count;
        };
        m_scene.listing = "echo 'E: x'; exit 100";
        m_scene.run();
        QCOMPARE(broadcasts(), 1); // the listing
        m_scene.reset();
        m_scene.run();
        QCOMPARE(broadcasts(), 3); // the listing, the install, the recording
        m_scene.run([](CAPIInstallPackages* request) {
            connect(request, &CAPIInstallPackages::signalCanAddToNewStuff, qApp,
                    [](PackageNameArray&, bool& add) { add = false; });
        });
        QCOMPARE(broadcasts(), 2);
    }

    // The sources, and their refresh.

    void refreshThatFailsIsTheReasonAndIsMadeUpFor()
    {
        m_scene.server.answer(
            "/s",
            InstallScene::reply("<list type=\"dep\"><entry timestamp=\"1\">deb http://h/a "
                                "./</entry></list>"));
        const QByteArray listing = m_scene.listing;
        m_scene.listing = "echo 'E: Unable to locate package foo'; exit 100";
        m_scene.update = "exit 100";
        QCOMPARE(m_scene.run().mid(m_scene.events.size() - 2),
                 (QStringList{ QStringLiteral("failure refresh-failed"),
                               QStringLiteral("complete 0") }));
        // The list is unchanged, but it is refreshed nevertheless, until that works.
        const auto updates = [this] {
            return m_scene.frontEnd.calls().filter(QStringLiteral("get update")).size();
        };
        QCOMPARE(updates(), 1);
        m_scene.run();
        QCOMPARE(updates(), 2);
        m_scene.update = "exit 0";
        m_scene.listing = listing;
        QCOMPARE(m_scene.run().last(), QStringLiteral("complete 1"));
        QCOMPARE(updates(), 3);
        m_scene.run();
        QCOMPARE(updates(), 3);
    }

    void refreshThatWasKilledIsMadeUpFor()
    {
        m_scene.server.answer(
            "/s",
            InstallScene::reply("<list type=\"dep\"><entry timestamp=\"1\">deb http://h/a "
                                "./</entry></list>"));
        m_scene.update = "kill -9 $$";
        m_scene.run();
        m_scene.update = "exit 0";
        m_scene.frontEnd.forget();
        m_scene.run();
        QCOMPARE(m_scene.frontEnd.calls().filter(QStringLiteral("get update")).size(), 1);
    }

    void replyWithoutAListIsTheReason()
    {
        m_scene.server.answer("/s", InstallScene::reply(""));
        m_scene.listing = "echo 'E: Unable to locate package foo'; exit 100";
        QCOMPARE(m_scene.run().mid(m_scene.events.size() - 2),
                 (QStringList{ QStringLiteral("failure reply-not-understood"),
                               QStringLiteral("complete 0") }));
        QCOMPARE(m_scene.sentence,
                 QStringLiteral("The store server sent no list of package sources."));
        // If the older lists are sufficient, nothing fails.
        m_scene.reset();
        m_scene.server.answer("/s", InstallScene::reply(""));
        QCOMPARE(m_scene.run().last(), QStringLiteral("complete 1"));
    }

    void sourcesThatCannotBeAskedForAreTheReason()
    {
        m_scene.server.answer("/s", ScriptedServer::http("busy", "503 Service Unavailable"));
        m_scene.listing = "echo 'E: Unable to locate package foo'; exit 100";
        const BoxCloser boxes; // this request is never silent
        QCOMPARE(
            m_scene.run().mid(m_scene.events.size() - 2),
            (QStringList{ QStringLiteral("failure server-failed"), QStringLiteral("complete 0") }));
        QCOMPARE(boxes.texts.size(), 1);
    }

    // One transaction at a time.

    void secondInstallWaitsAndSaysForWhom()
    {
        OtherInstall other;
        QTimer::singleShot(300, this, [&other] { other.end(); });
        const QStringList events = m_scene.run();
        QCOMPARE(events.mid(0, 2),
                 (QStringList{ QStringLiteral("pre Waiting for another installation to end: store "
                                              "(process 77)"),
                               QStringLiteral("wait Waiting for another installation to end: "
                                              "store (process 77)") }));
        QCOMPARE(events.last(), QStringLiteral("complete 1"));
    }

    void secondInstallIsRefusedIfTheHostAsksForThat()
    {
        const OtherInstall other;
        const QStringList events
            = m_scene.run([](CAPIInstallPackages* request) { request->RefuseWhenBusy(true); });
        const QString text
            = QStringLiteral("Another installation is under way: store (process 77).");
        QCOMPARE(events,
                 (QStringList{ QLatin1String("error ") + text, QStringLiteral("failure lock-held"),
                               QStringLiteral("complete 0") }));
        QCOMPARE(m_scene.sentence, text);
        QVERIFY(!m_scene.started);
        QCOMPARE(m_scene.frontEnd.calls(), QStringList());
    }

    void treeInUseIsNotEmptied()
    {
        QVERIFY(QDir().mkpath(Tree("/lists")));
        {
            const OtherInstall other;
            std::vector<long> serials{ 7 };
            delete new CAPIInstallPackages(nullptr, serials, true);
            QVERIFY(QFile::exists(Tree("/lists")));
        }
        std::vector<long> serials{ 7 };
        delete new CAPIInstallPackages(nullptr, serials, true);
        QVERIFY(!QFile::exists(Tree("/lists")));
    }

    void listsOfAKilledInstallAreNotUsed()
    {
        m_scene.listing
            = "test -e $HOME/.vos-apt-get/lists/old && echo 'E: old lists' && exit 100; "
            + m_scene.listing;
        m_scene.run([](CAPIInstallPackages*) { QVERIFY(QDir().mkpath(Tree("/lists/old"))); });
        QCOMPARE(m_scene.events.last(), QStringLiteral("complete 1"));
    }

    void installInsideARunOfAnotherIsRefusedNotHung()
    {
        QStringList inner;
        m_scene.install = "sleep 0.5; echo 'Setting up foo (1) ...'";
        m_scene.run([&inner](CAPIInstallPackages* request) {
            connect(request, &CAPIInstallPackages::signalBeginInstall, qApp, [&inner] {
                QTimer::singleShot(100, qApp, [&inner] {
                    PackageNameArray names{ "bar" };
                    auto* second = new CAPIInstallPackages(nullptr, names, true);
                    connect(second, &CAPI::signalFailure, qApp,
                            [&inner](AgentError::Code code, const QString&, const QString&) {
                                inner << AgentError::Name(code);
                            });
                    inner << QString::number(second->Execute());
                });
            });
        });
        QCOMPARE(inner, (QStringList{ QStringLiteral("lock-held"), QStringLiteral("0") }));
        QCOMPARE(m_scene.events.last(), QStringLiteral("complete 1"));
    }

    void runnersOfTheirOwnWaitToo()
    {
        OtherInstall other;
        CRunAptGet runner;
        QStringList waits;
        connect(&runner, &CRunAptGet::signalWaitingFor, this, [&](const std::string& text) {
            waits << QString::fromStdString(text);
            QTimer::singleShot(50, this, [&other] { other.end(); });
        });
        QCOMPARE(runner.Run('I', "a", false, false), 0);
        QCOMPARE(waits.size(), 1);
        const OtherInstall again;
        runner.RefuseWhenBusy(true);
        QCOMPARE(runner.Run('R', "a", false, false), 127);
        QVERIFY(!runner.CanCancel());
        QCOMPARE(runner.Failure(), AgentError::LockHeld);
        QCOMPARE(runner.Errors(),
                 AptGetMessages({ "Another installation is under way: store (process 77)." }));
    }

    void theHolderOfTheTreeIsNamed()
    {
        QDir().mkpath(Tree());
        QFile before(Tree("/lock"));
        QVERIFY(before.open(QIODevice::WriteOnly));
        QVERIFY(before.write("a-program-with-a-much-longer-name 1234567890\n") > 0);
        before.close();
        QByteArray holder;
        m_scene.run([&holder](CAPIInstallPackages* request) {
            connect(request, &CAPIInstallPackages::signalBeginInstall, request, [&holder] {
                QFile lock(Tree("/lock"));
                if (lock.open(QIODevice::ReadOnly))
                    holder = lock.readAll();
            });
        });
        QCOMPARE(holder, "tst_installends " + QByteArray::number(getpid()) + '\n');
    }

    // Emptying the tree of another install's files does not release the lock.
    void theTreeIsHeldAlsoAfterAnInstallThatWasKilled()
    {
        bool free = true;
        m_scene.run([&free](CAPIInstallPackages* request) {
            QVERIFY(CRunAptGet::CreateAptGetDirs());
            connect(request, &CAPIInstallPackages::signalBeginInstall, request, [&free] {
                const int fd = open(qPrintable(Tree("/lock")), O_RDWR | O_CLOEXEC);
                free = flock(fd, LOCK_EX | LOCK_NB) == 0;
                close(fd);
            });
        });
        QVERIFY(!free);
        QCOMPARE(m_scene.events.last(), QStringLiteral("complete 1"));
    }

    void aLinkInTheLocksPlaceIsNotWrittenThrough()
    {
        QDir().mkpath(Tree());
        QFile::remove(Tree("/lock"));
        QFile victim(QDir::homePath() + QStringLiteral("/victim"));
        QVERIFY(victim.open(QIODevice::WriteOnly) && victim.write("mine") == 4);
        victim.close();
        QVERIFY(QFile::link(victim.fileName(), Tree("/lock")));
        QCOMPARE(m_scene.run().last(), QStringLiteral("complete 1"));
        QVERIFY(QFile::remove(Tree("/lock")));
        QVERIFY(victim.open(QIODevice::ReadOnly));
        QCOMPARE(victim.readAll(), QByteArray("mine"));
    }

    void anInstallOfNothingSaysSo()
    {
        PackageNameArray names;
        AgentError::Code code = AgentError::NoFailure;
        auto* request = new CAPIInstallPackages(nullptr, names, true);
        connect(request, &CAPI::signalFailure, qApp,
                [&code](AgentError::Code c, const QString&, const QString&) { code = c; });
        request->InstallPackages();
        delete request;
        QCOMPARE(code, AgentError::NothingToDo);
    }

    void refreshesOfListsWaitToo()
    {
        OtherInstall other;
        CRunAptGet runner;
        QStringList waits;
        bool startedMeanwhile = false;
        connect(&runner, &CRunAptGet::signalWaitingFor, this, [&](const std::string& text) {
            waits << QString::fromStdString(text);
            startedMeanwhile = startedMeanwhile || !m_scene.frontEnd.calls().isEmpty();
            QTimer::singleShot(50, this, [&other] { other.end(); });
        });
        m_scene.frontEnd.forget();
        QVERIFY(runner.RefreshLists(true));
        QVERIFY(!startedMeanwhile);
        QCOMPARE(waits,
                 QStringList(QStringLiteral(
                     "Waiting for another installation to end: store (process 77)")));
        QCOMPARE(m_scene.frontEnd.calls().size(), 1);
        const OtherInstall again;
        runner.RefuseWhenBusy(true);
        QVERIFY(!runner.RefreshLists(true));
        QCOMPARE(runner.Failure(), AgentError::LockHeld);
        runner.RefuseWhenBusy(false);
        QTimer::singleShot(100, this, [&runner] { QVERIFY(runner.Cancel()); });
        QVERIFY(!runner.RefreshLists(true));
        QCOMPARE(runner.Failure(), AgentError::Cancelled);
        QCOMPARE(m_scene.frontEnd.calls().size(), 1);
    }

    void frontEndsOwnWaitIsPassedOn()
    {
        m_scene.install = "echo 'Waiting for the package lock, which is held by process 5'; echo "
                          "'Setting up foo (1) ...'";
        QVERIFY(m_scene.run().contains(
            QStringLiteral("wait Waiting for the package lock, which is held by process 5")));
    }

    // Homes.

    void homeWithABlankIsRefusedBeforeAnythingIsMade()
    {
        const QString home
            = QString::fromLocal8Bit(qgetenv("TEST_DIR")) + QStringLiteral("/with blank");
        QVERIFY(QDir().mkpath(home));
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), home);
        child.setProcessEnvironment(environment);
        child.start(QCoreApplication::applicationFilePath(),
                    { QStringLiteral("inAHomeWithABlank") });
        QVERIFY(child.waitForFinished(60000));
        QVERIFY2(child.exitCode() == 0, child.readAllStandardOutput().constData());
        QCOMPARE(QDir(home).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList());
    }
    // The other half: asserts nothing in an ordinary home.
    void inAHomeWithABlank()
    {
        if (!QDir::homePath().contains(QLatin1Char(' ')))
            return; // the test above runs it in such a home
        const QStringList events = m_scene.run();
        QVERIFY(events.value(0).contains(QLatin1String("with blank")));
        QCOMPARE(events.mid(1),
                 (QStringList{ QStringLiteral("failure bad-home-folder"),
                               QStringLiteral("complete 0") }));
        CRunAptGet runner;
        QCOMPARE(runner.Run('R', "a", false, false), 127);
        QCOMPARE(runner.Failure(), AgentError::BadHomeFolder);
        QCOMPARE(m_scene.frontEnd.calls(), QStringList());
    }

public slots:
    void onMessage(int, int) { ++m_messages; }

private:
    int m_messages = 0;
};

QTEST_MAIN(InstallEndsTest)
#include "tst_installends.moc"
