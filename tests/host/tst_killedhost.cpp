// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Hosts that end in the middle of a change: what they have started ends by itself, or can be
// repaired, and the next job works.

#include "host/packagejobs.h"
#include "tests/host/hostmachine.h"

#include <QElapsedTimer>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

using namespace Pakmart;

// A host as a process of its own, which is killed with this object at the latest.
class HostProcess
{
public:
    explicit HostProcess(const char* words)
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(JOB_HOST),
                        QString::fromLatin1(words).split(QLatin1Char(' ')));
    }
    ~HostProcess() { end(); }

    // Waits for a line that begins like this.
    bool says(const char* beginning)
    {
        return QTest::qWaitFor(
            [this, beginning] {
                m_lines += m_process.readAll();
                return ('\n' + m_lines).contains(QByteArray("\n") + beginning);
            },
            60000);
    }
    QByteArray lines() const { return m_lines; }
    qint64 number() const { return m_process.processId(); }
    void end()
    {
        m_process.kill();
        m_process.waitForFinished();
    }
    bool endsByItself()
    {
        return QTest::qWaitFor([this] { return m_process.state() == QProcess::NotRunning; }, 60000);
    }

private:
    QProcess m_process;
    QByteArray m_lines;
};

class KilledHostTest : public QObject
{
    Q_OBJECT

private:
    static constexpr int many = 24; // packages, for which dpkg needs some time

    std::unique_ptr<HostMachine> m_machine;

    static QString outcomeOf(Job* job)
    {
        JobWatch watch(job);
        return watch.outcome();
    }
    static QString install(const char* name)
    {
        return outcomeOf(new InstallJob({ QString::fromLatin1(name) }));
    }
    // "all" needs the others.
    void addMany()
    {
        QByteArray names;
        for (int i = 0; i < many; ++i) {
            const QByteArray name = "part" + QByteArray::number(i);
            m_machine->add({ name, "1.0", "", 20000 });
            names += (i > 0 ? ", " : "") + name;
        }
        m_machine->add({ "all", "1.0", names });
        m_machine->add({ "other" });
    }
    // The states of those packages, counted.
    struct States {
        int whole = 0, halfWay = 0, gone = 0;
    };
    static States states()
    {
        States counts;
        for (int i = 0; i < many; ++i) {
            const auto state = HostMachine::stateOf(("part" + std::to_string(i)).c_str());
            counts.whole += state.IsInstalled() ? 1 : 0;
            counts.halfWay += state.IsHalfWay() ? 1 : 0;
            counts.gone += state.IsGone() ? 1 : 0;
        }
        return counts;
    }
    // What is installed afterwards is whole, whatever the interruption has left.
    void checkThatNextJobsWork() const
    {
        QElapsedTimer time;
        time.start();
        QCOMPARE(install("other"), QStringLiteral("none"));
        const States left = states();
        qInfo("%d whole, %d half-way, %d gone; the next install took %lld ms", left.whole,
              left.halfWay, left.gone, time.elapsed());
        QCOMPARE(HostMachine::has("other"), QByteArray("install ok installed 1.0"));
        QCOMPARE(outcomeOf(new RepairJob), QStringLiteral("none"));
        QCOMPARE(states().halfWay, 0);
        QCOMPARE(install("all"), QStringLiteral("none"));
        QCOMPARE(states().whole, int(many));
    }

private slots:
    void init()
    {
        m_machine = std::make_unique<HostMachine>();
        QVERIFY(m_machine->setUp());
    }

    void oneThatIsKilledWhileItWaitsLeavesNothing_data()
    {
        QTest::addColumn<bool>("forTree");
        QTest::newRow("for another job") << true;
        QTest::newRow("for the package lock") << false;
    }
    void oneThatIsKilledWhileItWaitsLeavesNothing()
    {
        QFETCH(bool, forTree);
        m_machine->add({ "app" });
        m_machine->add({ "other" });
        m_machine->stall({ "other" });
        std::unique_ptr<HostProcess> first;
        int lock = -1;
        if (forTree) {
            first = std::make_unique<HostProcess>("Install other");
            QVERIFY(QTest::qWaitFor([this] { return m_machine->isFetching({ "other" }); }, 60000));
        } else {
            lock = m_machine->lockDpkg();
            QVERIFY(lock >= 0);
        }
        HostProcess host("Install app");
        QVERIFY(host.says("waits"));
        host.end();
        first.reset();
        close(lock);
        QTest::qWait(1000); // something that goes on would be through by then
        QVERIFY(HostMachine::stateOf("app").IsGone());
        QVERIFY(!m_machine->isFetching({ "app" }));
        QCOMPARE(install("app"), QStringLiteral("none"));
    }

    void oneThatIsKilledWhileItPreparesLeavesNothing()
    {
        m_machine->add({ "app" });
        HostProcess host("Install app");
        QVERIFY(host.says("phase Preparing"));
        host.end();
        QTest::qWait(1000);
        QVERIFY(HostMachine::stateOf("app").IsGone());
        QCOMPARE(install("app"), QStringLiteral("none"));
    }

    void oneThatIsKilledWhileItDownloadsLeavesNothing()
    {
        m_machine->add({ "app" });
        m_machine->add({ "other" });
        m_machine->stall({ "app" });
        HostProcess host("Install app");
        QVERIFY(QTest::qWaitFor([this] { return m_machine->isFetching({ "app" }); }, 60000));
        host.end();
        QElapsedTimer time;
        time.start();
        QCOMPARE(install("other"), QStringLiteral("none"));
        qInfo("the next install took %lld ms", time.elapsed());
        QVERIFY(HostMachine::stateOf("app").IsGone());
    }

    // In the middle of an archive, whose beginning is on the disk.
    void anArchiveThatWasCutOffIsFetchedAgain()
    {
        const HostMachine::Package app{ "app", "1.0", "", 300000 };
        m_machine->add(app);
        const QByteArray whole = m_machine->archiveOf(app);
        QTcpSocket* reader = nullptr;
        m_machine->server.answer(m_machine->pathOf(app),
                                 [&whole, &reader](QTcpSocket* socket, const QByteArray&) {
                                     const QByteArray http = ScriptedServer::http(whole);
                                     socket->write(http.left(http.size() / 2));
                                     reader = socket;
                                 });
        HostProcess host("Install app");
        QVERIFY(
            QTest::qWaitFor([&reader] { return reader && reader->bytesToWrite() == 0; }, 60000));
        QTest::qWait(200);
        host.end();
        m_machine->server.answer(m_machine->pathOf(app), ScriptedServer::http(whole));
        QCOMPARE(install("app"), QStringLiteral("none"));
        QCOMPARE(HostMachine::has("app"), QByteArray("install ok installed 1.0"));
    }

    void dpkgEndsItsWorkWhenTheHostIsKilled_data()
    {
        QTest::addColumn<int>("after"); // milliseconds of dpkg's work
        for (const int after : { 0, 40, 120, 300, 700 })
            QTest::addRow("after %d ms", after) << after;
    }
    void dpkgEndsItsWorkWhenTheHostIsKilled()
    {
        QFETCH(int, after);
        addMany();
        HostProcess host("Install all");
        QVERIFY(host.says("phase Applying"));
        QTest::qWait(after);
        host.end();
        QTRY_COMPARE_WITH_TIMEOUT(states().whole, int(many), 60000);
        checkThatNextJobsWork();
    }

    void theNextJobWaitsForWhatAKilledHostHasStarted()
    {
        addMany();
        HostProcess host("Install all");
        QVERIFY(host.says("phase Applying"));
        host.end();
        checkThatNextJobsWork();
    }

    void dpkgEndsItsWorkWhenTheHostExits_data()
    {
        QTest::addColumn<QByteArray>("how");
        QTest::newRow("with the job") << QByteArray("exit");
        QTest::newRow("after it has deleted the job") << QByteArray("delete");
    }
    void dpkgEndsItsWorkWhenTheHostExits()
    {
        QFETCH(QByteArray, how);
        addMany();
        HostProcess host((how + " Install all").constData());
        QVERIFY(host.endsByItself());
        QTRY_COMPARE_WITH_TIMEOUT(states().whole, int(many), 60000);
        checkThatNextJobsWork();
    }

    void aRemovalEndsWhenTheHostIsKilled()
    {
        addMany();
        QCOMPARE(install("all"), QStringLiteral("none"));
        QByteArray words = "Remove all";
        for (int i = 0; i < many; ++i)
            words += " part" + QByteArray::number(i);
        HostProcess host(words.constData());
        QVERIFY(host.says("phase Applying"));
        host.end();
        QTRY_COMPARE_WITH_TIMEOUT(states().gone, int(many), 60000);
        checkThatNextJobsWork();
    }

    // The front end is killed as well, at once with its host.
    void whatAKilledFrontEndLeavesIsRepaired()
    {
        addMany();
        HostProcess host("Install all");
        QVERIFY(host.says("phase Applying"));
        const QByteArray children = contents("/proc/" + QByteArray::number(host.number()) + "/task/"
                                             + QByteArray::number(host.number()) + "/children");
        const QList<QByteArray> numbers = children.simplified().split(' ');
        host.end();
        bool killed = false;
        for (const QByteArray& number : numbers) {
            if (contents("/proc/" + number + "/comm").startsWith("vos-apt-get"))
                killed = kill(number.toInt(), SIGKILL) == 0;
        }
        QVERIFY(killed);
        checkThatNextJobsWork();
    }

    void twoHostsTakeTurnsAndSayForWhomTheyWait()
    {
        addMany();
        HostProcess first("Install all");
        QVERIFY(first.says("phase Preparing"));
        HostProcess second("Install other");
        QVERIFY(second.says("waits"));
        const QByteArray wait = "waits Waiting for another installation to end: "
            + QByteArray("job-host (process ") + QByteArray::number(first.number()) + ')';
        QVERIFY2(second.lines().contains(wait), second.lines().constData());
        QVERIFY(first.says("result none"));
        QVERIFY(second.says("result none"));
        QCOMPARE(states().whole, int(many));
        QCOMPARE(HostMachine::has("other"), QByteArray("install ok installed 1.0"));
    }

    void threeHostsAtOnceAllSucceed()
    {
        for (const char* name : { "a1", "b1", "c1" })
            m_machine->add({ name });
        HostProcess a("Install a1"), b("Install b1"), c("Install c1");
        for (HostProcess* host : { &a, &b, &c })
            QVERIFY2((host->says("result none")), host->lines().constData());
        for (const char* name : { "a1", "b1", "c1" })
            QCOMPARE(HostMachine::has(name), QByteArray("install ok installed 1.0"));
    }

    void withoutANetworkNothingIsChangedAndTheNextJobWorks()
    {
        m_machine->add({ "app" });
        const quint16 port = m_machine->server.serverPort();
        m_machine->server.close();
        QCOMPARE(install("app"), QStringLiteral("download-failed"));
        QVERIFY(HostMachine::stateOf("app").IsGone());
        QVERIFY(m_machine->server.listen(QHostAddress::LocalHost, port));
        QCOMPARE(install("app"), QStringLiteral("none"));
    }

private:
    static QByteArray contents(const QByteArray& path)
    {
        QFile file(QString::fromLatin1(path));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
};

QTEST_GUILESS_MAIN(KilledHostTest)
#include "tst_killedhost.moc"
