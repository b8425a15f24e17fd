// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What a check finds, and what became of it after a repair: packages, lists, databases, and the
// files of dead processes.

#include "host/checkjob.h"
#include "host/packagejobs.h"
#include "host/storejobs.h"
#include "tests/common/statusfile.h"
#include "tests/host/hostmachine.h"
#include "tests/host/storemachine.h"

using namespace Pakmart;

class RepairFindingsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<StoreMachine> m_store;
    QString m_result; // of the last job

    using Findings = QList<RepairFinding>;

    Findings check()
    {
        CheckJob job;
        job.setAutoDelete(false);
        JobWatch watch(&job);
        m_result = watch.outcome();
        return job.findings();
    }
    Findings repair()
    {
        RepairJob job;
        job.setAutoDelete(false);
        JobWatch watch(&job);
        m_result = watch.outcome();
        return job.findings();
    }
    // "DamagedCatalog Mended"
    static QStringList inWords(const Findings& findings)
    {
        QStringList words;
        for (const RepairFinding& one : findings)
            words << QString::fromLatin1(
                         QMetaEnum::fromType<RepairFinding::Kind>().valueToKey(one.kind))
                    + QLatin1Char(' ')
                    + QString::fromLatin1(
                         QMetaEnum::fromType<RepairFinding::State>().valueToKey(one.state));
        return words;
    }
    static QString outcomeOf(Job* job)
    {
        JobWatch watch(job);
        return watch.outcome();
    }
    static bool put(const QString& path, const QByteArray& text)
    {
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
    }
    static bool setState(const char* state)
    {
        QFile file(StatusFile());
        if (!file.open(QIODevice::ReadOnly))
            return false;
        QByteArray text = file.readAll();
        const int at = int(text.indexOf("install ok installed"));
        WriteStatusFile(text.replace(at, int(qstrlen("install ok installed")), state));
        return at >= 0;
    }
    // What is found, and left as it is by the check, and mended by the repair.
    void checkAndRepair(const char* kind)
    {
        const QString word = QString::fromLatin1(kind);
        QCOMPARE(inWords(check()), QStringList(word + QStringLiteral(" Found")));
        QCOMPARE(m_result, QStringLiteral("none"));
        QCOMPARE(inWords(check()), QStringList(word + QStringLiteral(" Found")));
        QCOMPARE(inWords(repair()), QStringList(word + QStringLiteral(" Mended")));
        QCOMPARE(m_result, QStringLiteral("none"));
        QCOMPARE(inWords(check()), QStringList());
    }
    QString recentFolder() const
    {
        return QDir::homePath() + QStringLiteral("/.kde/share/apps/vantrelagent/");
    }

private slots:
    void init()
    {
        m_store = std::make_unique<StoreMachine>();
        QVERIFY(m_store->setUp());
        QDir(QDir::homePath() + QStringLiteral("/.kde")).removeRecursively();
        QVERIFY(m_store->serve());
    }

    void onASoundMachineNothingIsFound()
    {
        QCOMPARE(inWords(check()), QStringList());
        QCOMPARE(m_result, QStringLiteral("none"));
        QCOMPARE(outcomeOf(new RefreshCatalogJob), QStringLiteral("none"));
        QCOMPARE(outcomeOf(InstallJob::ofProducts({ 1001 })), QStringLiteral("none"));
        QCOMPARE(inWords(check()), QStringList());
        QCOMPARE(inWords(repair()), QStringList());
        QCOMPARE(m_result, QStringLiteral("none"));
    }

    void aPackageInPartIsFoundAndMended()
    {
        QCOMPARE(outcomeOf(InstallJob::ofProducts({ 1001 })), QStringLiteral("none"));
        QVERIFY(setState("install ok unpacked"));
        const Findings found = check();
        QCOMPARE(found.size(), 1);
        QVERIFY2(found.first().sentence.contains(QLatin1String("install ok unpacked")),
                 qPrintable(found.first().sentence));
        checkAndRepair("BrokenPackage");
    }

    void anInterruptedRunIsFoundAndMended()
    {
        QCOMPARE(outcomeOf(InstallJob::ofProducts({ 1001 })), QStringLiteral("none"));
        QFile status(StatusFile());
        QVERIFY(status.open(QIODevice::ReadOnly));
        const QByteArray text = status.readAll();
        QVERIFY(put(m_store->root + QStringLiteral("/var/lib/dpkg/updates/0000"),
                    text.left(text.indexOf("\n\n") + 1)));
        checkAndRepair("InterruptedRun");
    }

    void aReplyOfADeadProcessIsFoundAndRemoved()
    {
        const QString reply = m_store->root + QStringLiteral("/tmp/1700000000_3.xml");
        const QString other = m_store->root + QStringLiteral("/tmp/notes_3.xml");
        for (const QString& file : { reply, other }) {
            QVERIFY(put(file, "<a/>"));
            QVERIFY(QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner));
        }
        // This one has the name, but not the permissions that only our files have.
        const QString foreign = m_store->root + QStringLiteral("/tmp/1700000000_4.xml");
        QVERIFY(put(foreign, "<a/>"));
        QVERIFY(QFile::setPermissions(foreign, QFile::ReadOwner | QFile::ReadOther));
        const Findings found = check();
        QCOMPARE(found.value(0).name, reply);
        checkAndRepair("Leftover");
        QVERIFY(!QFile::exists(reply));
        QVERIFY(QFile::remove(foreign));
        QVERIFY(QFile::exists(other));
        QVERIFY(QFile::remove(other));
    }

    void aDatabaseThatWasNeverCompletedIsFoundAndRemoved()
    {
        QCOMPARE(outcomeOf(new RefreshCatalogJob), QStringLiteral("none"));
        const QString folder = m_store->data(".VACatalog.gen-99");
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(put(folder + QStringLiteral("/.VACatalog.fil"), "half"));
        QCOMPARE(check().value(0).name, folder);
        checkAndRepair("Leftover");
        QVERIFY(!QFile::exists(folder));
    }

    void missingPackageListsAreFoundAndFetched()
    {
        QCOMPARE(outcomeOf(new RefreshSourcesJob), QStringLiteral("none"));
        QDir lists(StoreMachine::tree() + QStringLiteral("/deps/lists"));
        for (const QString& name : lists.entryList(QDir::Files))
            QVERIFY(lists.remove(name));
        checkAndRepair("MissingLists");
        QCOMPARE(outcomeOf(new InstallJob({ QStringLiteral("starlander") })),
                 QStringLiteral("none"));
    }

    // The sources were replaced, and a crash came before their lists.
    void listsOfOtherSourcesAreFoundAndFetched()
    {
        QCOMPARE(outcomeOf(new RefreshSourcesJob), QStringLiteral("none"));
        QDir lists(StoreMachine::tree() + QStringLiteral("/deps/lists"));
        for (const QString& name : lists.entryList({ QStringLiteral("*_Packages*") }, QDir::Files))
            QVERIFY(lists.rename(name, QStringLiteral("old.example_._Packages")));
        QCOMPARE(check().value(0).sentence,
                 QStringLiteral("The package lists are not those of the package sources."));
        checkAndRepair("MissingLists");
    }

    void listsThatCannotBeFetchedAreSaidWithTheReason()
    {
        QCOMPARE(outcomeOf(new RefreshSourcesJob), QStringLiteral("none"));
        QDir lists(StoreMachine::tree() + QStringLiteral("/deps/lists"));
        for (const QString& name : lists.entryList(QDir::Files))
            QVERIFY(lists.remove(name));
        QVERIFY(m_store->endServer());
        const Findings left = repair();
        QCOMPARE(inWords(left), QStringList(QStringLiteral("MissingLists NotMended")));
        QVERIFY(!left.first().reason.isEmpty());
    }

    void aDamagedDatabaseIsMadeFromTheSavedCatalog_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("products") << QStringLiteral(".VACatalog.fil");
        QTest::newRow("an index") << QStringLiteral(".VACatalog.k1");
        QTest::newRow("dependencies") << QStringLiteral(".VADepends.k2");
    }
    void aDamagedDatabaseIsMadeFromTheSavedCatalog()
    {
        QFETCH(QString, name);
        QCOMPARE(outcomeOf(new RefreshCatalogJob), QStringLiteral("none"));
        QVERIFY(m_store->endServer()); // which is not needed
        QFile file(m_store->data(qPrintable(name)));
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.size() > 10);
        QVERIFY(file.resize(file.size() / 2));
        file.close();
        checkAndRepair("DamagedCatalog");
    }

    void aMissingDatabaseIsMadeFromTheSavedCatalog()
    {
        QCOMPARE(outcomeOf(new RefreshCatalogJob), QStringLiteral("none"));
        QVERIFY(m_store->endServer());
        QDir folder(m_store->data(""));
        for (const QString& name : folder.entryList({ QStringLiteral(".VA*") },
                                                    QDir::AllEntries | QDir::Hidden | QDir::System))
            if (!folder.remove(name))
                QVERIFY(QDir(folder.filePath(name)).removeRecursively());
        checkAndRepair("DamagedCatalog");
    }

    void aCatalogThatWasNotSavedIsSaid()
    {
        QCOMPARE(outcomeOf(new RefreshCatalogJob), QStringLiteral("none"));
        QVERIFY(put(m_store->data(".catalog"), "<catalog><cat"));
        QFile file(m_store->data(".VACatalog.k1"));
        QVERIFY(file.open(QIODevice::ReadWrite) && file.resize(100));
        const Findings left = repair();
        QCOMPARE(inWords(left), QStringList(QStringLiteral("DamagedCatalog NotMended")));
        QVERIFY2(left.first().reason.contains(QLatin1String("Update the catalog")),
                 qPrintable(left.first().reason));
        QCOMPARE(outcomeOf(new RefreshCatalogJob), QStringLiteral("none"));
        QCOMPARE(inWords(check()), QStringList());
    }

    void aDamagedRecentListIsMended()
    {
        QCOMPARE(outcomeOf(InstallJob::ofProducts({ 1001 })), QStringLiteral("none"));
        QDir folder(recentFolder());
        const QStringList indexes
            = folder.entryList({ QStringLiteral(".rulist.k1") }, QDir::Files | QDir::Hidden);
        QCOMPARE(indexes.size(), 1);
        QFile file(folder.filePath(indexes.first()));
        QVERIFY(file.open(QIODevice::ReadWrite) && file.resize(file.size() / 2));
        checkAndRepair("DamagedRecentList");
    }

    void aPackageWhoseScriptFailsIsNamedWithTheWayOut()
    {
        HostMachine machine;
        QVERIFY(machine.setUp());
        machine.add({ "bad", "1.0", "", 100, "", "", "postinst" });
        machine.add({ "app" });
        QCOMPARE(outcomeOf(new InstallJob({ QStringLiteral("bad") })),
                 QStringLiteral("script-failed"));
        const Findings left = repair();
        QCOMPARE(m_result, QStringLiteral("script-failed"));
        QCOMPARE(inWords(left), QStringList(QStringLiteral("FailingScript NotMended")));
        QCOMPARE(left.first().name, QStringLiteral("bad"));
        QVERIFY2(left.first().reason.contains(QLatin1String("Remove bad")),
                 qPrintable(left.first().reason));
        QCOMPARE(outcomeOf(new InstallJob({ QStringLiteral("app") })), QStringLiteral("none"));
        QCOMPARE(outcomeOf(new RemoveJob({ QStringLiteral("bad") })), QStringLiteral("none"));
        QCOMPARE(inWords(check()), QStringList());
    }

    void severalFindingsAreMendedAtOnce()
    {
        QCOMPARE(outcomeOf(new RefreshCatalogJob), QStringLiteral("none"));
        QCOMPARE(outcomeOf(InstallJob::ofProducts({ 1001 })), QStringLiteral("none"));
        QVERIFY(setState("install ok half-configured"));
        QVERIFY(QDir().mkpath(m_store->data(".VACatalog.gen-99")));
        QFile file(m_store->data(".VACatalog.k1"));
        QVERIFY(file.open(QIODevice::ReadWrite) && file.resize(100));
        file.close();
        QCOMPARE(check().size(), 3);
        const QStringList left = inWords(repair());
        QCOMPARE(left.size(), 3);
        QCOMPARE(left.filter(QStringLiteral(" Mended")).size(), 3);
        QCOMPARE(inWords(check()), QStringList());
    }

    // Every state but "not-installed" and "config-files".
    void aPackageInAnyStateIsReinstalledAndRemoved_data()
    {
        QTest::addColumn<QByteArray>("state");
        for (const char* state :
             { "install ok unpacked", "install ok half-configured", "install ok half-installed",
               "install reinstreq half-installed", "install reinstreq installed",
               "hold ok installed", "deinstall ok installed", "install reinstreq unpacked",
               "deinstall reinstreq half-installed", "deinstall ok half-configured" })
            QTest::newRow(state) << QByteArray(state);
    }
    void aPackageInAnyStateIsReinstalledAndRemoved()
    {
        QFETCH(QByteArray, state);
        HostMachine machine;
        QVERIFY(machine.setUp());
        machine.add({ "app" });
        const QStringList app{ QStringLiteral("app") };
        QCOMPARE(outcomeOf(new InstallJob(app)), QStringLiteral("none"));
        QVERIFY(setState(state.constData()));
        {
            JobWatch w(new ReinstallJob(app));
            const QString o = w.outcome();
            QVERIFY2(o == QLatin1String("none"), qPrintable(o + w.text + w.details));
        }
        QVERIFY(HostMachine::stateOf("app").IsInstalled());
        QFile status(StatusFile());
        QVERIFY(status.open(QIODevice::ReadOnly));
        WriteStatusFile(status.readAll().replace("hold ok installed", "install ok installed"));
        QVERIFY(setState(state.constData()));
        QCOMPARE(outcomeOf(new RemoveJob(app)), QStringLiteral("none"));
        QVERIFY(HostMachine::stateOf("app").IsGone());
    }

    void aCheckIsCancelledKilledAndDeleted()
    {
        auto* cancelled = new CheckJob;
        JobWatch watch(cancelled);
        connect(cancelled, &Job::phaseChanged, cancelled, [cancelled](Job::Phase phase) {
            if (phase == Job::Checking)
                cancelled->cancel();
        });
        QCOMPARE(watch.outcome(), QStringLiteral("cancelled"));
        // Each may have ended by itself already, and is gone then.
        const QPointer<CheckJob> killed = new CheckJob;
        JobWatch end(killed);
        killed->start();
        QTRY_VERIFY(end.phases.contains(QStringLiteral("Checking")));
        QVERIFY(!killed || killed->kill(KJob::EmitResult) || end.results == 1);
        end.end();
        QCOMPARE(end.results, 1);
        const QPointer<CheckJob> gone = new CheckJob;
        gone->start();
        QTest::qWait(1);
        delete gone.data();
        QTest::qWait(200);
    }
};

QTEST_GUILESS_MAIN(RepairFindingsTest)
#include "tst_repairfindings.moc"
