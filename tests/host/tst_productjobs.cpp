// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Products of the store and updates of the system: the store is asked, and real packages are
// installed.

#include "db/crufile.h"
#include "db/dbshared.h"
#include "host/packagejobs.h"
#include "host/preparejob.h"
#include "tests/common/processes.h"
#include "tests/common/pulse.h"
#include "tests/host/hostmachine.h"
#include "tests/host/storemachine.h"

using namespace Pakmart;

class ProductJobsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<StoreMachine> m_store;

    static bool isRecorded(int serial)
    {
        const Agent::IndexLayer layer;
        CRUFile list;
        return list.OpenOrRepair() && list.FindServerSerialNumber(serial);
    }
    static QString outcomeOf(Job* job)
    {
        JobWatch watch(job);
        return watch.outcome();
    }
    QByteArray lastUpdate() const
    {
        return m_store->contents(m_store->root + QStringLiteral("/etc/pakmartd.conf"));
    }
    static Plan planOf(const Request& request, QString& outcome)
    {
        PrepareJob job(request);
        job.setAutoDelete(false);
        JobWatch watch(&job);
        outcome = watch.outcome();
        return job.plan();
    }
    static QByteArray info(const QByteArray& package, const QByteArray& serial = "1001")
    {
        return "<package><name>P</name><serialnumber>" + serial + "</serialnumber><packagename>"
            + package + "</packagename><binary><name>P</name><path>/usr/games/p</path></binary>"
            + "</package>";
    }
    // The processes of this one that record products.
    static QStringList recorders()
    {
        QStringList found;
        for (const QString& pid : ChildrenOf(QCoreApplication::applicationPid())) {
            QFile words(QStringLiteral("/proc/") + pid + QStringLiteral("/cmdline"));
            if (words.open(QIODevice::ReadOnly) && words.readAll().split('\0').value(1) == "record")
                found << pid;
        }
        return found;
    }
    // A store whose answers the test gives, with a repository of the demo store's.
    bool useScripted(const QByteArray& function, const QByteArray& body)
    {
        m_store->scripted.answer('/' + function, ScriptedServer::http(StoreMachine::reply(body)));
        m_store->scripted.answer("/CAPIGetSourcesList",
                                 ScriptedServer::http(StoreMachine::reply(
                                     "<list type=\"dep\"><entry timestamp=\"1\">deb "
                                     + m_store->scripted.url("/r") + " . .</entry></list>")));
        return m_store->useScripted({ function, "CAPIGetSourcesList" });
    }
    void serveIndexes(const QByteArray& http)
    {
        for (const char* suffix : { "", ".xz", ".bz2", ".lzma", ".gz", ".lz4", ".zst" })
            for (const char* architecture : { "all", "amd64", "i386" })
                m_store->scripted.answer(
                    QByteArray("/r/dists/././binary-") + architecture + "/Packages" + suffix, http);
    }

private slots:
    void init()
    {
        m_store = std::make_unique<StoreMachine>();
        QVERIFY(m_store->setUp());
        QDir(QDir::homePath() + QStringLiteral("/.kde")).removeRecursively();
        QFile::remove(m_store->root + QStringLiteral("/etc/pakmartd.conf"));
    }

    void aProductIsInstalledByItsNumberAndRecorded()
    {
        QVERIFY(m_store->serve());
        InstallJob* job = InstallJob::ofProducts({ 1001 });
        job->setAutoDelete(false);
        JobWatch watch(job);
        const Pulse pulse;
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        qInfo("longest gap %lld ms", pulse.longestGap());
        QVERIFY(pulse.longestGap() < Pulse::tooLong);
        QVERIFY(HostMachine::stateOf("starlander").IsInstalled());
        QVERIFY(HostMachine::stateOf("libpixel").IsInstalled());
        QVERIFY(job->isRecorded());
        QVERIFY(isRecorded(1001));
        const Plan plan = job->plan();
        QCOMPARE(plan.request.packages, QStringList{ QStringLiteral("starlander") });
        QCOMPARE(plan.products.size(), 1);
        QCOMPARE(plan.products.first().serial, 1001);
        QCOMPARE(plan.products.first().name, QStringLiteral("Star Lander"));
        QCOMPARE(plan.products.first().package, QStringLiteral("starlander"));
        QVERIFY(plan.products.first().path.contains(QLatin1String("starlander")));
        delete job;
        QCOMPARE(m_store->spoolFiles(), QStringList());
    }

    void aHostCanDeclineTheRecord()
    {
        QVERIFY(m_store->serve());
        InstallJob* job = InstallJob::ofProducts({ 1001 });
        job->setRecorded(false);
        QCOMPARE(outcomeOf(job), QStringLiteral("none"));
        QVERIFY(!isRecorded(1001));
        // Installed already, but not in the list: an earlier job did not get that far.
        QCOMPARE(outcomeOf(InstallJob::ofProducts({ 1001 })), QStringLiteral("none"));
        QVERIFY(isRecorded(1001));
    }

    void aProcessThatIsKilledAtTheRecordGetsASecondOne_data()
    {
        QTest::addColumn<int>("kills");
        QTest::addColumn<bool>("recorded");
        QTest::newRow("one") << 1 << true;
        QTest::newRow("both") << 2 << false;
    }
    void aProcessThatIsKilledAtTheRecordGetsASecondOne()
    {
        QFETCH(int, kills);
        QFETCH(bool, recorded);
        QVERIFY(m_store->serve());
        InstallJob* job = InstallJob::ofProducts({ 1001 });
        job->setAutoDelete(false);
        QSet<QString> killed;
        QTimer killer;
        connect(&killer, &QTimer::timeout, this, [&] {
            for (const QString& pid : recorders()) {
                if (killed.size() < kills && !killed.contains(pid)
                    && kill(pid.toInt(), SIGKILL) == 0)
                    killed.insert(pid);
            }
        });
        killer.start(0);
        QCOMPARE(outcomeOf(job), QStringLiteral("none"));
        QCOMPARE(killed.size(), kills);
        QVERIFY(HostMachine::stateOf("starlander").IsInstalled());
        QCOMPARE(job->isRecorded(), recorded);
        QCOMPARE(isRecorded(1001), recorded);
        delete job;
    }

    void severalProductsAreOnePlan()
    {
        QVERIFY(m_store->serve());
        QCOMPARE(outcomeOf(InstallJob::ofProducts({ 1003, 1001 })), QStringLiteral("none"));
        QVERIFY(HostMachine::stateOf("starlander").IsInstalled());
        QVERIFY(HostMachine::stateOf("dicecards").IsInstalled());
        QVERIFY(isRecorded(1001) && isRecorded(1003));
    }

    void aProductIsShownBeforeItIsInstalled()
    {
        QVERIFY(m_store->serve());
        Request request;
        request.products = { 1001 };
        QString outcome;
        const Plan plan = planOf(request, outcome);
        QCOMPARE(outcome, QStringLiteral("none"));
        QCOMPARE(plan.products.size(), 1);
        QCOMPARE(plan.row(QStringLiteral("starlander")).reason, PlanRow::AskedFor);
        QCOMPARE(plan.row(QStringLiteral("libpixel")).reason, PlanRow::NeededBy);
        QVERIFY(!HostMachine::stateOf("starlander").IsInstalled());
        QCOMPARE(outcomeOf(new CommitJob(plan)), QStringLiteral("none"));
        QVERIFY(HostMachine::stateOf("starlander").IsInstalled());
        QVERIFY(isRecorded(1001));
    }

    void whatFailsIsNotRecorded()
    {
        QVERIFY(m_store->serve());
        QCOMPARE(outcomeOf(InstallJob::ofProducts({ 9001 })), QStringLiteral("unresolvable"));
        QVERIFY(!isRecorded(9001));
        QCOMPARE(outcomeOf(InstallJob::ofProducts({ 9002 })), QStringLiteral("checksum-mismatch"));
        QVERIFY(!isRecorded(9002));
    }

    void aNumberThatTheStoreDoesNotHaveIsUnknown_data()
    {
        QTest::addColumn<QList<int>>("serials");
        QTest::newRow("unknown") << QList<int>{ 424242 };
        QTest::newRow("one of two") << QList<int>{ 1001, 424242 };
        QTest::newRow("zero") << QList<int>{ 0 };
        QTest::newRow("negative") << QList<int>{ -5 };
        QTest::newRow("none") << QList<int>{};
    }
    void aNumberThatTheStoreDoesNotHaveIsUnknown()
    {
        QFETCH(QList<int>, serials);
        QVERIFY(m_store->serve());
        QCOMPARE(outcomeOf(InstallJob::ofProducts(serials)), QStringLiteral("unknown-product"));
        QVERIFY(!HostMachine::stateOf("starlander").IsInstalled());
    }

    void anAnswerAboutAnotherProductIsRefused_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("name");
        const auto row = [](const char* title, const QByteArray& body, const char* name) {
            QTest::newRow(title) << body << QString::fromLatin1(name);
        };
        row("another", info("starlander", "1002"), "reply-not-understood");
        row("without a package", info(""), "reply-not-understood");
        row("empty", "", "reply-not-understood");
        row("option", info("--allow-remove-essential"), "invalid-name");
        row("two words", info("a b"), "invalid-name");
        row("path", info("./evil.deb"), "invalid-name");
    }
    void anAnswerAboutAnotherProductIsRefused()
    {
        QFETCH(QByteArray, body);
        QFETCH(QString, name);
        QVERIFY(useScripted("CAPIDownloadAppInfo", body));
        serveIndexes(ScriptedServer::http(""));
        QCOMPARE(outcomeOf(InstallJob::ofProducts({ 1001 })), name);
        QVERIFY(!isRecorded(1001));
    }

    void withoutCurrentSourcesNothingIsInstalled()
    {
        QVERIFY(useScripted("CAPIDownloadAppInfo", info("starlander")));
        serveIndexes(ScriptedServer::http("busy", "503 Service Unavailable"));
        QCOMPARE(outcomeOf(InstallJob::ofProducts({ 1001 })), QStringLiteral("refresh-failed"));
    }

    void withoutAServerNothingIsInstalled()
    {
        QVERIFY(m_store->use("http://127.0.0.1:9/getagentapi.php"));
        QCOMPARE(outcomeOf(InstallJob::ofProducts({ 1001 })), QStringLiteral("server-unreachable"));
        QCOMPARE(outcomeOf(new SystemUpdateJob), QStringLiteral("server-unreachable"));
        QString outcome;
        Request request;
        request.products = { 1001 };
        planOf(request, outcome);
        QCOMPARE(outcome, QStringLiteral("server-unreachable"));
        QCOMPARE(lastUpdate(), QByteArray());
    }

    void aJobIsEndedWhileTheStoreIsAsked_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<bool>("prepares");
        for (const bool prepares : { false, true })
            for (const char* how : { "cancel", "kill", "delete" })
                QTest::addRow("%s, %s", prepares ? "prepare" : "install", how)
                    << QString::fromLatin1(how) << prepares;
    }
    void aJobIsEndedWhileTheStoreIsAsked()
    {
        QFETCH(QString, how);
        QFETCH(bool, prepares);
        QVERIFY(m_store->useScripted({ "CAPIDownloadAppInfo" }));
        m_store->stall("/CAPIDownloadAppInfo");
        Request request;
        request.products = { 1001 };
        Job* job = prepares ? static_cast<Job*>(new PrepareJob(request))
                            : static_cast<Job*>(InstallJob::ofProducts({ 1001 }));
        JobWatch watch(job);
        job->start();
        QTRY_VERIFY_WITH_TIMEOUT(m_store->scripted.asked.size() == 2, 30000);
        QVERIFY(job->isCancellable());
        if (how == QLatin1String("cancel"))
            job->cancel();
        else if (how == QLatin1String("kill"))
            job->kill(KJob::EmitResult);
        else
            delete job;
        if (how == QLatin1String("delete")) {
            QTest::qWait(300);
            QCOMPARE(watch.results, 0);
        } else {
            QCOMPARE(watch.end(), QStringLiteral("cancelled"));
        }
        QTRY_COMPARE_WITH_TIMEOUT(m_store->spoolFiles(), QStringList(), 30000);
    }

    void productsAreRemovedByTheirNumbers()
    {
        QVERIFY(m_store->serve());
        QCOMPARE(outcomeOf(InstallJob::ofProducts({ 1001, 1003 })), QStringLiteral("none"));
        QCOMPARE(outcomeOf(RemoveJob::ofProducts({ 1001 })), QStringLiteral("none"));
        QVERIFY(HostMachine::stateOf("starlander").IsGone());
        QVERIFY(HostMachine::stateOf("libpixel").IsInstalled());
        QVERIFY(HostMachine::stateOf("dicecards").IsInstalled());
        QCOMPARE(outcomeOf(RemoveJob::ofProducts({ 1001 })), QStringLiteral("not-installed"));
        QCOMPARE(outcomeOf(RemoveJob::ofProducts({ 424242 })), QStringLiteral("unknown-product"));
        QCOMPARE(outcomeOf(RemoveJob::ofProducts({})), QStringLiteral("unknown-product"));
    }

    // The store is asked for the package only; without lists, apt-get does not know it.
    void aRemovalRefreshesNoSources()
    {
        QVERIFY(useScripted("CAPIDownloadAppInfo", info("starlander")));
        serveIndexes(ScriptedServer::http("busy", "503 Service Unavailable"));
        QCOMPARE(outcomeOf(RemoveJob::ofProducts({ 1001 })), QStringLiteral("unknown-package"));
        QVERIFY(!m_store->scripted.asked.contains("/CAPIGetSourcesList"));
    }

    void twoProductsAtOnceTakeTurns()
    {
        QVERIFY(m_store->serve());
        auto* first = InstallJob::ofProducts({ 1001 });
        auto* second = InstallJob::ofProducts({ 1003 });
        JobWatch a(first), b(second);
        first->start();
        second->start();
        QCOMPARE(a.end(), QStringLiteral("none"));
        QCOMPARE(b.end(), QStringLiteral("none"));
        QVERIFY(isRecorded(1001) && isRecorded(1003));
    }

    void theSystemIsUpdatedAndTheDateNoted()
    {
        QVERIFY(m_store->serve());
        auto* job = new SystemUpdateJob;
        job->setAutoDelete(false);
        JobWatch watch(job);
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        QVERIFY(HostMachine::stateOf("vantrelagent").IsInstalled());
        QVERIFY(job->isAgentUpdated());
        QVERIFY(lastUpdate().contains("DateOfLastUpdate"));
        delete job;
        auto* again = new SystemUpdateJob;
        again->setAutoDelete(false);
        QCOMPARE(outcomeOf(again), QStringLiteral("none"));
        QVERIFY(!again->isAgentUpdated());
        delete again;
    }

    void anUpdateIsShownFirst()
    {
        QVERIFY(m_store->serve());
        Request request;
        request.kind = Request::SystemUpdate;
        QString outcome;
        const Plan plan = planOf(request, outcome);
        QCOMPARE(outcome, QStringLiteral("none"));
        QCOMPARE(plan.row(QStringLiteral("vantrelagent")).action, PlanRow::Installed);
        QCOMPARE(lastUpdate(), QByteArray());
        QCOMPARE(outcomeOf(new CommitJob(plan)), QStringLiteral("none"));
        QVERIFY(lastUpdate().contains("DateOfLastUpdate"));
    }

    void aStoreWithoutUpdatesIsASuccess()
    {
        QVERIFY(useScripted("CAPIGetOSVer", ""));
        serveIndexes(ScriptedServer::http("Package: x\nVersion: 1\nArchitecture: all\n"
                                          "Filename: x.deb\nSize: 1\nSHA256: 00\n\n"));
        QCOMPARE(outcomeOf(new SystemUpdateJob), QStringLiteral("none"));
        QVERIFY(lastUpdate().contains("DateOfLastUpdate"));
    }

    void anUpdateThatCouldNotKnowFails()
    {
        QVERIFY(useScripted("CAPIGetOSVer", ""));
        serveIndexes(ScriptedServer::http("busy", "503 Service Unavailable"));
        QCOMPARE(outcomeOf(new SystemUpdateJob), QStringLiteral("refresh-failed"));
        QCOMPARE(lastUpdate(), QByteArray());
    }

    void anUpdateOfAPackageThatNoSourceHasFails()
    {
        QVERIFY(useScripted("CAPIGetOSVer", "<package><name>nowhere</name></package>"));
        serveIndexes(ScriptedServer::http("Package: x\nVersion: 1\nArchitecture: all\n"
                                          "Filename: x.deb\nSize: 1\nSHA256: 00\n\n"));
        QCOMPARE(outcomeOf(new SystemUpdateJob), QStringLiteral("unknown-package"));
        QCOMPARE(lastUpdate(), QByteArray());
    }
};

QTEST_GUILESS_MAIN(ProductJobsTest)
#include "tst_productjobs.moc"
