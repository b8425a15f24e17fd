// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Two store servers with one database, and nginx before them: machines get what is right, also
// while a server is killed and the database is started again.

#include "common/nginx.h"
#include "common/postgresql.h"
#include "server/serverprocess.h"

#include <QTemporaryDir>
#include <QThread>
#include <QtTest>
#include <atomic>
#include <csignal>
#include <map>
#include <memory>
#include <thread>
#include <vector>

namespace
{

const int machineCount = 200;
const int machinesAtOnce = 4;
const int mostTries = 20; // of one request
const unsigned long retryPause = 500; // ms, before a request is tried again

// What one machine asks for, in this order.
const char* const targets[] = { "/getagentapi.php",
                                "/agent/CAPIUpdateCatalog",
                                "/agent/CAPIGetAisles",
                                "/agent/CAPISyncMyMachine",
                                "/agent/CAPIDownloadAppInfo?app_id[]=7",
                                "/agent/CAPIGetPackageInfo?filename[]=p_1_all.deb",
                                "/pool/main/p_1_all.deb" };

} // namespace

class SeveralServersTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    quint16 m_port = 0; // of nginx
    std::map<QByteArray, QByteArray> m_right; // the replies
    std::atomic<int> m_done{ 0 }, m_wrong{ 0 }, m_failed{ 0 }, m_repeated{ 0 };

    QString path(const char* name) const { return m_dir->filePath(QLatin1String(name)); }
    void write(const char* name, const QByteArray& text) const
    {
        if (!WriteTextFile(path(name), text))
            qFatal("cannot write a file of the store");
    }
    void makeStore() const
    {
        write("store/products",
              "Serial: 7\nName: A\nCategory: B\nPackage: p\nDescription: d\nProgram: A\nPath: a\n");
        write("store/sources", "Type: dep\nEntry: deb @SERVER@/pool/main ./\nTimestamp: 5\n");
        write("store/aisles", "Name: Play\nCategory: B\n");
        write("store/profile", "Serial: 7\nName: A\nPackage: p\n");
        write("store/pool/main/p_1_all.deb", QByteArray(300000, 'd'));
        write("store/pool/main/Packages",
              "Package: p\nVersion: 1\nArchitecture: all\nFilename: p_1_all.deb\nSize: 300000\n");
    }
    std::unique_ptr<ServerProcess> startServer(const PostgreSql& database) const
    {
        return std::make_unique<ServerProcess>(
            path("store"),
            QStringList{ QStringLiteral("--postgresql"),
                         QString::fromLocal8Bit(database.place("shared")),
                         QStringLiteral("--proxy"), QStringLiteral("127.0.0.1"),
                         QStringLiteral("--public-url"), QStringLiteral("http://store.example") });
    }
    // A server that does not answer is left out for a second; a whole reply is never asked for
    // again.
    static QByteArray site(quint16 port, const std::vector<const ServerProcess*>& servers)
    {
        QByteArray text = "upstream stores {\n";
        for (const ServerProcess* server : servers)
            text += "server 127.0.0.1:" + QByteArray::number(server->port())
                + " max_fails=1 fail_timeout=1s;\n";
        return text + "}\nserver {\nlisten 127.0.0.1:" + QByteArray::number(port)
            + ";\nlocation / {\nproxy_pass http://stores;\n"
              "proxy_set_header X-Forwarded-For $remote_addr;\n"
              "proxy_next_upstream error timeout;\n}\n}\n";
    }

    HttpReply ask(const QByteArray& target) const
    {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress(QHostAddress::LocalHost), m_port);
        if (!socket.waitForConnected(60000))
            return {};
        socket.write("GET " + target
                     + " HTTP/1.1\r\nHost: store.example\r\nConnection: close\r\n\r\n");
        return ServerProcess::receive(socket);
    }
    static bool isWhole(const HttpReply& reply)
    {
        return reply.status == 200 && reply.body.size() == reply.header("Content-Length").toInt();
    }
    // A reply that is whole has to be right. Anything else is asked for again, a few times.
    void get(const QByteArray& target)
    {
        for (int tries = 0; tries < mostTries; ++tries) {
            const HttpReply reply = ask(target);
            if (isWhole(reply)) {
                m_wrong += reply.body == m_right.at(target) ? 0 : 1;
                return;
            }
            ++m_repeated;
            QThread::msleep(retryPause);
        }
        ++m_failed;
    }
    void runMachines()
    {
        while (m_done < machineCount) {
            for (const char* target : targets)
                get(target);
            ++m_done;
        }
    }
    void waitForMachines(int count) const { QTRY_VERIFY_WITH_TIMEOUT(m_done >= count, 300000); }

private slots:
    void init()
    {
        if (!PostgreSql::isThere() || !Nginx::isThere()) {
            QTest::qSkip("PostgreSQL or nginx is not there", __FILE__, __LINE__);
            return;
        }
        m_dir = std::make_unique<QTemporaryDir>();
        makeStore();
    }

    // A server whose database is away is not out of service.
    void theRestIsServedWithoutTheDatabase()
    {
        PostgreSql database(QString::fromLocal8Bit(qgetenv("TEST_DIR")) + QLatin1String("/away"));
        QVERIFY2(database.start() && database.makeDatabase("shared"), database.log());
        const auto one = startServer(database), other = startServer(database);
        m_port = Nginx::freePort();
        Nginx nginx(path("nginx"), site(m_port, { one.get(), other.get() }));
        QVERIFY2(nginx.start(m_port), nginx.log());
        QVERIFY(database.stop());
        for (int i = 0; i < 6; ++i) {
            const HttpReply personal = ask("/agent/CAPISyncMyMachine");
            QCOMPARE(personal.status, 503);
            QCOMPARE(personal.header("Retry-After"), QByteArray("2"));
            QCOMPARE(ask("/agent/CAPIUpdateCatalog").status, 200);
        }
    }
    void machinesGetWhatIsRightWhateverEnds()
    {
        PostgreSql database(QString::fromLocal8Bit(qgetenv("TEST_DIR"))
                            + QLatin1String("/postgresql"));
        QVERIFY2(database.start(), database.log());
        QVERIFY2(database.makeDatabase("shared"), database.said());
        auto one = startServer(database), other = startServer(database);
        QVERIFY(one->isRunning() && other->isRunning());
        for (const char* target : targets) {
            m_right[target] = one->get(target).body;
            QVERIFY2(!m_right[target].isEmpty() && other->get(target).body == m_right[target],
                     target);
        }
        QVERIFY(m_right["/agent/CAPISyncMyMachine"].contains("<packagename>p</packagename>"));
        m_port = Nginx::freePort();
        Nginx nginx(path("nginx"), site(m_port, { one.get(), other.get() }));
        QVERIFY2(nginx.start(m_port), nginx.log());

        std::vector<std::thread> machines;
        for (int i = 0; i < machinesAtOnce; ++i)
            machines.emplace_back([this] { runMachines(); });
        waitForMachines(machineCount / 4);
        one.reset(); // killed
        waitForMachines(machineCount / 2);
        const bool hasRestarted = database.stop() && database.start();
        for (std::thread& machine : machines)
            machine.join();
        QVERIFY2(hasRestarted, database.log());
        QCOMPARE(m_wrong.load(), 0);
        QCOMPARE(m_failed.load(), 0);
        qInfo("%d machines, %d requests were repeated", m_done.load(), m_repeated.load());
        QCOMPARE(other->end(SIGTERM), 0);
    }
};

QTEST_GUILESS_MAIN(SeveralServersTest)
#include "tst_severalservers.moc"
