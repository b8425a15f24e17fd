// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart on a machine that trusts the key of a store: the whole way from the server's
// signature to dpkg.

#include "tests/apps/demomachine.h"
#include "tests/common/scriptedserver.h"
#include "tests/common/signingkey.h"

#include <QDir>
#include <QFile>
#include <QtTest>
#include <memory>

class SignedMachineTest : public QObject
{
    Q_OBJECT

private:
    DemoMachine m_machine;
    std::unique_ptr<SigningKey> m_key;
    std::unique_ptr<ServerProcess> m_signing; // another server of the same store

    QString etc(const char* name) const
    {
        return m_machine.root + QStringLiteral("/etc/pakmart/") + QLatin1String(name);
    }
    void trust(const QString& url) const
    {
        QFile::remove(etc("keys/store.gpg"));
        QDir().mkpath(etc("keys"));
        QVERIFY(QFile::copy(m_key->publicFile(), etc("keys/store.gpg")));
        QVERIFY(WriteTextFile(etc("stores.d/store.sources"),
                              "Types: deb\nURIs: " + url.toLatin1()
                                  + "/pool/main\nSuites: ./\nSigned-By: "
                                    "/etc/pakmart/keys/store.gpg\nRelease-Origin: Pakmart\n"
                                    "Release-Suite: main\n"));
    }
    bool isInstalled(const QByteArray& name) const
    {
        return m_machine.dpkgStatus().contains("Package: " + name
                                               + "\nStatus: install ok installed\n");
    }

    void settings(const QByteArray& lines) const
    {
        QVERIFY(WriteTextFile(etc("settings"), "[Stores]\n" + lines));
    }
    // A reply of the signing server as it came.
    static QByteArray bytesOf(const HttpReply& reply)
    {
        return ScriptedServer::http(reply.body, "200 OK",
                                    "Pakmart-Statement: " + reply.header("Pakmart-Statement")
                                        + "\r\n");
    }
    // Runs pakmart while this process answers as a server.
    static QByteArray runBeside(const QStringList& words, int& status)
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QStringLiteral(PAKMART), words);
        if (!QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, 120000))
            qFatal("pakmart does not end");
        status = process.exitCode();
        return process.readAll();
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_machine.setUp());
        QVERIFY(QFile::remove(etc("settings")));
        m_key = std::make_unique<SigningKey>(m_machine.dir + QStringLiteral("/key"));
        m_signing = std::make_unique<ServerProcess>(
            m_machine.store(), QStringList{ QStringLiteral("--sign"), m_key->secretFile() });
        QVERIFY(m_signing->isRunning());
    }

    void aStoreWithoutAKeyIsRefusedByName()
    {
        const DemoMachine::Result result = DemoMachine::pakmart(
            { QStringLiteral("install"), QStringLiteral("--yes"), QStringLiteral("1001") });
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(QLatin1String("The store '") + m_machine.url()
                                     + QLatin1String("/pool/main' is refused")),
                 qPrintable(result.err));
        QVERIFY2(result.err.contains(QLatin1String("AllowUnsigned in /etc/pakmart/settings")),
                 qPrintable(result.err));
        QVERIFY(!isInstalled("starlander"));
    }
    // It answers in the place of the store, with the same packages.
    void anUnsignedServerInItsPlaceIsRefused()
    {
        trust(m_machine.url());
        const DemoMachine::Result result = DemoMachine::pakmart(
            { QStringLiteral("install"), QStringLiteral("--yes"), QStringLiteral("1001") });
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(QLatin1String("is refused: ")), qPrintable(result.err));
        QVERIFY(!isInstalled("starlander"));
    }
    void aSignedProductIsInstalledAndRemoved()
    {
        trust(m_signing->url());
        QVERIFY(m_machine.useServer(m_signing->url()));
        const DemoMachine::Result result = DemoMachine::pakmart(
            { QStringLiteral("install"), QStringLiteral("--yes"), QStringLiteral("1001") });
        QVERIFY2(result.status == 0, qPrintable(result.err));
        QVERIFY(isInstalled("starlander") && isInstalled("libpixel"));
        QCOMPARE(m_machine.leftInTree(), QStringList());
        const DemoMachine::Result check
            = DemoMachine::pakmart({ QStringLiteral("repair"), QStringLiteral("--check") });
        QVERIFY2(check.status == 0, qPrintable(check.out + check.err));
        QCOMPARE(DemoMachine::pakmart({ QStringLiteral("remove"), QStringLiteral("--yes"),
                                        QStringLiteral("starlander") })
                     .status,
                 0);
        QVERIFY(!isInstalled("starlander"));
    }
    void aDamagedArchiveOfASignedStoreIsRefused()
    {
        const DemoMachine::Result result = DemoMachine::pakmart(
            { QStringLiteral("install"), QStringLiteral("--yes"), QStringLiteral("9002") });
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(QLatin1String("Hash Sum mismatch")), qPrintable(result.err));
        QVERIFY(!isInstalled("crackedmirror"));
    }
    // From here on the replies have to be signed as well.
    void aMachineThatRequiresSignedRepliesGetsThem()
    {
        settings("RequireSignedReplies=yes\n");
        const DemoMachine::Result update = DemoMachine::pakmart({ QStringLiteral("update") });
        QVERIFY2(update.status == 0, qPrintable(update.err));
        const DemoMachine::Result result = DemoMachine::pakmart(
            { QStringLiteral("install"), QStringLiteral("--yes"), QStringLiteral("1001") });
        QVERIFY2(result.status == 0, qPrintable(result.err));
        QVERIFY(isInstalled("starlander"));
    }
    // It answers at the store's own address, with all that the store has signed before.
    void aForgedDescriptionIsNotShown()
    {
        const QByteArray directory = bytesOf(m_signing->get("/getagentapi.php"));
        const HttpReply catalog = m_signing->get("/agent/CAPIUpdateCatalog");
        HttpReply forged = catalog;
        forged.body.replace("<briefdescription>", "<briefdescription>Forged+");
        QVERIFY(forged.body != catalog.body);
        const quint16 port = m_signing->port();
        m_signing.reset();
        ScriptedServer attacker;
        attacker.close();
        QVERIFY(attacker.listen(QHostAddress::LocalHost, port));
        attacker.answer("/getagentapi.php", directory);
        attacker.answer("/agent/CAPIUpdateCatalog", bytesOf(forged));
        int status = 0;
        const QByteArray output = runBeside({ QStringLiteral("update") }, status);
        QCOMPARE(status, 1);
        QVERIFY2(output.contains("is refused: its reply was altered on the way"), output);
        const DemoMachine::Result shown
            = DemoMachine::pakmart({ QStringLiteral("show"), QStringLiteral("1001") });
        QCOMPARE(shown.status, 0);
        QVERIFY2(!shown.out.contains(QLatin1String("Forged")), qPrintable(shown.out));
    }
    void anUnsignedDirectoryIsNotFollowed()
    {
        QVERIFY(m_machine.useServer(m_machine.url()));
        trust(m_machine.url());
        const DemoMachine::Result result = DemoMachine::pakmart({ QStringLiteral("update") });
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.startsWith(QLatin1String("pakmart: The store '") + m_machine.url()
                                       + QLatin1String("' is refused: its reply has no signature")),
                 qPrintable(result.err));
    }
};

QTEST_GUILESS_MAIN(SignedMachineTest)
#include "tst_signedmachine.moc"
