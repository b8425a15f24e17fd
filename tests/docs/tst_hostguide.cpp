// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Runs the page about jobs: the code in it is taken from here, between marks. Built as a host
// is, on the public headers and the target for hosts.

#include "tests/host/repository.h"
#include "tests/host/storemachine.h"

#include <QtTest>
#include <functional>
#include <vantrelagent/db/ccatalogfile.h>
#include <vantrelagent/host/checkjob.h>
#include <vantrelagent/host/models/pendingmodel.h>
#include <vantrelagent/host/models/productmodel.h>
#include <vantrelagent/host/packagejobs.h>
#include <vantrelagent/host/picturestore.h>
#include <vantrelagent/host/preparejob.h>
#include <vantrelagent/host/storejobs.h>
#include <vantrelagent/store/indexfile.h>

// ---- code that the page shows ----

//! [install]
void Install(const QString& package, QObject* host,
             const std::function<void(const QString& failure)>& whenDone)
{
    auto* job = new Pakmart::InstallJob({ package });
    QObject::connect(job, &KJob::result, host,
                     [whenDone](KJob* ended) { whenDone(ended->errorString()); });
    job->start(); // comes back at once; the job deletes itself after its result
}
//! [install]

//! [preview]
void InstallWithPreview(const QString& package, QObject* host,
                        const std::function<bool(const Pakmart::Plan&)>& agrees,
                        const std::function<void(Pakmart::Error::Code)>& whenDone)
{
    const Pakmart::Request request{ Pakmart::Request::Install, { package } };
    auto* prepare = new Pakmart::PrepareJob(request);
    QObject::connect(prepare, &KJob::result, host, [=] {
        if (prepare->error() || !agrees(prepare->plan())) {
            whenDone(prepare->error() ? prepare->errorCode() : Pakmart::Error::Cancelled);
            return;
        }
        auto* commit = new Pakmart::CommitJob(prepare->plan());
        commit->setAllowRemovals(true); // the user has seen them in the plan
        QObject::connect(commit, &KJob::result, host, [=] { whenDone(commit->errorCode()); });
        commit->start();
    });
    prepare->start();
}
//! [preview]

//! [table]
QStringList TableOf(const Pakmart::Plan& plan)
{
    QStringList lines;
    for (const Pakmart::PlanRow& row : plan.rows)
        lines << QStringLiteral("%1 %2 -> %3 (%4)")
                     .arg(row.package, row.oldVersion, row.newVersion, row.reasonText());
    for (const Pakmart::PlanProblem& problem : plan.problems)
        lines << problem.sentence;
    return lines << QStringLiteral("%1 bytes to fetch, %2 on the disk")
                        .arg(plan.downloadSize())
                        .arg(plan.diskSize());
}
//! [table]

//! [models]
Pakmart::ProductModel* ShowProducts(QObject* host,
                                    const std::function<void(const QString& line)>& show)
{
    auto* products = new Pakmart::ProductModel(host);
    QObject::connect(products, &QAbstractItemModel::rowsInserted, host,
                     [=](const QModelIndex&, int first, int last) {
                         for (int row = first; row <= last; ++row)
                             show(products->product(row).name);
                     });
    QObject::connect(products, &Pakmart::ListModel::stateChanged, host, [=] {
        if (products->state() != Pakmart::ListModel::Filled)
            show(products->stateText()); // "There is no catalog on this computer yet."
    });
    return products; // view->setModel(products), products->setText("chess")
}
//! [models]

//! [pictures]
void ShowPicture(const QString& source, Pakmart::PictureStore* pictures,
                 const std::function<void(const QImage&)>& show)
{
    const int number = pictures->request(source, QSize(64, 64));
    QObject::connect(pictures, &Pakmart::PictureStore::ready, pictures,
                     [=](int request, const QImage& image) {
                         if (request == number)
                             show(image);
                     });
}
//! [pictures]

//! [follow]
void Follow(Pakmart::Job* job, QObject* host, const std::function<void(const QString&)>& show)
{
    using Pakmart::Job;
    QObject::connect(job, &KJob::percentChanged, host, [show](KJob*, unsigned long percent) {
        show(QStringLiteral("%1 %").arg(percent));
    });
    QObject::connect(job, &Job::waitingForChanged, host, show);
    QObject::connect(job, &Job::packageChanged, host, show);
}
//! [follow]

//! [product]
void InstallProduct(int serial, QObject* host,
                    const std::function<void(const QString& failure, const QString& program)>& done)
{
    Pakmart::InstallJob* job = Pakmart::InstallJob::ofProducts({ serial });
    QObject::connect(job, &KJob::result, host, [job, done] {
        const QList<Pakmart::PlanProduct> products = job->plan().products;
        done(job->errorString(), products.isEmpty() ? QString() : products.first().path);
    });
    job->start();
}
//! [product]

//! [refresh]
void Refresh(QObject* host, const std::function<void(const QString& news)>& show)
{
    auto* job = new Pakmart::RefreshCatalogJob;
    QObject::connect(job, &Pakmart::RefreshCatalogJob::resultReady, host, [job, show] {
        show(QStringLiteral("%1 products").arg(job->products()));
        for (const Pakmart::CatalogChange& product : job->added())
            show(QStringLiteral("new: %1 (%2)").arg(product.name).arg(product.serial));
    });
    QObject::connect(job, &KJob::result, host, [job, show] {
        if (job->error())
            show(job->errorString() + QLatin1Char(' ') + job->details());
    });
    job->start();
}
//! [refresh]

//! [check]
void CheckAndRepair(QObject* host, const std::function<void(const QString& line)>& show)
{
    auto* check = new Pakmart::CheckJob;
    QObject::connect(check, &KJob::result, host, [check, host, show] {
        for (const Pakmart::RepairFinding& one : check->findings())
            show(one.sentence);
        if (check->findings().isEmpty())
            return;
        auto* repair = new Pakmart::RepairJob; // the user has agreed
        QObject::connect(repair, &KJob::result, host, [repair, show] {
            for (const Pakmart::RepairFinding& one : repair->findings())
                if (one.state != Pakmart::RepairFinding::Mended)
                    show(one.sentence + QLatin1Char(' ') + one.reason);
        });
        repair->start();
    });
    check->start();
}
//! [check]

// ---- the test ----

class HostGuideTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Repository> m_repository;

private slots:
    void initTestCase()
    {
        m_repository = std::make_unique<Repository>();
        QVERIFY(m_repository->setUp());
        m_repository->add({ "lib" });
        m_repository->add({ "app", "1.0", "lib" });
        m_repository->add({ "other" });
        m_repository->add({ "foe", "1.0", "", 100, "", "Conflicts: lib\n" });
    }

    void installs()
    {
        QString failure = QStringLiteral("not done");
        Install(QStringLiteral("app"), this, [&failure](const QString& text) { failure = text; });
        QCOMPARE(failure, QStringLiteral("not done"));
        QTRY_COMPARE_WITH_TIMEOUT(failure, QString(), 60000);
    }

    void showsBeforeItInstalls()
    {
        QStringList table;
        int code = -1;
        InstallWithPreview(
            QStringLiteral("foe"), this,
            [&table](const Pakmart::Plan& plan) {
                table = TableOf(plan);
                return true;
            },
            [&code](Pakmart::Error::Code ended) { code = ended; });
        QTRY_COMPARE_WITH_TIMEOUT(code, int(Pakmart::Error::NoError), 60000);
        QCOMPARE(table.mid(0, 4),
                 (QStringList{ QStringLiteral("foe  -> 1.0 (requested)"),
                               QStringLiteral("app 1.0 ->  (needs lib)"),
                               QStringLiteral("lib 1.0 ->  (conflicts with foe)"),
                               QStringLiteral("These packages would be removed as well: app, "
                                              "lib.") }));
    }

    void takesNoForAnAnswer()
    {
        int code = -1;
        InstallWithPreview(
            QStringLiteral("other"), this, [](const Pakmart::Plan&) { return false; },
            [&code](Pakmart::Error::Code ended) { code = ended; });
        QTRY_COMPARE_WITH_TIMEOUT(code, int(Pakmart::Error::Cancelled), 60000);
    }

    void showsProducts()
    {
        QCOMPARE(InitIndex(), 0);
        {
            CCatalogFile file;
            QVERIFY(file.Create());
            file.setServerSerialNumber(1);
            file.setName("Chess");
            file.setPackageName("app");
            QVERIFY(file.SaveRecord());
        }
        UnInitIndex();
        QStringList shown;
        QObject host;
        Pakmart::ProductModel* products
            = ShowProducts(&host, [&shown](const QString& line) { shown << line; });
        QTRY_COMPARE(shown, QStringList(QStringLiteral("Chess")));
        products->setText(QStringLiteral("go"));
        QTRY_COMPARE(shown.last(), QStringLiteral("Nothing was found for \"go\"."));
    }

    void showsAPicture()
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("picture.png"));
        QImage drawn(8, 8, QImage::Format_ARGB32);
        drawn.fill(Qt::red);
        QVERIFY(drawn.save(path));
        Pakmart::PictureStore pictures;
        QSize shown;
        ShowPicture(path, &pictures, [&shown](const QImage& image) { shown = image.size(); });
        QTRY_COMPARE(shown, QSize(8, 8));
    }

    void followsAJob()
    {
        QStringList shown;
        auto* job = new Pakmart::RemoveJob({ QStringLiteral("foe") });
        bool done = false;
        connect(job, &KJob::result, this, [&done] { done = true; });
        Follow(job, this, [&shown](const QString& text) { shown << text; });
        job->start();
        QTRY_VERIFY_WITH_TIMEOUT(done, 60000);
        QVERIFY(shown.contains(QStringLiteral("foe")));
        QVERIFY(shown.contains(QStringLiteral("100 %")));
    }

    void checksAndRepairs()
    {
        const QString half = m_repository->root + QStringLiteral("/tmp/1700000000_1.xml");
        QFile file(half);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner));
        QStringList lines;
        CheckAndRepair(this, [&lines](const QString& line) { lines << line; });
        QTRY_COMPARE_WITH_TIMEOUT(QFile::exists(half), false, 60000);
        QTest::qWait(500);
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines.first().contains(half), qPrintable(lines.first()));
    }

    void asksTheStore()
    {
        StoreMachine store;
        QVERIFY(store.setUp());
        QVERIFY(store.use("http://127.0.0.1:9/getagentapi.php"));
        QStringList shown;
        const auto show = [&shown](const QString& news) { shown << news; };
        Refresh(this, show);
        QTRY_COMPARE_WITH_TIMEOUT(shown.size(), 1, 60000);
        QVERIFY2(shown.first().startsWith(QLatin1String("The store cannot be reached.")),
                 qPrintable(shown.first()));
        shown.clear();
        QVERIFY(store.serve());
        Refresh(this, show);
        QTRY_VERIFY_WITH_TIMEOUT(shown.contains(QLatin1String("new: Star Lander (1001)")), 60000);
        QVERIFY(shown.first().endsWith(QLatin1String(" products")));

        QString failure = QStringLiteral("not done"), program;
        InstallProduct(1001, this, [&](const QString& text, const QString& path) {
            failure = text;
            program = path;
        });
        QTRY_COMPARE_WITH_TIMEOUT(failure, QString(), 60000);
        QVERIFY2(program.contains(QLatin1String("starlander")), qPrintable(program));
    }
};

QTEST_GUILESS_MAIN(HostGuideTest)
#include "tst_hostguide.moc"
