// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The jobs that ask the store server, with the real server and with one whose answers are
// wrong, late or missing.

#include "db/catalogscan.h"
#include "host/storejobs.h"
#include "install/privatetree.h"
#include "tests/common/plainuser.h"
#include "tests/common/pulse.h"
#include "tests/host/hostmachine.h"
#include "tests/host/storemachine.h"

#include <QPointer>
#include <sys/file.h>
#include <unistd.h>

using namespace Pakmart;

Q_DECLARE_METATYPE(std::function<Job*()>)

class StoreJobsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<StoreMachine> m_store;

    template <typename Kind> static Job* make() { return new Kind; }
    // A row for each of the jobs: how to make it, the function that it asks.
    static void addJobs()
    {
        QTest::addColumn<std::function<Job*()>>("make");
        QTest::addColumn<QByteArray>("function");
        const auto row = [](const char* name, Job* (*function)(), const char* asks) {
            QTest::newRow(name) << std::function<Job*()>(function) << QByteArray(asks);
        };
        row("catalog", make<RefreshCatalogJob>, "CAPIUpdateCatalog");
        row("sources", make<RefreshSourcesJob>, "CAPIGetSourcesList");
        row("aisles", make<AislesJob>, "CAPIGetAisles");
        row("sync", make<SyncJob>, "CAPISyncMyMachine");
        row("register", make<RegisterJob>, "CAPISetOEMInfo");
    }
    static Job* made()
    {
        QFETCH(std::function<Job*()>, make);
        return make();
    }
    static QByteArray asked()
    {
        QFETCH(QByteArray, function);
        return function;
    }
    bool useScripted() { return m_store->useScripted({ asked() }); }
    void answer(const QByteArray& http) { m_store->scripted.answer('/' + asked(), http); }

    // The children of this process; a worker that was let go ends by itself.
    static int children()
    {
        QFile list(QStringLiteral("/proc/self/task/%1/children").arg(getpid()));
        return list.open(QIODevice::ReadOnly) ? int(list.readAll().split(' ').size()) - 1 : -1;
    }
    static QByteArray category(int products, int from = 0, const char* version = "1.0")
    {
        QByteArray text = "<category name=\"Games" + QByteArray::number(from)
            + "\" home_page=\"\" serialnumber=\"1\">";
        for (int i = from + 1; i <= from + products; ++i) {
            const QByteArray number = QByteArray::number(i);
            text += "<product name=\"Product%20" + number + "\"><packagename>package" + number
                + "</packagename><serialnumber>" + number + "</serialnumber><version>" + version
                + "</version></product>";
        }
        return text + "</category>";
    }
    static QByteArray catalog(int products, const char* version = "1.0")
    {
        return "<catalog>" + category(products, 0, version) + "</catalog>";
    }
    static int countProducts()
    {
        Agent::CatalogScan scan;
        int count = 0;
        while (scan.Next())
            ++count;
        return count;
    }

private slots:
    void init()
    {
        m_store = std::make_unique<StoreMachine>();
        QVERIFY(m_store->setUp());
    }
    void cleanup()
    {
        m_store.reset();
        QTRY_COMPARE_WITH_TIMEOUT(children(), 0, 60000);
    }

    void theCatalogIsFetchedAndComparedWithThePreviousOne()
    {
        QVERIFY(m_store->serve());
        auto* first = new RefreshCatalogJob;
        first->setAutoDelete(false);
        JobWatch watch(first);
        const Pulse pulse;
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        qInfo("longest gap %lld ms", pulse.longestGap());
        QVERIFY(pulse.longestGap() < Pulse::tooLong);
        QCOMPARE(watch.phases.first(), QStringLiteral("Waiting"));
        QCOMPARE(watch.phases.value(1), QStringLiteral("Downloading"));
        QCOMPARE(watch.phases.last(), QStringLiteral("Ended"));
        QVERIFY(first->isFirst());
        QVERIFY(!first->isUnchanged());
        QCOMPARE(first->products(), countProducts());
        QVERIFY(first->products() > 5);
        QVERIFY(first->categories() > 1);
        QCOMPARE(first->addedCount(), first->products());
        QCOMPARE(first->added().first().serial, 1001);
        QCOMPARE(first->added().first().name, QStringLiteral("Star Lander"));
        QCOMPARE(first->property("products").toInt(), first->products());
        const qint64 sent = first->transferred();
        delete first;

        auto* second = new RefreshCatalogJob;
        second->setAutoDelete(false);
        JobWatch again(second);
        QCOMPARE(again.outcome(), QStringLiteral("none"));
        QVERIFY(second->isUnchanged());
        QVERIFY(second->transferred() > 0 && second->transferred() < sent);
        QVERIFY(!second->isTransferredUnpacked());
        QVERIFY(!second->isFirst());
        delete second;
        QCOMPARE(m_store->spoolFiles(), QStringList());
    }

    void theChangesOfACatalogAreNamed()
    {
        QVERIFY(m_store->useScripted({ "CAPIUpdateCatalog" }));
        const auto refresh = [this](const QByteArray& body) {
            m_store->scripted.answer("/CAPIUpdateCatalog",
                                     ScriptedServer::http(StoreMachine::reply(body)));
            auto job = std::make_unique<RefreshCatalogJob>();
            job->setAutoDelete(false);
            JobWatch watch(job.get());
            return watch.outcome() == QLatin1String("none") ? std::move(job) : nullptr;
        };
        QVERIFY(refresh(catalog(3)));
        const auto more = refresh(catalog(5));
        QVERIFY(more);
        QCOMPARE(more->addedCount(), 2);
        QCOMPARE(more->added().value(1).serial, 5);
        QCOMPARE(more->changedCount(), 0);
        QCOMPARE(more->goneCount(), 0);
        const auto less = refresh(catalog(4, "2.0"));
        QVERIFY(less);
        QCOMPARE(less->changedCount(), 4);
        QCOMPARE(less->changed().value(0).name, QStringLiteral("Product 1"));
        QCOMPARE(less->goneCount(), 1);
        QCOMPARE(less->gone().value(0).serial, 5);
        // The lists have an end, the counts have none.
        const auto many = refresh(catalog(1500));
        QVERIFY(many);
        QCOMPARE(many->addedCount(), 1496);
        QCOMPARE(many->added().size(), 1000);
    }

    void aLargeCatalogShowsItsBytesAndNeverBlocks()
    {
        QVERIFY(m_store->useScripted({ "CAPIUpdateCatalog" }));
        const QByteArray body = StoreMachine::reply(catalog(20000));
        m_store->scripted.answer("/CAPIUpdateCatalog", ScriptedServer::http(body));
        auto* job = new RefreshCatalogJob;
        JobWatch watch(job);
        qulonglong bytes = 0, total = 0;
        connect(job, &KJob::processedAmountChanged, this,
                [&bytes](KJob*, KJob::Unit, qulonglong amount) { bytes = amount; });
        connect(job, &KJob::totalAmountChanged, this,
                [&total](KJob*, KJob::Unit, qulonglong amount) { total = amount; });
        const QSignalSpy speed(job, &KJob::speed);
        const Pulse pulse;
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        qInfo("longest gap %lld ms", pulse.longestGap());
        QVERIFY(pulse.longestGap() < Pulse::tooLong);
        QCOMPARE(bytes, qulonglong(body.size()));
        QCOMPARE(total, qulonglong(body.size()));
        QVERIFY(speed.size() > 0);
        QVERIFY(watch.phases.contains(QStringLiteral("Storing")));
        QVERIFY(watch.grows);
        QCOMPARE(watch.percent(), 100);
        QCOMPARE(countProducts(), 20000);
    }

    void theSourcesAreRefreshed()
    {
        QVERIFY(m_store->serve());
        auto* job = new RefreshSourcesJob;
        job->setAutoDelete(false);
        JobWatch watch(job);
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        QVERIFY(job->isChanged());
        QVERIFY(job->sources() > 0);
        delete job;
        const QDir lists(StoreMachine::tree() + QStringLiteral("/deps/lists"));
        QVERIFY(!lists.entryList({ QStringLiteral("*Packages") }, QDir::Files).isEmpty());
        auto* again = new RefreshSourcesJob;
        again->setAutoDelete(false);
        JobWatch second(again);
        QCOMPARE(second.outcome(), QStringLiteral("none"));
        QVERIFY(!again->isChanged());
        delete again;
    }

    void anIndexThatIsNotServedIsAFailure_data()
    {
        QTest::addColumn<bool>("known"); // the sources were refreshed before
        QTest::newRow("at first") << false;
        QTest::newRow("later") << true;
    }
    void anIndexThatIsNotServedIsAFailure()
    {
        QFETCH(bool, known);
        QVERIFY(m_store->useScripted({ "CAPIGetSourcesList" }));
        m_store->scripted.answer("/CAPIGetSourcesList",
                                 ScriptedServer::http(StoreMachine::reply(
                                     "<list type=\"dep\"><entry timestamp=\"1\">deb "
                                     + m_store->scripted.url("/r") + " . .</entry></list>")));
        if (known) {
            serveIndexes(ScriptedServer::http("Package: x\nVersion: 1\nArchitecture: all\n"
                                              "Filename: x.deb\nSize: 1\nSHA256: 00\n\n"));
            JobWatch before(new RefreshSourcesJob);
            QCOMPARE(before.outcome(), QStringLiteral("none"));
        }
        const QByteArray busy = ScriptedServer::http("busy", "503 Service Unavailable");
        for (const char* suffix : { "", ".xz", ".bz2", ".lzma", ".gz", ".lz4", ".zst" })
            serveIndexes(busy, suffix);
        JobWatch watch(new RefreshSourcesJob);
        QCOMPARE(watch.outcome(), QStringLiteral("refresh-failed"));
        QVERIFY2(watch.details.contains(QLatin1String("503")),
                 qPrintable(watch.details.right(1500)));
    }

    void aStoreWithoutSourcesIsAFailure()
    {
        QVERIFY(m_store->useScripted({ "CAPIGetSourcesList" }));
        m_store->scripted.answer(
            "/CAPIGetSourcesList",
            ScriptedServer::http(StoreMachine::reply("<list type=\"dep\"></list>")));
        JobWatch watch(new RefreshSourcesJob);
        QCOMPARE(watch.outcome(), QStringLiteral("refresh-failed"));
        QVERIFY2(watch.details.contains(QLatin1String("no package sources")),
                 qPrintable(watch.details.right(1500)));
    }

    void theAislesAreTypedAndSaved()
    {
        QVERIFY(m_store->serve());
        auto* job = new AislesJob;
        job->setAutoDelete(false);
        JobWatch watch(job);
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        QCOMPARE(job->aisles().size(), 3);
        QCOMPARE(job->aisles().first().name, QStringLiteral("Play"));
        QCOMPARE(job->aisles().first().description, QStringLiteral("For long evenings."));
        QCOMPARE(job->aisles().first().categories.size(), 2);
        QCOMPARE(job->aisles().first().categories.first().name, QStringLiteral("Games"));
        QVERIFY(job->aisles().first().categories.first().serial > 0);
        QCOMPARE(job->aisles().last().name, QStringLiteral("School & Home"));
        delete job;
        QVERIFY(QFile::exists(m_store->data(".aisles")));
    }

    void theProfileHasWhatIsInstalledHere()
    {
        QVERIFY(m_store->serve());
        QFile status(m_store->root + QStringLiteral("/var/lib/dpkg/status"));
        QVERIFY(status.open(QIODevice::WriteOnly));
        status.write("Package: starlander\nStatus: install ok installed\nVersion: 1.0\n"
                     "Architecture: all\n\n");
        status.close();
        auto* job = new SyncJob;
        job->setAutoDelete(false);
        JobWatch watch(job);
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        QCOMPARE(job->applications().size(), 1);
        QCOMPARE(job->applications().first().serial, 1001);
        QCOMPARE(job->applications().first().name, QStringLiteral("Star Lander"));
        QCOMPARE(job->applications().first().package, QStringLiteral("starlander"));
        delete job;
        QVERIFY(QFile::exists(m_store->data(".profile")));
    }

    // On an installed system the data folder belongs to a user of its own.
    void aUserToWhomTheFolderDoesNotBelongHasTheListsAllTheSame()
    {
        QVERIFY(m_store->serve());
        QFile status(m_store->root + QStringLiteral("/var/lib/dpkg/status"));
        QVERIFY(status.open(QIODevice::WriteOnly));
        status.write("Package: dicecards\nStatus: install ok installed\nVersion: 1.0\n"
                     "Architecture: all\n\n");
        status.close();
        const QByteArray data = m_store->data("").toLocal8Bit();
        QVERIFY(chmod(data.constData(), 0555) == 0);
        auto* aisles = new AislesJob;
        auto* sync = new SyncJob;
        aisles->setAutoDelete(false);
        sync->setAutoDelete(false);
        {
            const PlainUser user;
            QVERIFY(access(data.constData(), W_OK) != 0);
            JobWatch first(aisles), second(sync);
            QCOMPARE(first.outcome(), QStringLiteral("none"));
            QCOMPARE(second.outcome(), QStringLiteral("none"));
        }
        QVERIFY(chmod(data.constData(), 0755) == 0);
        QCOMPARE(aisles->aisles().size(), 3);
        QCOMPARE(sync->applications().size(), 1);
        QCOMPARE(sync->applications().first().package, QStringLiteral("dicecards"));
        delete aisles;
        delete sync;
        QVERIFY(!QFile::exists(m_store->data(".aisles")));
        QVERIFY(!QFile::exists(m_store->data(".profile")));
    }

    void theMachineIsRegisteredForItsBuilder()
    {
        QVERIFY(m_store->useScripted({ "CAPISetOEMInfo" }));
        m_store->scripted.answer("/CAPISetOEMInfo", ScriptedServer::http(StoreMachine::reply("")));
        QVERIFY(QDir().mkpath(m_store->root + QStringLiteral("/etc/vantrel-welcome")));
        QFile builder(m_store->root + QStringLiteral("/etc/vantrel-welcome/builder.txt"));
        QVERIFY(builder.open(QIODevice::WriteOnly));
        builder.write("id=0042\n");
        builder.close();
        auto* job = new RegisterJob;
        job->setAutoDelete(false);
        JobWatch watch(job);
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        QCOMPARE(job->builder(), QStringLiteral("0042"));
        delete job;
        QVERIFY(m_store->scripted.asked.contains("/CAPISetOEMInfo?id=0042"));
        builder.remove();
    }

    void nothingIsEmittedInsideStart_data() { addJobs(); }
    void nothingIsEmittedInsideStart()
    {
        QVERIFY(m_store->use("http://127.0.0.1:9/getagentapi.php"));
        Job* job = made();
        JobWatch watch(job);
        job->start();
        QCOMPARE(watch.results, 0);
        QCOMPARE(watch.phases, QStringList());
        watch.end();
    }

    void withoutAServerTheStoreCannotBeReached_data() { addJobs(); }
    void withoutAServerTheStoreCannotBeReached()
    {
        QVERIFY(m_store->use("http://127.0.0.1:9/getagentapi.php"));
        JobWatch watch(made());
        QCOMPARE(watch.outcome(), QStringLiteral("server-unreachable"));
        QCOMPARE(watch.text, Error::sentence(Error::ServerUnreachable));
        QVERIFY(!watch.details.isEmpty());
    }

    // The older classes ask for the directory once in the life of a process.
    void aServerThatComesBackIsFoundAgain()
    {
        QVERIFY(m_store->use("http://127.0.0.1:9/getagentapi.php"));
        JobWatch before(new AislesJob);
        QCOMPARE(before.outcome(), QStringLiteral("server-unreachable"));
        QVERIFY(m_store->serve());
        JobWatch after(new AislesJob);
        QCOMPARE(after.outcome(), QStringLiteral("none"));
    }

    void anErrorPageIsAFailureOfTheServer_data() { addJobs(); }
    void anErrorPageIsAFailureOfTheServer()
    {
        QVERIFY(useScripted());
        answer(ScriptedServer::http("<html>busy</html>", "503 Service Unavailable"));
        JobWatch watch(made());
        QCOMPARE(watch.outcome(), QStringLiteral("server-failed"));
        QVERIFY2(watch.details.contains(QLatin1String("503")),
                 qPrintable(watch.details.right(1500)));
    }

    void theServersTextIsInTheDetailsOfARefusal_data() { addJobs(); }
    void theServersTextIsInTheDetailsOfARefusal()
    {
        QVERIFY(useScripted());
        answer(ScriptedServer::http(
            StoreMachine::reply("", "resultcode=\"FAILED\" msg=\"This machine is unknown.\"")));
        JobWatch watch(made());
        QCOMPARE(watch.outcome(), QStringLiteral("refused-by-server"));
        QCOMPARE(watch.text, Error::sentence(Error::RefusedByServer));
        QVERIFY2(watch.details.contains(QLatin1String("This machine is unknown.")),
                 qPrintable(watch.details.right(1500)));
    }

    // Such characters make a text look like another one, where people read it.
    void textsOfTheStoreAreFreeOfFormatCharacters()
    {
        QVERIFY(m_store->useScripted({ "CAPIGetAisles", "CAPISyncMyMachine" }));
        const QByteArray turned = "A\xE2\x80\xAE"
                                  "B";
        m_store->scripted.answer("/CAPIGetAisles",
                                 ScriptedServer::http(StoreMachine::reply(
                                     "<aisles><aisle name=\"" + turned + "\"/></aisles>")));
        auto* job = new AislesJob;
        job->setAutoDelete(false);
        JobWatch watch(job);
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        QCOMPARE(job->aisles().value(0).name, QStringLiteral("AB"));
        delete job;
        m_store->scripted.answer("/CAPISyncMyMachine",
                                 ScriptedServer::http(StoreMachine::reply(
                                     "", "resultcode=\"FAILED\" msg=\"" + turned + "&#10;C\"")));
        JobWatch refused(new SyncJob);
        QCOMPARE(refused.outcome(), QStringLiteral("refused-by-server"));
        QVERIFY2(refused.details.startsWith(QLatin1String("AB\nC")), qPrintable(refused.details));
    }

    void aRefreshWaitsForOtherWorkOnThePackages_data()
    {
        QTest::addColumn<bool>("cancels");
        QTest::newRow("to its end") << false;
        QTest::newRow("cancelled") << true;
    }
    void aRefreshWaitsForOtherWorkOnThePackages()
    {
        QFETCH(bool, cancels);
        QVERIFY(m_store->serve());
        QVERIFY(QDir().mkpath(StoreMachine::tree()));
        auto tree = std::make_unique<Agent::TreeLock>(StoreMachine::tree().toStdString());
        QVERIFY(tree->TryTake());
        auto* job = new RefreshSourcesJob;
        JobWatch watch(job);
        job->start();
        QTRY_VERIFY_WITH_TIMEOUT(!job->waitingFor().isEmpty(), 30000);
        QCOMPARE(job->phase(), Job::Waiting);
        if (cancels)
            job->cancel();
        else
            tree.reset();
        QCOMPARE(watch.end(), cancels ? QStringLiteral("cancelled") : QStringLiteral("none"));
    }

    void whatIsNoReplyIsNotUnderstood_data() { addJobs(); }
    void whatIsNoReplyIsNotUnderstood()
    {
        QVERIFY(useScripted());
        answer(ScriptedServer::http("<other/>"));
        JobWatch watch(made());
        QCOMPARE(watch.outcome(), QStringLiteral("reply-not-understood"));
    }

    void anUnsignedReplyIsNotTrustedWhereItHasToBeSigned_data() { addJobs(); }
    void anUnsignedReplyIsNotTrustedWhereItHasToBeSigned()
    {
        QVERIFY(useScripted());
        answer(ScriptedServer::http(StoreMachine::reply("<catalog/>")));
        const QString settings = m_store->root + QStringLiteral("/etc/pakmart/settings");
        const QByteArray usual = m_store->contents(settings);
        QVERIFY(WriteTextFile(settings, usual + "RequireSignedReplies=yes\n"));
        JobWatch watch(made());
        const QString outcome = watch.outcome();
        QVERIFY(WriteTextFile(settings, usual));
        QCOMPARE(outcome, QStringLiteral("reply-not-trusted"));
        QVERIFY2(watch.text.startsWith(QLatin1String("The store '")
                                       + QLatin1String(m_store->scripted.url(""))
                                       + QLatin1String("' is refused: ")),
                 qPrintable(watch.text));
    }

    void aSilentServerTimesOut_data() { addJobs(); }
    void aSilentServerTimesOut()
    {
        QVERIFY(useScripted());
        m_store->stall('/' + asked());
        QVERIFY(m_store->use(m_store->scripted.url("/getagentapi.php"), "1"));
        JobWatch watch(made());
        QCOMPARE(watch.outcome(), QStringLiteral("timed-out"));
    }

    void aFunctionThatTheStoreDoesNotHaveIsARefusal()
    {
        QVERIFY(m_store->useScripted({ "CAPIOther" }));
        JobWatch watch(new AislesJob);
        QCOMPARE(watch.outcome(), QStringLiteral("refused-by-server"));
        QVERIFY2(watch.details.contains(QLatin1String("CAPIGetAisles")),
                 qPrintable(watch.details.right(1500)));
    }

    void aFolderThatCannotBeWrittenIsNamed()
    {
        QVERIFY(m_store->useScripted({ "CAPIUpdateCatalog" }));
        m_store->scripted.answer("/CAPIUpdateCatalog",
                                 ScriptedServer::http(StoreMachine::reply(catalog(3))));
        // A folder in place of the file, which root cannot write either.
        QVERIFY(QDir().mkpath(m_store->data(".catalog/x")));
        JobWatch watch(new RefreshCatalogJob);
        QCOMPARE(watch.outcome(), QStringLiteral("cannot-write"));
        QVERIFY2(watch.details.contains(QLatin1String(".catalog")),
                 qPrintable(watch.details.right(1500)));
    }

    void aJobIsCancelledBeforeItBegins_data() { addJobs(); }
    void aJobIsCancelledBeforeItBegins()
    {
        QVERIFY(useScripted());
        Job* job = made();
        JobWatch watch(job);
        job->start();
        job->cancel();
        QCOMPARE(watch.results, 0);
        QCOMPARE(watch.end(), QStringLiteral("cancelled"));
        QCOMPARE(m_store->scripted.asked.size(), 0);
    }

    void aJobIsCancelledWhileItAsksForTheDirectory_data() { addJobs(); }
    void aJobIsCancelledWhileItAsksForTheDirectory()
    {
        QVERIFY(useScripted());
        m_store->stall("/getagentapi.php");
        cancelOnceAsked("/getagentapi.php");
    }

    void aJobIsCancelledDuringTheTransfer_data() { addJobs(); }
    void aJobIsCancelledDuringTheTransfer()
    {
        QVERIFY(useScripted());
        m_store->stall('/' + asked());
        cancelOnceAsked('/' + asked());
        QCOMPARE(m_store->spoolFiles(), QStringList());
    }

    void aJobIsKilledDuringTheTransfer_data() { addJobs(); }
    void aJobIsKilledDuringTheTransfer()
    {
        QVERIFY(useScripted());
        m_store->stall('/' + asked());
        Job* job = made();
        JobWatch watch(job);
        job->start();
        QTRY_VERIFY_WITH_TIMEOUT(isAsked('/' + asked()), 30000);
        QVERIFY(job->kill(KJob::EmitResult));
        QCOMPARE(watch.end(), QStringLiteral("cancelled"));
    }

    void aJobIsDeletedDuringTheTransfer_data() { addJobs(); }
    void aJobIsDeletedDuringTheTransfer()
    {
        QVERIFY(useScripted());
        m_store->stall('/' + asked());
        Job* job = made();
        JobWatch watch(job);
        job->start();
        QTRY_VERIFY_WITH_TIMEOUT(isAsked('/' + asked()), 30000);
        delete job;
        QTRY_COMPARE_WITH_TIMEOUT(children(), 0, 30000);
        QCOMPARE(watch.results, 0);
        QTRY_COMPARE(m_store->spoolFiles(), QStringList());
    }

    // In the slot of each phase.
    void aJobIsKilledInAnyOfItsPhases_data()
    {
        QTest::addColumn<int>("phase");
        QTest::newRow("waiting") << int(Job::Waiting);
        QTest::newRow("downloading") << int(Job::Downloading);
        QTest::newRow("storing") << int(Job::Storing);
    }
    void aJobIsKilledInAnyOfItsPhases()
    {
        QFETCH(int, phase);
        QVERIFY(fillCatalog(10));
        m_store->scripted.answer("/CAPIUpdateCatalog",
                                 ScriptedServer::http(StoreMachine::reply(catalog(20000))));
        auto* job = new RefreshCatalogJob;
        JobWatch watch(job);
        connect(job, &Job::phaseChanged, this, [job, phase](Job::Phase now) {
            if (now == phase)
                job->kill(KJob::EmitResult);
        });
        QCOMPARE(watch.outcome(), QStringLiteral("cancelled"));
        QCOMPARE(watch.phases.last(), QStringLiteral("Ended"));
        QTRY_COMPARE_WITH_TIMEOUT(children(), 0, 60000);
        QVERIFY(countProducts() == 10 || countProducts() == 20000);
        QCOMPARE(m_store->spoolFiles(), QStringList());
    }

    void aJobThatIsCancelledWhileItStoresLeavesTheOldCatalog()
    {
        QVERIFY(fillCatalog(10));
        QByteArray body;
        for (int i = 0; i < 60; ++i)
            body += category(500, i * 500);
        m_store->scripted.answer(
            "/CAPIUpdateCatalog",
            ScriptedServer::http(StoreMachine::reply("<catalog>" + body + "</catalog>")));
        auto* job = new RefreshCatalogJob;
        JobWatch watch(job);
        connect(job, &Job::phaseChanged, this, [job](Job::Phase now) {
            if (now == Job::Storing)
                job->cancel();
        });
        QCOMPARE(watch.outcome(), QStringLiteral("cancelled"));
        QCOMPARE(countProducts(), 10);
    }

    void aJobMayBeCancelledInTheSlotOfItsFirstPhase()
    {
        QVERIFY(m_store->useScripted({ "CAPIGetAisles" }));
        m_store->stall("/CAPIGetAisles");
        auto* job = new AislesJob;
        JobWatch watch(job);
        connect(job, &Job::phaseChanged, this, [job](Job::Phase now) {
            if (now == Job::Waiting)
                job->cancel();
        });
        QCOMPARE(watch.outcome(), QStringLiteral("cancelled"));
    }

    void anUpdateWaitsForThatOfAnotherProcess_data()
    {
        QTest::addColumn<bool>("cancels");
        QTest::newRow("to its end") << false;
        QTest::newRow("cancelled") << true;
    }
    void anUpdateWaitsForThatOfAnotherProcess()
    {
        QFETCH(bool, cancels);
        QVERIFY(fillCatalog(10));
        m_store->scripted.answer("/CAPIUpdateCatalog",
                                 ScriptedServer::http(StoreMachine::reply(catalog(20))));
        QFile lock(m_store->data(".VACatalog.lock"));
        QVERIFY(lock.open(QIODevice::ReadWrite));
        QCOMPARE(flock(lock.handle(), LOCK_EX | LOCK_NB), 0);
        auto* job = new RefreshCatalogJob;
        JobWatch watch(job);
        job->start();
        QTRY_VERIFY_WITH_TIMEOUT(!job->waitingFor().isEmpty(), 30000);
        QCOMPARE(countProducts(), 10);
        if (cancels)
            job->cancel();
        else
            lock.close();
        QCOMPARE(watch.end(), cancels ? QStringLiteral("cancelled") : QStringLiteral("none"));
        QCOMPARE(countProducts(), cancels ? 10 : 20);
    }

    void aWorkerThatIsKilledLeavesTheOldCatalogAndIsAFailure_data()
    {
        QTest::addColumn<int>("delay"); // milliseconds
        for (const int delay : { 0, 20, 50, 100, 200, 300, 500, 800 })
            QTest::addRow("after %d ms", delay) << delay;
    }
    void aWorkerThatIsKilledLeavesTheOldCatalogAndIsAFailure()
    {
        QFETCH(int, delay);
        QVERIFY(fillCatalog(10));
        m_store->scripted.answer("/CAPIUpdateCatalog",
                                 ScriptedServer::http(StoreMachine::reply(catalog(20000))));
        JobWatch watch(new RefreshCatalogJob);
        QTimer killer;
        killer.setSingleShot(true);
        connect(&killer, &QTimer::timeout, [] { killChildren(); });
        killer.start(delay);
        const QString outcome = watch.outcome();
        killer.stop(); // the next worker is not its prey
        QVERIFY2(outcome == QLatin1String("other") || outcome == QLatin1String("none"),
                 qPrintable(outcome));
        QCOMPARE(countProducts(), outcome == QLatin1String("none") ? 20000 : countProducts());
        QVERIFY(countProducts() == 10 || countProducts() == 20000);
        JobWatch next(new RefreshCatalogJob);
        QCOMPARE(next.outcome(), QStringLiteral("none"));
        QCOMPARE(countProducts(), 20000);
    }

    void jobsOfOneKindTakeTurns()
    {
        QVERIFY(useAislesThatWait());
        AislesJob* jobs[] = { new AislesJob, new AislesJob };
        JobWatch a(jobs[0]), b(jobs[1]);
        jobs[0]->start();
        jobs[1]->start();
        QTRY_VERIFY_WITH_TIMEOUT(isAsked("/CAPIGetAisles"), 30000);
        QTest::qWait(200);
        QCOMPARE(m_store->scripted.asked.count("/CAPIGetAisles"), 1);
        QVERIFY(!jobs[1]->waitingFor().isEmpty());
        releaseAisles();
        QTRY_VERIFY_WITH_TIMEOUT(a.results == 1, 30000);
        QTRY_COMPARE_WITH_TIMEOUT(m_store->scripted.asked.count("/CAPIGetAisles"), 2, 30000);
        releaseAisles();
        QCOMPARE(b.end(), QStringLiteral("none"));
        QCOMPARE(a.name, QStringLiteral("none"));
    }

    void aJobThatIsDeletedWhileItWaitsLetsTheNextOneGo()
    {
        QVERIFY(useAislesThatWait());
        auto* first = new AislesJob;
        auto* second = new AislesJob;
        auto* third = new AislesJob;
        JobWatch a(first), b(second), c(third);
        first->start();
        second->start();
        third->start();
        QTRY_VERIFY_WITH_TIMEOUT(isAsked("/CAPIGetAisles"), 30000);
        delete second;
        third->cancel();
        QCOMPARE(c.end(), QStringLiteral("cancelled"));
        releaseAisles();
        QCOMPARE(a.end(), QStringLiteral("none"));
        QCOMPARE(b.results, 0);
        QCOMPARE(m_store->scripted.asked.count("/CAPIGetAisles"), 1);
    }

    void jobsOfSeveralKindsRunAtOnce()
    {
        QVERIFY(m_store->serve());
        JobWatch catalog(new RefreshCatalogJob), aisles(new AislesJob), sync(new SyncJob);
        catalog.outcome();
        QCOMPARE(aisles.outcome(), QStringLiteral("none"));
        QCOMPARE(sync.outcome(), QStringLiteral("none"));
        QCOMPARE(catalog.name, QStringLiteral("none"));
    }

private:
    QList<QTcpSocket*> m_waiting;

    // The indexes of the flat repository, for each architecture that apt-get asks for.
    void serveIndexes(const QByteArray& http, const char* suffix = "")
    {
        for (const char* architecture : { "all", "amd64", "i386" })
            m_store->scripted.answer(
                QByteArray("/r/dists/././binary-") + architecture + "/Packages" + suffix, http);
    }
    bool isAsked(const QByteArray& path) const
    {
        for (const QByteArray& target : m_store->scripted.asked)
            if (target.split('?').first() == path)
                return true;
        return false;
    }
    void cancelOnceAsked(const QByteArray& path)
    {
        Job* job = made();
        JobWatch watch(job);
        const Pulse pulse;
        job->start();
        QTRY_VERIFY_WITH_TIMEOUT(isAsked(path), 30000);
        job->cancel();
        QCOMPARE(watch.results, 0);
        QCOMPARE(watch.end(), QStringLiteral("cancelled"));
        QVERIFY(pulse.longestGap() < Pulse::tooLong);
    }
    bool fillCatalog(int products)
    {
        if (!m_store->useScripted({ "CAPIUpdateCatalog" }))
            return false;
        m_store->scripted.answer("/CAPIUpdateCatalog",
                                 ScriptedServer::http(StoreMachine::reply(catalog(products))));
        JobWatch watch(new RefreshCatalogJob);
        return watch.outcome() == QLatin1String("none") && countProducts() == products;
    }
    static void killChildren()
    {
        QFile list(QStringLiteral("/proc/self/task/%1/children").arg(getpid()));
        if (!list.open(QIODevice::ReadOnly))
            return;
        for (const QByteArray& child : list.readAll().split(' '))
            if (child.toInt() > 0)
                ::kill(child.toInt(), SIGKILL);
    }
    bool useAislesThatWait()
    {
        m_waiting.clear();
        m_store->scripted.answer("/CAPIGetAisles", [this](QTcpSocket* socket, const QByteArray&) {
            m_waiting << socket;
        });
        return m_store->useScripted({ "CAPIGetAisles" });
    }
    void releaseAisles()
    {
        QTcpSocket* socket = m_waiting.takeFirst();
        socket->write(
            ScriptedServer::http(StoreMachine::reply("<aisles><aisle name=\"A\"/></aisles>")));
        socket->disconnectFromHost();
    }
};

QTEST_GUILESS_MAIN(StoreJobsTest)
#include "tst_storejobs.moc"
