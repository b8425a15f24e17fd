// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The runner, with a scripted front end.

#include "base/packagename.h"
#include "install/cgetospackage.h"
#include "runnerevents.h"
#include "tests/common/frontend.h"
#include "tests/common/limits.h"
#include "tests/common/observe.h"
#include "tests/common/statusfile.h"

#include <QCursor>
#include <QDBusConnection>
#include <QGuiApplication>
#include <QLabel>
#include <QSignalSpy>
#include <QtTest>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Agent;

namespace
{

QString Home()
{
    return QDir::homePath() + QStringLiteral("/.vos-apt-get");
}

QString Options(bool deps)
{
    const QString tree = Home() + (deps ? QStringLiteral("/deps") : QString());
    return QStringLiteral(" -o Dir::Etc::Sourcelist=%1/apt/vos-sources.list"
                          " -o Dir::State::lists=%1/lists/")
        .arg(tree);
}

} // namespace

class RunTest : public QObject
{
    Q_OBJECT

private:
    ScriptedFrontEnd m_frontEnd;

    static QString logFile()
    {
        return QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"))
            + QStringLiteral("/tmp/apt-get.out");
    }
    // The appearance of the "Setting up" box while it is shown.
    struct Box {
        QSize size;
        QRect label;
        Qt::Alignment alignment;
        QRect words; // the size that the label's text needs
        int shifts = 0; // of the marker
        int interval = 0;
    };
    Box updateBox(const QByteArray& seconds = "0.4")
    {
        m_frontEnd.install(QStringLiteral("vos-apt-get"), "sleep " + seconds);
        CRunAptGet runner;
        Box box;
        QString last;
        QTimer look;
        connect(&look, &QTimer::timeout, this, [&] {
            for (QWidget* widget : QApplication::topLevelWidgets()) {
                auto* label = widget->findChild<QLabel*>();
                if (!widget->isVisible() || !label)
                    continue;
                box.size = widget->size();
                box.label = label->geometry();
                box.alignment = label->alignment();
                box.words
                    = QFontMetrics(label->font())
                          .boundingRect(QRect(0, 0, 10000, 10000), Qt::AlignLeft, label->text());
                box.shifts += label->text() != last;
                last = label->text();
            }
        });
        look.start(10);
        runner.onRunAptGetUpdate(true);
        return box;
    }

private slots:
    void init()
    {
        m_frontEnd = ScriptedFrontEnd();
        m_frontEnd.forget();
    }

    void pathsOfTheTwoTrees()
    {
        QCOMPARE(QString::fromStdString(CRunAptGet::ListsDir(false)),
                 Home() + QStringLiteral("/lists/"));
        QCOMPARE(QString::fromStdString(CRunAptGet::ListsDir(true)),
                 Home() + QStringLiteral("/deps/lists/"));
        QCOMPARE(QString::fromStdString(CRunAptGet::SourcesFile(false)),
                 Home() + QStringLiteral("/apt/vos-sources.list"));
        QCOMPARE(QString::fromStdString(CRunAptGet::SourcesFile(true)),
                 Home() + QStringLiteral("/deps/apt/vos-sources.list"));
        QCOMPARE(QString::fromStdString(CRunAptGet::AptGetOptions(true)), Options(true));
    }

    void foldersOfTheTreesAreMade()
    {
        QVERIFY(CRunAptGet::CreateAptGetDirs());
        for (const char* folder : { "/lists/partial", "/deps/lists/partial", "/apt", "/deps/apt" })
            QVERIFY2(QDir(Home() + QLatin1String(folder)).exists(), folder);
    }

    void aFolderThatCannotBeMadeIsTold()
    {
        const Trace trace;
        QVERIFY(!CRunAptGet::MkDir("/proc/nowhere/x"));
        QVERIFY(trace.events().contains(QStringLiteral("failed to create /proc/nowhere/x")));
        QVERIFY(trace.events().contains(
            QStringLiteral("access(/proc/nowhere/x) = -1 [No such file or directory]")));
    }

    void emptyListStartsNothing()
    {
        CRunAptGet runner;
        const RunnerEvents events(runner);
        QCOMPARE(runner.Run('I', "", false, false), 127);
        QCOMPARE(m_frontEnd.calls(), QStringList());
        QCOMPARE(events.list, QStringList());
        QCOMPARE(QGuiApplication::overrideCursor(), nullptr);
    }

    void missingFrontEndStartsNothing()
    {
        QVERIFY(QFile::remove(ScriptedFrontEnd::path(QStringLiteral("vos-apt-get"))));
        CRunAptGet runner;
        const RunnerEvents events(runner);
        QCOMPARE(runner.Run('I', "a", false, false), 127);
        QCOMPARE(events.list, QStringList());
    }

    void frontEndThatIsNotExecutableStartsNothing()
    {
        QFile::setPermissions(ScriptedFrontEnd::path(QStringLiteral("vos-apt-get")),
                              QFile::ReadOwner);
        QCOMPARE(CRunAptGet().Run('I', "a", false, false), 127);
        QCOMPARE(m_frontEnd.calls(), QStringList());
    }

    void otherLettersStartNothing()
    {
        for (const char action : { 'X', 'i', 'a', '\0', ' ' })
            QCOMPARE(CRunAptGet().Run(action, "a", false, false), 127);
        QCOMPARE(m_frontEnd.calls(), QStringList());
    }

    void installActions_data()
    {
        QTest::addColumn<char>("action");
        QTest::newRow("A") << 'A';
        QTest::newRow("I") << 'I';
        QTest::newRow("U") << 'U';
    }
    void installActions()
    {
        QFETCH(char, action);
        m_frontEnd.says("Setting up a (1) ...\n");
        CRunAptGet runner;
        const RunnerEvents events(runner);
        const StandardOutput output;
        QCOMPARE(runner.Run(action, "a b", false, false), 0);
        const QString words
            = QStringLiteral("-yp install") + Options(false) + QStringLiteral(" a b");
        // Then the cache is cleaned, and dpkg finishes half-configured packages.
        QCOMPARE(m_frontEnd.calls(),
                 (QStringList{ QLatin1String("vos-apt-get ") + words,
                               QLatin1String("vos-apt-get clean") + Options(false),
                               QStringLiteral("dpkg --configure -a") }));
        QCOMPARE(events.list,
                 (QStringList{ QStringLiteral("got "), QStringLiteral("setup a"),
                               QStringLiteral("end ok") }));
        QVERIFY(output.lines().contains(QLatin1String("About to execute: |")
                                        + ScriptedFrontEnd::path(QStringLiteral("vos-apt-get"))
                                        + QLatin1Char(' ') + words + QLatin1String(" 2>&1|")));
    }

    // Left by a killed install: apt-get would change nothing, or list no file.
    void whatDpkgWasInterruptedInIsFinishedFirst_data()
    {
        QTest::addColumn<QByteArray>("state");
        QTest::addColumn<bool>("journal");
        QTest::addColumn<bool>("finishes");
        QTest::newRow("nothing") << QByteArray("install ok installed") << false << false;
        QTest::newRow("journal") << QByteArray("install ok installed") << true << true;
        for (const char* state : { "unpacked", "half-configured", "triggers-pending" })
            QTest::newRow(state) << QByteArray("install ok ") + state << false << true;
        QTest::newRow("half-installed")
            << QByteArray("install reinstreq half-installed") << false << false;
        QTest::newRow("removed") << QByteArray("deinstall ok config-files") << false << false;
    }
    void whatDpkgWasInterruptedInIsFinishedFirst()
    {
        QFETCH(QByteArray, state);
        QFETCH(bool, journal);
        QFETCH(bool, finishes);
        const QString entry = QFileInfo(StatusFile()).path() + QStringLiteral("/updates/0000");
        WriteStatusFile(
            "Package: other\nStatus: install ok unpacked\n\nPackage: b\nStatus: " + state + "\n\n");
        QVERIFY(QDir().mkpath(QFileInfo(entry).path()));
        QFile file(entry);
        QVERIFY(!journal || file.open(QIODevice::WriteOnly));
        file.close();
        for (const char action : { 'A', 'I', 'U' }) {
            m_frontEnd.forget();
            QCOMPARE(CRunAptGet().Run(action, " a b", false, false), 0);
            QCOMPARE(m_frontEnd.calls().value(0) == QLatin1String("dpkg --configure -a"), finishes);
        }
        m_frontEnd.forget();
        CRunAptGet().Run('R', "b", false, false);
        QCOMPARE(m_frontEnd.calls().size(), 1);
        QVERIFY(QFile::remove(StatusFile()));
        file.remove();
    }

    void archiveIsKeptWhenTheSettingsSaySo()
    {
        Setting("clear apt archive", "0");
        QCOMPARE(CRunAptGet().Run('I', "a", false, false), 0);
        Setting("clear apt archive", "1");
        QCOMPARE(m_frontEnd.calls().size(), 1);
    }

    void echoShowsEveryLine()
    {
        m_frontEnd.says("one\n\ntwo\n");
        const StandardOutput output;
        CRunAptGet().Run('I', "a", false, false);
        QVERIFY(!output.lines().contains(QStringLiteral("one")));
        Setting("echo apt-get", "1");
        CRunAptGet().Run('I', "a", false, false);
        Setting("echo apt-get", "0");
        QVERIFY(output.lines().contains(QStringLiteral("one")));
        QVERIFY(output.text().contains("\none\n\ntwo\n"));
    }

    void errorOutputIsReadToo()
    {
        m_frontEnd.install(QStringLiteral("vos-apt-get"),
                           "case $* in *install*) echo 'E: bad' >&2;; esac");
        CRunAptGet runner;
        QCOMPARE(runner.Run('I', "a", false, false), 1);
        QCOMPARE(runner.Errors(), AptGetMessages{ "bad" });
    }

    void errorLineTurnsSuccessIntoOne()
    {
        m_frontEnd.says("E: bad\n");
        CRunAptGet runner;
        const RunnerEvents events(runner);
        QCOMPARE(runner.Run('I', "a", false, false), 1);
        QCOMPARE(events.list, QStringList(QStringLiteral("end failed")));
        // A warning does not.
        m_frontEnd.says("W: careful\n");
        QCOMPARE(runner.Run('I', "a", false, false), 0);
    }

    void failureIsTheRawStatus()
    {
        m_frontEnd.says("", 100);
        CRunAptGet runner;
        const RunnerEvents events(runner);
        QCOMPARE(runner.Run('I', "a", false, false), 100 << 8);
        QCOMPARE(events.list, QStringList(QStringLiteral("end failed")));
    }

    void frontEndThatCannotBeStartedSaysNothingAndFailsNothing()
    {
        m_frontEnd.says("W: one\n");
        CRunAptGet runner;
        QCOMPARE(runner.Run('I', "a", false, false), 0);
        m_frontEnd.forget();
        const RunnerEvents events(runner);
        int result = -1;
        QByteArray said;
        {
            const StandardOutput output;
            {
                const NoMoreFiles limit;
                result = runner.Run('I', "a", false, false);
            }
            said = output.text();
        }
        // It counts as a run without output: no end is emitted, and the lines of the
        // previous run stay.
        QCOMPARE(result, 0);
        QVERIFY(said.startsWith("About to execute: |"));
        QCOMPARE(events.list, QStringList());
        QCOMPARE(m_frontEnd.calls(), QStringList());
        QCOMPARE(runner.Messages(), AptGetMessages{ "W: one" });
        QCOMPARE(QGuiApplication::overrideCursor(), nullptr);
        // The next one runs again.
        QCOMPARE(runner.Run('I', "a", false, false), 0);
        QCOMPARE(events.list, QStringList(QStringLiteral("end ok")));
    }

    void couldNotFindPackageRunsASecondTimeOnceOnly()
    {
        m_frontEnd.says("E: Couldn't find package a\n");
        CRunAptGet runner;
        const RunnerEvents events(runner);
        QCOMPARE(runner.Run('I', "a", false, false), 1);
        QCOMPARE(m_frontEnd.calls().filter(QStringLiteral(" install ")).size(), 2);
        // The repeated run emits its own end.
        QCOMPARE(events.list.count(QStringLiteral("end failed")), 2);
        QCOMPARE(runner.Errors(), AptGetMessages{ "Couldn't find package a" });
    }

    void removeRunsOnTheDepsTreeAndAlwaysSucceeds()
    {
        m_frontEnd.install(QStringLiteral("vos-apt-get"), "exit 100");
        CRunAptGet runner;
        const RunnerEvents events(runner);
        QCOMPARE(runner.Run('R', "a", false, false), 0);
        QCOMPARE(m_frontEnd.calls(),
                 QStringList(QLatin1String("vos-apt-get -yp remove") + Options(true)
                             + QLatin1String(" a")));
        QCOMPARE(events.list, QStringList());
    }

    void removeThatFailsSaysWhy_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("sentence");
        const auto row = [](const char* line, AgentError::Code code, const char* more = "") {
            QTest::newRow(line) << QByteArray(line) << AgentError::Name(code)
                                << (AgentError::Sentence(code) + QLatin1String(more));
        };
        row(" installed a package post-removal script subprocess returned error exit status 1",
            AgentError::PackageToolsFailed,
            " installed a package post-removal script subprocess returned error exit status 1.");
        row("E: The package is odd", AgentError::PackageToolsFailed, " The package is odd.");
        row("just a line", AgentError::PackageToolsFailed);
        row("E: Unable to locate package a", AgentError::UnknownProduct,
            " Unable to locate package a.");
        row("E: Could not get lock /var/lib/dpkg/lock", AgentError::LockHeld);
        row("E: Could not open lock file - are you root?", AgentError::NotPermitted);
        row("E: The download has stalled: the store sends almost nothing.",
            AgentError::DownloadFailed);
        row("a: No space left on device", AgentError::NoDiskSpace);
        row("E: Nothing was changed: this needs a permission, which was not given.",
            AgentError::NotPermitted);
        row("E: Only root can do this: autoremove", AgentError::NotPermitted);
        row("E: The bus cannot be reached, and only root can do this without it.",
            AgentError::NotPermitted);
    }
    void removeThatFailsSaysWhy()
    {
        QFETCH(QByteArray, line);
        QFETCH(QString, code);
        QFETCH(QString, sentence);
        m_frontEnd.says("kept\n");
        CRunAptGet runner;
        QCOMPARE(runner.Run('I', "a", false, false), 0);
        m_frontEnd.install(QStringLiteral("vos-apt-get"),
                           "echo '" + line + "'; printf 'and no more' >&2; exit 100");
        QString said;
        {
            const StandardOutput output;
            QCOMPARE(runner.Run('R', "a", false, false), 0);
            said = output.lines().join(QLatin1Char('|'));
        }
        QCOMPARE(AgentError::Name(runner.Failure()), code);
        QCOMPARE(runner.FailureSentence(), sentence);
        QCOMPARE(runner.FailureDetails(),
                 QString::fromLatin1(line) + QStringLiteral("\nand no more"));
        QCOMPARE(said, QString::fromLatin1(line) + QStringLiteral("|and no more|"));
        // Its lines are not added to those of parsed runs.
        QCOMPARE(runner.Messages(), AptGetMessages{ "kept" });
        QCOMPARE(runner.Errors(), AptGetMessages());
        // The next one begins without a reason.
        m_frontEnd.install(QStringLiteral("vos-apt-get"), "echo E: no; exit 0");
        QCOMPARE(runner.Run('R', "a", false, false), 0);
        QCOMPARE(runner.Failure(), AgentError::NoFailure);
    }

    void removeThatCannotBeStartedSaysSo()
    {
        CRunAptGet runner;
        {
            const NoMoreFiles limit;
            QCOMPARE(runner.Run('R', "a", false, false), 0);
        }
        QCOMPARE(runner.Failure(), AgentError::PackageToolsMissing);
        QVERIFY(!runner.CanCancel());
        QCOMPARE(m_frontEnd.calls(), QStringList());
    }

    void refreshOfListsSaysHowItWent()
    {
        const QString mark
            = QString::fromStdString(CRunAptGet::SourcesFile(true)) + QStringLiteral(".refresh");
        QFile::remove(mark);
        CRunAptGet runner;
        const RunnerEvents events(runner);
        m_frontEnd.install(QStringLiteral("vos-apt-get"),
                           "echo 'Get:1 http://h ./ Packages [5B]'; echo 'E: Failed to fetch x'; "
                           "echo 'W: a warning'; exit 100");
        QVERIFY(!runner.RefreshLists(true));
        QVERIFY(!runner.CanCancel());
        QCOMPARE(runner.Failure(), AgentError::RefreshFailed);
        QVERIFY(runner.FailureDetails().contains(QLatin1String("Packages [5B]")));
        QCOMPARE(runner.Errors(), AptGetMessages({ "E: Failed to fetch x" }));
        QVERIFY(QFile::exists(mark));
        m_frontEnd.install(QStringLiteral("vos-apt-get"), "echo E: said for nothing");
        QVERIFY(runner.RefreshLists(true));
        QCOMPARE(runner.Failure(), AgentError::NoFailure);
        QVERIFY(!QFile::exists(mark));
        QCOMPARE(events.list, QStringList());
        const QString update = QStringLiteral("vos-apt-get update");
        QCOMPARE(m_frontEnd.calls(),
                 (QStringList{ update + Options(true), update + Options(true) }));
        m_frontEnd.forget();
        QVERIFY(CRunAptGet().RefreshLists(false));
        QCOMPARE(m_frontEnd.calls(), QStringList(update + Options(false)));
    }

    void refreshOfListsThatCannotBeStartedFails()
    {
        CRunAptGet runner;
        {
            const NoMoreFiles limit;
            QVERIFY(!runner.RefreshLists(true));
        }
        QCOMPARE(runner.Failure(), AgentError::PackageToolsMissing);
        QVERIFY(QFile::remove(ScriptedFrontEnd::path(QStringLiteral("vos-apt-get"))));
        QVERIFY(!runner.RefreshLists(true));
        QCOMPARE(runner.Failure(), AgentError::PackageToolsMissing);
    }

    void runnerThatHasRepeatedARunCanBeUsedAgain()
    {
        m_frontEnd.says("E: Couldn't find package a\n");
        CRunAptGet runner;
        runner.Run('I', "a", false, false);
        m_frontEnd.forget();
        m_frontEnd.says("Setting up a (1) ...\n");
        QCOMPARE(runner.Run('I', "a", false, false), 0);
        QCOMPARE(m_frontEnd.calls().filter(QStringLiteral(" install ")).size(), 1);
        // And it repeats again.
        m_frontEnd.forget();
        m_frontEnd.says("E: Couldn't find package a\n");
        runner.Run('I', "a", false, false);
        QCOMPARE(m_frontEnd.calls().filter(QStringLiteral(" install ")).size(), 2);
    }

    void repeatedRunThatWorksIsASuccess()
    {
        const QByteArray mark = QByteArray("$TEST_DIR/once");
        m_frontEnd.install(QStringLiteral("vos-apt-get"),
                           "case $* in *install*) test -e " + mark + " || { touch " + mark
                               + "; echo \"E: Couldn't find package a\"; };; esac");
        CRunAptGet runner;
        const RunnerEvents events(runner);
        QCOMPARE(runner.Run('I', "a", false, false), 0);
        QCOMPARE(events.list, (QStringList{ QStringLiteral("end ok"), QStringLiteral("end ok") }));
        QCOMPARE(runner.Failure(), AgentError::NoFailure);
    }

    void endIsToldWhenTheCacheIsCleanAndDpkgIsDone()
    {
        CRunAptGet runner;
        int calls = -1;
        connect(&runner, &CRunAptGet::signalEndInstall, this,
                [&] { calls = m_frontEnd.calls().size(); });
        runner.Run('I', "a", false, false);
        QCOMPARE(calls, 3);
        // The first run ends after the repeated one: its end comes after all calls.
        m_frontEnd.says("E: Couldn't find package a\n");
        m_frontEnd.forget();
        QList<int> ends;
        connect(&runner, &CRunAptGet::signalEndInstall, this,
                [&] { ends << m_frontEnd.calls().size(); });
        runner.Run('I', "a", false, false);
        QCOMPARE(ends, (QList<int>{ 4, 6 }));
    }

    void foldersOfBothTreesAreNeeded()
    {
        for (const char* blocked : { "/apt", "/lists", "/deps/apt", "/deps/lists" }) {
            QDir(Home()).removeRecursively();
            QVERIFY(QDir().mkpath(Home() + QStringLiteral("/deps")));
            // There is a dangling link in place of the folder.
            QVERIFY(QFile::link(QStringLiteral("nowhere"), Home() + QLatin1String(blocked)));
            QVERIFY2(!CRunAptGet::CreateAptGetDirs(), blocked);
        }
        QDir(Home()).removeRecursively();
        QVERIFY(CRunAptGet::CreateAptGetDirs());
    }

    void folderWithABlankIsNotMadeInPieces()
    {
        const QString folder = QDir::homePath() + QStringLiteral("/one two");
        QVERIFY(!CRunAptGet::MkDir(folder.toStdString()));
        QVERIFY(!QFile::exists(QDir::homePath() + QStringLiteral("/one")));
        QVERIFY(!QFile::exists(QStringLiteral("two")));
    }

    void folderThatAppearsALittleLateCounts()
    {
        // It has a blank, so that only the test makes it: once the first look has failed.
        const QString folder = QDir::homePath() + QStringLiteral("/made late");
        QTimer::singleShot(0, this, [&folder] { QDir().mkdir(folder); });
        QVERIFY(CRunAptGet::MkDir(folder.toStdString()));
        QVERIFY(QDir().rmdir(folder));
    }

    void madeFolderIsTraced()
    {
        const Trace trace;
        const std::string folder = QDir::homePath().toStdString() + "/made";
        QVERIFY(CRunAptGet::MkDir(folder));
        QCOMPARE(trace.events().first(), QStringLiteral("+CRunAptGet::MkDir"));
        QVERIFY(trace.events().contains(QString::fromStdString("successfully created " + folder)));
    }

    void secondRunForgetsLinesButKeepsErrors()
    {
        m_frontEnd.says("The following x:\n  a\nend\nW: one\n");
        CRunAptGet runner;
        runner.Run('I', "a", false, false);
        QCOMPARE(runner.PackageCount(), 1);
        m_frontEnd.says("W: two\n");
        runner.Run('I', "a", false, false);
        QCOMPARE(runner.PackageCount(), 0);
        QCOMPARE(runner.Messages(), AptGetMessages{ "W: two" });
        QCOMPARE(runner.Errors(), (AptGetMessages{ "one", "two" }));
    }

    void namesThatMayPass_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<bool>("safe");
        for (const char* name : { "a", "libc6", "g++", "Foo", "0ad", "a.b+c-d", "foo:i386",
                                  "foo=1:2.0~rc1-3+b1", "x:any" })
            QTest::newRow(name) << QByteArray(name) << true;
        for (const char* name :
             { "",     "-y",       "--",  "nano-", "a;b",  "a b",     "a$b",  "`a`",   "a|b",
               "a&b",  "a>b",      "a'b", "a\"b",  "a\\b", "a/b",     "a*",   "a?",    "?a",
               "~n",   "^a",       "a^",  "a:",    "a=",   "a:i386-", "a=1-", "a=1 b", "a:b:c",
               "a\nb", "\xC3\xA4", "+a",  ".a",    "a(b)", "a=$(x)",  "a#" })
            QTest::newRow(name) << QByteArray(name) << false;
        QTest::newRow("zero byte") << QByteArray("a\0b", 3) << false;
    }
    void namesThatMayPass()
    {
        QFETCH(QByteArray, name);
        QFETCH(bool, safe);
        QCOMPARE(IsPackageWord(name.toStdString()), safe);
    }

    void refusedNameStartsNothingAndIsNamed()
    {
        const QString witness = QDir::homePath() + QStringLiteral("/witness");
        for (const char action : { 'I', 'D', 'R' }) {
            CRunAptGet runner;
            const std::string evil = "good $(touch${IFS}" + witness.toStdString() + ")";
            QCOMPARE(runner.Run(action, evil, false, false), 127);
            QCOMPARE(runner.Errors().size(), std::size_t(1));
            QVERIFY(runner.Errors()[0].find("$(touch") != std::string::npos);
        }
        QVERIFY(!QFile::exists(witness));
        QCOMPARE(m_frontEnd.calls(), QStringList());
    }

    void menusAreToldOverTheSessionBus()
    {
        QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus,
                                                            QStringLiteral("listener"));
        QVERIFY(bus.isConnected());
        m_heard.clear();
        QVERIFY(bus.connect(QString(), QStringLiteral("/KIPC"), QStringLiteral("org.kde.KIPC"),
                            QStringLiteral("message"), this, SLOT(onMessage(int, int))));
        CRunAptGet().Run('I', "a", false, false);
        QTRY_COMPARE(m_heard, QStringList(QStringLiteral("32 1652")));
        CRunAptGet().Run('R', "a", false, false);
        QTRY_COMPARE(m_heard.size(), 2);
        // Not if the run did not get that far.
        CRunAptGet().Run('X', "a", false, false);
        CRunAptGet().Run('I', "a", false, false);
        QTRY_COMPARE(m_heard.size(), 3);
    }

    void messagesAreWrittenAfterAFailure()
    {
        m_frontEnd.says("one\nE: two\n");
        CRunAptGet runner;
        runner.Run('I', "a", false, false);
        runner.writeFailedAptGetToFile();
        QFile file(QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"))
                   + QStringLiteral("/tmp/apt-get.out"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("one\nE: two\n"));
        // A link that somebody put there is not followed.
        file.close();
        QVERIFY(file.remove());
        const QString target = QDir::homePath() + QStringLiteral("/target");
        QVERIFY(QFile::link(target, file.fileName()));
        runner.writeFailedAptGetToFile();
        QVERIFY(!QFile::exists(target));
        QVERIFY(QFile::remove(file.fileName()));
    }

    void shorterLogReplacesALongerOne()
    {
        CRunAptGet runner;
        for (const QByteArray& said :
             { QByteArray("a long line\nE: two\n"), QByteArray("E: x\n") }) {
            m_frontEnd.says(said);
            runner.Run('I', "a", false, false);
            runner.writeFailedAptGetToFile();
            QFile file(logFile());
            QVERIFY(file.open(QIODevice::ReadOnly));
            QCOMPARE(file.readAll(), said);
        }
        QFile::remove(logFile());
    }

    void logIsWrittenToAFileOfOnesOwnOnly()
    {
        m_frontEnd.says("E: x\n");
        CRunAptGet runner;
        runner.Run('I', "a", false, false);
        const QByteArray name = logFile().toLocal8Bit();
        // A pipe that nobody reads, and one with a reader.
        QCOMPARE(mkfifo(name.constData(), 0600), 0);
        runner.writeFailedAptGetToFile();
        const int reader = open(name.constData(), O_RDONLY | O_NONBLOCK);
        runner.writeFailedAptGetToFile();
        char byte;
        QCOMPARE(read(reader, &byte, 1), ssize_t(0));
        close(reader);
        QVERIFY(QFile::remove(logFile()));
        // Also a file with another link.
        QFile other(QDir::homePath() + QStringLiteral("/other"));
        QVERIFY(other.open(QIODevice::WriteOnly));
        other.write("keep");
        other.close();
        QCOMPARE(link(qPrintable(other.fileName()), name.constData()), 0);
        runner.writeFailedAptGetToFile();
        QVERIFY(other.open(QIODevice::ReadOnly));
        QCOMPARE(other.readAll(), QByteArray("keep"));
        QVERIFY(QFile::remove(logFile()));
        // A file of another user, if this process may make one.
        if (geteuid() != 0)
            return;
        QFile foreign(logFile());
        QVERIFY(foreign.open(QIODevice::WriteOnly));
        foreign.write("keep");
        foreign.close();
        QCOMPARE(chown(name.constData(), 65534, 65534), 0);
        runner.writeFailedAptGetToFile();
        QVERIFY(foreign.open(QIODevice::ReadOnly));
        QCOMPARE(foreign.readAll(), QByteArray("keep"));
        QVERIFY(QFile::remove(logFile()));
    }

    void cursorWaitsWhileItRuns()
    {
        CRunAptGet runner;
        Qt::CursorShape shape = Qt::ArrowCursor;
        connect(&runner, &CRunAptGet::signalEndInstall, this, [&shape] {
            if (const QCursor* cursor = QGuiApplication::overrideCursor())
                shape = cursor->shape();
        });
        runner.Run('I', "a", false, false);
        QCOMPARE(shape, Qt::WaitCursor);
        QCOMPARE(QGuiApplication::overrideCursor(), nullptr);
    }

    void settingUpBoxMovesWhileTheUpdateRuns()
    {
        m_frontEnd.install(QStringLiteral("vos-apt-get"), "sleep 0.5");
        CRunAptGet runner;
        QStringList texts;
        QSize size;
        QString title;
        QTimer look;
        connect(&look, &QTimer::timeout, this, [&] {
            for (QWidget* widget : QApplication::topLevelWidgets()) {
                auto* label = widget->findChild<QLabel*>();
                if (!widget->isVisible() || !label)
                    continue;
                size = widget->size();
                title = widget->windowTitle();
                if (!texts.contains(label->text()))
                    texts << label->text();
            }
        });
        look.start(10);
        runner.onRunAptGetUpdate(true);
        QCOMPARE(size, QSize(337, 80));
        QCOMPARE(title, QStringLiteral("Setting up Pakmart"));
        const QString head = QStringLiteral("Setting up Pakmart\nPlease wait\n");
        QVERIFY(texts.size() >= 3);
        QCOMPARE(texts[0], head);
        QCOMPARE(texts[1], head + QStringLiteral("< >"));
        QCOMPARE(texts[2], head + QStringLiteral("<  >"));
        QCOMPARE(m_frontEnd.calls(),
                 QStringList(QLatin1String("vos-apt-get update") + Options(true)));
        // The box is closed; a late tick does nothing.
        runner.onAptGetUpdateTimer();
    }

    void settingUpBoxIsLaidOutAsItAlwaysWas()
    {
        const Box box = updateBox("2");
        QCOMPARE(box.size, QSize(337, 80));
        QCOMPARE(box.label, QRect(0, 0, 337, 57));
        QCOMPARE(int(box.alignment), int(Qt::AlignCenter));
        // Every 100 ms, so about 20 times; every 160 ms would be 13 times.
        QVERIFY2(box.shifts >= 15 && box.shifts <= 22, qPrintable(QString::number(box.shifts)));
    }

    void settingUpBoxGrowsWithTheFont()
    {
        const QFont before = QApplication::font();
        QFont large = before;
        large.setPointSizeF(before.pointSizeF() * 2.5);
        QApplication::setFont(large);
        const Box box = updateBox();
        QApplication::setFont(before);
        QVERIFY(box.size.width() > 337 && box.size.height() > 80);
        QVERIFY2(box.label.width() >= box.words.width(),
                 qPrintable(QString::number(box.label.width())));
        // No part of the three centred lines is outside of the label.
        const QFontMetrics metrics(large);
        const int above = (box.label.height() - box.words.height()) / 2;
        QVERIFY(above + metrics.ascent() - metrics.capHeight() >= 0);
        QVERIFY(above + metrics.descent() >= 0);
        QVERIFY(box.label.height() < box.size.height());
    }

    void markerByCounter()
    {
        // The counter is shared by all runners, so it is set to its start first.
        m_frontEnd.install(QStringLiteral("vos-apt-get"), "sleep 0.3");
        CRunAptGet runner;
        QMap<int, QString> markers;
        QTimer::singleShot(0, this, [&] {
            QLabel* label = nullptr;
            for (QWidget* widget : QApplication::topLevelWidgets()) {
                if (widget->isVisible() && widget->findChild<QLabel*>())
                    label = widget->findChild<QLabel*>();
            }
            if (!label)
                return;
            const auto marker = [label] { return label->text().section(QLatin1Char('\n'), 2); };
            do {
                runner.onAptGetUpdateTimer();
            } while (marker() != QLatin1String("><"));
            for (int n = 20; n < 40; ++n) {
                runner.onAptGetUpdateTimer();
                markers[n % 20] = marker();
            }
        });
        runner.onRunAptGetUpdate(false);
        const QMap<int, int> blanks{ { 0, 0 },   { 1, 1 },   { 2, 2 },  { 3, 5 }, { 4, 6 },
                                     { 10, 18 }, { 11, 14 }, { 18, 1 }, { 19, 0 } };
        for (auto it = blanks.begin(); it != blanks.end(); ++it) {
            const QString inside(it.value(), QLatin1Char(' '));
            QCOMPARE(markers[it.key()],
                     it.key() < 11 ? QLatin1Char('<') + inside + QLatin1Char('>')
                                   : QLatin1Char('>') + inside + QLatin1Char('<'));
        }
    }

    void osPackageRunsOneAction()
    {
        CGetOSPackage(QStringLiteral("Remove"), QStringLiteral("a"), true).Execute();
        QVERIFY(m_frontEnd.calls().value(0).contains(QStringLiteral("-yp remove")));
        m_frontEnd.forget();
        CGetOSPackage(QString(), QStringLiteral("a"), true).Execute();
        QCOMPARE(m_frontEnd.calls(), QStringList());
    }

    void hundredMegabytesOfOutputGrowOnlyByTheMessages()
    {
        // Control characters are dropped: of each megabyte that is read, a line of 100
        // bytes is kept.
        m_frontEnd.install(
            QStringLiteral("vos-apt-get"),
            "case $* in *install*) i=0; while [ $i -lt 100 ]; do"
            " printf x; head -c 1000000 /dev/zero; head -c 100 /dev/zero | tr '\\0' x; echo;"
            " i=$((i+1)); done;; esac");
        const auto resident = [] {
            QFile status(QStringLiteral("/proc/self/statm"));
            return status.open(QIODevice::ReadOnly)
                ? status.readAll().split(' ').value(1).toLongLong() * 4096
                : 0;
        };
        CRunAptGet runner;
        const qint64 before = resident();
        QVERIFY(before > 0);
        QCOMPARE(runner.Run('I', "a", false, false), 0);
        QCOMPARE(runner.Messages().size(), std::size_t(100));
        QVERIFY2(resident() - before < 8 * 1024 * 1024,
                 qPrintable(QString::number(resident() - before)));
    }

public slots:
    void onMessage(int number, int value)
    {
        m_heard << QStringLiteral("%1 %2").arg(number).arg(value);
    }

private:
    QStringList m_heard;
};

QTEST_MAIN(RunTest)
#include "tst_crunaptget.moc"
