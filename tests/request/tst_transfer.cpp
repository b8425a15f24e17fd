// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What is below a request: its transfer, with the limits and reasons of that.

#include "request/transfer.h"
#include "requests.h"

#include <KIO/Global>
#include <KIO/TransferJob>
#include <QtTest>

using namespace Agent;

class TransferTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;

    TestRequest::Record ask()
    {
        TestRequest::Record record;
        (new TestRequest(record))->Execute();
        return record;
    }

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api", Directory({ { "TestRequest", m_server.url("/t") } }));
    }

    void everyErrorOfKioHasItsReason_data()
    {
        QTest::addColumn<int>("error");
        QTest::addColumn<AgentError::Code>("reason");
        const auto row = [](int error, AgentError::Code reason) {
            QTest::addRow("%d", error) << error << reason;
        };
        row(KIO::ERR_USER_CANCELED, AgentError::Cancelled);
        row(KIO::ERR_ABORTED, AgentError::Cancelled);
        row(KIO::ERR_SERVER_TIMEOUT, AgentError::TimedOut);
        row(KIO::ERR_DISK_FULL, AgentError::NoDiskSpace);
        row(KIO::ERR_INTERNAL_SERVER, AgentError::ServerFailed);
        row(KIO::ERR_CYCLIC_LINK, AgentError::RedirectRefused);
        row(KIO::ERR_ACCESS_DENIED, AgentError::RedirectRefused);
        row(KIO::ERR_MALFORMED_URL, AgentError::BadAddress);
        row(KIO::ERR_UNSUPPORTED_PROTOCOL, AgentError::BadAddress);
        row(KIO::ERR_UNKNOWN_HOST, AgentError::ServerUnreachable);
        row(KIO::ERR_CANNOT_CONNECT, AgentError::ServerUnreachable);
        row(KIO::ERR_CONNECTION_BROKEN, AgentError::ServerUnreachable);
        row(KIO::ERR_UNKNOWN_PROXY_HOST, AgentError::ServerUnreachable);
        row(KIO::ERR_CANNOT_CREATE_SOCKET, AgentError::ServerUnreachable);
        row(KIO::ERR_OUT_OF_MEMORY, AgentError::Other);
    }
    void everyErrorOfKioHasItsReason()
    {
        QFETCH(int, error);
        QTEST(ReasonOf(error), "reason");
    }

    void limitsAreWithinBounds_data()
    {
        QTest::addColumn<QString>("setting");
        QTest::addColumn<int>("seconds");
        QTest::newRow("one") << QStringLiteral("1") << 1;
        QTest::newRow("none") << QStringLiteral("0") << 1;
        QTest::newRow("negative") << QStringLiteral("-5") << 1;
        QTest::newRow("a day") << QStringLiteral("86400") << 86400;
        QTest::newRow("more") << QStringLiteral("86401") << 86400;
    }
    void limitsAreWithinBounds()
    {
        QFETCH(QString, setting);
        Setting("response timeout", setting.toStdString());
        Setting("transfer timeout", "7");
        QTEST(ReadTransferLimits().silence, "seconds");
        QCOMPARE(ReadTransferLimits().total, 7);
        Setting("transfer timeout", setting.toStdString());
        Setting("response timeout", "120");
        QTEST(ReadTransferLimits().total, "seconds");
        QCOMPARE(ReadTransferLimits().silence, 120);
        Setting("transfer timeout", "3600");
    }

    // The limit is for silence, not for the whole of a reply.
    void aSlowServerIsWaitedForWhileItSends()
    {
        Setting("response timeout", "1");
        m_server.answer("/t", [](QTcpSocket* socket, const QByteArray&) {
            const QByteArray end = "<agentfunction resultcode=\"OK\">hello</agentfunction>";
            const QByteArray piece(64 * 1024, '\n'); // KIO does not pass on a few bytes at once
            socket->write("HTTP/1.1 200 OK\r\nContent-Length: "
                          + QByteArray::number(end.size() + 9 * piece.size()) + "\r\n\r\n");
            auto* clock = new QTimer(socket);
            connect(clock, &QTimer::timeout, socket, [=, sent = 0]() mutable {
                socket->write(++sent < 10 ? piece : end);
                if (sent == 10)
                    clock->stop();
            });
            clock->start(200);
        });
        const auto record = ask();
        Setting("response timeout", "120");
        QCOMPARE(record.failures, QStringList());
        QVERIFY(record.events.contains(QStringLiteral("ok hello")));
    }
    void aSilentServerIsNamed()
    {
        Setting("response timeout", "1");
        m_server.answer("/t", [](QTcpSocket*, const QByteArray&) {});
        const auto record = ask();
        Setting("response timeout", "120");
        QCOMPARE(record.failures, QStringList(QStringLiteral("timed-out")));
        QVERIFY2(record.details.endsWith(
                     KIO::buildErrorString(KIO::ERR_SERVER_TIMEOUT, QStringLiteral("127.0.0.1"))),
                 qPrintable(record.details));
    }
    // A page that is cancelled was not refused by the server.
    void aCancelledErrorPageIsCancelled()
    {
        m_server.answer("/t", [](QTcpSocket* socket, const QByteArray&) {
            socket->write("HTTP/1.1 404 Not Found\r\nContent-Length: 100000\r\n\r\n"
                          + QByteArray(50000, 'x'));
        });
        TestRequest::Record record;
        record.cancel = true;
        (new TestRequest(record))->Execute();
        QCOMPARE(record.failures, QStringList(QStringLiteral("cancelled")));
    }
    // Short texts grow when they are packed.
    void aPackedReplyIsWhole()
    {
        // gzip of "<agentfunction resultcode=\"OK\">a</agentfunction>"
        const QByteArray packed = QByteArray::fromHex(
            "1f8b0800000000000203b3494c4fcd2b492bcd4b2ec9cccf53284a2d2ecd2949ce4f49b5"
            "55f2f756b24bb4d14751600700f9a87c3130000000");
        m_server.answer("/t", ScriptedServer::http(packed, "200 OK", "Content-Encoding: gzip\r\n"));
        const auto record = ask();
        QCOMPARE(record.failures, QStringList());
        QVERIFY(record.events.contains(QStringLiteral("ok a")));
    }

    // What is refused depends on where the request is now, not on where it began.
    void aWayOverHttpsDoesNotLeadBack()
    {
        m_server.answer("/t", [](QTcpSocket*, const QByteArray&) {});
        KIO::TransferJob* job = StartTransfer(QUrl(QString::fromLatin1(m_server.url("/t"))));
        QVERIFY(job);
        QList<AgentError::Code> reasons;
        WatchTransfer(job, { 60, 60, 0 }, this,
                      [&](AgentError::Code reason, int, const QString&) { reasons << reason; });
        emit job->redirection(job, QUrl(QStringLiteral("https://a.example/")));
        QCOMPARE(reasons, QList<AgentError::Code>());
        emit job->redirection(job, QUrl(QStringLiteral("http://a.example/")));
        QCOMPARE(reasons, QList<AgentError::Code>{ AgentError::RedirectRefused });
        emit job->redirection(job, QUrl(QStringLiteral("ftp://a.example/")));
        QCOMPARE(reasons.size(), 1); // told once
        job->kill();
    }
    void onlyWebAddressesAreTransferred_data()
    {
        QTest::addColumn<QString>("url");
        for (const char* url : { "file:///etc/shadow", "ftp://127.0.0.1/", "http:///x", "https:x",
                                 "data:,x", "", "http://a b/" })
            QTest::newRow(url) << QString::fromLatin1(url);
    }
    void onlyWebAddressesAreTransferred()
    {
        QFETCH(QString, url);
        QVERIFY(!StartTransfer(QUrl(url)));
    }
};

QTEST_MAIN(TransferTest)
#include "tst_transfer.moc"
