// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Users are told of updates after logging in if they have switched that on, and by nothing that
// goes on afterwards.

#include "store/preferences.h"
#include "tests/common/statusfile.h"
#include "tests/host/storemachine.h"

#include <Pakmart/RefreshCatalogJob>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QSignalSpy>
#include <QtTest>

// The desktop's side.
class Notifications : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    struct Shown {
        QString program, summary, body;
        QStringList actions;
    };
    QList<Shown> shown;

public Q_SLOTS:
    // Names and arguments are those of the interface.
    // NOLINTNEXTLINE(readability-identifier-naming)
    uint Notify(const QString& program, uint, const QString&, const QString& summary,
                const QString& body, const QStringList& actions, const QVariantMap&, int)
    {
        shown << Shown{ program, summary, body, actions };
        return uint(shown.size()) + 40;
    }

Q_SIGNALS:
    // NOLINTNEXTLINE(readability-identifier-naming)
    void ActionInvoked(uint notification, const QString& action);
    // NOLINTNEXTLINE(readability-identifier-naming)
    void NotificationClosed(uint notification, uint reason);
};

class WindowNotifierTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<StoreMachine> m_machine;
    Notifications m_desktop;

    static bool isOpen()
    {
        return QDBusConnection::sessionBus().interface()->isServiceRegistered(
            QStringLiteral("org.vantrelos.pakmart-store"));
    }
    static void install(const char* version)
    {
        WriteStatusFile(QByteArray("Package: dicecards\nStatus: install ok installed\nVersion: ")
                        + version + "\nArchitecture: all\nMaintainer: m\nDescription: d\n\n");
    }
    static void begin(QProcess& process)
    {
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(QStringLiteral(PAKMART_STORE), { QStringLiteral("--background") });
    }

private slots:
    void initTestCase()
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        qputenv("QML2_IMPORT_PATH", QML_MODULES);
        qputenv("QML_IMPORT_PATH", QML_MODULES);
        m_machine = std::make_unique<StoreMachine>();
        QVERIFY(m_machine->setUp());
        QVERIFY(m_machine->serve());
        QDBusConnection bus = QDBusConnection::sessionBus();
        QVERIFY(bus.registerObject(QStringLiteral("/org/freedesktop/Notifications"), &m_desktop,
                                   QDBusConnection::ExportAllSlots
                                       | QDBusConnection::ExportAllSignals));
        QVERIFY(bus.registerService(QStringLiteral("org.freedesktop.Notifications")));
    }
    void init()
    {
        m_desktop.shown.clear();
        install("0.1");
    }

    void theSettingIsOffAndKept()
    {
        QVERIFY(!Preferences::notifies());
        Preferences preferences;
        QSignalSpy changes(&preferences, &Preferences::changed);
        QVERIFY(preferences.setNotifies(true));
        QVERIFY(Preferences::notifies());
        QCOMPARE(changes.size(), 1);
        QFile file(Preferences::file());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll().trimmed(), QByteArray("[Notifications]\nUpdates=true"));
        QVERIFY(preferences.setNotifies(false));
        QVERIFY(!Preferences::notifies());
    }

    void withoutNewsNothingIsShown_data()
    {
        QTest::addColumn<bool>("isOn");
        QTest::addColumn<QByteArray>("installed");
        QTest::newRow("switched off") << false << QByteArray("0.1");
        QTest::newRow("up to date") << true << QByteArray("2.1-1");
    }
    void withoutNewsNothingIsShown()
    {
        QFETCH(bool, isOn);
        QFETCH(QByteArray, installed);
        install(installed.constData());
        Preferences preferences;
        QVERIFY(preferences.setNotifies(isOn));
        QProcess process;
        begin(process);
        QTRY_COMPARE_WITH_TIMEOUT(process.state(), QProcess::NotRunning, 60000);
        QCOMPARE(process.exitCode(), 0);
        QCOMPARE(m_desktop.shown.size(), 0);
        QVERIFY(!isOpen());
    }

    void updatesAreShown_data()
    {
        QTest::addColumn<bool>("isThere");
        QTest::newRow("from the store") << true;
        QTest::newRow("from what the store has offered before") << false;
    }
    void updatesAreShown()
    {
        QFETCH(bool, isThere);
        Preferences preferences;
        QVERIFY(preferences.setNotifies(true));
        QVERIFY(isThere || m_machine->use("http://127.0.0.1:1/getagentapi.php"));
        QProcess process;
        begin(process);
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop.shown.size(), 1, 60000);
        QCOMPARE(m_desktop.shown.first().program, QStringLiteral("Software Store"));
        QCOMPARE(m_desktop.shown.first().summary, QStringLiteral("Updates"));
        QCOMPARE(m_desktop.shown.first().body, QStringLiteral("1 product can be updated."));
        QCOMPARE(m_desktop.shown.first().actions, (QStringList{ "default", "Show the updates" }));
        QTest::qWait(200); // the answer is there
        emit m_desktop.NotificationClosed(99, 2); // of somebody else
        QTest::qWait(200);
        QCOMPARE(process.state(), QProcess::Running);
        QVERIFY(!isOpen());
        emit m_desktop.NotificationClosed(41, 2);
        QTRY_COMPARE_WITH_TIMEOUT(process.state(), QProcess::NotRunning, 60000);
        QCOMPARE(process.exitCode(), 0);
        QVERIFY(m_machine->use(m_machine->url().toLatin1() + "/getagentapi.php"));
    }

    void aClickOpensTheWindow()
    {
        Preferences preferences;
        QVERIFY(preferences.setNotifies(true));
        QProcess process;
        begin(process);
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop.shown.size(), 1, 60000);
        QTest::qWait(200); // the answer is there
        emit m_desktop.ActionInvoked(41, QStringLiteral("default"));
        QTRY_VERIFY_WITH_TIMEOUT(isOpen(), 60000);
        QCOMPARE(process.state(), QProcess::Running);
        process.terminate();
        QTRY_COMPARE_WITH_TIMEOUT(process.state(), QProcess::NotRunning, 60000);
    }
};

QTEST_GUILESS_MAIN(WindowNotifierTest)
#include "tst_window_notifier.moc"
