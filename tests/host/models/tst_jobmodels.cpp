// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Plans and pending jobs as rows.

#include "host/models/pendingmodel.h"
#include "host/models/planmodel.h"
#include "tests/host/models/modelwatch.h"

#include <QSignalSpy>

using Pakmart::Error;
using Pakmart::Job;
using Pakmart::PendingModel;
using Pakmart::Plan;
using Pakmart::PlanModel;
using Pakmart::PlanProblem;
using Pakmart::PlanRow;

// Does what the test says.
class ScriptedJob : public Job
{
public:
    ScriptedJob() : Job(nullptr) { }
    using Job::setCancellable;
    using Job::setPackage;
    using Job::setPhase;
    using Job::setWaitingFor;
    using Job::succeed;
    void setDone(unsigned long percent) { setPercent(percent); }

protected:
    void run() override { setPhase(Preparing); }
    void stop() override { fail(Error::Cancelled); }
    void letGo() override { }
};

class JobModelsTest : public QObject
{
    Q_OBJECT

private:
    static PlanRow row(const char* package, PlanRow::Action action = PlanRow::Installed,
                       PlanRow::Reason reason = PlanRow::AskedFor)
    {
        PlanRow made;
        made.package = QString::fromLatin1(package);
        made.action = action;
        made.reason = reason;
        made.newVersion = QStringLiteral("1");
        made.downloadSize = 10;
        made.newSize = 20;
        return made;
    }

private slots:
    void planHasARowForEachPackage()
    {
        PlanModel model;
        ModelWatch watch(&model);
        QCOMPARE(model.state(), PlanModel::Empty);
        QCOMPARE(model.stateText(), QStringLiteral("Nothing would change."));
        Plan plan;
        PlanRow full = row("lib", PlanRow::Upgraded, PlanRow::NeededBy);
        full.architecture = QStringLiteral("amd64");
        full.because = QStringLiteral("app");
        full.oldVersion = QStringLiteral("0");
        full.oldSize = 5;
        full.isEssential = true;
        plan.rows = { row("app"), full, row("foe", PlanRow::Removed, PlanRow::ConflictsWith) };
        QSignalSpy changes(&model, &PlanModel::planChanged);
        model.setPlan(plan);
        QCOMPARE(changes.count(), 1);
        QCOMPARE(model.state(), PlanModel::Filled);
        QCOMPARE(watch.texts().join(QLatin1Char(' ')), QStringLiteral("app lib foe"));
        const QList<QPair<QString, QVariant>> fields{
            { QStringLiteral("package"), QStringLiteral("lib") },
            { QStringLiteral("architecture"), QStringLiteral("amd64") },
            { QStringLiteral("action"), int(PlanRow::Upgraded) },
            { QStringLiteral("reason"), int(PlanRow::NeededBy) },
            { QStringLiteral("reasonText"), QStringLiteral("needed by app") },
            { QStringLiteral("because"), QStringLiteral("app") },
            { QStringLiteral("oldVersion"), QStringLiteral("0") },
            { QStringLiteral("newVersion"), QStringLiteral("1") },
            { QStringLiteral("downloadSize"), 10 },
            { QStringLiteral("oldSize"), 5 },
            { QStringLiteral("newSize"), 20 },
            { QStringLiteral("essential"), true },
            { QStringLiteral("requested"), false },
        };
        for (const auto& field : fields)
            QCOMPARE(model.value(1, field.first).toString(), field.second.toString());
        QCOMPARE(model.roleNames().size(), fields.size());
        QVERIFY(model.value(0, QStringLiteral("requested")).toBool());
        QCOMPARE(model.otherRemovals(), QStringList(QStringLiteral("foe")));
        QCOMPARE(model.downloadSize(), plan.downloadSize());
        QCOMPARE(model.diskSize(), plan.diskSize());
        QCOMPARE(model.digest().toLatin1(), plan.digest());
        QCOMPARE(model.plan().rows.size(), 3);
        QVERIFY(model.isPossible());
    }

    void anotherPlanChangesRowsInPlace()
    {
        PlanModel model;
        ModelWatch watch(&model);
        Plan plan;
        plan.rows = { row("a"), row("b"), row("c") };
        model.setPlan(plan);
        const QPersistentModelIndex c(model.index(2, 0));
        watch.changes();
        plan.rows = { row("b", PlanRow::Reinstalled), row("c"), row("d") };
        model.setPlan(plan);
        QCOMPARE(watch.changes(), QByteArray("i1 r1 m0 l0 d1"));
        QCOMPARE(c.row(), 1);
    }

    void impossiblePlanSaysWhy()
    {
        PlanModel model;
        Plan plan;
        PlanProblem problem;
        problem.sentence = QStringLiteral("It cannot be.");
        plan.problems = { problem };
        model.setPlan(plan);
        QVERIFY(!model.isPossible());
        QCOMPARE(model.problems(), QStringList(problem.sentence));
        QCOMPARE(model.stateText(), QStringLiteral("This cannot be done."));
    }

    void pendingJobsAreFollowedToTheirEnds()
    {
        PendingModel model;
        ModelWatch watch(&model);
        QCOMPARE(model.state(), PendingModel::Empty);
        QCOMPARE(model.stateText(), QStringLiteral("Nothing is being done."));
        auto* first = new ScriptedJob;
        auto* second = new ScriptedJob;
        PendingModel::add(first, QStringLiteral("One"));
        PendingModel::add(second, QStringLiteral("Two"));
        PendingModel::add(second, QStringLiteral("again"));
        PendingModel::add(nullptr, QStringLiteral("none"));
        QCOMPARE(watch.texts().join(QLatin1Char(' ')), QStringLiteral("One Two"));
        const PendingModel other;
        QCOMPARE(other.count(), 2);
        first->start();
        QTRY_COMPARE(model.value(0, QStringLiteral("phase")).toInt(), int(Job::Preparing));
        first->setPackage(QStringLiteral("app"));
        first->setDone(40);
        first->setWaitingFor(QStringLiteral("a lock"));
        first->setCancellable(false);
        QCOMPARE(model.value(0, QStringLiteral("package")).toString(), QStringLiteral("app"));
        QCOMPARE(model.value(0, QStringLiteral("percent")).toInt(), 40);
        QCOMPARE(model.value(0, QStringLiteral("waitingFor")).toString(), QStringLiteral("a lock"));
        QCOMPARE(model.value(0, QStringLiteral("cancellable")).toBool(), false);
        watch.changes();
        first->succeed();
        QTRY_COMPARE(watch.texts().join(QLatin1Char(' ')), QStringLiteral("Two"));
        QVERIFY(watch.changes().startsWith("i0 r1 "));
        delete second;
        QCOMPARE(model.state(), PendingModel::Empty);
        QCOMPARE(other.count(), 0);
    }

    void startedJobsAppearByThemselves()
    {
        PendingModel model;
        ModelWatch watch(&model);
        QPointer<ScriptedJob> job(new ScriptedJob);
        job->setTitle(QStringLiteral("Mine"));
        QStringList descriptions;
        connect(job.data(), &KJob::description, job.data(),
                [&descriptions](KJob*, const QString& title) { descriptions << title; });
        job->start();
        QCOMPARE(model.count(), 0); // nothing is emitted in start()
        QTRY_COMPARE(watch.texts(), QStringList(QStringLiteral("Mine")));
        QCOMPARE(watch.changes(), QByteArray("i1 r0 m0 l0 d1"));
        QTRY_COMPARE(descriptions, QStringList(QStringLiteral("Mine")));
        job->setTitle(QString());
        job->setTitle(QStringLiteral("Yours"));
        QCOMPARE(watch.texts(), QStringList(QStringLiteral("Yours")));
        QCOMPARE(descriptions.last(), QStringLiteral("Yours"));
        QVERIFY(job->kill(KJob::Quietly));
        QTRY_COMPARE(model.count(), 0);
        auto* deleted = new ScriptedJob;
        deleted->start();
        QTRY_COMPARE(model.count(), 1);
        delete deleted;
        QCOMPARE(model.count(), 0);
    }

    // Each kind of end in the slot that sees a job appear.
    void aJobThatAppearsMayEndAtOnce_data()
    {
        QTest::addColumn<int>("end");
        QTest::newRow("cancelled") << 0;
        QTest::newRow("killed") << 1;
        QTest::newRow("deleted") << 2;
    }
    void aJobThatAppearsMayEndAtOnce()
    {
        QFETCH(int, end);
        PendingModel model;
        QPointer<ScriptedJob> job(new ScriptedJob);
        bool hasRun = false;
        connect(job.data(), &Job::phaseChanged, job.data(),
                [&hasRun](Job::Phase phase) { hasRun |= phase == Job::Preparing; });
        connect(&model, &QAbstractItemModel::rowsInserted, &model, [&] {
            if (end == 0)
                job->cancel();
            else if (end == 1)
                job->kill();
            else
                delete job.data();
        });
        job->start();
        QTRY_VERIFY(job.isNull());
        QCOMPARE(model.count(), 0);
        QVERIFY(!hasRun);
    }

    void aJobMayFollowInTheSlotThatSeesAnotherGo()
    {
        PendingModel model;
        ModelWatch watch(&model);
        ScriptedJob first, second, third;
        PendingModel::add(&first, QStringLiteral("One"));
        PendingModel::add(&second, QStringLiteral("Two"));
        const QObject watcher; // goes before the jobs
        connect(&model, &QAbstractItemModel::rowsRemoved, &watcher,
                [&third] { PendingModel::add(&third, QStringLiteral("Three")); });
        first.setAutoDelete(false);
        first.succeed();
        QCOMPARE(watch.texts().join(QLatin1Char(' ')), QStringLiteral("Two Three"));
    }

    void pendingJobCanBeCancelled()
    {
        PendingModel model;
        auto* job = new ScriptedJob;
        QSignalSpy results(job, &KJob::result);
        PendingModel::add(job, QStringLiteral("One"));
        job->start();
        model.cancel(1); // no such row
        model.cancel(-1);
        QTRY_COMPARE(model.value(0, QStringLiteral("phase")).toInt(), int(Job::Preparing));
        model.cancel(0);
        QTRY_COMPARE(results.count(), 1);
        QTRY_COMPARE(model.count(), 0);
    }
};

QTEST_GUILESS_MAIN(JobModelsTest)
#include "tst_jobmodels.moc"
