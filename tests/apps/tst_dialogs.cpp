// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart --dialogs on a display: the user can read the library's boxes, and the program
// continues when the user closes them.

#include "tests/apps/demomachine.h"
#include "tests/apps/xdisplay.h"

#include <QtTest>
#include <csignal>

class DialogsTest : public QObject
{
    Q_OBJECT

private:
    static constexpr int patience = 120000; // ms; only a hang takes longer

    // pakmart on this display. It ends with the test at the latest.
    class Shown : public QProcess
    {
    public:
        Shown(const XDisplay& display, const QStringList& words)
        {
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert(QStringLiteral("DISPLAY"), QString::fromLatin1(display.name()));
            environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
            setProcessEnvironment(environment);
            start(QStringLiteral(PAKMART), QStringList(QStringLiteral("--dialogs")) + words);
        }
        ~Shown() override
        {
            terminate();
            if (!waitForFinished(10000))
                kill();
            waitForFinished();
        }
    };

    DemoMachine m_machine;
    XDisplay m_display;

    // The text of a box, copied as a user would.
    QString textOf(const QString& window) const
    {
        const QRect place = m_display.place(window);
        m_display.click(window, place.width() / 2, place.height() / 3);
        m_display.press(window, { QStringLiteral("ctrl+a"), QStringLiteral("ctrl+c") });
        return m_display.clipboard();
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_display.isRunning());
        QVERIFY(m_machine.setUp());
    }
    void cleanupTestCase() { QCOMPARE(m_machine.endServer(SIGTERM), 0); }
    void init() { QVERIFY(m_machine.useServer(m_machine.url())); }

    void installEndsWithTheSuccessDialog()
    {
        Shown pakmart(m_display,
                      { QStringLiteral("install"), QStringLiteral("-y"), QStringLiteral("1001") });
        QString box;
        QTRY_VERIFY_WITH_TIMEOUT(
            !(box = m_display.window("^Pakmart - Installation Success$")).isEmpty(), patience);
        QCOMPARE(m_display.place(box).size(), QSize(370, 220));
        QTRY_VERIFY_WITH_TIMEOUT(
            textOf(box).startsWith(QLatin1String("Star Lander has been installed!")), patience);

        // "Details" opens the log.
        m_display.click(box, 45, 194);
        QTRY_VERIFY_WITH_TIMEOUT(textOf(box).contains(QLatin1String("\n\nInstallation Log\n")),
                                 patience);
        QVERIFY(textOf(box).contains(QLatin1String("\nSetting up starlander (")));
        // "Run It!" starts the program and leaves the box open.
        m_display.click(box, 245, 194);
        QFile log(qEnvironmentVariable("XDG_CACHE_HOME") + QStringLiteral("/pakmart/last.log"));
        QVERIFY(log.open(QIODevice::ReadOnly));
        QByteArray lines;
        QTRY_VERIFY_WITH_TIMEOUT((lines += log.readAll()).contains("The ship has landed.\n"),
                                 patience);
        QCOMPARE(m_display.window("^Pakmart - Installation Success$"), box);

        // pakmart waits for the user, and ends when "Close" is clicked.
        QCOMPARE(pakmart.state(), QProcess::Running);
        m_display.click(box, 325, 194);
        QVERIFY(pakmart.waitForFinished(60000));
        QCOMPARE(pakmart.exitStatus(), QProcess::NormalExit);
        QCOMPARE(pakmart.exitCode(), 0);
        // The text of a box that was shown is not printed as well.
        const QByteArray out = pakmart.readAllStandardOutput();
        QVERIFY2(out.contains("Setting up starlander"), out.constData());
        QVERIFY2(!out.contains("has been installed!"), out.constData());
        QVERIFY(
            m_machine.dpkgStatus().contains("Package: starlander\nStatus: install ok installed\n"));
    }

    void aProgramOfNoPackageIsNotStarted()
    {
        const QString mark = m_machine.dir + QStringLiteral("/started");
        const QString script = m_machine.root + QStringLiteral("/usr/bin/other");
        QFile file(script), products(m_machine.store() + QStringLiteral("/products"));
        QVERIFY(file.open(QIODevice::WriteOnly)
                && file.write("#!/bin/sh\n: > " + QFile::encodeName(mark) + '\n') > 0);
        file.close();
        QVERIFY(QFile::setPermissions(script, QFile::Permissions(0x7755)));
        QVERIFY(products.open(QIODevice::ReadOnly));
        const QByteArray before = products.readAll();
        products.close();
        const QByteArray path = "/usr/games/starlander";
        QVERIFY2(before.contains("Path: " + path + '\n'), before.constData());
        const auto write = [&products](const QByteArray& text) {
            QVERIFY(products.open(QIODevice::WriteOnly) && products.write(text) == text.size());
            products.close();
        };
        write(QByteArray(before).replace("Path: " + path + '\n', "Path: /usr/bin/other\n"));
        QCOMPARE(DemoMachine::pakmart({ QStringLiteral("remove"), QStringLiteral("--yes"),
                                        QStringLiteral("starlander") })
                     .status,
                 0);
        Shown pakmart(m_display,
                      { QStringLiteral("install"), QStringLiteral("-y"), QStringLiteral("1001") });
        QString box;
        QTRY_VERIFY_WITH_TIMEOUT(
            !(box = m_display.window("^Pakmart - Installation Success$")).isEmpty(), patience);
        QByteArray err;
        QTRY_VERIFY_WITH_TIMEOUT(
            (err += pakmart.readAllStandardError())
                .contains("'Run It!' is switched off: no package of this product has the program "
                          "/usr/bin/other\n"),
            patience);
        m_display.click(box, 245, 194);
        m_display.click(box, 325, 194);
        QVERIFY(pakmart.waitForFinished(60000));
        QVERIFY(!QFile::exists(mark));
        write(before);
    }

    void failedInstallEndsWithTheFailureDialog()
    {
        Shown pakmart(m_display,
                      { QStringLiteral("install"), QStringLiteral("-y"), QStringLiteral("9002") });
        QString box;
        QTRY_VERIFY_WITH_TIMEOUT(
            !(box = m_display.window("^Pakmart - Installation Failure$")).isEmpty(), patience);
        QTRY_VERIFY_WITH_TIMEOUT(
            textOf(box).startsWith(QLatin1String("Pakmart failed to install this product.\n\n")),
            patience);
        QVERIFY(textOf(box).contains(QLatin1String("Hash Sum mismatch")));
        QCOMPARE(pakmart.state(), QProcess::Running);
        m_display.click(box, 325, 194);
        QVERIFY(pakmart.waitForFinished(60000));
        QCOMPARE(pakmart.exitCode(), 1);
    }

    void messageBoxIsShown()
    {
        QVERIFY(m_machine.useServer(QStringLiteral("http://127.0.0.1:1")));
        Shown pakmart(m_display, { QStringLiteral("update-sources") });
        QString box;
        QTRY_VERIFY_WITH_TIMEOUT(!(box = m_display.window("^Error")).isEmpty(), patience);
        QTRY_COMPARE_WITH_TIMEOUT(
            textOf(box),
            QStringLiteral("Pakmart was unable to connect to the VantrelNet server.\n"
                           "If you continue to get this message, please use Pakmart to "
                           "check for available system updates."),
            patience);
        QCOMPARE(pakmart.state(), QProcess::Running);
        m_display.press(box, { QStringLiteral("Return") });
        QVERIFY(pakmart.waitForFinished(60000));
        QCOMPARE(pakmart.exitCode(), 1);
        QVERIFY(!pakmart.readAllStandardError().contains("unable to connect"));
    }
};

QTEST_GUILESS_MAIN(DialogsTest)
#include "tst_dialogs.moc"
