// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// An installed product is opened by a click, whether the store is there or not.

#include "tests/host/storemachine.h"
#include "tests/window/openwindow.h"

#include <Pakmart/InstallJob>
#include <Pakmart/RefreshCatalogJob>
#include <QSignalSpy>

class WindowOpenTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<StoreMachine> m_machine;
    QString mark() const { return m_machine->dir + QStringLiteral("/mark"); }

    static bool run(KJob* job)
    {
        QSignalSpy ends(job, SIGNAL(result(KJob*)));
        bool isGood = false;
        QObject::connect(job, &KJob::result, job, [&](KJob* one) { isGood = one->error() == 0; });
        job->start();
        return ends.wait(120000) && isGood;
    }
    // Puts a script in the place of the program of Star Lander, which leaves a mark.
    bool makeProgram(const QByteArray& interpreter = "/bin/sh") const
    {
        QFile file(m_machine->root + QStringLiteral("/usr/games/starlander"));
        return file.open(QIODevice::WriteOnly)
            && file.write("#!" + interpreter + "\n: > '" + mark().toLocal8Bit() + "'\n") > 0
            && file.setPermissions(QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    }

private slots:
    void initTestCase()
    {
        qputenv("QT_QUICK_BACKEND", "software");
        m_machine = std::make_unique<StoreMachine>();
        QVERIFY(m_machine->setUp());
        QVERIFY(m_machine->serve());
        QVERIFY(run(new Pakmart::RefreshCatalogJob));
        QVERIFY(run(Pakmart::InstallJob::ofProducts({ 1001 })));
        QVERIFY(m_machine->endServer());
    }
    void init()
    {
        QFile::remove(mark());
        QVERIFY(QFile::remove(m_machine->root + QStringLiteral("/usr/games/starlander")));
        QVERIFY(makeProgram());
    }

    void anInstalledProductIsOpened_data()
    {
        QTest::addColumn<QString>("page");
        QTest::addColumn<QString>("row"); // empty: the page is about the product alone
        QTest::addColumn<int>("width");
        QTest::newRow("on its page") << QStringLiteral("product/1001") << QString() << 1000;
        QTest::newRow("on its narrow page") << QStringLiteral("product/1001") << QString() << 360;
        QTest::newRow("in the list of what is installed")
            << QStringLiteral("installed") << QStringLiteral("product-starlander") << 1000;
        QTest::newRow("in the list of what was used")
            << QStringLiteral("recent") << QStringLiteral("recent-1001") << 360;
    }
    void anInstalledProductIsOpened()
    {
        QFETCH(QString, page);
        QFETCH(QString, row);
        QFETCH(int, width);
        OpenWindow store;
        QVERIFY(store.open(page, QSize(width, 640)));
        QVERIFY(store.click(QStringLiteral("open"), row));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(mark()), 60000);
        QTRY_VERIFY(store.item(QStringLiteral("open"))->isEnabled());
        QVERIFY(!store.item(QStringLiteral("openProblem")));
        store.picture(QStringLiteral("open-") + page.section('/', 0, 0) + QString::number(width));
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void whatIsNotInstalledIsNotOpened()
    {
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("product/1002")));
        QTRY_VERIFY(store.item(QStringLiteral("install"), store.currentPage()));
        QTRY_VERIFY(!store.item(QStringLiteral("open")));
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }

    void aFailureIsShownWhereItHappened()
    {
        QVERIFY(QFile::remove(m_machine->root + QStringLiteral("/usr/games/starlander")));
        QVERIFY(makeProgram("/nowhere/sh"));
        OpenWindow store;
        QVERIFY(store.open(QStringLiteral("installed")));
        const QString row = QStringLiteral("product-starlander");
        QVERIFY(store.click(QStringLiteral("open"), row));
        QTRY_VERIFY_WITH_TIMEOUT(store.item(QStringLiteral("openProblem"), store.item(row)), 60000);
        QCOMPARE(store.texts(QStringLiteral("problemText"), store.item(row)),
                 QStringList{ "The program /usr/games/starlander cannot be started." });
        store.picture(QStringLiteral("open-problem"));
        QVERIFY(store.click(QStringLiteral("close"), row));
        QTRY_VERIFY(!store.item(QStringLiteral("openProblem")));

        QVERIFY(store.click(QStringLiteral("open"), row));
        QTRY_VERIFY_WITH_TIMEOUT(store.item(QStringLiteral("openProblem"), store.item(row)), 60000);
        QVERIFY(QFile::remove(m_machine->root + QStringLiteral("/usr/games/starlander")));
        QVERIFY(makeProgram());
        QVERIFY(store.click(QStringLiteral("retry"), row));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(mark()), 60000);
        QTRY_VERIFY(!store.item(QStringLiteral("openProblem")));
        QCOMPARE(OpenWindow::warnings(), QStringList());
    }
};

QTEST_MAIN(WindowOpenTest)
#include "tst_window_open.moc"
