// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Previews with the real front end and apt-get.

#include "host/packagejobs.h"
#include "host/preparejob.h"
#include "tests/common/pulse.h"
#include "tests/host/hostmachine.h"

using namespace Pakmart;

class PrepareJobTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<HostMachine> m_machine;
    Plan m_plan;
    QString m_text;

    static QStringList names(const char* text)
    {
        return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    }
    QString prepare(Request::Kind kind, const char* packages)
    {
        auto* job = new PrepareJob(Request{ kind, names(packages) });
        connect(job, &KJob::result, this, [this, job] { m_plan = job->plan(); });
        JobWatch watch(job);
        const QString outcome = watch.outcome();
        m_text = watch.text;
        return outcome;
    }
    void install(const char* packages)
    {
        JobWatch watch(new InstallJob(names(packages)));
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
    }
    // "app install 1.0, lib upgrade 1.0 2.0"
    QStringList rows() const
    {
        QStringList texts;
        for (const PlanRow& row : m_plan.rows)
            texts << (QStringList{
                          row.package,
                          QString::fromLatin1(
                              QMetaEnum::fromType<PlanRow::Action>().valueToKey(row.action)),
                          row.oldVersion, row.newVersion, row.reasonText() })
                         .join(QLatin1Char(' '));
        return texts;
    }
    // A front end that prints this text.
    void pretend(const QByteArray& output, int status = 0)
    {
        const QString program = m_machine->root + QStringLiteral("/usr/bin/vos-apt-get");
        QFile::remove(program);
        QFile script(program);
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write("#!/bin/sh\ncat <<'THE END'\n" + output + "\nTHE END\nexit "
                     + QByteArray::number(status) + "\n");
        script.setPermissions(QFile::Permissions(0x7755));
    }

private slots:
    void init()
    {
        m_machine = std::make_unique<HostMachine>();
        QVERIFY(m_machine->setUp());
    }

    void anInstallShowsWhatIsNeededWithSizesAndReasons()
    {
        m_machine->add({ "lib", "1.0", "", 5000, "", "Installed-Size: 7\n" });
        m_machine->add({ "nice" });
        m_machine->add({ "app", "1.0", "lib", 100, "", "Recommends: nice\nInstalled-Size: 3\n" });
        const Pulse pulse;
        QCOMPARE(prepare(Request::Install, "app"), QStringLiteral("none"));
        qInfo("longest gap %lld ms", pulse.longestGap());
        QVERIFY(pulse.longestGap() < Pulse::tooLong);
        QCOMPARE(rows(),
                 (QStringList{ QStringLiteral("app Installed  1.0 requested"),
                               QStringLiteral("lib Installed  1.0 needed by app"),
                               QStringLiteral("nice Installed  1.0 recommended by app") }));
        QVERIFY(m_plan.row(QStringLiteral("lib")).downloadSize > 5000);
        QCOMPARE(m_plan.diskSize(), qint64(10 * 1024));
        QVERIFY(m_plan.isPossible());
        QVERIFY(!m_plan.removesOthers());
        // Nothing was changed.
        QVERIFY(HostMachine::stateOf("app").IsGone());
    }

    void whatIsInTheCacheNeedsNoDownload()
    {
        m_machine->add({ "app" });
        install("app");
        QCOMPARE(prepare(Request::Reinstall, "app"), QStringLiteral("none"));
        QCOMPARE(rows(), QStringList(QStringLiteral("app Reinstalled 1.0 1.0 requested")));
        QCOMPARE(m_plan.downloadSize(), qint64(0));
        const QByteArray digest = m_plan.digest();
        QDir(m_machine->root + QStringLiteral("/var/cache/apt/archives")).removeRecursively();
        QVERIFY(QDir().mkpath(m_machine->root + QStringLiteral("/var/cache/apt/archives/partial")));
        QCOMPARE(prepare(Request::Reinstall, "app"), QStringLiteral("none"));
        QVERIFY(m_plan.downloadSize() > 0);
        QCOMPARE(m_plan.digest(), digest);
    }

    void anUpgradeShowsBothVersionsAndSizes()
    {
        m_machine->add({ "lib", "1.0", "", 100, "", "Installed-Size: 7\n" });
        m_machine->add({ "app", "1.0", "lib" });
        install("app");
        m_machine->add({ "lib", "2.0", "", 100, "", "Installed-Size: 5\n" });
        QCOMPARE(prepare(Request::Upgrade, ""), QStringLiteral("none"));
        QCOMPARE(rows(), QStringList(QStringLiteral("lib Upgraded 1.0 2.0 requested")));
        QCOMPARE(m_plan.diskSize(), qint64(-2 * 1024));
    }

    void aRemoveShowsWhatGoesWithIt()
    {
        m_machine->add({ "lib", "1.0", "", 100, "", "Installed-Size: 7\n" });
        m_machine->add({ "app", "1.0", "lib" });
        install("app");
        QCOMPARE(prepare(Request::Remove, "lib"), QStringLiteral("none"));
        QCOMPARE(rows(),
                 (QStringList{ QStringLiteral("app Removed 1.0  needs lib"),
                               QStringLiteral("lib Removed 1.0  requested") }));
        QCOMPARE(m_plan.otherRemovals(), names("app"));
        QVERIFY(m_plan.isPossible());
        QCOMPARE(m_plan.problems.size(), 1);
        QCOMPARE(m_plan.problems[0].code, Error::RemovalsNotAllowed);
        QCOMPARE(m_plan.problems[0].packages, names("app"));
        QVERIFY(!m_plan.problems[0].prevents);
        QCOMPARE(m_plan.diskSize(), qint64(-7 * 1024));
    }

    void anEssentialPackageIsMarked()
    {
        m_machine->add({ "base", "1.0", "", 100, "", "Essential: yes\n" });
        install("base");
        QCOMPARE(prepare(Request::Remove, "base"), QStringLiteral("essential-package"));
        QVERIFY2(m_text.contains(QLatin1String(": base.")), qPrintable(m_text));
        QCOMPARE(rows(), QStringList(QStringLiteral("base Removed 1.0  requested")));
        QVERIFY(m_plan.row(QStringLiteral("base")).isEssential);
        QVERIFY(!m_plan.isPossible());
        QCOMPARE(m_plan.problems.size(), 1);
        QVERIFY(m_plan.problems[0].prevents);
    }

    void aPackageOnHoldIsSaid()
    {
        m_machine->add({ "app" });
        install("app");
        QFile status(m_machine->root + QStringLiteral("/var/lib/dpkg/status"));
        QVERIFY(status.open(QIODevice::ReadWrite));
        const QByteArray held
            = status.readAll().replace("install ok installed", "hold ok installed");
        status.seek(0);
        status.resize(0);
        status.write(held);
        status.close();
        m_machine->add({ "app", "2.0" });
        QCOMPARE(prepare(Request::Install, "app"), QStringLiteral("package-on-hold"));
    }

    void whatCannotBeFetchedAgainIsSaid()
    {
        m_machine->add({ "app" });
        install("app");
        m_machine = std::make_unique<HostMachine>(); // another repository, the same machine
        const QDir lists(HostMachine::lists());
        for (const QString& file : lists.entryList({ QStringLiteral("*_Packages") }))
            QVERIFY(QFile::remove(lists.filePath(file)));
        QCOMPARE(prepare(Request::Reinstall, "app"), QStringLiteral("unknown-package"));
    }

    void hostileOutputIsNotTakenForAPlan_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("outcome");
        const auto row
            = [](const char* name, const QByteArray& output, int status, const char* outcome) {
                  QTest::newRow(name) << output << status << QString::fromLatin1(outcome);
              };
        const QByteArray begin = "Plan: 1\n\nPackage: app\nAction: install\nNew-Version: 1.0\n"
                                 "Architecture: all\nDownload-Size: 0\nOld-Size: 0\nNew-Size: 0\n"
                                 "Essential: no\nReason: asked\n";
        row("sound", begin + "\nEnd: 1", 0, "none");
        row("cut off", begin, 0, "plan-not-understood");
        row("nothing", "", 0, "plan-not-understood");
        row("zeros", QByteArray(100000, '\0'), 0, "plan-not-understood");
        row("no line end", QByteArray(1000000, 'x'), 0, "plan-not-understood");
        row("a failure with a plan", begin + "\nEnd: 1", 100, "tools-failed");
        row("a failure with an error", "E: Unable to locate package app", 100, "unknown-package");
    }
    void hostileOutputIsNotTakenForAPlan()
    {
        QFETCH(QByteArray, output);
        QFETCH(int, status);
        QFETCH(QString, outcome);
        pretend(output, status);
        QCOMPARE(prepare(Request::Install, "app"), outcome);
    }

    void warningsAreProblemsThatPreventNothing()
    {
        pretend("W: Be careful\nPlan: 1\n\nEnd: 0");
        QCOMPARE(prepare(Request::Install, "app"), QStringLiteral("none"));
        QCOMPARE(m_plan.problems.size(), 1);
        QCOMPARE(m_plan.problems[0].sentence, QStringLiteral("Be careful"));
        QVERIFY(m_plan.isPossible());
        QVERIFY(m_plan.isEmpty());
    }

    void aPreviewIsCancelledKilledAndDeleted()
    {
        const QString program = m_machine->root + QStringLiteral("/usr/bin/vos-apt-get");
        QVERIFY(QFile::remove(program));
        QFile script(program);
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write("#!/bin/sh\nexec sleep 60\n");
        script.close();
        script.setPermissions(QFile::Permissions(0x7755));
        const Request request{ Request::Install, names("app") };
        auto* cancelled = new PrepareJob(request);
        auto* killed = new PrepareJob(request);
        auto* deleted = new PrepareJob(request);
        JobWatch one(cancelled), two(killed), three(deleted);
        for (Job* job : { static_cast<Job*>(cancelled), static_cast<Job*>(killed),
                          static_cast<Job*>(deleted) })
            job->start();
        QTest::qWait(200);
        cancelled->cancel();
        QCOMPARE(one.end(), QStringLiteral("cancelled"));
        QVERIFY(killed->kill(KJob::EmitResult));
        QCOMPARE(two.end(), QStringLiteral("cancelled"));
        delete deleted;
        QTest::qWait(200);
        QCOMPARE(three.results, 0);
    }

    void aPreviewDoesNotWaitForAnInstall()
    {
        m_machine->add({ "app" });
        m_machine->add({ "other" });
        m_machine->server.answer(m_machine->pathOf({ "app" }),
                                 [](QTcpSocket*, const QByteArray&) {});
        auto* job = new InstallJob(names("app"));
        JobWatch watch(job);
        job->start();
        QVERIFY(QTest::qWaitFor(
            [this] { return m_machine->server.asked.contains(m_machine->pathOf({ "app" })); },
            60000));
        QCOMPARE(prepare(Request::Install, "other"), QStringLiteral("none"));
        QCOMPARE(watch.results, 0);
        job->cancel();
        QCOMPARE(watch.end(), QStringLiteral("cancelled"));
    }
};

QTEST_GUILESS_MAIN(PrepareJobTest)
#include "tst_preparejob.moc"
