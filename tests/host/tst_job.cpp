// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The base of all jobs: when what is emitted, and how a job ends.

#include "tests/host/hostmachine.h"

#include <QPointer>

using namespace Pakmart;

// A job whose ends the test decides.
class ScriptedJob : public Job
{
    Q_OBJECT

public:
    explicit ScriptedJob(std::function<void(ScriptedJob&)> work = nullptr)
        : Job(nullptr), m_work(std::move(work))
    {
    }
    using Job::fail;
    using Job::setCancellable;
    using Job::setPackage;
    using Job::setPhase;
    using Job::setWaitingFor;
    using Job::succeed;

    int runs = 0, stops = 0, leaves = 0;

protected:
    void run() override
    {
        ++runs;
        setPhase(Preparing);
        if (m_work)
            m_work(*this);
    }
    void stop() override { ++stops; }
    void letGo() override { ++leaves; }

private:
    const std::function<void(ScriptedJob&)> m_work;
};

class JobTest : public QObject
{
    Q_OBJECT

private slots:
    void aFailureAtOnceIsEmittedAfterStart()
    {
        auto* job = new ScriptedJob([](ScriptedJob& self) { self.fail(Error::NoDiskSpace); });
        JobWatch watch(job);
        job->start();
        QCOMPARE(watch.results, 0);
        QCOMPARE(job->phase(), Job::NotStarted);
        QCOMPARE(watch.end(), QStringLiteral("no-disk-space"));
        QCOMPARE(watch.text, Error::sentence(Error::NoDiskSpace));
        QCOMPARE(watch.phases,
                 (QStringList{ QStringLiteral("Preparing"), QStringLiteral("Ended") }));
    }

    void thereIsOneResultHoweverOftenAJobEnds()
    {
        auto* job = new ScriptedJob([](ScriptedJob& self) {
            self.succeed();
            self.fail(Error::Other);
            self.succeed();
        });
        JobWatch watch(job);
        QCOMPARE(watch.outcome(), QStringLiteral("none"));
        QCOMPARE(watch.percent(), 100);
        QCOMPARE(watch.text, QString());
    }

    void aSecondStartDoesNothing()
    {
        QPointer<ScriptedJob> job(new ScriptedJob);
        job->start();
        job->start();
        QTest::qWait(50);
        QCOMPARE(job->runs, 1);
        job->succeed();
        QTRY_VERIFY(job.isNull()); // deletes itself
    }

    void aSentenceOfItsOwnReplacesThatOfTheCode()
    {
        auto* job = new ScriptedJob([](ScriptedJob& self) {
            self.fail(Error::UnknownPackage, QStringLiteral("There is no x."));
        });
        JobWatch watch(job);
        QCOMPARE(watch.outcome(), QStringLiteral("unknown-package"));
        QCOMPARE(watch.text, QStringLiteral("There is no x."));
    }

    void cancelledBeforeItRunsItNeverRuns()
    {
        QPointer<ScriptedJob> job(new ScriptedJob);
        job->setAutoDelete(false);
        JobWatch watch(job);
        job->start();
        job->cancel();
        QCOMPARE(watch.results, 0);
        QCOMPARE(watch.end(), QStringLiteral("cancelled"));
        QCOMPARE(job->runs, 0);
        delete job;
    }

    void killedBeforeItRunsItNeverRuns()
    {
        QPointer<ScriptedJob> job(new ScriptedJob);
        job->setAutoDelete(false);
        JobWatch watch(job);
        job->start();
        QVERIFY(job->kill(KJob::EmitResult));
        QCOMPARE(watch.end(), QStringLiteral("cancelled"));
        QCOMPARE(watch.text, Error::sentence(Error::Cancelled));
        QCOMPARE(job->runs, 0);
        delete job;
    }

    void cancelAsksOnceAndTheJobEndsByItself()
    {
        auto* job = new ScriptedJob;
        JobWatch watch(job);
        job->start();
        QTRY_COMPARE(job->runs, 1);
        job->cancel();
        job->cancel();
        QCOMPARE(job->stops, 1);
        QCOMPARE(watch.results, 0);
        job->fail(Error::Cancelled);
        QCOMPARE(watch.end(), QStringLiteral("cancelled"));
    }

    void aKilledJobEndsAtOnceAndLetsGo()
    {
        QPointer<ScriptedJob> job(new ScriptedJob);
        job->setAutoDelete(false);
        JobWatch watch(job);
        job->start();
        QTRY_COMPARE(job->runs, 1);
        QVERIFY(job->kill(KJob::EmitResult));
        QCOMPARE(watch.results, 1);
        QCOMPARE(job->leaves, 1);
        job->succeed();
        QCOMPARE(watch.end(), QStringLiteral("cancelled"));
        delete job;
    }

    void aQuietKillHasNoResult()
    {
        QPointer<ScriptedJob> job(new ScriptedJob);
        JobWatch watch(job);
        job->start();
        QTRY_COMPARE(job->runs, 1);
        QVERIFY(job->kill(KJob::Quietly));
        QTRY_VERIFY(job.isNull());
        QCOMPARE(watch.results, 0);
    }

    void whatCannotBeCancelledIsNeitherCancelledNorKilled()
    {
        auto* job = new ScriptedJob([](ScriptedJob& self) { self.setCancellable(false); });
        JobWatch watch(job);
        const QSignalSpy spy(job, &Job::cancellableChanged);
        job->start();
        QTRY_COMPARE(job->runs, 1);
        QCOMPARE(spy.size(), 1);
        job->cancel();
        QVERIFY(!job->kill(KJob::EmitResult));
        QCOMPARE(job->stops, 0);
        QCOMPARE(job->leaves, 0);
        QCOMPARE(watch.results, 0);
        job->succeed();
        QCOMPARE(watch.end(), QStringLiteral("none"));
    }

    void propertiesEmitOnlyChangesAndEndEmpty()
    {
        auto* job = new ScriptedJob([](ScriptedJob& self) {
            for (int i = 0; i < 2; ++i) {
                self.setPhase(Job::Downloading);
                self.setPackage(QStringLiteral("app"));
                self.setWaitingFor(QStringLiteral("x"));
            }
        });
        JobWatch watch(job);
        const QSignalSpy names(job, &Job::packageChanged);
        const QSignalSpy waits(job, &Job::waitingForChanged);
        const QSignalSpy infos(job, &KJob::infoMessage);
        job->start();
        QTRY_COMPARE(job->runs, 1);
        QCOMPARE(job->property("package").toString(), QStringLiteral("app"));
        QCOMPARE(job->property("waitingFor").toString(), QStringLiteral("x"));
        QCOMPARE(job->property("phase").toInt(), int(Job::Downloading));
        QVERIFY(job->property("cancellable").toBool());
        job->succeed();
        QVERIFY(job->package().isEmpty());
        QVERIFY(job->waitingFor().isEmpty());
        QVERIFY(!job->isCancellable());
        QCOMPARE(job->phase(), Job::Ended);
        QCOMPARE(names.size(), 2);
        QCOMPARE(waits.size(), 2);
        QCOMPARE(infos.size(), 1);
        QCOMPARE(watch.end(), QStringLiteral("none"));
    }

    void everyPropertyNotifies()
    {
        const QMetaObject& type = Job::staticMetaObject;
        for (int i = type.propertyOffset(); i < type.propertyCount(); ++i)
            QVERIFY2(type.property(i).hasNotifySignal(), type.property(i).name());
        QVERIFY(type.propertyCount() > type.propertyOffset());
    }
};

QTEST_GUILESS_MAIN(JobTest)
#include "tst_job.moc"
