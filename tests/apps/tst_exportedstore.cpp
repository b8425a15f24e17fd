// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A machine whose store is files: a signed store is exported, and nginx serves it, with a store
// server for what is personal behind it or without one.

#include "tests/apps/demomachine.h"
#include "tests/common/exportedsite.h"
#include "tests/common/signingkey.h"

#include <QtTest>
#include <memory>

class ExportedStoreTest : public QObject
{
    Q_OBJECT

private:
    DemoMachine m_machine;
    std::unique_ptr<SigningKey> m_key;
    std::unique_ptr<Nginx> m_nginx;
    quint16 m_port = 0;

    QByteArray url() const { return "http://127.0.0.1:" + QByteArray::number(m_port); }
    QString exported() const { return m_machine.dir + QStringLiteral("/exported"); }
    QStringList signing() const { return { QStringLiteral("--sign"), m_key->secretFile() }; }
    bool exportStore() const
    {
        const auto result = ServerProcess::run(
            QStringList{ QStringLiteral("export"), QStringLiteral("--public-url"),
                         QString::fromLatin1(url()) }
            + signing() + QStringList{ m_machine.store(), exported() });
        if (result.status != 0)
            qWarning("%s", result.err.constData());
        return result.status == 0;
    }
    // The address of the store is in what is signed.
    bool startSite(quint16 serverPort)
    {
        for (int tries = 0; tries < 5; ++tries) {
            if (m_port == 0 || tries > 0)
                m_port = Nginx::freePort();
            m_nginx = nullptr;
            if (!exportStore())
                return false;
            m_nginx = std::make_unique<Nginx>(m_machine.dir + QStringLiteral("/nginx"),
                                              ExportedSite(exported(), m_port, serverPort));
            if (m_nginx->start(m_port))
                return m_machine.trustStore(m_key->publicFile(), url())
                    && m_machine.useServer(QString::fromLatin1(url()));
        }
        return false;
    }
    QByteArray catalog() const
    {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress(QHostAddress::LocalHost), m_port);
        if (!socket.waitForConnected(60000))
            return {};
        socket.write("GET /agent/CAPIUpdateCatalog HTTP/1.1\r\nHost: a\r\n"
                     "Connection: close\r\n\r\n");
        return ServerProcess::receive(socket).body;
    }
    // For a moment the process before answers as well.
    bool waitForCatalogWith(const char* text) const
    {
        int inARow = 0;
        for (int tries = 0; tries < 3000 && inARow < 30; ++tries) {
            QTest::qWait(20);
            inARow = catalog().contains(text) ? inARow + 1 : 0;
        }
        return inARow == 30;
    }
    static void run(const QStringList& words, const char* said = "", int status = 0)
    {
        const DemoMachine::Result result = DemoMachine::pakmart(words);
        QVERIFY2(result.status == status,
                 qPrintable(words.join(QLatin1Char(' ')) + result.out + result.err));
        QVERIFY2((result.out + result.err).contains(QLatin1String(said)), qPrintable(result.out));
    }
    static QStringList words(const char* line)
    {
        return QString::fromLatin1(line).split(QLatin1Char(' '));
    }

private slots:
    void initTestCase()
    {
        if (!Nginx::isThere())
            return QTest::qSkip("nginx is not there; tools/unpack-nginx fetches it", __FILE__,
                                __LINE__);
        QVERIFY(m_machine.setUp());
        m_key = std::make_unique<SigningKey>(m_machine.dir + QStringLiteral("/key"));
    }
    void cleanupTestCase() { m_nginx.reset(); }

    // A product that needs no other, from its description to its removal.
    void nginxAloneIsAStore()
    {
        QVERIFY(startSite(Nginx::freePort()));
        run(words("update"), "The catalog has 14 products");
        run(words("show 1003"), "Dice & Cards");
        run(words("aisles"), "Play");
        run(words("install --yes 1003"));
        QVERIFY(
            m_machine.dpkgStatus().contains("Package: dicecards\nStatus: install ok installed\n"));
        run(words("remove --yes 1003"));
        run(words("sync"), "", 1);
    }

    void aChangeComesWithTheNextVersion()
    {
        QVERIFY(startSite(Nginx::freePort()));
        run(words("update"));
        QFile products(m_machine.store() + QStringLiteral("/products"));
        QVERIFY(products.open(QIODevice::ReadOnly));
        const QByteArray text = products.readAll();
        QVERIFY(WriteTextFile(products.fileName(),
                              QByteArray(text).replace("Name: Maze Runner\n", "Name: Mazes\n")));
        run(words("update"), "Nothing has changed since the last update.");
        QVERIFY(exportStore());
        QVERIFY(m_nginx->reload());
        QVERIFY(waitForCatalogWith("Mazes"));
        run(words("update"), "Mazes (1002)");
    }

    // Several products at once, and the account.
    void theRestIsLeftToAServer()
    {
        QVERIFY(startSite(Nginx::freePort()));
        const ServerProcess server(
            m_machine.store(),
            QStringList{ QStringLiteral("--public-url"), QString::fromLatin1(url()),
                         QStringLiteral("--dates"), QStringLiteral("shared"),
                         QStringLiteral("--proxy"), QStringLiteral("127.0.0.1") }
                + signing());
        QVERIFY(server.isRunning());
        QVERIFY(startSite(server.port()));
        run(words("update"));
        run(words("install --yes 1001")); // with a library
        QVERIFY(
            m_machine.dpkgStatus().contains("Package: starlander\nStatus: install ok installed\n"));
        run(words("sync"), "Star Lander (starlander)");
        run(words("update"));
    }
};

QTEST_GUILESS_MAIN(ExportedStoreTest)
#include "tst_exportedstore.moc"
