// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Installs that are made while the API directory is being fetched, which happens once per
// process.

#include "installscene.h"

#include <QtTest>

class InstallRefusedTest : public QObject
{
    Q_OBJECT

private:
    InstallScene m_scene;

    // Makes and runs an install while the directory is being fetched, and another one
    // afterwards. The server's delay is the time in between.
    void installMeanwhile(bool byName)
    {
        QStringList inner, calls;
        bool innerStarted = true;
        m_scene.server.answer("/api", [&](QTcpSocket* socket, const QByteArray&) {
            QTimer::singleShot(300, socket, [this, socket] {
                socket->write(Directory({ { "CAPIGetSourcesList", m_scene.server.url("/s") },
                                          { "CAPIGetPackageInfo", m_scene.server.url("/p") },
                                          { "CAPIDownloadAppInfo", m_scene.server.url("/a") } }));
                socket->disconnectFromHost();
            });
        });
        QTimer::singleShot(100, this, [&] {
            inner = m_scene.run(nullptr, byName);
            innerStarted = m_scene.started;
            calls = m_scene.frontEnd.calls();
        });
        std::vector<long> serials{ 7 };
        delete new CAPIInstallPackages(nullptr, serials, true); // fetches the directory
        QVERIFY(!innerStarted);
        QCOMPARE(inner,
                 (QStringList{ QLatin1String("error ") + Texts::locked,
                               QStringLiteral("failure locked"), QStringLiteral("complete 0") }));
        QCOMPARE(calls, QStringList());
        QCOMPARE(m_scene.run(nullptr, byName).last(), QStringLiteral("complete 1"));
    }

private slots:
    void byNameIsRefusedWithItsText() { installMeanwhile(true); }

    void ofAProductIsRefusedWithItsText() { installMeanwhile(false); }

    void madeMeanwhileAndRunAfterwardsItEnds()
    {
        QPointer<CAPIInstallPackages> early;
        QTimer::singleShot(0, this, [&early] {
            PackageNameArray names{ "foo" };
            early = new CAPIInstallPackages(nullptr, names, true);
        });
        std::vector<long> serials{ 7 };
        delete new CAPIInstallPackages(nullptr, serials, true);
        QVERIFY(early);
        m_scene.run(); // writes the front end, and is an earlier install
        QString end;
        connect(early, &CAPI::APIComplete, this, [&end](bool ok) { end = QString::number(ok); });
        QVERIFY(early->Execute()); // returns, although its own slots are not connected
        QVERIFY(!early);
        QCOMPARE(end, QStringLiteral("1"));
    }
};

QTEST_MAIN(InstallRefusedTest)
#include "tst_installrefused.moc"
