// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A store behind nginx, which does TLS, with the site that comes with the server; and what an
// https server may and may not redirect to.

#include "tests/apps/demomachine.h"
#include "tests/common/certificates.h"
#include "tests/common/nginx.h"
#include "tests/common/signingkey.h"

#include <QSslSocket>
#include <QtTest>
#include <memory>

namespace
{

bool isTrusted = false; // this machine trusts the test's authority

QByteArray Contents(const QString& name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class BehindNginxTest : public QObject
{
    Q_OBJECT

public:
    explicit BehindNginxTest(const Certificates& certificates) : m_certificates(certificates) { }

private:
    const Certificates& m_certificates;
    DemoMachine m_machine;
    std::unique_ptr<SigningKey> m_key;
    std::unique_ptr<ServerProcess> m_server;
    std::unique_ptr<Nginx> m_nginx;
    QByteArray m_log;
    quint16 m_port = 0; // of HTTPS
    quint16 m_plainPort = 0;

    static QByteArray url(const char* scheme, quint16 port)
    {
        return QByteArray(scheme) + "://127.0.0.1:" + QByteArray::number(port);
    }
    QByteArray url() const { return url("https", m_port); }
    static QByteArray listen(quint16 port)
    {
        return "listen 127.0.0.1:" + QByteArray::number(port);
    }
    QByteArray certificates() const
    {
        const QStringList files = m_certificates.trusted();
        return "ssl_certificate " + QFile::encodeName(files[1]) + ";\nssl_certificate_key "
            + QFile::encodeName(files[3]) + ";\n";
    }

    // The site as it comes, with the ports and the certificate of the test.
    QByteArray site() const
    {
        const QStringList files = m_certificates.trusted();
        return Nginx::replaced(
            Contents(QStringLiteral(SITE)),
            { { "listen 80", listen(m_plainPort) },
              { "listen 443", listen(m_port) },
              { "https://store.example", url() },
              { "server 127.0.0.1:8080",
                "server 127.0.0.1:" + QByteArray::number(m_server->port()) },
              { "/etc/ssl/store.example.pem", QFile::encodeName(files[1]) },
              { "/etc/ssl/private/store.example.key", QFile::encodeName(files[3]) } });
    }
    // Another process may take a free port in between.
    bool startSite()
    {
        for (int tries = 0; tries < 5; ++tries) {
            m_port = Nginx::freePort();
            m_plainPort = Nginx::freePort();
            m_server = std::make_unique<ServerProcess>(
                m_machine.store(),
                QStringList{ QStringLiteral("--proxy"), QStringLiteral("127.0.0.1"),
                             QStringLiteral("--public-url"), QString::fromLatin1(url()),
                             QStringLiteral("--access-log"), logFile(), QStringLiteral("--sign"),
                             m_key->secretFile() });
            m_nginx = std::make_unique<Nginx>(m_machine.dir + QStringLiteral("/nginx"), site());
            if (m_server->isRunning() && m_nginx->start(m_port))
                return true;
            m_log += m_nginx->log();
        }
        return false;
    }
    QString logFile() const { return m_machine.dir + QStringLiteral("/access.log"); }

    // The whole reply, over TLS or not. `from` is the client's own address.
    static QByteArray ask(quint16 port, const QByteArray& request, bool isSecure = true,
                          const QString& from = QStringLiteral("127.0.0.1"))
    {
        QSslSocket socket;
        socket.setPeerVerifyMode(QSslSocket::VerifyNone);
        if (!socket.bind(QHostAddress(from)))
            return {};
        if (isSecure)
            socket.connectToHostEncrypted(QStringLiteral("127.0.0.1"), port);
        else
            socket.connectToHost(QStringLiteral("127.0.0.1"), port);
        if (!(isSecure ? socket.waitForEncrypted(60000) : socket.waitForConnected(60000)))
            return {};
        socket.write(request);
        while (socket.state() == QAbstractSocket::ConnectedState
               && socket.waitForReadyRead(60000)) { }
        return socket.readAll();
    }
    static QByteArray request(const QByteArray& method, const QByteArray& target,
                              const QByteArray& headers = {})
    {
        return method + ' ' + target + " HTTP/1.1\r\nHost: store.example\r\nConnection: close\r\n"
            + headers + "\r\n";
    }

    static DemoMachine::Result install()
    {
        return DemoMachine::pakmart(
            { QStringLiteral("install"), QStringLiteral("--yes"), QStringLiteral("1001") });
    }

private slots:
    void initTestCase()
    {
        if (!Nginx::isThere())
            return QTest::qSkip("nginx is not there; tools/unpack-nginx fetches it", __FILE__,
                                __LINE__);
        QVERIFY(m_machine.setUp());
        m_key = std::make_unique<SigningKey>(m_machine.dir + QStringLiteral("/key"));
        QVERIFY2(startSite(), m_log);
    }
    void cleanupTestCase()
    {
        m_nginx.reset();
        m_server.reset();
    }

    void init() // what was downloaded would not be fetched again
    {
        QDir archives(m_machine.root + QStringLiteral("/var/cache/apt/archives"));
        for (const QString& name : archives.entryList({ QStringLiteral("*.deb") }, QDir::Files))
            QVERIFY(archives.remove(name));
    }

    // -- the site

    void nginxAcceptsIt()
    {
        Nginx other(m_machine.dir + QStringLiteral("/check"), site());
        QVERIFY2(other.check(), other.log());
    }
    void plainRequestsAreLedToHttps()
    {
        const QByteArray reply = ask(m_plainPort, request("GET", "/getagentapi.php?a=b"), false);
        QVERIFY2(reply.startsWith("HTTP/1.1 301 "), reply);
        QVERIFY2(reply.contains("\r\nLocation: " + url() + "/getagentapi.php?a=b\r\n"), reply);
    }
    void theLogHasTheClientThatNginxHasSeen()
    {
        const QByteArray reply
            = ask(m_port, request("GET", "/getagentapi.php?x", "X-Forwarded-For: 192.0.2.1\r\n"),
                  true, QStringLiteral("127.0.0.5"));
        QVERIFY2(reply.startsWith("HTTP/1.1 200 "), reply);
        QVERIFY2(reply.contains("<url>" + url() + "/agent/"), reply);
        QTRY_VERIFY_WITH_TIMEOUT(Contents(logFile()).contains("/getagentapi.php?x "), 60000);
        const QByteArray log = Contents(logFile());
        QVERIFY2(log.contains("127.0.0.5 - - [") && !log.contains("192.0.2.1"), log);
    }
    void otherMethodsDoNotReachTheServer()
    {
        QVERIFY(ask(m_port, request("PUT", "/put-here")).startsWith("HTTP/1.1 403 "));
        QVERIFY(!Contents(logFile()).contains("put-here"));
    }
    void aLongQueryReachesTheServer()
    {
        QByteArray query = "?";
        for (int i = 0; i < 400; ++i)
            query += "app_id[]=100100&";
        QVERIFY2(ask(m_port, request("GET", "/agent/CAPIDownloadAppInfo" + query))
                     .startsWith("HTTP/1.1 200 "),
                 "refused");
    }

    // With replies and packages that are signed.
    void aProductComesThroughIt()
    {
        if (!isTrusted)
            return QTest::qSkip("this system does not let the test choose what the machine trusts",
                                __FILE__, __LINE__);
        QVERIFY(m_machine.trustStore(m_key->publicFile(), url()));
        QVERIFY(m_machine.useServer(QString::fromLatin1(url())));
        const DemoMachine::Result updated = DemoMachine::pakmart({ QStringLiteral("update") });
        QVERIFY2(updated.status == 0, qPrintable(updated.err));
        const DemoMachine::Result result = install();
        QVERIFY2(result.status == 0, qPrintable(result.err));
        QVERIFY(
            m_machine.dpkgStatus().contains("Package: starlander\nStatus: install ok installed\n"));
        for (const char* part : { "/getagentapi.php HTTP", "/agent/CAPIUpdateCatalog HTTP",
                                  "/Packages", "starlander_" })
            QVERIFY2(Contents(logFile()).contains(part), part);
        const DemoMachine::Result gone = DemoMachine::pakmart(
            { QStringLiteral("remove"), QStringLiteral("--yes"), QStringLiteral("1001") });
        QVERIFY2(gone.status == 0, qPrintable(gone.err));
    }

    // -- redirections

    void whatHttpsLeadsTo_data()
    {
        QTest::addColumn<QByteArray>("place"); // that is redirected
        QTest::addColumn<bool>("isSecure"); // what it leads to
        QTest::addColumn<int>("updated"); // the status of pakmart update
        QTest::addColumn<int>("installed");
        const auto row
            = [](const char* name, const char* place, bool isSecure, int updated, int installed) {
                  QTest::newRow(name) << QByteArray(place) << isSecure << updated << installed;
              };
        row("directory to https", "= /getagentapi.php", true, 0, 0);
        row("directory to http", "= /getagentapi.php", false, 1, 1);
        row("catalog to https", "= /agent/CAPIUpdateCatalog", true, 0, 0);
        row("catalog to http", "= /agent/CAPIUpdateCatalog", false, 1, 0);
        row("index to https", "~ InRelease|Packages", true, 0, 0);
        row("index to http", "~ InRelease|Packages", false, 0, 1);
        row("archives to https", "~ [.]deb$", true, 0, 0);
        row("archives to http", "~ [.]deb$", false, 0, 1);
    }
    void whatHttpsLeadsTo()
    {
        if (!isTrusted)
            return QTest::qSkip("this system does not let the test choose what the machine trusts",
                                __FILE__, __LINE__);
        QFETCH(QByteArray, place);
        QFETCH(bool, isSecure);
        QFETCH(int, updated);
        QFETCH(int, installed);
        const quint16 port = Nginx::freePort();
        // The store's own addresses are those of the site that redirects.
        const ServerProcess server(m_machine.store(),
                                   { QStringLiteral("--public-url"),
                                     QString::fromLatin1(url("https", port)),
                                     QStringLiteral("--sign"), m_key->secretFile() });
        QVERIFY(server.isRunning());
        const QByteArray plain = url("http", server.port());
        const quint16 goalPort = Nginx::freePort();
        const QByteArray goal = isSecure ? url("https", goalPort) : plain;
        Nginx nginx(m_machine.dir + QStringLiteral("/redirects"),
                    certificates() + "proxy_buffer_size 16k; proxy_buffers 8 16k;\nserver { "
                        + listen(goalPort) + " ssl; location / { proxy_pass " + plain
                        + "; } }\nserver { " + listen(port) + " ssl; location " + place
                        + " { return 302 " + goal + "$request_uri; }\nlocation / { proxy_pass "
                        + plain + "; } }\n");
        QVERIFY2(nginx.start(port), nginx.log());
        QVERIFY(m_machine.trustStore(m_key->publicFile(), url("https", port)));
        QVERIFY(m_machine.useServer(QString::fromLatin1(url("https", port))));
        const DemoMachine::Result update = DemoMachine::pakmart({ QStringLiteral("update") });
        QVERIFY2(update.status == updated, qPrintable(update.err));
        const DemoMachine::Result result = install();
        QVERIFY2(result.status == installed, qPrintable(result.err));
        QCOMPARE(
            m_machine.dpkgStatus().contains("Package: starlander\nStatus: install ok installed\n"),
            installed == 0);
        if (installed == 0)
            QCOMPARE(DemoMachine::pakmart({ QStringLiteral("remove"), QStringLiteral("--yes"),
                                            QStringLiteral("1001") })
                         .status,
                     0);
    }
};

// Before anything makes threads.
int main(int argc, char** argv)
{
    const Certificates certificates(QString::fromLocal8Bit(qgetenv("TEST_DIR"))
                                    + QStringLiteral("/certificates"));
    isTrusted = certificates.becomeTrusted();
    const QCoreApplication application(argc, argv);
    BehindNginxTest test(certificates);
    return QTest::qExec(&test, argc, argv);
}
#include "tst_behindnginx.moc"
