// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The status check over real KIO.

#include "hostilereplies.h"

#include "request/capistatus.h"

#include <KIO/Global>
#include <KIO/TransferJob>
#include <QDir>

class StatusTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;

    // Runs one check and returns its result; `m_line` is the last line it printed.
    bool check()
    {
        const StandardOutput output;
        QPointer<CAPIStatus> status = new CAPIStatus;
        const bool reached = status->Execute();
        m_gone = status.isNull();
        m_line = output.lines().value(output.lines().size() - 2);
        return reached;
    }
    QString m_line;
    bool m_gone = false;

private slots:
    void init()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.asked.clear();
    }

    void serverThatAnswersIsNoErrorAndTheObjectIsGone()
    {
        m_server.answer("/api", Directory({}));
        QVERIFY(check());
        QVERIFY(m_gone);
        QCOMPARE(m_line, QStringLiteral("In CAPIStatus: No Error"));
        // The address itself was requested, once, and no directory before it.
        QCOMPARE(m_server.asked, QList<QByteArray>{ "/api" });
    }

    void noRequestObjectIsInvolved()
    {
        m_server.answer("/api", Directory({}));
        const StandardOutput output;
        (new CAPIStatus)->Execute();
        QCOMPARE(output.text(), QByteArray("In CAPIStatus: No Error\n"));
        QCOMPARE(QDir(QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT")) + QStringLiteral("/tmp"))
                     .entryList({ QStringLiteral("*.xml") }),
                 QStringList());
        const QByteArray name = CAPIStatus::staticMetaObject.className();
        QCOMPARE(name, QByteArray("CAPIStatus"));
        QVERIFY(!CAPIStatus::staticMetaObject.inherits(&CAPI::staticMetaObject));
    }

    void anyAnswerIsReachable_data()
    {
        HostileReplies("<agentfunction resultcode=\"OK\"></agentfunction>");
        const QByteArray page = ScriptedServer::http(QByteArray(100000, 'x'));
        QTest::newRow("closed in a long page") << page.chopped(50000) << QString() << true;
        QTest::newRow("closed before a page") << page.chopped(100000) << QString() << false;
        QTest::newRow("failed call")
            << ScriptedServer::http("<agentfunction resultcode=\"FAILED\" msg=\"no\"/>")
            << QString() << true;
    }
    void anyAnswerIsReachable()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, reached);
        m_server.answer("/api", bytes);
        const BoxCloser boxes;
        QCOMPARE(check(), reached);
        QVERIFY(m_gone);
        QCOMPARE(m_line,
                 reached ? QStringLiteral("In CAPIStatus: No Error")
                         : QStringLiteral("In CAPIStatus: Error"));
        QCOMPARE(boxes.texts, QStringList());
    }

    void unreachableServerReportsErrorAndReturnsFalse()
    {
        Setting("agent api url", RefusingUrl().toStdString());
        const BoxCloser boxes;
        QVERIFY(!check());
        QVERIFY(m_gone);
        QCOMPARE(m_line, QStringLiteral("In CAPIStatus: Error"));
        QCOMPARE(boxes.texts, QStringList());
    }

    void addressThatMakesNoTransferReportsNoError_data()
    {
        QTest::addColumn<QString>("url");
        QTest::newRow("empty") << QString();
        QTest::newRow("no address") << QStringLiteral("::");
        QTest::newRow("a file") << QStringLiteral("file:///etc/passwd");
        QTest::newRow("no host") << QStringLiteral("http:///x");
    }
    void addressThatMakesNoTransferReportsNoError()
    {
        QFETCH(QString, url);
        Setting("agent api url", url.toStdString());
        QVERIFY(check());
        QVERIFY(m_gone);
        QCOMPARE(m_line, QStringLiteral("In CAPIStatus: No Error"));
    }

    void transferCancelledByTheUserReportsNoError()
    {
        // The real transfer gets no answer; a cancelled job ends the check.
        CAPIStatus* status = nullptr;
        m_server.answer("/api", [&status](QTcpSocket* socket, const QByteArray& target) {
            if (target != "/api")
                return;
            auto* job = KIO::get(QUrl(QStringLiteral("http://127.0.0.1:1/")), KIO::Reload,
                                 KIO::HideProgressInfo);
            connect(job, &KJob::result, status, [status](KJob* ended) {
                QCOMPARE(ended->error(), int(KIO::ERR_USER_CANCELED));
                status->onDownloadComplete(static_cast<KIO::Job*>(ended));
            });
            job->kill(KJob::EmitResult);
            socket->disconnectFromHost();
        });
        status = new CAPIStatus;
        const StandardOutput output;
        QVERIFY(status->Execute());
        QCOMPARE(output.text(), QByteArray("In CAPIStatus: No Error\n"));
    }

    void serverThatIsSilentForTooLongIsAnError()
    {
        Setting("response timeout", "1");
        m_server.answer("/api", [](QTcpSocket*, const QByteArray&) {});
        const bool reached = check();
        Setting("response timeout", "120");
        QVERIFY(!reached);
        QCOMPARE(m_line, QStringLiteral("In CAPIStatus: Error"));
    }

    void answerWithoutAnEndIsAnAnswer()
    {
        Setting("max reply size", "1000000");
        m_server.answer("/api", [](QTcpSocket* socket, const QByteArray&) {
            socket->write("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n");
            const QByteArray block(64 * 1024, 'x');
            const auto more = [socket, block] {
                if (socket->bytesToWrite() < block.size())
                    socket->write(block);
            };
            connect(socket, &QTcpSocket::bytesWritten, socket, more);
            more();
        });
        const bool reached = check();
        Setting("max reply size", "0");
        QVERIFY(reached);
        QVERIFY(m_gone);
        QCOMPARE(m_line, QStringLiteral("In CAPIStatus: No Error"));
    }

    void abortedCheckIsAnError()
    {
        m_server.answer("/api", [](QTcpSocket*, const QByteArray&) { CAPI::AbortTransfers(); });
        QVERIFY(!check());
        QVERIFY(m_gone);
        CAPI::AbortTransfers(); // nothing runs
    }

    void otherSlotsRunMeanwhile()
    {
        int ticks = 0;
        QTimer timer;
        connect(&timer, &QTimer::timeout, this, [&ticks] { ++ticks; });
        timer.start(1);
        m_server.answer("/api", [&ticks](QTcpSocket* socket, const QByteArray&) {
            // The answer is delayed until the others have had their turn.
            auto* look = new QTimer(socket);
            connect(look, &QTimer::timeout, socket, [socket, &ticks, before = ticks] {
                if (ticks < before + 3)
                    return;
                socket->write(ScriptedServer::http("x"));
                socket->disconnectFromHost();
            });
            look->start(1);
        });
        QVERIFY(check());
        QVERIFY(ticks >= 3);
    }

    void severalAtOnceEndEachOnItsOwn()
    {
        // The second check begins within the wait of the first, and ends before it.
        bool inner = false;
        m_server.answer("/api", [&inner, this](QTcpSocket* socket, const QByteArray&) {
            if (m_server.asked.size() == 1)
                inner = (new CAPIStatus)->Execute();
            socket->write(ScriptedServer::http("x"));
            socket->disconnectFromHost();
        });
        QVERIFY(check());
        QVERIFY(inner);
        QCOMPARE(m_server.asked.size(), 2);
    }
};

QTEST_MAIN(StatusTest)
#include "tst_capistatus.moc"
