// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The HTTP side of the store server: the pool, and limits for clients.

#include "server/serverprocess.h"

#include <QDir>
#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{

// A socket whose every send and reset shows.
class RawClient
{
public:
    // `from` is the last number of the client's own address, 127.0.0.x.
    explicit RawClient(quint16 port, int from = 1)
        : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        const sockaddr_in own = loopback(from, 0);
        const sockaddr_in server = loopback(1, port);
        if (::bind(m_socket, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0
            || ::connect(m_socket, reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0)
            qFatal("cannot connect to the store server");
    }
    ~RawClient() { ::close(m_socket); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    bool send(const QByteArray& bytes) const
    {
        return ::send(m_socket, bytes.constData(), std::size_t(bytes.size()), MSG_NOSIGNAL)
            == bytes.size();
    }
    // Everything until the server closes its side.
    QByteArray receive() const
    {
        QByteArray all;
        char block[4096];
        for (ssize_t got; (got = ::recv(m_socket, block, sizeof block, 0)) > 0;)
            all.append(block, int(got));
        return all;
    }

    // Takes some bytes. Returns their number; 0 at the end.
    ssize_t take(char* block, std::size_t size) const { return ::recv(m_socket, block, size, 0); }
    // Whether the server has neither sent anything nor ended the connection.
    bool isHeld() const
    {
        char byte;
        return ::recv(m_socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 && errno == EAGAIN;
    }

private:
    static sockaddr_in loopback(int last, quint16 port)
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(0x7f000000u + std::uint32_t(last));
        return address;
    }

    const int m_socket;
};

// The sockets that a process has open.
int SocketsOf(qint64 pid)
{
    const QDir folder(QStringLiteral("/proc/%1/fd").arg(pid));
    int sockets = 0;
    for (const QString& name :
         folder.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot))
        sockets += QFile::symLinkTarget(folder.filePath(name)).contains(QLatin1String("socket:"));
    return sockets;
}

} // namespace

class StoreHttpTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::unique_ptr<ServerProcess> m_server;
    QByteArray m_archive;

    QString path(const char* name) const { return m_dir.filePath(QLatin1String(name)); }
    QString pool(const char* name) const
    {
        return path("store/pool/main/") + QString::fromUtf8(name);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(!ServerProcess::makeDemoStore(m_dir.path()).isEmpty());
        for (int i = 0; i < 300000; ++i)
            m_archive += char(i * 7 + i / 251);
        QVERIFY(WriteTextFile(pool("big.deb"), m_archive));
        QVERIFY(WriteTextFile(pool("empty.deb"), {}));
        QVERIFY(WriteTextFile(pool("plus+ %41\xc3\xa9.deb"), "odd"));
        QVERIFY(WriteTextFile(path("secret"), "secret"));
        QVERIFY(WriteTextFile(path("outside/secret"), "secret"));
        QVERIFY(QFile::link(path("secret"), pool("link")));
        QVERIFY(QFile::link(pool("big.deb"), pool("inner-link")));
        QVERIFY(QFile::link(path("outside"), pool("folder-link")));
        QCOMPARE(mkfifo(qPrintable(pool("pipe")), 0600), 0);
        m_server = std::make_unique<ServerProcess>(path("store"));
        QVERIFY(m_server->isRunning());
    }

    // No test may have crashed the server.
    void cleanup() { QCOMPARE(m_server->get("/getagentapi.php").status, 200); }

    // -- files

    void aFileComesWhole()
    {
        const HttpReply reply = m_server->get("/pool/main/big.deb");
        QCOMPARE(reply.status, 200);
        QCOMPARE(reply.header("Content-Length"), QByteArray("300000"));
        QCOMPARE(reply.header("Accept-Ranges"), QByteArray("bytes"));
        QVERIFY(reply.body == m_archive);
    }

    void anEmptyFileComes()
    {
        const HttpReply reply = m_server->get("/pool/main/empty.deb");
        QCOMPARE(reply.status, 200);
        QCOMPARE(reply.header("Content-Length"), QByteArray("0"));
        QCOMPARE(reply.body, QByteArray());
    }

    void headTellsWithoutTheBody()
    {
        const HttpReply reply = m_server->ask("HEAD /pool/main/big.deb HTTP/1.1\r\n\r\n");
        QCOMPARE(reply.status, 200);
        QCOMPARE(reply.header("Content-Length"), QByteArray("300000"));
        QCOMPARE(reply.body, QByteArray());
    }

    void oddNamesAreReachedByEscapes()
    {
        QCOMPARE(m_server->get("/pool/main/plus+%20%2541%c3%a9.deb").body, QByteArray("odd"));
        QCOMPARE(m_server->get("/pool/main/./plus%2b%20%2541%C3%A9.deb?x").body, QByteArray("odd"));
    }

    void ranges_data()
    {
        QTest::addColumn<QByteArray>("range");
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("length");
        QTest::newRow("begin") << QByteArray("0-9") << 206 << 0 << 10;
        QTest::newRow("middle") << QByteArray("65530-65545") << 206 << 65530 << 16;
        QTest::newRow("to the end") << QByteArray("299990-") << 206 << 299990 << 10;
        QTest::newRow("all") << QByteArray("0-") << 206 << 0 << 300000;
        QTest::newRow("last byte") << QByteArray("299999-299999") << 206 << 299999 << 1;
        QTest::newRow("end beyond") << QByteArray("299990-999999999") << 206 << 299990 << 10;
        QTest::newRow("suffix") << QByteArray("-5") << 206 << 299995 << 5;
        QTest::newRow("suffix larger than the file") << QByteArray("-400000") << 206 << 0 << 300000;
        QTest::newRow("several") << QByteArray("0-1,5-6") << 200 << 0 << 300000;
        QTest::newRow("at the end") << QByteArray("300000-") << 416 << 0 << 0;
        QTest::newRow("far beyond") << QByteArray("9000000000-") << 416 << 0 << 0;
        QTest::newRow("suffix of nothing") << QByteArray("-0") << 416 << 0 << 0;
    }
    void ranges()
    {
        QFETCH(QByteArray, range);
        QFETCH(int, status);
        QFETCH(int, first);
        QFETCH(int, length);
        const HttpReply reply = m_server->get("/pool/main/big.deb", { "Range: bytes=" + range });
        QCOMPARE(reply.status, status);
        const QByteArray shown
            = QByteArray::number(first) + '-' + QByteArray::number(first + length - 1);
        if (status == 206)
            QCOMPARE(reply.header("Content-Range"), "bytes " + shown + "/300000");
        if (status == 416)
            QCOMPARE(reply.header("Content-Range"), QByteArray("bytes */300000"));
        else
            QVERIFY(reply.body == m_archive.mid(first, length));
    }

    void brokenRangesAreNeverServedWrong_data()
    {
        QTest::addColumn<QByteArray>("range");
        for (const char* range :
             { "bytes=9-1", "bytes=a-b", "bytes=-", "bytes=", "lines=1-2", "bytes=1--2",
               "bytes=99999999999999999999-", "bytes=0-99999999999999999999" })
            QTest::newRow(range) << QByteArray(range);
    }
    void brokenRangesAreNeverServedWrong()
    {
        QFETCH(QByteArray, range);
        const HttpReply reply = m_server->get("/pool/main/big.deb", { "Range: " + range });
        QVERIFY2(reply.status == 416 || reply.status == 400
                     || (reply.status == 200 && reply.body == m_archive),
                 reply.head);
    }

    void aRangeOfAnEmptyFile()
    {
        QCOMPARE(m_server->get("/pool/main/empty.deb", { "Range: bytes=0-" }).status, 416);
    }

    void aRangeOfAReplyIsIgnored()
    {
        const HttpReply reply = m_server->get("/getagentapi.php", { "Range: bytes=5-9" });
        QCOMPARE(reply.status, 200);
        QVERIFY(reply.body.startsWith("<?xml"));
    }

    void continuesOnlyTheSameFile()
    {
        const QByteArray date = m_server->get("/pool/main/big.deb").header("Last-Modified");
        QVERIFY(date.endsWith(" GMT"));
        QCOMPARE(
            m_server->get("/pool/main/big.deb", { "Range: bytes=9-", "If-Range: " + date }).status,
            206);
        const HttpReply other = m_server->get(
            "/pool/main/big.deb", { "Range: bytes=9-", "If-Range: Mon, 01 Jan 2001 00:00:00 GMT" });
        QCOMPARE(other.status, 200);
        QVERIFY(other.body == m_archive);
    }

    void aFileThatHasNotChangedIsNotSent()
    {
        const QByteArray date = m_server->get("/pool/main/Packages").header("Last-Modified");
        const HttpReply same
            = m_server->get("/pool/main/Packages", { "If-Modified-Since: " + date });
        QCOMPARE(same.status, 304);
        QCOMPARE(same.body, QByteArray());
        for (const char* since : { "Mon, 01 Jan 2001 00:00:00 GMT", "yesterday", "" })
            QCOMPARE(
                m_server->get("/pool/main/Packages", { QByteArray("If-Modified-Since: ") + since })
                    .status,
                200);
    }

    // -- what clients keep

    void aReplyThatTheClientHasIsNotSentAgain_data()
    {
        QTest::addColumn<QByteArray>("target");
        for (const char* target :
             { "/getagentapi.php", "/agent/CAPIUpdateCatalog", "/agent/CAPIGetAisles",
               "/agent/CAPIGetOSVer", "/agent/CAPIGetSourcesList",
               "/agent/CAPIDownloadAppInfo?app_id[]=1", "/agent/CAPIGetPackageInfo?filename[]=x",
               "/pool/main/Packages", "/pool/main/big.deb" })
            QTest::newRow(target) << QByteArray(target);
    }
    void aReplyThatTheClientHasIsNotSentAgain()
    {
        QFETCH(QByteArray, target);
        const HttpReply whole = m_server->get(target);
        QCOMPARE(whole.status, 200);
        const QByteArray mark = whole.header("ETag");
        QVERIFY2(mark.endsWith('"'), mark);
        QCOMPARE(m_server->get(target, { "Accept-Encoding: gzip" }).header("ETag"), mark);
        const QByteArray opaque = mark.mid(mark.indexOf('"'));
        for (const QByteArray& known : { mark, opaque, "W/" + opaque, "\"other\", " + mark,
                                         mark + " ,\"other\"", QByteArray("*") }) {
            const HttpReply same = m_server->get(target, { "If-None-Match: " + known });
            QCOMPARE(same.status, 304);
            QCOMPARE(same.body, QByteArray());
            QCOMPARE(same.header("ETag"), mark);
            QCOMPARE(same.header("Content-Length"), QByteArray());
            QCOMPARE(same.header("Content-Encoding"), QByteArray());
        }
        for (const QByteArray& other : { QByteArray("\"other\""), opaque.chopped(1), QByteArray(),
                                         QByteArray(",,"), QByteArray("W/") })
            QCOMPARE(m_server->get(target, { "If-None-Match: " + other }).body, whole.body);
    }

    void howLongAReplyIsKept_data()
    {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<QByteArray>("expected");
        QTest::addColumn<bool>("isMarked");
        const auto row = [](const char* target, const char* expected, bool isMarked) {
            QTest::newRow(target) << QByteArray(target) << QByteArray(expected) << isMarked;
        };
        row("/getagentapi.php", "no-cache", true);
        row("/agent/CAPIUpdateCatalog", "no-cache", true);
        row("/pool/main/Packages", "no-cache", true);
        row("/pool/main/big.deb", "public, max-age=86400", true);
        row("/agent/CAPISyncMyMachine", "no-store", false);
        row("/agent/CAPISetOEMInfo?id=1", "no-store", false);
        row("/agent/nothing", "", false);
        row("/pool/main/nothing.deb", "", false);
    }
    void howLongAReplyIsKept()
    {
        QFETCH(QByteArray, target);
        QFETCH(QByteArray, expected);
        QFETCH(bool, isMarked);
        const HttpReply reply = m_server->get(target);
        QCOMPARE(reply.header("Cache-Control"), expected);
        QCOMPARE(!reply.header("ETag").isEmpty(), isMarked);
    }

    void theMarkOfAFileCountsMoreThanItsDate()
    {
        const QByteArray target = "/pool/main/Packages";
        const QByteArray since
            = "If-Modified-Since: " + m_server->get(target).header("Last-Modified");
        QCOMPARE(m_server->get(target, { since, "If-None-Match: \"other\"" }).status, 200);
    }
    void aFileIsContinuedByItsMark()
    {
        const QByteArray target = "/pool/main/big.deb";
        const QByteArray mark = m_server->get(target).header("ETag");
        QCOMPARE(m_server->get(target, { "Range: bytes=9-", "If-Range: " + mark }).status, 206);
        QCOMPARE(m_server->get(target, { "Range: bytes=9-", "If-Range: \"other\"" }).status, 200);
    }

    // -- paths

    void nothingElseIsThere_data()
    {
        QTest::addColumn<QByteArray>("target");
        for (const char* target : { "/",
                                    "/index.html",
                                    "/products",
                                    "/sources",
                                    "/pool",
                                    "/pool/",
                                    "/pool/main",
                                    "/pool/main/",
                                    "/pool/main/none.deb",
                                    "/pool/../products",
                                    "/pool/main/../../products",
                                    "/pool/%2e%2e/products",
                                    "/pool/main/%2e%2e/%2E%2E/products",
                                    "/pool/main%2f..%2f..%2fproducts",
                                    "/pool/..",
                                    "/pool/main/..",
                                    "/pool/main/../main/big.deb",
                                    "/pool//main/big.deb",
                                    "/pool//etc/passwd",
                                    "/pool/%2fetc%2fpasswd",
                                    "/pool/main/big.deb/",
                                    "/pool/main/big.deb/x",
                                    "/pool/main/big.deb%00",
                                    "/pool/main/big.deb%00.txt",
                                    "/pool/main/%00",
                                    "/pool/main/link",
                                    "/pool/main/inner-link",
                                    "/pool/main/folder-link/secret",
                                    "/pool/main/pipe",
                                    "/pool/main/..%5c..%5cproducts",
                                    "/agent",
                                    "/agent/",
                                    "/agent/CAPI",
                                    "/agent/capigetsourceslist",
                                    "/agent/../getagentapi.php",
                                    "/GETAGENTAPI.PHP",
                                    "/getagentapi.php/",
                                    "//getagentapi.php" })
            QTest::newRow(target) << QByteArray(target);
    }
    void nothingElseIsThere()
    {
        QFETCH(QByteArray, target);
        const HttpReply reply = m_server->get(target);
        QCOMPARE(reply.status, 404);
        QVERIFY(!reply.body.contains("secret") && !reply.body.contains("Serial"));
    }

    void brokenEscapesAreRefused()
    {
        QCOMPARE(m_server->get("/pool/main/%zz").status, 400);
        QCOMPARE(m_server->get("/getagentapi.php?a=%4").status, 400);
        QCOMPARE(m_server->get("/getagentapi.php?a=%00").status, 400);
    }

    // -- bounds

    void aLongQueryIsRefused()
    {
        QCOMPARE(
            m_server->get("/agent/CAPIDownloadAppInfo?app_id[]=" + QByteArray(8200, '1')).status,
            414);
        const QByteArray good = "/agent/CAPIGetPackageInfo?filename[]=" + QByteArray(8000, 'x');
        const HttpReply reply = m_server->get(good);
        QCOMPARE(reply.status, 200);
        QVERIFY(reply.body.size() < 1000); // the name is shortened
    }

    void tooManyParametersAreRefused()
    {
        const QByteArray query = "/agent/CAPIDownloadAppInfo?" + QByteArray("a=1&").repeated(512);
        QCOMPARE(m_server->get(query).status, 200);
        const HttpReply reply = m_server->get(query + "a=1");
        QCOMPARE(reply.status, 400);
        QVERIFY(reply.body.contains("more than 512 parameters"));
    }

    void anEndlessRequestIsCut_data()
    {
        QTest::addColumn<QByteArray>("begin");
        QTest::addColumn<QByteArray>("piece");
        QTest::newRow("line") << QByteArray("GET /") << QByteArray(4096, 'a');
        QTest::newRow("header") << QByteArray("GET / HTTP/1.1\r\nX: ") << QByteArray(4096, 'a');
        QTest::newRow("headers") << QByteArray("GET / HTTP/1.1\r\n")
                                 << QByteArray("X: y\r\n").repeated(700);
        QTest::newRow("nothing but line ends") << QByteArray() << QByteArray("\r\n").repeated(2000);
    }
    void anEndlessRequestIsCut()
    {
        QFETCH(QByteArray, begin);
        QFETCH(QByteArray, piece);
        const auto socket = m_server->send(begin);
        qint64 sent = 0; // in this attempt
        while (sent < 64 * 1024 * 1024 && socket->state() == QAbstractSocket::ConnectedState) {
            sent += socket->write(piece);
            if (!socket->waitForBytesWritten())
                break;
        }
        QVERIFY(sent > 0);
        QVERIFY2(sent < 32 * 1024 * 1024, qPrintable(QString::number(sent)));
    }

    void otherMethodsAreRefused_data()
    {
        QTest::addColumn<QByteArray>("method");
        for (const char* method : { "POST", "PUT", "DELETE", "OPTIONS", "PATCH" })
            QTest::newRow(method) << QByteArray(method);
    }
    void otherMethodsAreRefused()
    {
        QFETCH(QByteArray, method);
        const HttpReply reply
            = m_server->ask(method + " /getagentapi.php HTTP/1.1\r\nContent-Length: 3\r\n\r\na=b");
        QCOMPARE(reply.status, 405);
        QCOMPARE(reply.header("Allow"), QByteArray("GET, HEAD"));
    }

    void noiseIsNoRequest_data()
    {
        QTest::addColumn<QByteArray>("noise");
        QTest::newRow("empty line") << QByteArray("\r\n\r\n");
        QTest::newRow("words") << QByteArray("hello there\r\n\r\n");
        QTest::newRow("zero bytes") << QByteArray(100, '\0') + "\r\n\r\n";
        QTest::newRow("no version") << QByteArray("GET /\r\n\r\n");
        QTest::newRow("other method") << QByteArray("BREW / HTTP/1.1\r\n\r\n");
        QTest::newRow("TLS") << QByteArray::fromHex("160301020001000001fc03030d0a0d0a");
    }
    void noiseIsNoRequest()
    {
        QFETCH(QByteArray, noise);
        const HttpReply reply = m_server->ask(noise);
        QVERIFY2(reply.status == 0 || reply.status == 400 || reply.status == 405, reply.head);
    }

    void aReplyIsNotLostBehindABodyNobodyReads()
    {
        const HttpReply reply = m_server->ask("POST / HTTP/1.1\r\nContent-Length: 40000\r\n\r\n"
                                              + QByteArray(40000, 'x'));
        QCOMPARE(reply.status, 405);
    }

    void aRequestInSinglePiecesIsRead()
    {
        const auto socket = m_server->send({});
        for (const char c : ServerProcess::getRequest("/pool/main/big.deb")) {
            socket->write(&c, 1);
            socket->waitForBytesWritten();
        }
        QVERIFY(ServerProcess::receive(*socket).body == m_archive);
    }

    // -- several at once

    void manyClientsAtOnce()
    {
        std::vector<std::unique_ptr<QTcpSocket>> clients;
        for (int i = 0; i < 100; ++i)
            clients.push_back(m_server->send(ServerProcess::getRequest(
                i % 2 ? "/pool/main/big.deb" : "/agent/CAPIDownloadAppInfo?app_id[]=1001")));
        for (int i = 0; i < 100; ++i) {
            const HttpReply reply = ServerProcess::receive(*clients[std::size_t(i)]);
            QCOMPARE(reply.status, 200);
            QVERIFY(i % 2 ? reply.body == m_archive : reply.body.contains("Star+Lander"));
        }
    }

    // What a server needs once is made by several threads at the same time.
    void theFirstRequestsMayComeAtOnce()
    {
        for (int start = 0; start < 15; ++start) {
            const ServerProcess server(path("store"));
            QVERIFY(server.isRunning());
            std::atomic<bool> go{ false };
            std::atomic<int> answered{ 0 };
            std::vector<std::thread> clients;
            for (int i = 0; i < 8; ++i) {
                clients.emplace_back([&] {
                    const RawClient client(server.port());
                    while (!go) { }
                    answered += client.send(ServerProcess::getRequest("/agent/CAPIGetSourcesList"))
                        && client.receive().startsWith("HTTP/1.1 200 ");
                });
            }
            QTest::qSleep(20); // they are connected
            go = true;
            for (std::thread& client : clients)
                client.join();
            QCOMPARE(answered.load(), 8);
        }
    }

    // More clients than the server has threads.
    void clientsThatNeverEndTheirRequestAreGivenUp()
    {
        std::vector<std::unique_ptr<QTcpSocket>> silent;
        for (int i = 0; i < 100; ++i)
            silent.push_back(m_server->send("GET /getagentapi.php HTTP/1.1\r\nHost:"));
        QVERIFY(m_server->get("/pool/main/big.deb").body == m_archive);
        QCOMPARE(ServerProcess::receive(*silent.front()).status, 400);
    }

    // The server closes its side after the reply, and still takes a body that it has
    // refused: a client that is reset while it sends may never read the reply.
    void aBodyThatComesAfterTheReplyIsTaken()
    {
        const RawClient client(m_server->port());
        QVERIFY(client.send("POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 4\r\n\r\n"));
        QVERIFY(client.receive().startsWith("HTTP/1.1 405 "));
        for (int drop = 0; drop < 4; ++drop) {
            QVERIFY(client.send("x"));
            QTest::qSleep(50);
        }
    }

    // Nor does it lose the reply to send more than a request, at once or later.
    void whatFollowsARequestIsTaken()
    {
        const QByteArray request = ServerProcess::getRequest("/pool/main/big.deb");
        // The server reads 4096 bytes at a time: all of the request and nothing more.
        QByteArray block = request;
        block.insert(block.size() - 2, "X: " + QByteArray(4096 - block.size() - 5, 'x') + "\r\n");
        QCOMPARE(block.size(), 4096);
        for (const QByteArray& sent :
             { request + 'x', request + QByteArray(50000, 'x'), block + QByteArray(50000, 'x') }) {
            const RawClient client(m_server->port());
            QVERIFY(client.send(sent));
            QVERIFY(client.receive().endsWith(m_archive));
            for (int drop = 0; drop < 4; ++drop) {
                QVERIFY(client.send("x"));
                QTest::qSleep(50);
            }
        }
    }

    // That does not hold it up for longer than a second or two.
    void aClientThatSendsDropByDropIsLetGo()
    {
        const RawClient client(m_server->port());
        QVERIFY(client.send("POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 4000\r\n\r\n"));
        bool gone = false;
        for (int drop = 0; drop < 600 && !gone; ++drop) {
            QTest::qSleep(50);
            gone = !client.send("x");
        }
        QVERIFY(gone);
    }

    // Clients that never end their request take no thread: others are served while they last.
    void hundredsOfSlowClientsHoldNobodyUp()
    {
        const ServerProcess server(
            path("store"), { QStringLiteral("--connections-per-address"), QStringLiteral("0") });
        QVERIFY(server.isRunning());
        const QByteArray begin = "GET /getagentapi.php HTTP/1.1\r\nX: ";
        std::vector<std::unique_ptr<RawClient>> slow;
        for (int i = 0; i < 600; ++i) {
            slow.push_back(std::make_unique<RawClient>(server.port()));
            QVERIFY(slow.back()->send(begin.left(1 + i % begin.size())));
        }
        QCOMPARE(server.get("/getagentapi.php").status, 200);
        QVERIFY(slow[300]->isHeld());
        for (const auto& client : slow)
            client->send("x");
        QVERIFY(server.get("/pool/main/big.deb").body == m_archive);
        QVERIFY(slow.back()->isHeld());
        QVERIFY(slow.back()->receive().startsWith("HTTP/1.1 400 "));
        QTRY_COMPARE_WITH_TIMEOUT(SocketsOf(server.pid()), 1, 60000); // that it listens at
    }

    void anAddressHasALimitedNumberOfConnections()
    {
        const ServerProcess server(path("store"),
                                   { QStringLiteral("--connections-per-address"),
                                     QStringLiteral("3"), QStringLiteral("--access-log"),
                                     path("refused.log") });
        QVERIFY(server.isRunning());
        std::vector<std::unique_ptr<RawClient>> clients;
        for (int i = 0; i < 3; ++i) {
            clients.push_back(std::make_unique<RawClient>(server.port(), 2));
            QVERIFY(clients.back()->send("G"));
        }
        QTRY_COMPARE_WITH_TIMEOUT(SocketsOf(server.pid()), 4, 60000);
        const RawClient refused(server.port(), 2);
        const QByteArray reply = refused.receive();
        QVERIFY2(reply.startsWith("HTTP/1.1 429 Too Many Requests\r\n"), reply);
        QVERIFY(reply.contains("\r\nRetry-After: 5\r\n"));
        QFile log(path("refused.log"));
        QVERIFY(log.open(QIODevice::ReadOnly));
        const auto isLogged
            = [&log] { return log.seek(0) && log.readAll().endsWith(" \"-\" 429 -\n"); };
        QTRY_VERIFY_WITH_TIMEOUT(isLogged(), 60000);
        QCOMPARE(server.get("/getagentapi.php").status, 200); // from 127.0.0.1
        clients.clear();
        const QByteArray request = ServerProcess::getRequest("/getagentapi.php");
        QTRY_COMPARE_WITH_TIMEOUT(SocketsOf(server.pid()), 1, 60000);
        const RawClient later(server.port(), 2);
        QVERIFY(later.send(request));
        QVERIFY(later.receive().startsWith("HTTP/1.1 200 "));
    }

    // Its connections are those of many clients, and each request is logged with its own.
    void aProxyIsNotLimitedAndNamesItsClients_data()
    {
        QTest::addColumn<QByteArray>("headers");
        QTest::addColumn<QByteArray>("client");
        const auto row = [](const char* name, const char* headers, const char* client) {
            QTest::newRow(name) << QByteArray(headers) << QByteArray(client);
        };
        row("one", "X-Forwarded-For: 192.0.2.7\r\n", "192.0.2.7");
        row("IPv6", "x-forwarded-for: 2001:db8::7\r\n", "2001:db8::7");
        row("the last one", "X-Forwarded-For: 10.0.0.1, 192.0.2.8\r\n", "192.0.2.8");
        row("without a blank", "X-Forwarded-For: 10.0.0.1,192.0.2.9\r\n", "192.0.2.9");
        row("none", "", "127.0.0.2");
        row("a name", "X-Forwarded-For: client.example\r\n", "127.0.0.2");
        row("with a port", "X-Forwarded-For: 192.0.2.7:80\r\n", "127.0.0.2");
        row("nothing behind the comma", "X-Forwarded-For: 192.0.2.7,\r\n", "127.0.0.2");
        row("two headers", "X-Forwarded-For: 192.0.2.7\r\nX-Forwarded-For: 192.0.2.8\r\n",
            "127.0.0.2");
    }
    void aProxyIsNotLimitedAndNamesItsClients()
    {
        QFETCH(QByteArray, headers);
        QFETCH(QByteArray, client);
        const QString file = path("proxy.log");
        QFile::remove(file);
        const ServerProcess server(path("store"),
                                   { QStringLiteral("--connections-per-address"),
                                     QStringLiteral("1"), QStringLiteral("--proxy"),
                                     QStringLiteral("127.0.0.2"), QStringLiteral("--access-log"),
                                     file });
        QVERIFY(server.isRunning());
        const QByteArray request
            = "GET /getagentapi.php HTTP/1.1\r\nHost: a\r\n" + headers + "\r\n";
        const auto lines = [&file](int count) {
            QFile log(file);
            QList<QByteArray> all;
            for (int tries = 0; tries < 600 && all.size() != count + 1; ++tries) {
                QTest::qWait(tries > 0 ? 100 : 0);
                log.close();
                all = log.open(QIODevice::ReadOnly) ? log.readAll().split('\n') : all;
            }
            return all;
        };
        const RawClient other(server.port(), 3); // is not the proxy, whatever it says
        QVERIFY(other.send(request));
        QVERIFY(other.receive().startsWith("HTTP/1.1 200 "));
        QVERIFY2(lines(1).value(0).startsWith("127.0.0.3 - - ["), lines(1).value(0));
        const RawClient first(server.port(), 2), second(server.port(), 2);
        for (const RawClient* one : { &first, &second })
            QVERIFY(one->send(request.left(5)));
        for (const RawClient* one : { &second, &first }) {
            QVERIFY(one->send(request.mid(5)));
            QVERIFY(one->receive().startsWith("HTTP/1.1 200 "));
        }
        const QList<QByteArray> all = lines(3);
        QCOMPARE(all.size(), 4);
        for (const QByteArray& line : all.mid(1, 2))
            QVERIFY2(line.startsWith(client + " - - ["), line);
    }
    void aProxyIsAnAddress()
    {
        const ServerProcess::Result result = ServerProcess::run(
            { QStringLiteral("--proxy"), QStringLiteral("proxy.example"), path("store") });
        QCOMPARE(result.status, 2);
        QVERIFY2(result.err.startsWith("pakmart-storeserver: a proxy has an address such as "
                                       "127.0.0.1, not 'proxy.example'\n"),
                 result.err);
    }

    // A client that takes a little all the time is served to the end, one that takes next to
    // nothing is not.
    void aReplyHasToBeTaken()
    {
        const ServerProcess server(path("store"));
        QVERIFY(server.isRunning());
        const qint64 size = 64 * 1024 * 1024; // more than the kernel keeps for a connection
        QFile file(pool("huge.deb"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(size));
        const RawClient stalled(server.port()), slow(server.port());
        for (const RawClient* client : { &stalled, &slow })
            QVERIFY(client->send(ServerProcess::getRequest("/pool/main/huge.deb")));
        std::vector<char> block(128 * 1024);
        qint64 taken = slow.take(block.data(), block.size());
        QTRY_COMPARE_WITH_TIMEOUT(SocketsOf(server.pid()), 3, 60000);
        for (int i = 0; i < 120 && SocketsOf(server.pid()) == 3; ++i) {
            QTest::qSleep(500);
            taken += slow.take(block.data(), block.size());
        }
        QCOMPARE(SocketsOf(server.pid()), 2);
        for (ssize_t got; (got = slow.take(block.data(), block.size())) > 0;)
            taken += got;
        QVERIFY2(taken > size, qPrintable(QString::number(taken))); // with the head
    }

    // Together they would take more memory than all clients may, if each had a reply of its own.
    void clientsShareALargeReply()
    {
        constexpr int mostInAll = 256, clientCount = 5; // megabytes
        constexpr int megabyte = 1024 * 1024;
        QByteArray products;
        const QByteArray description = "Description:" + QByteArray(megabyte, 'd') + '\n';
        for (int i = 1; i <= mostInAll / clientCount + 1; ++i)
            products += "Serial: " + QByteArray::number(i) + "\nName: A\nCategory: B\nPackage: c\n"
                + description + '\n';
        QVERIFY(WriteTextFile(path("large/products"), products));
        QVERIFY(WriteTextFile(path("large/sources"), {}));
        QVERIFY(QDir(path("large")).mkpath(QStringLiteral("pool")));
        const ServerProcess server(path("large"));
        QVERIFY(server.isRunning());
        std::vector<std::unique_ptr<RawClient>> clients;
        for (int i = 0; i < clientCount; ++i) {
            clients.push_back(std::make_unique<RawClient>(server.port()));
            QVERIFY(clients.back()->send(ServerProcess::getRequest("/agent/CAPIUpdateCatalog")));
        }
        std::vector<char> block(megabyte);
        std::vector<qint64> taken(clientCount);
        for (bool goesOn = true; goesOn;) {
            goesOn = false;
            for (std::size_t i = 0; i < clients.size(); ++i) {
                const ssize_t got = clients[i]->take(block.data(), block.size());
                taken[i] += std::max<ssize_t>(got, 0);
                goesOn = goesOn || got > 0;
            }
        }
        for (const qint64 bytes : taken)
            QVERIFY2(bytes > products.size(), qPrintable(QString::number(bytes)));
    }

    void aReplyUnderWayIsFinishedBeforeTheEnd()
    {
        ServerProcess server(path("store"));
        QVERIFY(server.isRunning());
        const qint64 size = 32 * 1024 * 1024;
        QFile file(pool("large.deb"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(size));
        const RawClient client(server.port()), silent(server.port());
        QVERIFY(client.send(ServerProcess::getRequest("/pool/main/large.deb")));
        QVERIFY(silent.send("G"));
        char first = 0;
        QCOMPARE(client.take(&first, 1), ssize_t(1));
        qint64 rest = 0;
        std::thread reader([&client, &rest] { rest = client.receive().size(); });
        const int status = server.end(SIGTERM);
        reader.join();
        QCOMPARE(status, 0);
        QVERIFY2(rest > size, qPrintable(QString::number(rest)));
    }

    void aClientThatGoesAwayHarmsNobody()
    {
        for (int i = 0; i < 20; ++i)
            m_server->send(ServerProcess::getRequest("/pool/main/big.deb"))->abort();
        QVERIFY(m_server->get("/pool/main/big.deb").body == m_archive);
    }

    void aStoreThatChangesUnderManyReadersIsAlwaysWhole()
    {
        const QByteArray name = "Name: Star Lander";
        QFile file(path("store/products"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray products = file.readAll();
        for (int round = 0; round < 20; ++round) {
            std::vector<std::unique_ptr<QTcpSocket>> clients;
            for (int i = 0; i < 8; ++i)
                clients.push_back(m_server->send(
                    ServerProcess::getRequest("/agent/CAPIDownloadAppInfo?app_id[]=1001")));
            QVERIFY(WriteTextFile(
                path("new"), QByteArray(products).replace(name, name + QByteArray::number(round))));
            QCOMPARE(::rename(qPrintable(path("new")), qPrintable(path("store/products"))), 0);
            for (const auto& client : clients)
                QVERIFY(ServerProcess::receive(*client).body.contains("<name>Star+Lander"));
        }
        QVERIFY(m_server->get("/agent/CAPIDownloadAppInfo?app_id[]=1001")
                    .body.contains("Star+Lander19<"));
    }

    // -- the log

    void requestsAreLogged()
    {
        const QString file = path("access.log");
        const QString old = path("access.log.1");
        ServerProcess server(path("store"), { QStringLiteral("--access-log"), file });
        QVERIFY(server.isRunning());
        const auto text = [](const QString& name) {
            QFile log(name);
            return log.open(QIODevice::ReadOnly) ? log.readAll() : QByteArray();
        };
        int lines = 0;
        for (const QByteArray& request :
             { ServerProcess::getRequest("/pool/main/big.deb"),
               QByteArray("HEAD /pool/main/big.deb HTTP/1.0\r\n\r\n"),
               ServerProcess::getRequest("/a\"b\\c%0a\xff?x"), QByteArray("nonsense\r\n\r\n") }) {
            server.send({})->abort(); // nothing to log
            server.ask(request);
            ++lines;
            QTRY_COMPARE_WITH_TIMEOUT(text(file).count('\n'), lines, 60000);
        }
        const QRegularExpression time(
            QStringLiteral("\\[\\d\\d/(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec)/"
                           "\\d{4}(:\\d\\d){3} \\+0000\\]"));
        QString log = QString::fromLatin1(text(file));
        log.replace(time, QStringLiteral("[TIME]"));
        QCOMPARE(
            log,
            QStringLiteral("127.0.0.1 - - [TIME] \"GET /pool/main/big.deb HTTP/1.1\" 200 300000\n"
                           "127.0.0.1 - - [TIME] \"HEAD /pool/main/big.deb HTTP/1.0\" 200 -\n"
                           "127.0.0.1 - - [TIME] \"GET /a\\x22b\\x5cc%0a\\xff?x HTTP/1.1\" 404 23\n"
                           "127.0.0.1 - - [TIME] \"-\" 400 35\n"));
        QCOMPARE(::rename(qPrintable(file), qPrintable(old)), 0);
        QCOMPARE(::kill(pid_t(server.pid()), SIGHUP), 0);
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(file), 60000);
        server.get("/getagentapi.php");
        QTRY_COMPARE_WITH_TIMEOUT(text(file).count('\n'), 1, 60000);
        QCOMPARE(text(old).count('\n'), 4);
        QCOMPARE(server.end(SIGTERM), 0);
    }

    void aLogThatCannotBeWrittenIsAnError()
    {
        const ServerProcess::Result result
            = ServerProcess::run({ QStringLiteral("--access-log"), path("none/log"),
                                   QStringLiteral("--port"), QStringLiteral("0"), path("store") });
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains("/none/log: No such file or directory"), result.err);
    }

    void aLogThatIsFullIsReportedOnce()
    {
        ServerProcess server(path("store"),
                             { QStringLiteral("--access-log"), QStringLiteral("/dev/full") });
        for (int i = 0; i < 3; ++i)
            QCOMPARE(server.get("/getagentapi.php").status, 200);
        QCOMPARE(server.end(SIGTERM), 0);
        const QByteArray err = server.standardError();
        QVERIFY2(err.count("/dev/full: requests cannot be logged: No space left on device\n") == 1,
                 err);
    }
    void aLogThatCannotBeOpenedAgainGoesOn()
    {
        const QString file = path("again.log"), old = path("again.log.1");
        ServerProcess server(path("store"), { QStringLiteral("--access-log"), file });
        QVERIFY(server.isRunning());
        QVERIFY(QFile::rename(file, old) && QDir().mkdir(file));
        QCOMPARE(::kill(pid_t(server.pid()), SIGHUP), 0);
        QByteArray err;
        const auto isReported = [&] {
            err += server.standardError();
            return err.contains("again.log: Is a directory\n");
        };
        QTRY_VERIFY_WITH_TIMEOUT(isReported(), 60000);
        QCOMPARE(server.get("/getagentapi.php").status, 200);
        QCOMPARE(server.end(SIGTERM), 0);
        QVERIFY(QFileInfo(old).size() > 0);
    }

    // An ordinary HTTP client, which also accepts compressed replies.
    void anOrdinaryClientIsServed()
    {
        QNetworkAccessManager manager;
        for (const char* target :
             { "/agent/CAPIDownloadAppInfo?app_id[]=1001", "/pool/main/big.deb" }) {
            QNetworkReply* reply
                = manager.get(QNetworkRequest(QUrl(m_server->url() + QLatin1String(target))));
            QSignalSpy finished(reply, &QNetworkReply::finished);
            QVERIFY(reply->isFinished() || finished.wait(60000));
            QCOMPARE(reply->error(), QNetworkReply::NoError);
            const QByteArray body = reply->readAll();
            QVERIFY(body == m_archive || body.contains("Star+Lander"));
            reply->deleteLater();
        }
    }
};

QTEST_GUILESS_MAIN(StoreHttpTest)
#include "tst_storehttp.moc"
