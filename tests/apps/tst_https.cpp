// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A store over HTTPS: the server's certificate, what the machine trusts, and the whole way of
// a product from the directory to dpkg.

#include "tests/apps/demomachine.h"
#include "tests/common/certificates.h"

#include <QSslConfiguration>
#include <QSslSocket>
#include <QtTest>
#include <memory>

namespace
{

bool isTrusted = false; // this machine trusts the test's authority

QString Url(const ServerProcess& server)
{
    return QStringLiteral("https://127.0.0.1:%1").arg(server.port());
}

QByteArray Contents(const QString& name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class HttpsTest : public QObject
{
    Q_OBJECT

public:
    explicit HttpsTest(const Certificates& certificates) : m_certificates(certificates) { }

private:
    const Certificates& m_certificates;
    DemoMachine m_machine;
    QString m_log;
    std::unique_ptr<ServerProcess> m_server;

    // The whole reply to a request over TLS, whoever the server is.
    QByteArray ask(const QByteArray& request,
                   QSsl::SslProtocol protocol = QSsl::SecureProtocols) const
    {
        QSslSocket socket;
        socket.setPeerVerifyMode(QSslSocket::VerifyNone);
        socket.setProtocol(protocol);
        socket.connectToHostEncrypted(QStringLiteral("127.0.0.1"), m_server->port());
        if (!socket.waitForEncrypted(60000))
            return {};
        socket.write(request);
        while (socket.state() == QAbstractSocket::ConnectedState
               && socket.waitForReadyRead(60000)) { }
        return socket.readAll();
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_machine.setUp());
        m_log = m_machine.dir + QStringLiteral("/access.log");
        m_server = std::make_unique<ServerProcess>(
            m_machine.store(),
            m_certificates.trusted() + QStringList{ QStringLiteral("--access-log"), m_log });
        QVERIFY(m_server->isRunning());
        QCOMPARE(QString::fromLatin1(m_server->firstLine()),
                 QStringLiteral("listening on %1/\n").arg(Url(*m_server)));
    }

    // -- the server

    void itsAddressesSayHttps()
    {
        const QByteArray reply = ask("GET /getagentapi.php HTTP/1.1\r\nHost: shop.example\r\n\r\n");
        QVERIFY2(reply.contains("<url>https://shop.example/agent/"), reply);
        QVERIFY2(ask("GET /agent/CAPIGetSourcesList HTTP/1.0\r\n\r\n")
                     .contains(">deb+" + Url(*m_server).toLatin1() + "/pool/main+./<"),
                 reply);
    }
    void aFileComesWhole()
    {
        QByteArray archive(3000000, 'x');
        for (int i = 0; i < archive.size(); i += 7)
            archive[i] = char(i);
        QVERIFY(WriteTextFile(m_machine.store() + QStringLiteral("/pool/main/big.deb"), archive));
        QVERIFY(ask("GET /pool/main/big.deb HTTP/1.1\r\n\r\n").endsWith("\r\n\r\n" + archive));
    }
    void protocolsBelowTls12AreRefused()
    {
        QVERIFY(!ask("GET / HTTP/1.1\r\n\r\n", QSsl::TlsV1_2).isEmpty());
        QCOMPARE(m_server->get("/getagentapi.php").status, 0); // without TLS
        // The greeting of a client that knows TLS 1.1 at most, and what it is told: an alert
        // about the version of the protocol.
        const QByteArray hello = QByteArray::fromHex("0302") + QByteArray(32, 'r')
            + QByteArray::fromHex("000004c013002f0100");
        const QByteArray message = QByteArray::fromHex("010000") + char(hello.size()) + hello;
        const auto client
            = m_server->send(QByteArray::fromHex("16030100") + char(message.size()) + message);
        QVERIFY(client->waitForReadyRead(30000));
        const QByteArray alert = client->read(7);
        QCOMPARE(alert.left(2).toHex(), QByteArray("1503"));
        QCOMPARE(alert.mid(3).toHex(), QByteArray("00020246"));
    }
    // Neither one that says nothing, nor one that stops in the middle of the handshake.
    void clientsThatDoNotShakeHandsHoldNobodyUp()
    {
        std::vector<std::unique_ptr<QTcpSocket>> silent;
        for (int i = 0; i < 100; ++i)
            silent.push_back(
                m_server->send(i % 2 ? QByteArray() : QByteArray::fromHex("16030102")));
        QVERIFY(ask("GET /getagentapi.php HTTP/1.1\r\n\r\n").contains("CAPIUpdateCatalog"));
        QCOMPARE(ServerProcess::receive(*silent.front()).status, 0); // it is given up
    }
    void filesThatDoNotFitAreRefused_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<int>("status");
        QStringList mixed = m_certificates.trusted();
        mixed[3] = m_certificates.selfSigned().at(3);
        QTest::newRow("another key") << mixed << 1;
        QStringList none = m_certificates.trusted();
        none[1] = QStringLiteral("/nonexistent");
        QTest::newRow("no certificate") << none << 1;
        QTest::newRow("no key") << QStringList(m_certificates.trusted().mid(0, 2)) << 2;
        QTest::newRow("key alone") << QStringList(m_certificates.trusted().mid(2)) << 2;
    }
    void filesThatDoNotFitAreRefused()
    {
        QFETCH(QStringList, options);
        QFETCH(int, status);
        const ServerProcess::Result result = ServerProcess::run(
            options
            + QStringList{ QStringLiteral("--port"), QStringLiteral("0"), m_machine.store() });
        QVERIFY2(!result.err.isEmpty(), result.out);
        QCOMPARE(result.status, status);
    }

    // -- the machine

    void anUntrustedCertificateIsRefusedWithTheReason()
    {
        const ServerProcess server(m_machine.store(), m_certificates.selfSigned());
        QVERIFY(server.isRunning());
        QVERIFY(m_machine.useServer(Url(server)));
        const DemoMachine::Result result = DemoMachine::pakmart({ QStringLiteral("update") });
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(QLatin1String("the secure connection (https) failed")),
                 qPrintable(result.err));
        QVERIFY2(result.err.contains(QLatin1String("elf-signed")), qPrintable(result.err));
    }

    void aProductComesOverHttpsAlone()
    {
        if (!isTrusted)
            return QTest::qSkip("this system does not let the test choose what the machine trusts",
                                __FILE__, __LINE__);
        QVERIFY(m_machine.useServer(Url(*m_server)));
        DemoMachine::Result result = DemoMachine::pakmart({ QStringLiteral("update") });
        QVERIFY2(result.status == 0, qPrintable(result.err));
        result = DemoMachine::pakmart(
            { QStringLiteral("install"), QStringLiteral("--yes"), QStringLiteral("1001") });
        QVERIFY2(result.status == 0, qPrintable(result.err));
        QVERIFY(
            m_machine.dpkgStatus().contains("Package: starlander\nStatus: install ok installed\n"));
        for (const char* part : { "/getagentapi.php HTTP", "/agent/CAPIUpdateCatalog HTTP",
                                  "/Packages", "starlander_" })
            QVERIFY2(Contents(m_log).contains(part), part);
    }
};

// Before anything makes threads.
int main(int argc, char** argv)
{
    const Certificates certificates(QString::fromLocal8Bit(qgetenv("TEST_DIR"))
                                    + QStringLiteral("/certificates"));
    isTrusted = certificates.becomeTrusted();
    const QCoreApplication application(argc, argv);
    HttpsTest test(certificates);
    return QTest::qExec(&test, argc, argv);
}
#include "tst_https.moc"
