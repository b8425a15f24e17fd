// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Repairs of what interruptions and failures have left, and what protects a change of the
// system.

#include "host/packagejobs.h"
#include "host/preparejob.h"
#include "tests/common/processes.h"
#include "tests/common/statusfile.h"
#include "tests/host/hostmachine.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusUnixFileDescriptor>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

using namespace Pakmart;

// logind, as far as jobs use it. Each inhibition is a pipe, whose other end shows its end.
class FakeLogind : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

public:
    QStringList calls;
    bool refuses = false;

    // How many inhibitions are held.
    int held() const
    {
        int count = 0;
        for (const int fd : m_ends) {
            pollfd end = { fd, POLLIN, 0 };
            count += poll(&end, 1, 0) == 0 ? 1 : 0;
        }
        return count;
    }

public slots:
    QDBusUnixFileDescriptor Inhibit(const QString& what, const QString& who, const QString& why,
                                    const QString& mode)
    {
        Q_UNUSED(who)
        calls << what + QLatin1Char(' ') + mode + QLatin1Char(' ') + why;
        if (refuses) {
            sendErrorReply(QDBusError::AccessDenied, QStringLiteral("no"));
            return QDBusUnixFileDescriptor();
        }
        int ends[2] = { -1, -1 };
        if (pipe2(ends, O_CLOEXEC) != 0)
            qFatal("no pipe");
        m_ends << ends[0];
        const QDBusUnixFileDescriptor inhibition(ends[1]); // a copy
        close(ends[1]);
        return inhibition;
    }

private:
    QList<int> m_ends;
};

class RepairJobTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<HostMachine> m_machine;
    FakeLogind m_logind;

    static QString outcomeOf(Job* job)
    {
        JobWatch watch(job);
        return watch.outcome();
    }
    static QString install(const char* name)
    {
        return outcomeOf(new InstallJob({ QString::fromLatin1(name) }));
    }
    static QByteArray status()
    {
        QFile file(StatusFile());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    // Makes an installed package one in another state.
    static void putIntoState(const char* package, const QByteArray& state)
    {
        QByteArray text = status();
        const int at = int(text.indexOf(QByteArray("Package: ") + package + '\n'));
        const int from = int(text.indexOf("Status: ", at));
        const int end = int(text.indexOf('\n', from));
        QVERIFY(at >= 0 && from > at && end > from);
        text.replace(from, end - from, "Status: " + state);
        WriteStatusFile(text);
    }
    static Plan planOfRepair(QString& outcome)
    {
        Request request;
        request.kind = Request::Repair;
        PrepareJob job(request);
        job.setAutoDelete(false);
        JobWatch watch(&job);
        outcome = watch.outcome();
        return job.plan();
    }

private slots:
    void initTestCase()
    {
        // The workers take the test's session bus for the system's.
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS"));
        QDBusConnection bus = QDBusConnection::sessionBus();
        QVERIFY(bus.registerService(QStringLiteral("org.freedesktop.login1")));
        QVERIFY(bus.registerObject(QStringLiteral("/org/freedesktop/login1"), &m_logind,
                                   QDBusConnection::ExportAllSlots));
    }
    void init()
    {
        // A process of the test before may still be about to ask for an inhibition.
        QTRY_VERIFY_WITH_TIMEOUT(ChildrenOf(QCoreApplication::applicationPid()).isEmpty(), 30000);
        m_machine = std::make_unique<HostMachine>();
        QVERIFY(m_machine->setUp());
        QCoreApplication::processEvents();
        m_logind.calls.clear();
        m_logind.refuses = false;
    }

    void whatIsWholeNeedsNoRepair()
    {
        m_machine->add({ "app" });
        QCOMPARE(install("app"), QStringLiteral("none"));
        const QByteArray before = status();
        QString outcome;
        QVERIFY(planOfRepair(outcome).isEmpty());
        QCOMPARE(outcome, QStringLiteral("none"));
        QCOMPARE(outcomeOf(new RepairJob), QStringLiteral("none"));
        QCOMPARE(status(), before);
    }

    void aBrokenPackageIsShownAndMended_data()
    {
        QTest::addColumn<QByteArray>("state");
        QTest::addColumn<int>("action");
        QTest::newRow("half-installed")
            << QByteArray("install reinstreq half-installed") << int(PlanRow::Reinstalled);
        QTest::newRow("wants a reinstall")
            << QByteArray("install reinstreq installed") << int(PlanRow::Reinstalled);
        QTest::newRow("unpacked") << QByteArray("install ok unpacked") << int(PlanRow::Configured);
        QTest::newRow("half-configured")
            << QByteArray("install ok half-configured") << int(PlanRow::Configured);
    }
    void aBrokenPackageIsShownAndMended()
    {
        QFETCH(QByteArray, state);
        QFETCH(int, action);
        m_machine->add({ "app" });
        m_machine->add({ "other" });
        QCOMPARE(install("app"), QStringLiteral("none"));
        QCOMPARE(install("other"), QStringLiteral("none"));
        putIntoState("app", state);
        QString outcome;
        const Plan plan = planOfRepair(outcome);
        QCOMPARE(outcome, QStringLiteral("none"));
        QCOMPARE(plan.rows.size(), 1);
        QCOMPARE(plan.rows.first().package, QStringLiteral("app"));
        QCOMPARE(int(plan.rows.first().action), action);
        QCOMPARE(outcomeOf(new CommitJob(plan)), QStringLiteral("none"));
        QCOMPARE(HostMachine::has("app"), QByteArray("install ok installed 1.0"));
        QCOMPARE(HostMachine::has("other"), QByteArray("install ok installed 1.0"));
        putIntoState("app", state);
        QCOMPARE(outcomeOf(new RepairJob), QStringLiteral("none"));
        QCOMPARE(HostMachine::has("app"), QByteArray("install ok installed 1.0"));
    }

    void severalKindsAtOnceAreMended()
    {
        for (const char* name : { "a1", "b1", "c1" }) {
            m_machine->add({ name });
            QCOMPARE(install(name), QStringLiteral("none"));
        }
        putIntoState("a1", "install reinstreq half-installed");
        putIntoState("b1", "install ok unpacked");
        QCOMPARE(outcomeOf(new RepairJob), QStringLiteral("none"));
        for (const char* name : { "a1", "b1", "c1" })
            QCOMPARE(HostMachine::has(name), QByteArray("install ok installed 1.0"));
    }

    void whatAPackageLacksIsInstalled()
    {
        m_machine->add({ "lib" });
        m_machine->add({ "app", "1.0", "lib" });
        QCOMPARE(install("app"), QStringLiteral("none"));
        QString text = QString::fromUtf8(status());
        const QString lib
            = text.split(QStringLiteral("\n\n")).filter(QStringLiteral("Package: lib\n")).value(0);
        WriteStatusFile(text.remove(lib + QStringLiteral("\n\n")).toUtf8());
        QVERIFY(HostMachine::stateOf("lib").IsGone());
        QString outcome;
        const Plan plan = planOfRepair(outcome);
        QCOMPARE(outcome, QStringLiteral("none"));
        QCOMPARE(plan.row(QStringLiteral("lib")).action, PlanRow::Installed);
        QCOMPARE(outcomeOf(new CommitJob(plan)), QStringLiteral("none"));
        QCOMPARE(HostMachine::has("lib"), QByteArray("install ok installed 1.0"));
    }

    void whatAnInterruptedDpkgHasLeftIsTakenOver()
    {
        m_machine->add({ "app" });
        QCOMPARE(install("app"), QStringLiteral("none"));
        // What dpkg writes before it puts the status in place.
        const QByteArray text = status();
        QFile journal(m_machine->root + QStringLiteral("/var/lib/dpkg/updates/0000"));
        QVERIFY(journal.open(QIODevice::WriteOnly));
        journal.write(text.mid(text.indexOf("Package: app"))
                          .replace("install ok installed", "install ok unpacked"));
        journal.close();
        QCOMPARE(outcomeOf(new RepairJob), QStringLiteral("none"));
        QCOMPARE(HostMachine::has("app"), QByteArray("install ok installed 1.0"));
        QVERIFY(!journal.exists());
    }

    void aPackageThatNoSourceHasCannotBeMended()
    {
        m_machine->add({ "app" });
        QCOMPARE(install("app"), QStringLiteral("none"));
        WriteStatusFile(status().replace("Package: app\n", "Package: gone\n"));
        putIntoState("gone", "install reinstreq half-installed");
        JobWatch watch(new RepairJob);
        QCOMPARE(watch.outcome(), QStringLiteral("unknown-package"));
        QVERIFY2(watch.text.contains(QLatin1String("gone")), qPrintable(watch.text));
    }

    void aScriptThatStillFailsIsNamed()
    {
        m_machine->add({ "bad", "1.0", "", 100, "", "", "postinst" });
        QCOMPARE(install("bad"), QStringLiteral("script-failed"));
        JobWatch watch(new RepairJob);
        QCOMPARE(watch.outcome(), QStringLiteral("script-failed"));
        QVERIFY2(watch.text.contains(QLatin1String("bad")), qPrintable(watch.text));
        QVERIFY(!HostMachine::stateOf("bad").IsInstalled());
    }

    void aPlanOfARepairIsCarriedOutOnlyAsShown()
    {
        m_machine->add({ "app" });
        QCOMPARE(install("app"), QStringLiteral("none"));
        putIntoState("app", "install ok unpacked");
        QString outcome;
        const Plan plan = planOfRepair(outcome);
        putIntoState("app", "install reinstreq half-installed");
        QCOMPARE(outcomeOf(new CommitJob(plan)), QStringLiteral("plan-changed"));
        QVERIFY(HostMachine::stateOf("app").IsHalfWay());
    }

    void aChangeInhibitsShutdownUntilItsEnd()
    {
        m_machine->add({ "app", "1.0", "", 300000 });
        auto* job = new InstallJob({ QStringLiteral("app") });
        JobWatch watch(job);
        // The download begins when the inhibition is held.
        m_machine->server.answer(
            m_machine->pathOf({ "app" }),
            [this](QTcpSocket* socket, const QByteArray&) { m_socket = socket; });
        job->start();
        QTRY_COMPARE_WITH_TIMEOUT(m_logind.held(), 1, 30000);
        QCOMPARE(m_logind.calls,
                 QStringList{ QStringLiteral("shutdown block Packages are being changed") });
        job->cancel();
        QCOMPARE(watch.end(), QStringLiteral("cancelled"));
        QTRY_COMPARE_WITH_TIMEOUT(m_logind.held(), 0, 30000);
    }

    void whatChangesNothingInhibitsNothing()
    {
        m_machine->add({ "app" });
        Request request;
        request.packages = QStringList{ QStringLiteral("app") };
        QCOMPARE(outcomeOf(new PrepareJob(request)), QStringLiteral("none"));
        QTest::qWait(300);
        QCOMPARE(m_logind.calls, QStringList());
    }

    void aRefusedInhibitionDoesNotMatter()
    {
        m_machine->add({ "app" });
        m_logind.refuses = true;
        QCOMPARE(install("app"), QStringLiteral("none"));
        QCOMPARE(HostMachine::has("app"), QByteArray("install ok installed 1.0"));
    }

    // Every KJob keeps the application from quitting as long as it exists. Here the job is
    // deleted while dpkg works.
    void aChangeKeepsTheApplicationFromQuitting()
    {
        m_machine->add({ "app" });
        auto* job = new InstallJob({ QStringLiteral("app") });
        bool applies = false;
        connect(job, &Job::phaseChanged, this, [job, &applies](Job::Phase phase) {
            applies = phase == Job::Applying;
            if (applies)
                job->deleteLater();
        });
        QTimer::singleShot(0, job, [job] { job->start(); });
        QTimer::singleShot(60000, QCoreApplication::instance(), [] { QCoreApplication::exit(1); });
        QCOMPARE(QCoreApplication::exec(), 0);
        QVERIFY(applies);
        QCOMPARE(HostMachine::has("app"), QByteArray("install ok installed 1.0"));
    }

    void withoutTheBusAChangeWorks()
    {
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent");
        m_machine->add({ "app" });
        QCOMPARE(install("app"), QStringLiteral("none"));
        QCOMPARE(m_logind.calls, QStringList());
    }

private:
    QTcpSocket* m_socket = nullptr;
};

QTEST_GUILESS_MAIN(RepairJobTest)
#include "tst_repairjob.moc"
