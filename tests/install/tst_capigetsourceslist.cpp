// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The sources files made from the server's lists.

#include "install/capigetsourceslist.h"
#include "install/crunaptget.h"
#include "tests/common/frontend.h"
#include "tests/request/requests.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QtTest>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

class SourcesListTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;
    ScriptedFrontEnd m_frontEnd;

    static QString file(bool deps) { return QString::fromStdString(CRunAptGet::SourcesFile(deps)); }
    static QByteArray contents(bool deps)
    {
        QFile sources(file(deps));
        return sources.open(QIODevice::ReadOnly) ? sources.readAll() : QByteArray("<none>");
    }
    static void write(bool deps, const QByteArray& text)
    {
        QVERIFY(CRunAptGet::CreateAptGetDirs());
        QFile sources(file(deps));
        QVERIFY(sources.open(QIODevice::WriteOnly));
        sources.write(text);
    }
    // Makes it look as if the lists had been refreshed.
    static void forgetRefresh() { QFile::remove(file(true) + QStringLiteral(".refresh")); }
    // Runs a request; returns the trees that it reported as changed.
    QList<bool> ask(const QByteArray& lists)
    {
        m_server.answer(
            "/s",
            ScriptedServer::http("<agentfunction resultcode=\"OK\">" + lists + "</agentfunction>"));
        QList<bool> changed;
        auto* request = new CAPIGetSourcesList(true, true);
        connect(request, &CAPIGetSourcesList::signalSourcesListModified, qApp,
                [&changed](bool deps) { changed << deps; });
        request->Execute();
        return changed;
    }

    // Another program that works on the private tree.
    class OtherProgram
    {
    public:
        OtherProgram()
        {
            CRunAptGet::CreateAptGetDirs();
            const QString lock = QDir::homePath() + QStringLiteral("/.vos-apt-get/lock");
            m_fd = open(QFile::encodeName(lock).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
            const QByteArray name = "other 12\n";
            if (m_fd < 0 || flock(m_fd, LOCK_EX | LOCK_NB) != 0 || ftruncate(m_fd, 0) != 0
                || ::write(m_fd, name.data(), size_t(name.size())) < 0)
                qFatal("the test cannot lock the tree");
        }
        ~OtherProgram() { end(); }
        OtherProgram(const OtherProgram&) = delete;
        OtherProgram& operator=(const OtherProgram&) = delete;
        void end()
        {
            if (m_fd >= 0)
                close(m_fd);
            m_fd = -1;
        }

    private:
        int m_fd = -1;
    };

    const QByteArray m_oneList
        = "<agentfunction resultcode=\"OK\"><list type=\"dep\"><entry timestamp=\"1\">"
          "deb http://h/a ./</entry></list></agentfunction>";
    // Runs a request; returns why it failed, and whether it succeeded.
    static QStringList outcome(CAPIGetSourcesList* request)
    {
        QStringList events;
        connect(request, &CAPI::signalFailure, qApp,
                [&events](AgentError::Code code) { events << AgentError::Name(code); });
        connect(request, &CAPI::APIComplete, qApp,
                [&events](bool ok) { events << QString::number(ok); });
        request->Execute();
        return events;
    }

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api", Directory({ { "CAPIGetSourcesList", m_server.url("/s") } }));
    }
    void init()
    {
        QDir(QDir::homePath() + QStringLiteral("/.vos-apt-get")).removeRecursively();
        m_frontEnd = ScriptedFrontEnd();
        m_frontEnd.forget();
    }

    void firstListsAreWrittenToTheirTrees()
    {
        QCOMPARE(ask("<list type=\"dep\"><entry timestamp=\"1\">deb http://h/a ./</entry></list>"
                     "<list type=\"other\"><entry timestamp=\"2\">deb http://h/b x y</entry>"
                     "<entry>deb http://h/c ./</entry></list>"),
                 (QList<bool>{ true, false }));
        QCOMPARE(contents(true), QByteArray("deb http://h/a ./  #1\n"));
        QCOMPARE(contents(false), QByteArray("deb http://h/b x y  #2\ndeb http://h/c ./  #\n"));
    }

    void bothTreesMayBeToldInOneReply()
    {
        QCOMPARE(
            ask("<list type=\"dep\"><entry>a</entry></list><list><entry>b</entry></list>").size(),
            2);
    }

    void equalEntriesMakeNoChangeButAreRewritten()
    {
        write(true, "# comment\n\ndeb http://h/a ./   \t #1\n");
        QCOMPARE(ask("<list type=\"dep\"><entry timestamp=\"1\">deb http://h/a ./</entry></list>"),
                 QList<bool>());
        QCOMPARE(contents(true), QByteArray("deb http://h/a ./  #1\n"));
    }

    void fileKeepsItsPermissions()
    {
        write(true, "deb http://h/a ./  #1\n");
        const std::string path = CRunAptGet::SourcesFile(true);
        QCOMPARE(chmod(path.c_str(), 0640), 0);
        ask("<list type=\"dep\"><entry timestamp=\"2\">deb http://h/a ./</entry></list>");
        struct stat found = {};
        QCOMPARE(stat(path.c_str(), &found), 0);
        QCOMPARE(int(found.st_mode & 0777), 0640);
        QCOMPARE(contents(true), QByteArray("deb http://h/a ./  #2\n"));
    }

    void otherTimestampIsAChangeThatIsLogged()
    {
        write(true, "deb http://h/a ./  #1\n");
        const StandardOutput output;
        QCOMPARE(ask("<list type=\"dep\"><entry timestamp=\"2\">deb http://h/a ./</entry></list>"),
                 QList<bool>{ true });
        QVERIFY(
            output.text().contains("\n\ndeb http://h/a ./ - timestamp modified [1] != [2]\n\n"));
        QVERIFY(output.lines().contains(QLatin1String("CAPIGetSourcesList::UpdateSourcesList('")
                                        + file(true) + QLatin1String("')")));
    }

    void lineThatNoEntryMatchesIsAChangeAndDropped()
    {
        write(true, "deb http://h/a ./  #1\ndeb http://h/old ./  #1\n");
        QCOMPARE(ask("<list type=\"dep\"><entry timestamp=\"1\">deb http://h/a ./</entry></list>"),
                 QList<bool>{ true });
        QCOMPARE(contents(true), QByteArray("deb http://h/a ./  #1\n"));
    }

    void entryThatBeginsALineMatchesIt()
    {
        write(true, "deb http://h/a ./ extra  #1\n");
        QCOMPARE(ask("<list type=\"dep\"><entry timestamp=\"1\">deb http://h/a ./</entry></list>"),
                 QList<bool>());
        QCOMPARE(contents(true), QByteArray("deb http://h/a ./  #1\n"));
    }

    void emptyListEmptiesTheFile()
    {
        write(false, "deb http://h/a ./  #1\n");
        QCOMPARE(ask("<list></list>"), QList<bool>{ false });
        QCOMPARE(contents(false), QByteArray());
    }

    void textsAreDecoded()
    {
        ask("<list><entry timestamp=\"a%3Ab\">deb+http://h/%61 ./</entry></list>");
        QCOMPARE(contents(false), QByteArray("deb http://h/a ./  #a:b\n"));
    }

    void entriesThatBreakOutOfTheirLineAreLeftOut_data()
    {
        QTest::addColumn<QByteArray>("entry");
        QTest::newRow("line end") << QByteArray("<entry>deb http://h/a ./%0Adeb http://evil/ ./"
                                                "</entry>");
        QTest::newRow("carriage return") << QByteArray("<entry>a%0Db</entry>");
        QTest::newRow("option block")
            << QByteArray("<entry>deb [trusted=yes] http://e/ ./</entry>");
        QTest::newRow("comment") << QByteArray("<entry>deb http://h/ ./ # x</entry>");
        QTest::newRow("line end in the time stamp")
            << QByteArray("<entry timestamp=\"1%0Adeb http://evil/ ./\">deb http://h/ ./</entry>");
        QTest::newRow("no text") << QByteArray("<entry/>");
    }
    void entriesThatBreakOutOfTheirLineAreLeftOut()
    {
        QFETCH(QByteArray, entry);
        const Trace trace;
        ask("<list>" + entry + "<entry timestamp=\"1\">deb http://h/good ./</entry></list>");
        QCOMPARE(contents(false), QByteArray("deb http://h/good ./  #1\n"));
        QCOMPARE(trace.events().filter(QStringLiteral("refused the entry '")).size(), 1);
    }

    void overlongLinesAreReadWhole()
    {
        const QByteArray entry = "deb http://h/" + QByteArray(3000, 'a') + " ./";
        write(true, entry + "  #1\n");
        QCOMPARE(ask("<list type=\"dep\"><entry timestamp=\"1\">" + entry + "</entry></list>"),
                 QList<bool>());
    }

    void eachOldLineIsFoundOnce()
    {
        // Two equal entries do not both match one line.
        write(true, "deb http://h/a ./  #1\n");
        const QByteArray entry = "<entry timestamp=\"1\">deb http://h/a ./</entry>";
        QCOMPARE(ask("<list type=\"dep\">" + entry + entry + "</list>"), QList<bool>{ true });
        // One entry does not match two lines.
        forgetRefresh();
        QCOMPARE(ask("<list type=\"dep\">" + entry + "</list>"), QList<bool>{ true });
        forgetRefresh();
        QCOMPARE(ask("<list type=\"dep\">" + entry + "</list>"), QList<bool>());
        // Of two equal lines each is found once, and no other line counts as found with them.
        const QByteArray line = "deb http://h/a ./  #1\n";
        write(true, line + line + "deb http://h/b ./  #1\n");
        QCOMPARE(ask("<list type=\"dep\">" + entry + entry + entry + "</list>"),
                 QList<bool>{ true });
    }

    void shorterEntryTakesTheFirstLineThatItBegins()
    {
        // "deb http://h" matches the first line, and the other entry the second.
        write(true, "deb http://h/b ./  #1\ndeb http://h/a ./  #1\n");
        QCOMPARE(ask("<list type=\"dep\"><entry timestamp=\"1\">deb http://h</entry>"
                     "<entry timestamp=\"1\">deb http://h/a ./</entry></list>"),
                 QList<bool>());
        // So the first line, which the other entry would have needed, is used up.
        write(true, "deb http://h/a ./  #1\ndeb http://h/b ./  #1\n");
        QCOMPARE(ask("<list type=\"dep\"><entry timestamp=\"1\">deb http://h</entry>"
                     "<entry timestamp=\"1\">deb http://h/a ./</entry></list>"),
                 QList<bool>{ true });
    }

    // Compares the matching with a slow implementation of its definition.
    void matchesAreThoseOfTheDefinition()
    {
        const char letters[] = "ab";
        QRandomGenerator random(7);
        const auto text = [&] {
            QByteArray t = "x";
            for (int n = int(random.bounded(3)); n > 0; --n)
                t += letters[random.bounded(2)];
            return t;
        };
        for (int round = 0; round < 40; ++round) {
            QList<QByteArray> before, now;
            for (int n = int(random.bounded(5)); n > 0; --n)
                before << text();
            for (int n = int(random.bounded(5)); n > 0; --n)
                now << text();
            QByteArray file, list = "<list type=\"dep\">";
            for (const QByteArray& line : before)
                file += line + "  #1\n";
            bool differ = false;
            QList<QByteArray> left = before;
            for (const QByteArray& entry : now) {
                list += "<entry timestamp=\"1\">" + entry + "</entry>";
                int found = 0;
                while (found < left.size() && !left[found].startsWith(entry))
                    ++found;
                if (found < left.size())
                    left.removeAt(found);
                else
                    differ = true;
            }
            forgetRefresh();
            write(true, file);
            QCOMPARE(!ask(list + "</list>").isEmpty(), differ || !left.isEmpty());
        }
    }

    void aRefreshThatIsDueIsAskedForThoughNothingChanges()
    {
        const QByteArray list
            = "<list type=\"dep\"><entry timestamp=\"1\">deb http://h/a ./</entry></list>";
        QCOMPARE(ask(list), QList<bool>{ true });
        // Nobody has refreshed since.
        const Trace trace;
        QCOMPARE(ask(list), QList<bool>{ true });
        QVERIFY(trace.events().contains(
            QStringLiteral("the last refresh has failed...emitting signalSourcesListModified")));
        forgetRefresh();
        QCOMPARE(ask(list), QList<bool>());
    }

    void replyWithoutAListIsAFailureWithAReason()
    {
        QStringList events;
        m_server.answer("/s", ScriptedServer::http("<agentfunction resultcode=\"OK\"/>"));
        auto* request = new CAPIGetSourcesList(true, true);
        connect(request, &CAPI::signalFailure, qApp,
                [&events](AgentError::Code code, const QString& text, const QString&) {
                    events << AgentError::Name(code) << text;
                });
        connect(request, &CAPI::APIComplete, qApp,
                [&events](bool ok) { events << QString::number(ok); });
        request->Execute();
        QCOMPARE(events,
                 (QStringList{ QStringLiteral("reply-not-understood"),
                               QStringLiteral("The store server sent no list of package sources."),
                               QStringLiteral("0") }));
    }

    void writingIsTraced()
    {
        const Trace trace;
        ask("<list><entry>deb http://h/a ./</entry></list>");
        QVERIFY(trace.events().contains(QStringLiteral("successfully created sources list file")));
        QVERIFY(trace.events().contains(QStringLiteral("+CAPIGetSourcesList::UpdateSourcesList")));
    }

    void manyEntriesAreCompared()
    {
        // The worst order for a linear search, 80,000 entries.
        QByteArray list = "<list type=\"dep\">", file;
        const int count = 80000;
        for (int i = 0; i < count; ++i) {
            file += "deb http://h/" + QByteArray::number(count - i) + " ./  #1\n";
            list += "<entry timestamp=\"1\">deb http://h/" + QByteArray::number(i + 1)
                + " ./</entry>";
        }
        write(true, file);
        QElapsedTimer time;
        time.start();
        QCOMPARE(ask(list + "</list>"), QList<bool>());
        qInfo("%d entries in %lld ms", count, time.elapsed());
    }

    void fileThatCannotBeWrittenIsTraced()
    {
        QVERIFY(CRunAptGet::CreateAptGetDirs());
        QVERIFY(QDir().mkpath(file(false))); // there is a folder in its place
        const Trace trace;
        QCOMPARE(ask("<list><entry>deb http://h/a ./</entry></list>"), QList<bool>());
        QVERIFY(trace.events().contains(QStringLiteral("failed to create sources list file")));
    }

    void runnerAnswersAChangeByAnUpdate()
    {
        m_server.answer("/s",
                        ScriptedServer::http("<agentfunction resultcode=\"OK\"><list type=\"dep\">"
                                             "<entry timestamp=\"1\">deb http://h/a ./</entry>"
                                             "</list></agentfunction>"));
        CRunAptGet runner;
        const Trace trace;
        QVERIFY(runner.checkSources(false));
        QVERIFY(trace.events().contains(
            QStringLiteral("sources list file modified...emitting signalSourcesListModified")));
        QCOMPARE(m_frontEnd.calls(),
                 QStringList(QStringLiteral("vos-apt-get update")
                             + QString::fromStdString(CRunAptGet::AptGetOptions(true))));
        // The second run changes nothing.
        runner.update(true);
        QCOMPARE(m_frontEnd.calls().size(), 1);
    }

    void listWaitsForTheEndOfAnInstallAndSaysForWhom()
    {
        write(true, "deb http://h/old ./  #1\n");
        OtherProgram other;
        m_server.answer("/s", ScriptedServer::http(m_oneList));
        auto* request = new CAPIGetSourcesList(true, true);
        QStringList waits;
        QByteArray meanwhile;
        connect(request, &CAPIGetSourcesList::signalWaitingFor, qApp, [&](const std::string& text) {
            waits << QString::fromStdString(text);
            QTimer::singleShot(50, qApp, [&] {
                meanwhile = contents(true);
                other.end();
            });
        });
        QVERIFY(request->Execute());
        QCOMPARE(waits,
                 QStringList(QStringLiteral(
                     "Waiting for another installation to end: other (process 12)")));
        QCOMPARE(meanwhile, QByteArray("deb http://h/old ./  #1\n"));
        QCOMPARE(contents(true), QByteArray("deb http://h/a ./  #1\n"));
    }

    void waitOfAListEndsWhenTransfersAreAborted()
    {
        const OtherProgram other;
        m_server.answer("/s", ScriptedServer::http(m_oneList));
        auto* request = new CAPIGetSourcesList(true, true);
        connect(request, &CAPIGetSourcesList::signalWaitingFor, qApp,
                [] { QTimer::singleShot(0, qApp, [] { CAPI::AbortTransfers(); }); });
        QCOMPARE(outcome(request),
                 (QStringList{ QStringLiteral("cancelled"), QStringLiteral("0") }));
        QCOMPARE(contents(true), QByteArray("<none>"));
    }

    void listInsideARunIsRefusedAndTheRunGoesOn()
    {
        m_server.answer("/s", ScriptedServer::http(m_oneList));
        m_frontEnd.install(QStringLiteral("vos-apt-get"),
                           "case \" $* \" in *' install '*) echo 'Setting up foo (1) ...';; esac");
        CRunAptGet runner;
        QStringList events;
        connect(&runner, &CRunAptGet::signalBeginInstall, qApp,
                [&] { events = outcome(new CAPIGetSourcesList(true, true)); });
        QCOMPARE(runner.Run('A', "foo", false, false), 0);
        QCOMPARE(events, (QStringList{ QStringLiteral("lock-held"), QStringLiteral("0") }));
        QCOMPARE(contents(true), QByteArray("<none>"));
    }

    void runThatHasTheTreeRefreshesWithoutAWait()
    {
        m_server.answer("/s", ScriptedServer::http(m_oneList));
        CRunAptGet runner;
        int waits = 0;
        connect(&runner, &CRunAptGet::signalWaitingFor, qApp, [&waits] { ++waits; });
        QCOMPARE(runner.Run('D', "foo", false, false), 0);
        QCOMPARE(waits, 0);
        QCOMPARE(contents(true), QByteArray("deb http://h/a ./  #1\n"));
        QVERIFY(m_frontEnd.calls().first().startsWith(QLatin1String("vos-apt-get update")));
    }

    void refreshOfItsOwnWaitsForTheEndOfAnInstall()
    {
        OtherProgram other;
        CRunAptGet runner;
        QStringList meanwhile;
        int waits = 0;
        connect(&runner, &CRunAptGet::signalWaitingFor, qApp, [&] {
            ++waits;
            QTimer::singleShot(50, qApp, [&] {
                meanwhile = m_frontEnd.calls();
                other.end();
            });
        });
        runner.onRunAptGetUpdate(true);
        QCOMPARE(waits, 1);
        QCOMPARE(meanwhile, QStringList());
        QCOMPARE(m_frontEnd.calls().size(), 1);
    }

    void refreshThatIsRefusedIsAskedForByTheNextList()
    {
        const OtherProgram other;
        CRunAptGet runner;
        runner.RefuseWhenBusy(true);
        runner.onRunAptGetUpdate(true);
        QCOMPARE(m_frontEnd.calls(), QStringList());
        QCOMPARE(runner.Failure(), AgentError::LockHeld);
        QVERIFY(QFile::exists(file(true) + QStringLiteral(".refresh")));
    }

    // A refresh in a slot of the request uses the request's lock on the tree, and nobody
    // else gets it meanwhile.
    void refreshInASlotOfTheListIsPartOfIt()
    {
        m_server.answer("/s", ScriptedServer::http(m_oneList));
        m_frontEnd.install(QStringLiteral("vos-apt-get"), "sleep 0.2");
        CRunAptGet runner, third;
        QList<int> results;
        auto* request = new CAPIGetSourcesList(true, true);
        connect(request, &CAPIGetSourcesList::signalSourcesListModified, qApp, [&](bool deps) {
            QTimer::singleShot(0, qApp, [&] { results << third.Run('A', "foo", false, false); });
            runner.onRunAptGetUpdate(deps);
        });
        QVERIFY(request->Execute());
        QCOMPARE(results, QList<int>{ 127 });
        QCOMPARE(third.Failure(), AgentError::LockHeld);
        QCOMPARE(m_frontEnd.calls().size(), 1);
        // The tree is free afterwards.
        QCOMPARE(third.Run('A', "foo", false, false), 0);
    }

    void unwritableHomeIsTracedNotFatal()
    {
        // There is a file in place of the private tree.
        QFile blocked(QDir::homePath() + QStringLiteral("/.vos-apt-get"));
        QVERIFY(blocked.open(QIODevice::WriteOnly));
        blocked.close();
        QVERIFY(!CRunAptGet::CreateAptGetDirs());
        QCOMPARE(ask("<list><entry>deb http://h/a ./</entry></list>"), QList<bool>());
        QVERIFY(blocked.remove());
    }
};

QTEST_MAIN(SourcesListTest)
#include "tst_capigetsourceslist.moc"
