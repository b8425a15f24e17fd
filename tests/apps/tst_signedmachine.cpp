// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart on a machine that trusts the key of a store: the whole way from the server's
// signature to dpkg.

#include "tests/apps/demomachine.h"
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
};

QTEST_GUILESS_MAIN(SignedMachineTest)
#include "tst_signedmachine.moc"
