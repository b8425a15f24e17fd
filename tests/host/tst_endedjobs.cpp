// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Repairs and updates of the system that are cancelled, killed or deleted in the middle, with
// the real front end, apt-get and dpkg.

#include "host/packagejobs.h"
#include "tests/common/pulse.h"
#include "tests/common/statusfile.h"
#include "tests/host/hostmachine.h"
#include "tests/host/storemachine.h"

#include <QPointer>

using namespace Pakmart;

class EndedJobsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<StoreMachine> m_store;
    std::unique_ptr<HostMachine> m_machine;

    static QString outcomeOf(Job* job)
    {
        JobWatch watch(job);
        return watch.outcome();
    }
    // A store that names the package "app" for the system, in the repository of the machine.
    bool useStore()
    {
        const QByteArray index = m_machine->index();
        for (const char* suffix : { "", ".xz", ".bz2", ".lzma", ".gz", ".lz4", ".zst" })
            for (const char* architecture : { "all", "amd64", "i386" })
                m_machine->server.answer(QByteArray("/r/dists/././binary-") + architecture
                                             + "/Packages" + suffix,
                                         ScriptedServer::http(*suffix ? QByteArray() : index));
        m_store->scripted.answer(
            "/CAPIGetOSVer",
            ScriptedServer::http(StoreMachine::reply("<package><name>app</name></package>")));
        m_store->scripted.answer("/CAPIGetSourcesList",
                                 ScriptedServer::http(StoreMachine::reply(
                                     "<list type=\"dep\"><entry timestamp=\"1\">deb "
                                     + m_machine->server.url("/r") + " . .</entry></list>")));
        return m_store->useScripted({ "CAPIGetOSVer", "CAPIGetSourcesList" });
    }
    // Makes the installed package one that has to be fetched again.
    static void breakApp()
    {
        QFile file(StatusFile());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray text = file.readAll();
        QVERIFY(text.contains("Status: install ok installed"));
        WriteStatusFile(
            QByteArray(text).replace("install ok installed", "install reinstreq half-installed"));
    }
    static void end(Job* job, const QString& how)
    {
        if (how == QLatin1String("cancel"))
            job->cancel();
        else if (how == QLatin1String("kill"))
            job->kill(KJob::EmitResult);
        else
            job->deleteLater();
    }
    QByteArray lastUpdate() const
    {
        return m_store->contents(m_store->root + QStringLiteral("/etc/pakmartd.conf"));
    }

private slots:
    void init()
    {
        m_store = std::make_unique<StoreMachine>();
        QVERIFY(m_store->setUp());
        m_machine = std::make_unique<HostMachine>();
        QVERIFY(m_machine->setUp());
        QFile::remove(m_store->root + QStringLiteral("/etc/pakmartd.conf"));
        m_machine->add({ "app", "1.0", "", 300000 });
    }

    void aJobIsEnded_data()
    {
        QTest::addColumn<bool>("repairs");
        QTest::addColumn<int>("when");
        QTest::addColumn<QString>("how");
        const auto rows = [](const char* job, bool repairs, const char* phase, Job::Phase when) {
            for (const char* how : { "cancel", "kill", "delete" })
                QTest::addRow("%s, %s, %s", job, phase, how)
                    << repairs << int(when) << QString::fromLatin1(how);
        };
        rows("update", false, "the store is asked or the plan made", Job::Preparing);
        rows("update", false, "it waits for its turn", Job::Waiting);
        rows("update", false, "it downloads", Job::Downloading);
        rows("update", false, "dpkg works", Job::Applying);
        rows("repair", true, "it waits for its turn", Job::Waiting);
        rows("repair", true, "the plan is made", Job::Preparing);
        rows("repair", true, "it downloads", Job::Downloading);
        rows("repair", true, "dpkg works", Job::Applying);
    }
    void aJobIsEnded()
    {
        QFETCH(bool, repairs);
        QFETCH(int, when);
        QFETCH(QString, how);
        QVERIFY(useStore());
        if (repairs) {
            QCOMPARE(outcomeOf(new InstallJob({ QStringLiteral("app") })), QStringLiteral("none"));
            breakApp();
            m_machine->forgetArchives();
        }
        QPointer<CommitJob> job;
        if (repairs)
            job = new RepairJob;
        else
            job = new SystemUpdateJob;
        JobWatch watch(job);
        bool reached = false;
        connect(job, &Job::phaseChanged, this, [&](Job::Phase phase) {
            if (int(phase) != when || reached)
                return;
            reached = true;
            end(job, how);
        });
        const Pulse pulse;
        job->start();
        QTRY_VERIFY_WITH_TIMEOUT(reached, 60000);
        const bool isLate = when == Job::Applying;
        if (how == QLatin1String("delete")) {
            QTRY_VERIFY_WITH_TIMEOUT(job.isNull(), 60000);
            QCOMPARE(watch.results, 0);
        } else {
            QCOMPARE(watch.end(), isLate ? QStringLiteral("none") : QStringLiteral("cancelled"));
        }
        qInfo("longest gap %lld ms", pulse.longestGap());
        QVERIFY(pulse.longestGap() < Pulse::tooLong);
        if (isLate) // dpkg has finished, or is about to
            QTRY_COMPARE_WITH_TIMEOUT(HostMachine::has("app"),
                                      QByteArray("install ok installed 1.0"), 60000);
        else
            QVERIFY(!HostMachine::stateOf("app").IsInstalled());
        const bool succeeded = isLate && how != QLatin1String("delete") && !repairs;
        QCOMPARE(lastUpdate().contains("DateOfLastUpdate"), succeeded);

        if (repairs)
            QCOMPARE(outcomeOf(new RepairJob), QStringLiteral("none"));
        else
            QCOMPARE(outcomeOf(new SystemUpdateJob), QStringLiteral("none"));
        QCOMPARE(HostMachine::has("app"), QByteArray("install ok installed 1.0"));
        QCOMPARE(m_store->spoolFiles(), QStringList());
    }

    void aStalledDownloadOfEitherIsCancelled_data()
    {
        QTest::addColumn<bool>("repairs");
        QTest::newRow("update") << false;
        QTest::newRow("repair") << true;
    }
    void aStalledDownloadOfEitherIsCancelled()
    {
        QFETCH(bool, repairs);
        QVERIFY(useStore());
        if (repairs) {
            QCOMPARE(outcomeOf(new InstallJob({ QStringLiteral("app") })), QStringLiteral("none"));
            breakApp();
            m_machine->forgetArchives();
        }
        m_machine->server.asked.clear();
        const QByteArray path = m_machine->pathOf({ "app" });
        m_machine->server.answer(path, [](QTcpSocket*, const QByteArray&) {});
        CommitJob* job = repairs ? static_cast<CommitJob*>(new RepairJob) : new SystemUpdateJob;
        JobWatch watch(job);
        const Pulse pulse;
        job->start();
        QTRY_VERIFY_WITH_TIMEOUT(m_machine->server.asked.contains(path), 60000);
        job->cancel();
        QCOMPARE(watch.end(), QStringLiteral("cancelled"));
        qInfo("longest gap %lld ms", pulse.longestGap());
        QVERIFY(pulse.longestGap() < Pulse::tooLong);
        QVERIFY(!HostMachine::stateOf("app").IsInstalled());
    }
};

QTEST_GUILESS_MAIN(EndedJobsTest)
#include "tst_endedjobs.moc"
