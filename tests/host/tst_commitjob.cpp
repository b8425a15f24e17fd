// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Jobs that change packages, with the real front end, apt-get and dpkg.

#include "host/packagejobs.h"
#include "host/preparejob.h"
#include "tests/common/pulse.h"
#include "tests/host/hostmachine.h"

#include <QPointer>
#include <QScopeGuard>
#include <fcntl.h>
#include <unistd.h>

using namespace Pakmart;

class CommitJobTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<HostMachine> m_machine;

    static QStringList names(const char* text)
    {
        return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    }
    template <typename Kind> static QString outcomeOf(const char* packages)
    {
        JobWatch watch(new Kind(names(packages)));
        return watch.outcome();
    }
    static QString download(const char* packages)
    {
        auto* job = new CommitJob(prepare(Request::Install, packages));
        job->setDownloadOnly(true);
        JobWatch watch(job);
        return watch.outcome();
    }
    static Plan prepare(Request::Kind kind, const char* packages)
    {
        return prepare(Request{ kind, names(packages) });
    }
    static Plan prepare(const Request& request)
    {
        auto* job = new PrepareJob(request);
        job->setAutoDelete(false);
        JobWatch watch(job);
        watch.outcome();
        const Plan plan = job->plan();
        delete job;
        return plan;
    }

private slots:
    void init()
    {
        m_machine = std::make_unique<HostMachine>();
        QVERIFY(m_machine->setUp());
    }

    void anInstallBringsWhatIsNeeded()
    {
        m_machine->add({ "lib" });
        m_machine->add({ "app", "1.0", "lib", 300000 });
        auto* job = new InstallJob(names("app"));
        JobWatch watch(job);
        Plan shown;
        connect(job, &CommitJob::planReady, this, [&shown](const Plan& plan) { shown = plan; });
        const QSignalSpy bytes(job, &KJob::processedAmountChanged);
        const Pulse pulse;
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        qInfo("longest gap %lld ms", pulse.longestGap());
        QVERIFY(pulse.longestGap() < Pulse::tooLong);
        QCOMPARE(HostMachine::has("app"), QByteArray("install ok installed 1.0"));
        QCOMPARE(HostMachine::has("lib"), QByteArray("install ok installed 1.0"));
        QCOMPARE(shown.rows.size(), 2);
        QCOMPARE(watch.phases, names("Waiting Preparing Downloading Applying Checking Ended"));
        QVERIFY(watch.packages.contains(QStringLiteral("app")));
        QVERIFY(watch.packages.contains(QStringLiteral("lib")));
        QVERIFY(watch.grows);
        QCOMPARE(watch.percent(), 100);
        QVERIFY(bytes.size() > 0);
        QVERIFY2(watch.details.contains(QLatin1String("Setting up app (1.0)")),
                 qPrintable(watch.details));
    }

    void nothingIsEmittedInsideStart()
    {
        m_machine->add({ "app" });
        auto* job = new InstallJob(names("app"));
        JobWatch watch(job);
        job->start();
        QCOMPARE(watch.results, 0);
        QCOMPARE(watch.phases, QStringList());
        QCOMPARE(watch.end(), QStringLiteral("none"));
    }

    void whatIsInstalledAlreadyIsASuccessWithoutAChange()
    {
        m_machine->add({ "app" });
        QCOMPARE(outcomeOf<InstallJob>("app"), QStringLiteral("none"));
        auto* job = new InstallJob(names("app"));
        JobWatch watch(job);
        const QSignalSpy ready(job, &CommitJob::planReady);
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        QCOMPARE(ready.size(), 0);
        QVERIFY(!watch.phases.contains(QStringLiteral("Applying")));
    }

    void anUpgradeTakesTheNewestVersion()
    {
        m_machine->add({ "app" });
        m_machine->add({ "other" });
        QCOMPARE(outcomeOf<InstallJob>("app other"), QStringLiteral("none"));
        m_machine->add({ "app", "2.0", "extra" });
        m_machine->add({ "other", "2.0" });
        m_machine->add({ "extra" });
        QCOMPARE(outcomeOf<UpgradeJob>("app"), QStringLiteral("none"));
        QCOMPARE(HostMachine::has("app"), QByteArray("install ok installed 2.0"));
        QCOMPARE(HostMachine::has("extra"), QByteArray("install ok installed 1.0"));
        QCOMPARE(HostMachine::has("other"), QByteArray("install ok installed 1.0"));
        QCOMPARE(outcomeOf<UpgradeJob>(""), QStringLiteral("none"));
        QCOMPARE(HostMachine::has("other"), QByteArray("install ok installed 2.0"));
    }

    void aCertainVersionMayBeOlder()
    {
        m_machine->add({ "app" });
        m_machine->add({ "app", "2.0" });
        QCOMPARE(outcomeOf<InstallJob>("app"), QStringLiteral("none"));
        QCOMPARE(HostMachine::has("app"), QByteArray("install ok installed 2.0"));
        QCOMPARE(prepare(Request::Install, "app=1.0").row(QStringLiteral("app")).action,
                 PlanRow::Downgraded);
        QCOMPARE(outcomeOf<InstallJob>("app=1.0"), QStringLiteral("none"));
        QCOMPARE(HostMachine::has("app"), QByteArray("install ok installed 1.0"));
    }

    void aReinstallBringsLostFilesBack()
    {
        m_machine->add({ "app" });
        QCOMPARE(outcomeOf<InstallJob>("app"), QStringLiteral("none"));
        const QString program = m_machine->root + QStringLiteral("/usr/bin/app");
        QVERIFY(QFile::remove(program));
        QCOMPARE(outcomeOf<ReinstallJob>("app"), QStringLiteral("none"));
        QVERIFY(QFile::exists(program));
    }

    void aRemoveThatTakesOthersNeedsTheirNamesOrConsent()
    {
        m_machine->add({ "lib" });
        m_machine->add({ "app", "1.0", "lib" });
        QCOMPARE(outcomeOf<InstallJob>("app"), QStringLiteral("none"));
        auto* refused = new RemoveJob(names("lib"));
        JobWatch refusal(refused);
        QCOMPARE(refusal.outcome(), QStringLiteral("removals-not-allowed"));
        QVERIFY2(refusal.text.contains(QLatin1String(": app.")), qPrintable(refusal.text));
        QCOMPARE(HostMachine::has("lib"), QByteArray("install ok installed 1.0"));
        auto* allowed = new RemoveJob(names("lib"));
        allowed->setAllowRemovals(true);
        JobWatch watch(allowed);
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        QVERIFY(HostMachine::stateOf("lib").IsGone());
        QVERIFY(HostMachine::stateOf("app").IsGone());
    }

    void aConflictThatRemovesOthersNamesThemAndNeedsConsent()
    {
        m_machine->add({ "lib" });
        m_machine->add({ "foe", "1.0", "", 100, "", "Conflicts: lib\n" });
        QCOMPARE(outcomeOf<InstallJob>("lib"), QStringLiteral("none"));
        const Plan plan = prepare(Request::Install, "foe");
        QVERIFY(plan.isPossible());
        QCOMPARE(plan.otherRemovals(), names("lib"));
        QCOMPARE(plan.row(QStringLiteral("lib")).reason, PlanRow::ConflictsWith);
        JobWatch refusal(new CommitJob(plan));
        QCOMPARE(refusal.outcome(), QStringLiteral("removals-not-allowed"));
        QVERIFY2(refusal.text.contains(QLatin1String(": lib.")), qPrintable(refusal.text));
        QCOMPARE(HostMachine::has("lib"), QByteArray("install ok installed 1.0"));
        auto* allowed = new CommitJob(plan);
        allowed->setAllowRemovals(true);
        JobWatch watch(allowed);
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        QVERIFY(HostMachine::stateOf("lib").IsGone());
        QCOMPARE(HostMachine::has("foe"), QByteArray("install ok installed 1.0"));
    }

    void anEssentialPackageIsNotRemoved()
    {
        m_machine->add({ "base", "1.0", "", 100, "", "Essential: yes\n" });
        QCOMPARE(outcomeOf<InstallJob>("base"), QStringLiteral("none"));
        auto* job = new RemoveJob(names("base"));
        job->setAllowRemovals(true);
        JobWatch watch(job);
        QCOMPARE(watch.outcome(), QStringLiteral("essential-package"));
        QCOMPARE(HostMachine::has("base"), QByteArray("install ok installed 1.0"));
        // What was shown as impossible does not even wait.
        JobWatch shown(new CommitJob(prepare(Request::Remove, "base")));
        QCOMPARE(shown.outcome(), QStringLiteral("essential-package"));
        QCOMPARE(shown.phases, names("Ended"));
    }

    void failuresBeforeAnythingIsChanged_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("package");
        QTest::addColumn<QString>("outcome");
        const auto row
            = [](const char* name, Request::Kind kind, const char* package, const char* outcome) {
                  QTest::newRow(name)
                      << int(kind) << QString::fromLatin1(package) << QString::fromLatin1(outcome);
              };
        row("unknown package", Request::Install, "nosuch", "unknown-package");
        row("unknown version", Request::Install, "app=9", "unknown-package");
        row("a name that is an option", Request::Install, "--allow-removals", "invalid-name");
        row("a name that asks for a removal", Request::Install, "app-", "invalid-name");
        row("shell characters", Request::Install, "app;id", "invalid-name");
        row("no package", Request::Install, "", "invalid-name");
        row("missing dependency", Request::Install, "lonely", "unresolvable");
        row("remove of what is not there", Request::Remove, "app", "not-installed");
        row("upgrade of what is not there", Request::Upgrade, "app", "not-installed");
        row("reinstall of what is not there", Request::Reinstall, "app", "not-installed");
        row("unknown kind", Request::OtherKind, "app", "other");
    }
    void failuresBeforeAnythingIsChanged()
    {
        QFETCH(int, kind);
        QFETCH(QString, package);
        QFETCH(QString, outcome);
        m_machine->add({ "app" });
        m_machine->add({ "lonely", "1.0", "missing" });
        Plan plan;
        plan.request = { Request::Kind(kind), package.split(QLatin1Char(' '), Qt::SkipEmptyParts) };
        auto* job = new CommitJob(plan);
        JobWatch watch(job);
        job->start();
        QCOMPARE(watch.results, 0); // not inside of start()
        QCOMPARE(watch.end(), outcome);
        QVERIFY(!watch.text.isEmpty());
        QVERIFY(HostMachine::stateOf("app").IsGone());
    }

    void aFailingScriptIsNotASuccess()
    {
        m_machine->add({ "bad", "1.0", "", 100, "", "", "postinst" });
        JobWatch watch(new InstallJob(names("bad")));
        QCOMPARE(watch.outcome(), QStringLiteral("script-failed"));
        QVERIFY2(watch.text.contains(QLatin1String("bad")), qPrintable(watch.text));
        QVERIFY2(watch.text.contains(QLatin1String("half-configured")), qPrintable(watch.text));
        QVERIFY(watch.details.contains(QLatin1String("post-installation script")));
        // It can be removed, and the next install is not disturbed.
        m_machine->add({ "app" });
        QCOMPARE(outcomeOf<InstallJob>("app"), QStringLiteral("none"));
        QCOMPARE(outcomeOf<RemoveJob>("bad"), QStringLiteral("none"));
    }

    void aPackageThatCannotBeRemovedIsNotASuccess()
    {
        m_machine->add({ "bad", "1.0", "", 100, "", "", "prerm" });
        QCOMPARE(outcomeOf<InstallJob>("bad"), QStringLiteral("none"));
        QCOMPARE(outcomeOf<RemoveJob>("bad"), QStringLiteral("script-failed"));
        QVERIFY(!HostMachine::stateOf("bad").IsGone());
    }

    void aDamagedArchiveIsNotInstalled()
    {
        m_machine->add({ "app" });
        m_machine->server.answer(m_machine->pathOf({ "app" }),
                                 ScriptedServer::http(QByteArray(1000, 'x')));
        QCOMPARE(outcomeOf<InstallJob>("app"), QStringLiteral("checksum-mismatch"));
        QVERIFY(HostMachine::stateOf("app").IsGone());
    }

    void aDownloadAloneBringsTheArchivesAndChangesNothing()
    {
        m_machine->add({ "lib" });
        m_machine->add({ "app", "1.0", "lib" });
        QCOMPARE(download("app"), QStringLiteral("none"));
        QVERIFY(HostMachine::stateOf("app").IsGone() && HostMachine::stateOf("lib").IsGone());
        const Plan plan = prepare(Request::Install, "app");
        QCOMPARE(plan.rows.size(), 2);
        QCOMPARE(plan.downloadSize(), 0);
        m_machine->stall({ "app" });
        m_machine->stall({ "lib" });
        JobWatch install(new CommitJob(plan));
        QCOMPARE(install.outcome(), QStringLiteral("none"));
        QCOMPARE(download("app"), QStringLiteral("none")); // there is nothing to do
    }

    void aDownloadThatFailedIsSaid()
    {
        m_machine->add({ "app" });
        const QByteArray path = m_machine->pathOf({ "app" });
        m_machine->server.answer(path, ScriptedServer::http(QByteArray(1000, 'x')));
        QCOMPARE(download("app"), QStringLiteral("checksum-mismatch"));
        m_machine->server.answer(path, ScriptedServer::http("gone", "404 Not Found"));
        QCOMPARE(download("app"), QStringLiteral("download-failed"));
    }

    // apt-get itself looks at the size only.
    void anArchiveWithAnotherSumIsNoDownload()
    {
        m_machine->add({ "app" });
        QCOMPARE(download("app"), QStringLiteral("none"));
        QFile archive(m_machine->root + QStringLiteral("/var/cache/apt/archives/app_1.0_all.deb"));
        QVERIFY(archive.open(QIODevice::ReadWrite) && archive.seek(archive.size() - 1)
                && archive.write("#") == 1);
        archive.close();
        QCOMPARE(download("app"), QStringLiteral("checksum-mismatch"));
    }

    void aStalledDownloadAloneIsCancelled()
    {
        m_machine->add({ "app" });
        m_machine->stall({ "app" });
        auto* job = new CommitJob(prepare(Request::Install, "app"));
        job->setDownloadOnly(true);
        JobWatch watch(job);
        job->start();
        QVERIFY(QTest::qWaitFor([&] { return m_machine->isFetching({ "app" }); }, 60000));
        job->cancel();
        QCOMPARE(watch.end(), QStringLiteral("cancelled"));
    }

    void whatNothingNeedsAnyMoreIsRemoved()
    {
        m_machine->add({ "deep" });
        m_machine->add({ "lib", "1.0", "deep" });
        m_machine->add({ "app", "1.0", "lib" });
        QCOMPARE(outcomeOf<InstallJob>("app"), QStringLiteral("none"));
        QVERIFY(prepare(Request::RemoveUnneeded, "").isEmpty());
        QCOMPARE(outcomeOf<RemoveJob>("app"), QStringLiteral("none"));
        const Plan plan = prepare(Request::RemoveUnneeded, "");
        QCOMPARE(plan.rows.size(), 2);
        QVERIFY(!plan.removesOthers()); // this is what was asked for
        QCOMPARE(plan.row(QStringLiteral("lib")).reason, PlanRow::NoLongerNeeded);
        JobWatch watch(new CommitJob(plan));
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        QVERIFY(HostMachine::stateOf("lib").IsGone() && HostMachine::stateOf("deep").IsGone());
    }

    void anInstallMayRemoveInTheSameChange()
    {
        m_machine->add({ "app" });
        m_machine->add({ "old" });
        m_machine->add({ "older", "1.0", "old" });
        QCOMPARE(outcomeOf<InstallJob>("older"), QStringLiteral("none"));
        Request request{ Request::Install, names("app") };
        request.removals = names("older never");
        const Plan plan = prepare(request);
        QCOMPARE(plan.rows.size(), 2);
        QVERIFY(!plan.removesOthers());
        request.removals = names("old");
        QCOMPARE(prepare(request).otherRemovals(), names("older"));
        JobWatch refused(new CommitJob(prepare(request)));
        QCOMPARE(refused.outcome(), QStringLiteral("removals-not-allowed"));
        JobWatch watch(new CommitJob(plan));
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        QVERIFY(HostMachine::stateOf("app").IsInstalled());
        QVERIFY(HostMachine::stateOf("older").IsGone());
        QVERIFY(HostMachine::stateOf("old").IsInstalled());
    }

    void whatIsOnlyToBeRemovedIsARemoval()
    {
        m_machine->add({ "app" });
        QCOMPARE(outcomeOf<InstallJob>("app"), QStringLiteral("none"));
        Request request{ Request::Install };
        request.removals = names("app never");
        const Plan plan = prepare(request);
        QCOMPARE(plan.request.kind, Request::Remove);
        QCOMPARE(plan.request.packages, names("app"));
        JobWatch watch(new CommitJob(plan));
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        JobWatch again(new CommitJob(prepare(request))); // nothing is left
        QCOMPARE(again.outcome(), QStringLiteral("none"));
        request.removals = names("-x");
        PrepareJob* invalid = new PrepareJob(request);
        JobWatch fault(invalid);
        QCOMPARE(fault.outcome(), QStringLiteral("invalid-name"));
    }

    void anArchiveThatTheServerLacksIsADownloadThatFailed()
    {
        m_machine->add({ "app" });
        m_machine->server.answer(m_machine->pathOf({ "app" }),
                                 ScriptedServer::http("gone", "404 Not Found"));
        JobWatch watch(new InstallJob(names("app")));
        QCOMPARE(watch.outcome(), QStringLiteral("download-failed"));
        QVERIFY2(watch.text.contains(QLatin1String("404")), qPrintable(watch.text));
    }

    void aFrontEndThatIsMissingIsSaid()
    {
        QVERIFY(QFile::remove(m_machine->root + QStringLiteral("/usr/bin/vos-apt-get")));
        QCOMPARE(outcomeOf<InstallJob>("app"), QStringLiteral("tools-missing"));
    }

    void aPlanThatChangedStopsTheCommit()
    {
        m_machine->add({ "app" });
        const Plan shown = prepare(Request::Install, "app");
        QCOMPARE(shown.row(QStringLiteral("app")).newVersion, QStringLiteral("1.0"));
        m_machine->add({ "app", "2.0" });
        JobWatch watch(new CommitJob(shown));
        QCOMPARE(watch.outcome(), QStringLiteral("plan-changed"));
        QVERIFY(HostMachine::stateOf("app").IsGone());
        JobWatch again(new CommitJob(prepare(Request::Install, "app")));
        QCOMPARE(again.outcome(), QStringLiteral("none"));
        QCOMPARE(HostMachine::has("app"), QByteArray("install ok installed 2.0"));
    }

    // The plan that was shown is made again before it is carried out, unless nothing has changed
    // from which it was made.
    void aPlanIsMadeAgainAfterAChange_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("age"); // in seconds
        QTest::addColumn<int>("plans");
        const auto row = [](const char* name, const char* file, int plans, int age = 0) {
            QTest::newRow(name) << QString::fromLatin1(file) << age << plans;
        };
        row("nothing", "", 1);
        row("something else", "/var/lib/dpkg/available", 1);
        row("status", "/var/lib/dpkg/status", 2);
        row("architectures", "/var/lib/dpkg/arch", 2);
        row("what dpkg left", "/var/lib/dpkg/updates/tmp.i", 2);
        row("marks", "/var/lib/apt/extended_states", 2);
        row("settings", "/etc/apt/apt.conf.d/99more", 2);
        row("settings in one file", "/etc/apt/apt.conf", 2);
        row("preferences", "/etc/apt/preferences.d/more", 2);
        row("the machine's lists", "/var/lib/apt/lists/more", 2);
        row("lists of stores", "/var/lib/pakmart/stores/lists/more", 2);
        row("trusted stores", "/etc/pakmart/stores.d/more.sources", 2);
        row("keys", "/etc/pakmart/keys/more.gpg", 2);
        row("settings of stores", "/etc/pakmart/settings", 2);
        row("sources", "/home/.vos-apt-get/deps/apt/vos-sources.list", 2);
        row("lists", "/home/.vos-apt-get/deps/lists/more", 2);
        row("a store looked at now", "/var/lib/pakmart/stores/lists.checked/s", 1);
        row("a store looked at before", "/var/lib/pakmart/stores/lists.checked/s", 2, 250);
        row("a clock that was put back", "/var/lib/pakmart/stores/lists.checked/s", 2, -100);
    }
    void aPlanIsMadeAgainAfterAChange()
    {
        QFETCH(QString, file);
        QFETCH(int, age);
        QFETCH(int, plans);
        m_machine->add({ "app" });
        m_machine->add({ "lib" });
        QCOMPARE(outcomeOf<InstallJob>("lib"), QStringLiteral("none"));
        m_machine->noteRuns();
        const Plan shown = prepare(Request::Install, "app");
        if (!file.isEmpty())
            m_machine->addEmptyLine(file, age);
        JobWatch watch(new CommitJob(shown));
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        QCOMPARE(HostMachine::has("app"), QByteArray("install ok installed 1.0"));
        QCOMPARE(m_machine->runsWith("--plan"), plans);
        QCOMPARE(m_machine->runsWith("install app=1.0"), 1);
    }

    void onlyTheLastPlanIsKept()
    {
        m_machine->add({ "app" });
        m_machine->noteRuns();
        const Plan shown = prepare(Request::Install, "app");
        prepare(Request::Remove, "app");
        JobWatch watch(new CommitJob(shown));
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        QCOMPARE(m_machine->runsWith("--plan"), 3);
    }

    void aPlanThatIsCarriedOutTwiceChangedToo()
    {
        m_machine->add({ "app" });
        const Plan shown = prepare(Request::Install, "app");
        JobWatch first(new CommitJob(shown));
        QCOMPARE(first.outcome(), QStringLiteral("none"));
        JobWatch second(new CommitJob(shown));
        QCOMPARE(second.outcome(), QStringLiteral("plan-changed"));
    }

    void whatAnInterruptedDpkgLeftIsFinishedFirst_data()
    {
        QTest::addColumn<bool>("isShown");
        QTest::newRow("before a plan") << false;
        QTest::newRow("before what was shown") << true;
    }
    void whatAnInterruptedDpkgLeftIsFinishedFirst()
    {
        QFETCH(bool, isShown);
        m_machine->add({ "app" });
        m_machine->add({ "other" });
        QCOMPARE(outcomeOf<InstallJob>("app"), QStringLiteral("none"));
        // dpkg's journal: it was killed before it noted that the package is set up.
        QFile status(m_machine->root + QStringLiteral("/var/lib/dpkg/status"));
        QVERIFY(status.open(QIODevice::ReadOnly));
        const QByteArray stanza
            = status.readAll().replace("install ok installed", "install ok unpacked");
        QFile journal(m_machine->root + QStringLiteral("/var/lib/dpkg/updates/0001"));
        QVERIFY(journal.open(QIODevice::WriteOnly));
        journal.write(stanza);
        journal.close();
        QVERIFY(!HostMachine::stateOf("app").IsInstalled());
        JobWatch watch(isShown ? new CommitJob(prepare(Request::Install, "other"))
                               : new InstallJob(names("other")));
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        QCOMPARE(HostMachine::has("app"), QByteArray("install ok installed 1.0"));
        QCOMPARE(HostMachine::has("other"), QByteArray("install ok installed 1.0"));
    }

    void aStalledDownloadIsCancelled()
    {
        m_machine->add({ "app" });
        m_machine->stall({ "app" });
        auto* job = new InstallJob(names("app"));
        JobWatch watch(job);
        const Pulse pulse;
        job->start();
        QVERIFY(QTest::qWaitFor([&] { return m_machine->isFetching({ "app" }); }, 60000));
        QVERIFY(job->isCancellable());
        job->cancel();
        QCOMPARE(watch.results, 0); // not inside of cancel()
        QCOMPARE(watch.end(), QStringLiteral("cancelled"));
        qInfo("longest gap %lld ms", pulse.longestGap());
        QVERIFY(pulse.longestGap() < Pulse::tooLong);
        QVERIFY(HostMachine::stateOf("app").IsGone());
        // The tree is free again.
        m_machine->add({ "other" });
        QCOMPARE(outcomeOf<InstallJob>("other"), QStringLiteral("none"));
    }

    void aKilledJobEndsAtOnceAndTheNextOneWaitsForItsProcess()
    {
        m_machine->add({ "app" });
        m_machine->add({ "other" });
        m_machine->stall({ "app" });
        auto* job = new InstallJob(names("app"));
        JobWatch watch(job);
        job->start();
        QVERIFY(QTest::qWaitFor([&] { return m_machine->isFetching({ "app" }); }, 60000));
        QVERIFY(job->kill(KJob::EmitResult));
        QCOMPARE(watch.results, 1);
        QCOMPARE(watch.end(), QStringLiteral("cancelled"));
        QCOMPARE(outcomeOf<InstallJob>("other"), QStringLiteral("none"));
    }

    void aDeletedJobStopsItsDownload()
    {
        m_machine->add({ "app" });
        m_machine->add({ "other" });
        m_machine->stall({ "app" });
        auto* job = new InstallJob(names("app"));
        JobWatch watch(job);
        job->start();
        QVERIFY(QTest::qWaitFor([&] { return m_machine->isFetching({ "app" }); }, 60000));
        delete job;
        QCOMPARE(outcomeOf<InstallJob>("other"), QStringLiteral("none"));
        QCOMPARE(watch.results, 0);
        QVERIFY(HostMachine::stateOf("app").IsGone());
    }

    void whileDpkgWorksNothingIsCancelled()
    {
        m_machine->add({ "app" });
        auto* job = new InstallJob(names("app"));
        JobWatch watch(job);
        bool refused = false, tried = false;
        connect(job, &Job::phaseChanged, this, [&](Job::Phase phase) {
            if (phase != Job::Applying)
                return;
            tried = true;
            refused = !job->isCancellable() && !job->kill(KJob::Quietly);
            job->cancel();
        });
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        QVERIFY(tried);
        QVERIFY(refused);
        QCOMPARE(HostMachine::has("app"), QByteArray("install ok installed 1.0"));
    }

    void aJobThatIsDeletedWhileDpkgWorksLetsItFinish()
    {
        m_machine->add({ "app", "1.0", "", 3000000 });
        m_machine->add({ "other" });
        QPointer<Job> job(new InstallJob(names("app")));
        connect(job, &Job::phaseChanged, this, [&job](Job::Phase phase) {
            if (phase == Job::Applying)
                job->deleteLater();
        });
        job->start();
        QVERIFY(QTest::qWaitFor([&job] { return job.isNull(); }, 60000));
        // Its turn comes when dpkg has finished.
        QCOMPARE(outcomeOf<InstallJob>("other"), QStringLiteral("none"));
        QCOMPARE(HostMachine::has("app"), QByteArray("install ok installed 1.0"));
    }

    // A front end that notes whether it is asked to end while dpkg works, and for how long it
    // has the tree.
    void aRunThatWasLetGoIsNotDisturbedAndHasTheTree()
    {
        const QString program = m_machine->root + QStringLiteral("/usr/bin/vos-apt-get");
        QVERIFY(QFile::remove(program));
        QFile script(program);
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write(R"(#!/bin/bash
log=$PAKMART_SYSROOT/tmp/log
trap 'echo disturbed >> "$log"' TERM
if [[ " $* " == *" --plan "* ]]; then
    echo plan >> "$log"
    printf 'Plan: 1\n\nPackage: app\nAction: install\nNew-Version: 1.0\nArchitecture: all\n'
    printf 'Download-Size: 0\nOld-Size: 0\nNew-Size: 0\nEssential: no\nReason: asked\n\n'
    printf 'End: 1\n'
else
    echo begin >> "$log"
    echo 'Unpacking app (1.0) ...'
    for i in 1 2 3 4 5; do sleep 0.1; done
    echo end >> "$log"
fi
)");
        script.close();
        script.setPermissions(QFile::Permissions(0x7755));
        QPointer<Job> job(new InstallJob(names("app")));
        connect(job, &Job::phaseChanged, this, [&job](Job::Phase phase) {
            if (phase == Job::Applying)
                job->deleteLater();
        });
        job->start();
        QVERIFY(QTest::qWaitFor([&job] { return job.isNull(); }, 60000));
        QCOMPARE(outcomeOf<InstallJob>("app"), QStringLiteral("outcome-differs"));
        QFile log(m_machine->root + QStringLiteral("/tmp/log"));
        QVERIFY(log.open(QIODevice::ReadOnly));
        QCOMPARE(log.readAll().simplified(), QByteArray("plan begin end plan begin end"));
        QVERIFY(log.remove());
    }

    void twoJobsTakeTurns()
    {
        m_machine->add({ "app" });
        m_machine->add({ "other" });
        auto* first = new InstallJob(names("app"));
        first->setAutoDelete(false); // a job that is kept gives the tree back, too
        auto* second = new InstallJob(names("other"));
        JobWatch one(first), two(second);
        QStringList order;
        connect(first, &KJob::result, this, [&order] { order << QStringLiteral("first"); });
        connect(second, &KJob::result, this, [&order] { order << QStringLiteral("second"); });
        bool overlapped = false;
        connect(second, &Job::phaseChanged, this, [&](Job::Phase phase) {
            overlapped = overlapped || (phase == Job::Preparing && order.isEmpty());
        });
        first->start();
        second->start();
        QCOMPARE(one.end(), QStringLiteral("none"));
        QCOMPARE(two.end(), QStringLiteral("none"));
        QCOMPARE(order, names("first second"));
        QVERIFY(!overlapped);
        QCOMPARE(two.waits, QStringList(QStringLiteral("Waiting for another change to end")));
        delete first;
    }

    void aWaitingJobIsCancelledAndKilled()
    {
        m_machine->add({ "app" });
        m_machine->stall({ "app" });
        auto* first = new InstallJob(names("app"));
        auto* second = new InstallJob(names("app"));
        auto* third = new InstallJob(names("app"));
        JobWatch one(first), two(second), three(third);
        for (Job* job : { first, second, third })
            job->start();
        QVERIFY(QTest::qWaitFor(
            [&] { return m_machine->isFetching({ "app" }) && !three.waits.isEmpty(); }, 60000));
        second->cancel();
        QCOMPARE(two.end(), QStringLiteral("cancelled"));
        QVERIFY(third->kill(KJob::EmitResult));
        QCOMPARE(three.end(), QStringLiteral("cancelled"));
        QCOMPARE(one.results, 0);
        first->cancel();
        QCOMPARE(one.end(), QStringLiteral("cancelled"));
    }

    void anotherProcessThatHasTheTreeIsWaitedForByName()
    {
        m_machine->add({ "app" });
        const QString lock = QDir::homePath() + QStringLiteral("/.vos-apt-get/lock");
        QProcess holder;
        holder.start(QStringLiteral("/bin/sh"),
                     { QStringLiteral("-c"),
                       QStringLiteral("exec 9>\"$0\"; flock 9; echo 'store 12' >&9; echo ready; "
                                      "read line"),
                       lock });
        QVERIFY(QTest::qWaitFor([&holder] { return holder.bytesAvailable() > 0; }, 30000));
        auto* job = new InstallJob(names("app"));
        JobWatch watch(job);
        job->start();
        QVERIFY(QTest::qWaitFor([&watch] { return !watch.waits.isEmpty(); }, 30000));
        QCOMPARE(watch.waits.first(),
                 QStringLiteral("Waiting for another installation to end: store (process 12)"));
        QCOMPARE(job->phase(), Job::Waiting);
        holder.write("\n");
        QVERIFY(holder.waitForFinished());
        QCOMPARE(watch.end(), QStringLiteral("none"));
    }

    void aHeldPackageLockIsSaidAndTheWaitIsCancelled()
    {
        m_machine->add({ "app" });
        const int fd = m_machine->lockDpkg();
        QVERIFY(fd >= 0);
        const auto unlock = qScopeGuard([fd] { close(fd); });
        auto* job = new InstallJob(names("app"));
        JobWatch watch(job);
        job->start();
        QVERIFY(QTest::qWaitFor([&watch] { return !watch.waits.isEmpty(); }, 60000));
        QCOMPARE(watch.waits.first(),
                 QStringLiteral("Waiting for the package lock, which is held by process %1 (%2)")
                     .arg(getpid())
                     .arg(QLatin1String("tst_commitjob")));
        QCOMPARE(job->phase(), Job::Waiting);
        QVERIFY(job->isCancellable());
        job->cancel();
        QCOMPARE(watch.end(), QStringLiteral("cancelled"));
        QVERIFY(HostMachine::stateOf("app").IsGone());
    }

    void aSlotMayCancelOrKillTheJob_data()
    {
        QTest::addColumn<int>("when");
        QTest::addColumn<bool>("kills");
        constexpr int ready = -1;
        for (const bool kills : { false, true }) {
            const char* how = kills ? "kill" : "cancel";
            QTest::addRow("%s when it waits", how) << int(Job::Waiting) << kills;
            QTest::addRow("%s when it prepares", how) << int(Job::Preparing) << kills;
            QTest::addRow("%s when the plan is ready", how) << ready << kills;
            QTest::addRow("%s when it downloads", how) << int(Job::Downloading) << kills;
        }
    }
    void aSlotMayCancelOrKillTheJob()
    {
        QFETCH(int, when);
        QFETCH(bool, kills);
        m_machine->add({ "app" });
        auto* job = new InstallJob(names("app"));
        JobWatch watch(job);
        const auto stop = [job, kills] {
            if (kills)
                QVERIFY(job->kill(KJob::EmitResult));
            else
                job->cancel();
        };
        connect(job, &CommitJob::planReady, job, [when, stop] {
            if (when < 0)
                stop();
        });
        connect(job, &Job::phaseChanged, job, [when, stop](Job::Phase phase) {
            if (int(phase) == when)
                stop();
        });
        QCOMPARE(watch.outcome(), QStringLiteral("cancelled"));
        // Nothing goes on unseen, and the next one gets its turn.
        m_machine->add({ "other" });
        QCOMPARE(outcomeOf<InstallJob>("other"), QStringLiteral("none"));
        QVERIFY(!m_machine->isFetching({ "app" }));
        QVERIFY(HostMachine::stateOf("app").IsGone());
    }
};

QTEST_GUILESS_MAIN(CommitJobTest)
#include "tst_commitjob.moc"
