// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The desktop is told how far changes of packages are, and may end them.

#include "store/desktopprogress.h"
#include "tests/common/statusfile.h"
#include "tests/host/storemachine.h"

#include <Pakmart/CheckJob>
#include <Pakmart/InstallJob>
#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QSignalSpy>
#include <QtTest>

// What the desktop has of one job.
class JobView : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.JobViewV3")

public:
    QVariantMap values; // the last ones
    int ends = 0;
    uint error = 0;

public Q_SLOTS:
    // The arguments are those of the interface.
    void update(const QVariantMap& properties)
    {
        for (auto one = properties.cbegin(); one != properties.cend(); ++one)
            values[one.key()] = one.value();
    }
    void terminate(uint errorCode, const QString&, const QVariantMap&)
    {
        ++ends;
        error = errorCode;
    }

Q_SIGNALS:
    void suspendRequested();
    void resumeRequested();
    void cancelRequested();
};

class JobViewServer : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.JobViewServerV2")

public:
    std::vector<std::unique_ptr<JobView>> views;

public Q_SLOTS:
    QDBusObjectPath requestView(const QString&, int, const QVariantMap&)
    {
        views.push_back(std::make_unique<JobView>());
        const QString path = QStringLiteral("/View%1").arg(views.size());
        QDBusConnection::sessionBus().registerObject(path, views.back().get(),
                                                     QDBusConnection::ExportAllContents);
        return QDBusObjectPath(path);
    }
};

class WindowProgressTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<StoreMachine> m_machine;
    JobViewServer m_desktop;

private slots:
    void initTestCase()
    {
        QGuiApplication::setDesktopFileName(QStringLiteral("org.vantrelos.pakmart-store"));
        QDBusConnection bus = QDBusConnection::sessionBus();
        QVERIFY(bus.registerObject(QStringLiteral("/JobViewServer"), &m_desktop,
                                   QDBusConnection::ExportAllSlots));
        QVERIFY(bus.registerService(QStringLiteral("org.kde.JobViewServer")));
    }
    void init()
    {
        m_desktop.views.clear();
        m_machine = std::make_unique<StoreMachine>();
        QVERIFY(m_machine->setUp());
        QVERIFY(m_machine->serve());
    }

    void anInstallIsShownUntilItsEnd()
    {
        const DesktopProgress progress;
        auto* const job = Pakmart::InstallJob::ofProducts({ 1001 });
        // Others than short ones are shown after a moment.
        job->setProperty("immediateProgressReporting", true);
        QSignalSpy ends(job, SIGNAL(result(KJob*)));
        job->start();
        QVERIFY(ends.wait(120000));
        QTRY_COMPARE(int(m_desktop.views.size()), 1);
        const JobView& view = *m_desktop.views.front();
        QTRY_COMPARE(view.ends, 1);
        QCOMPARE(view.error, 0u);
        QVERIFY2(!view.values[QStringLiteral("title")].toString().isEmpty(),
                 qPrintable(view.values.keys().join(' ')));
        QCOMPARE(StatusWords("starlander"), QByteArray("install ok installed"));
    }

    void theDesktopCanEndIt()
    {
        const DesktopProgress progress;
        QVERIFY(m_machine->useScripted({}));
        m_machine->stall("/getagentapi.php");
        auto* const job = Pakmart::InstallJob::ofProducts({ 1001 });
        job->setProperty("immediateProgressReporting", true);
        int error = -1;
        connect(job, &KJob::result, this, [&error](KJob* ended) { error = ended->error(); });
        job->start();
        QTRY_COMPARE(int(m_desktop.views.size()), 1);
        QTest::qWait(200); // the tracker has the answer
        emit m_desktop.views.front()->cancelRequested();
        QTRY_COMPARE(error, int(Pakmart::Error::Cancelled));
        QTRY_COMPARE(m_desktop.views.front()->ends, 1);
        QCOMPARE(StatusWords("starlander"), QByteArray("none"));
    }

    void whatChangesNothingIsNotShown()
    {
        const DesktopProgress progress;
        auto* const job = new Pakmart::CheckJob;
        job->setProperty("immediateProgressReporting", true);
        QSignalSpy ends(job, SIGNAL(result(KJob*)));
        job->start();
        QVERIFY(ends.wait(60000));
        QTest::qWait(300);
        QCOMPARE(int(m_desktop.views.size()), 0);
    }
};

QTEST_MAIN(WindowProgressTest)
#include "tst_window_progress.moc"
