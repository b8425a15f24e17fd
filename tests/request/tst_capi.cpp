// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Requests over real KIO, against a scripted server.

#include "request/transfer.h"
#include "requests.h"
#include "tests/common/limits.h"

#include <KIO/Global>
#include <KIO/JobTracker>
#include <KIO/TransferJob>
#include <KJobTrackerInterface>
#include <QDir>
#include <QProcess>
#include <QThread>
#include <QtTest>
#include <csignal>
#include <ctime>
#include <optional>
#include <utility>

using namespace Agent;

namespace
{

const QByteArray okReply = "<?xml version=\"1.0\"?><agentfunction resultcode=\"OK\">hello"
                           "</agentfunction>";

QString Root()
{
    return QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"));
}

QStringList SpoolFiles()
{
    return QDir(Root() + QStringLiteral("/tmp"))
        .entryList({ QStringLiteral("*.xml") }, QDir::Files | QDir::System);
}

// Serves one reply, half a second after the request.
const char servingScript[] = R"(
import socket, sys, time
server = socket.socket()
server.settimeout(30)
server.bind(("127.0.0.1", 0))
server.listen()
print(server.getsockname()[1], flush=True)
client, _ = server.accept()
client.recv(65536)
time.sleep(0.5)
body = b'<agentfunction resultcode="OK">late</agentfunction>'
client.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n" % len(body) + body)
client.close()
)";

// Runs the event loop until the request has ended.
void WaitForEnd(const TestRequest::Record& record)
{
    QTRY_VERIFY_WITH_TIMEOUT(!record.events.isEmpty()
                                 && record.events.last().startsWith(QLatin1String("complete")),
                             60000);
}

} // namespace

class CapiTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;

    // One request that gets these bytes as an answer.
    TestRequest::Record ask(const QByteArray& bytes, bool silent = true)
    {
        m_server.answer("/t", bytes);
        TestRequest::Record record;
        (new TestRequest(record, silent))->Execute();
        return record;
    }
    static QString last(const TestRequest::Record& record, int fromEnd)
    {
        return record.events.value(record.events.size() - fromEnd);
    }

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api", Directory({ { "TestRequest", m_server.url("/t") } }));
    }

    void successTellsEverythingInOrder()
    {
        m_server.answer("/t", ScriptedServer::http(okReply));
        TestRequest::Record record;
        record.query = QStringLiteral("?a=1&b[]=2");
        const StandardOutput output;
        bool started = false;
        {
            const Trace trace;
            started = (new TestRequest(record))->Execute();
            const QStringList events = trace.events();
            int from = 0;
            for (const char* scope : { "+CAPI::CAPI",
                                       "+CAPI::GetURLList",
                                       "+CAPI::LockAPI",
                                       "-CAPI::CAPI",
                                       "+CAPI::Execute",
                                       "+CAPI::GetURL",
                                       "+CAPI::onBeforeTransfer",
                                       "-CAPI::onBeforeTransfer",
                                       "+CAPI::WaitForDone",
                                       "+CAPI::onDownloadReceive",
                                       "+CAPI::onDownloadComplete",
                                       "+CAPI::~CAPI",
                                       "+CAPI::LockAPI",
                                       "+CAPI::onAPIComplete",
                                       "-CAPI::onAPIComplete",
                                       "+CAPI::CanDeleteAPIFile",
                                       "-CAPI::~CAPI",
                                       "-CAPI::onDownloadComplete",
                                       "-CAPI::WaitForDone",
                                       "-CAPI::Execute" }) {
                from = events.indexOf(QLatin1String(scope), from);
                QVERIFY2(from >= 0, scope);
            }
        }
        QVERIFY(started);
        QVERIFY(record.object.isNull());
        const QString url = QString::fromLatin1(m_server.url("/t?a=1&b[]=2"));
        QCOMPARE(record.events,
                 (QStringList{ QLatin1String("before ") + url, QStringLiteral("ok hello"),
                               QStringLiteral("complete 1") }));
        const QStringList lines = output.lines();
        // In the base class's constructor and destructor the object has only the base
        // class's type.
        QCOMPARE(
            lines.mid(lines.size() - 4),
            (QStringList{ QStringLiteral("launching CAPI"), QLatin1String("TestRequest - ") + url,
                          QStringLiteral("terminating CAPI"), QString() }));
    }

    void spoolFilesAreNumberedAndRemoved()
    {
        const auto first = ask(ScriptedServer::http(okReply));
        const auto second = ask(ScriptedServer::http(okReply));
        const QRegularExpression name(QStringLiteral("/tmp/([0-9]+)_([0-9]+)\\.xml\\z"));
        const auto one = name.match(first.file), two = name.match(second.file);
        QVERIFY(one.hasMatch() && two.hasMatch());
        QVERIFY(qAbs(one.captured(1).toLongLong() - qint64(std::time(nullptr))) < 600);
        QCOMPARE(two.captured(2).toInt(), one.captured(2).toInt() + 1);
        QCOMPARE(SpoolFiles(), QStringList());
    }

    void existingSpoolNamesAreSkippedNotOverwritten()
    {
        const int serial = QRegularExpression(QStringLiteral("_([0-9]+)\\."))
                               .match(ask(ScriptedServer::http(okReply)).file)
                               .captured(1)
                               .toInt();
        // The next name is used by a file, and the one after it by a dangling link, for
        // each second in which the request may start.
        const QString outside = Root() + QStringLiteral("/etc/outside");
        const qint64 now = std::time(nullptr);
        for (qint64 second = now; second < now + 60; ++second) {
            const QString base = Root() + QStringLiteral("/tmp/%1_%2.xml");
            QFile file(base.arg(second).arg(serial + 1));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("mine");
            QVERIFY(QFile::link(outside, base.arg(second).arg(serial + 2)));
        }
        const auto record = ask(ScriptedServer::http(okReply));
        QVERIFY2(record.file.endsWith(QStringLiteral("_%1.xml").arg(serial + 3)),
                 qPrintable(record.file));
        QCOMPARE(last(record, 2), QStringLiteral("ok hello"));
        QVERIFY(!QFile::exists(outside));
        QCOMPARE(SpoolFiles().size(), 120);
        for (const QString& left : SpoolFiles())
            QFile::remove(Root() + QStringLiteral("/tmp/") + left);
    }

    void keptFilesStay()
    {
        for (const char* value : { "1", "2", "-1" }) {
            Setting("keep agent xml", value);
            const auto record = ask(ScriptedServer::http(okReply));
            Setting("keep agent xml", "0");
            QFile file(record.file);
            QVERIFY2(file.open(QIODevice::ReadOnly), value);
            QCOMPARE(file.readAll(), okReply);
            QVERIFY(file.remove());
        }
    }

    void unwritableSpoolFolderDropsTheReply()
    {
        const QString folder = Root() + QStringLiteral("/tmp");
        QVERIFY(QDir().rename(folder, folder + QStringLiteral(".away")));
        const auto record = ask(ScriptedServer::http(okReply));
        QVERIFY(QDir().rename(folder + QStringLiteral(".away"), folder));
        // Nothing to read, nothing emitted, and the request counts as done.
        QCOMPARE(record.events.size(), 2);
        QCOMPARE(last(record, 1), QStringLiteral("complete 1"));
        // The name of the failed attempt was emitted.
        QVERIFY(record.file.startsWith(folder));
    }

    void theJobAsksForXmlFromTheServerItself()
    {
        static KIO::MetaData asked;
        class Looking : public TestRequest
        {
        public:
            using TestRequest::TestRequest;
            void onDownloadReceive(KIO::Job* job, const QByteArray& data) override
            {
                asked = job->outgoingMetaData();
                TestRequest::onDownloadReceive(job, data);
            }
        };
        m_server.answer("/t", ScriptedServer::http(okReply));
        TestRequest::Record record;
        QVERIFY((new Looking(record))->Execute());
        QCOMPARE(asked.value(QStringLiteral("content-type")),
                 QStringLiteral("Content-Type: text/xml"));
        // Not from the web cache.
        QCOMPARE(asked.value(QStringLiteral("cache")), QStringLiteral("reload"));
    }

    void theDesktopShowsNoProgressOfItsOwn()
    {
        class Tracker : public KJobTrackerInterface
        {
        public:
            int jobs = 0;
            void registerJob(KJob* job) override
            {
                ++jobs;
                KJobTrackerInterface::registerJob(job);
            }
        };
        Tracker tracker;
        KIO::setJobTracker(&tracker);
        QCOMPARE(last(ask(ScriptedServer::http(okReply)), 2), QStringLiteral("ok hello"));
        KIO::setJobTracker(nullptr);
        QCOMPARE(tracker.jobs, 0);
    }

    void atTheEndTheLockAndTheCountAreGivenBack_data()
    {
        QTest::addColumn<bool>("exclusive");
        QTest::newRow("counted") << false;
        QTest::newRow("exclusive") << true;
    }
    void atTheEndTheLockAndTheCountAreGivenBack()
    {
        QFETCH(bool, exclusive);
        m_server.answer("/t", ScriptedServer::http(okReply));
        TestRequest::Record record, next;
        auto* request = new TestRequest(record, true, true, exclusive);
        int count = -1;
        bool locked = false;
        connect(request, &CAPI::APIComplete, this, [&] {
            auto* made = new TestRequest(next, true, false, true);
            count = made->ReferenceCount();
            locked = made->APILocked(nullptr) && !made->APILocked(made);
            delete made;
        });
        QVERIFY(request->Execute());
        QCOMPARE(count, 1);
        QVERIFY(locked);
    }

    void anErrorGoesToTheTraceAndItsLineComesFirst()
    {
        m_server.answer("/t", QByteArray());
        TestRequest::Record record;
        const StandardOutput output;
        const Trace trace;
        auto* request = new TestRequest(record);
        bool lineFirst = false;
        connect(request, &CAPI::ErroneousTransfer, this,
                [&] { lineFirst = output.text().contains("TestRequest job returned error "); });
        QVERIFY(request->Execute());
        const QByteArray text = output.text();
        QVERIFY(lineFirst);
        QVERIFY(text.indexOf("job returned error") < text.indexOf("api error"));
        const QString error = last(record, 2).mid(6);
        QVERIFY(!error.isEmpty());
        const int scope = int(trace.events().indexOf(QStringLiteral("+CAPI::onErroneousTransfer")));
        QVERIFY(scope >= 0);
        QCOMPARE(trace.events().value(scope + 1), error);
    }

    void aFailureWithoutATextHasAnEmptyLine()
    {
        const StandardOutput output;
        ask(ScriptedServer::http("<agentfunction/>"));
        QVERIFY(output.lines().contains(QStringLiteral("TestRequest - api failure = ")));
    }

    void fullDiskIsAnUnreadableReply()
    {
        std::signal(SIGXFSZ, SIG_IGN);
        m_server.answer("/t",
                        ScriptedServer::http("<agentfunction resultcode=\"OK\">"
                                             + QByteArray(100000, 'x') + "</agentfunction>"));
        TestRequest::Record record;
        auto* request = new TestRequest(record, true, false);
        // KIO's worker must not inherit the limit, so it is set after the worker has
        // started.
        std::optional<LowLimit> full;
        connect(request, &CAPI::APIDestinationFile, this,
                [&full] { full.emplace(RLIMIT_FSIZE, 40000); });
        QVERIFY(request->Execute());
        WaitForEnd(record);
        full.reset();
        QCOMPARE(last(record, 2), QLatin1String("error ") + Texts::format);
        QCOMPARE(last(record, 1), QStringLiteral("complete 0"));
    }

    void badReplies_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("event");
        const QString format = QLatin1String("error ") + Texts::format;
        const auto row = [](const char* name, const QByteArray& body, const QString& event) {
            QTest::newRow(name) << ScriptedServer::http(body) << event;
        };
        row("empty", "", format);
        row("not xml", "hello", format);
        row("truncated", okReply.left(60), format);
        row("wrong root", "<?xml version=\"1.0\"?><other resultcode=\"OK\"/>", format);
        row("root in capitals", "<AgentFunction resultcode=\"OK\"/>", format);
        row("lower-case ok", "<agentfunction resultcode=\"ok\" msg=\"no\"/>",
            QStringLiteral("failed no"));
        row("no resultcode", "<agentfunction/>", QStringLiteral("failed "));
        row("entity bomb",
            "<!DOCTYPE a [<!ENTITY a \"xxxxxxxxxx\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;\">"
            "<!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;\">]><agentfunction resultcode=\"OK\">&c;"
            "</agentfunction>",
            format);
        row("nesting of 100,000",
            "<agentfunction resultcode=\"OK\">" + QByteArray("<a>").repeated(100000)
                + QByteArray("</a>").repeated(100000) + "</agentfunction>",
            format);
        row("invalid UTF-8", "<agentfunction resultcode=\"OK\">\xC3(</agentfunction>", format);
        row("NUL bytes", QByteArray("<agentfunction resultcode=\"OK\">a\0b</agentfunction>", 48),
            format);
        QTest::newRow("404 page") << ScriptedServer::http("<html><p>gone", "404 Not Found")
                                  << format;
        QTest::newRow("500 page") << ScriptedServer::http("oops", "500 Internal Server Error")
                                  << format;
    }
    void badReplies()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, event);
        const auto record = ask(bytes);
        QCOMPARE(last(record, 2), event);
        QCOMPARE(last(record, 1), QStringLiteral("complete 0"));
    }

    void replyOverTheLimitOfTheSettingsIsRefused()
    {
        const QByteArray reply
            = "<agentfunction resultcode=\"OK\">" + QByteArray(100000, 'x') + "</agentfunction>";
        Setting("max reply size", std::to_string(reply.size()));
        const auto fits = ask(ScriptedServer::http(reply));
        Setting("max reply size", std::to_string(reply.size() - 1));
        const auto over = ask(ScriptedServer::http(reply));
        Setting("max reply size", "268435456");
        QVERIFY(last(fits, 2).startsWith(QLatin1String("ok xxx")));
        QCOMPARE(last(fits, 1), QStringLiteral("complete 1"));
        QCOMPARE(last(over, 2), QLatin1String("error ") + Texts::format);
        QCOMPARE(last(over, 1), QStringLiteral("complete 0"));
        QCOMPARE(over.events.size(), 3);
        QCOMPARE(SpoolFiles(), QStringList());
    }

    void closedHalfwayIsAnError()
    {
        const QByteArray whole = ScriptedServer::http(okReply);
        const auto record = ask(whole.left(whole.size() - 20));
        QVERIFY(last(record, 2).startsWith(QLatin1String("error ")));
        QCOMPARE(last(record, 1), QStringLiteral("complete 0"));
    }

    void closedWithoutAnAnswerIsAnError()
    {
        const auto record = ask(QByteArray());
        QVERIFY(last(record, 2).startsWith(QLatin1String("error ")));
        QCOMPARE(last(record, 1), QStringLiteral("complete 0"));
    }

    void redirectionToAFileIsNotFollowed()
    {
        QFile secret(Root() + QStringLiteral("/etc/secret"));
        QVERIFY(secret.open(QIODevice::WriteOnly));
        secret.write("<agentfunction resultcode=\"OK\">secret</agentfunction>");
        secret.close();
        const auto record = ask(ScriptedServer::http(
            "", "302 Found", "Location: file://" + QFile::encodeName(secret.fileName()) + "\r\n"));
        QVERIFY(last(record, 2).startsWith(QLatin1String("error ")));
    }

    void serverFailureShowsItsText_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QString>("text");
        QTest::newRow("with msg") << QByteArray(
            "<agentfunction resultcode=\"FAILED\" msg=\"No such product\"/>")
                                  << QStringLiteral("No such product");
        QTest::newRow("without msg")
            << QByteArray("<agentfunction/>") << QStringLiteral("Unspecified API error");
    }
    void serverFailureShowsItsText()
    {
        QFETCH(QByteArray, reply);
        QFETCH(QString, text);
        const BoxCloser boxes;
        const auto record = ask(ScriptedServer::http(reply), false);
        QCOMPARE(boxes.texts, QStringList(text));
        QCOMPARE(last(record, 1), QStringLiteral("complete 0"));
    }

    void silentFailureIsLoggedOnly()
    {
        const BoxCloser boxes;
        const StandardOutput output;
        const auto record
            = ask(ScriptedServer::http("<agentfunction resultcode=\"FAILED\" msg=\"why\"/>"));
        QVERIFY(output.lines().contains(QStringLiteral("TestRequest - api failure = why")));
        ask(ScriptedServer::http("x"));
        QVERIFY(
            output.lines().contains(QStringLiteral("CAPI::onDownloadComplete - no xml received")));
        QVERIFY(output.text().contains("TestRequest - api error = 'Pakmart successfully"));
        ask(ScriptedServer::http("<x/>"));
        QVERIFY(
            output.lines().contains(QStringLiteral("CAPI::onDownloadComplete - bad xml received")));
        QCOMPARE(boxes.texts, QStringList());
    }

    void formatErrorShowsItsBox()
    {
        const BoxCloser boxes;
        ask(ScriptedServer::http("x"), false);
        QCOMPARE(boxes.texts, QStringList(Texts::format));
    }

    void supportSiteIsASetting()
    {
        Setting("support web site", "help.example");
        const auto record = ask(ScriptedServer::http("x"));
        Setting("support web site", "support.vantrelnet.example");
        QVERIFY(last(record, 2).contains(QLatin1String("please visit help.example for further")));
    }

    void refusedConnectionTellsTheJobsError()
    {
        ScriptedServer closed;
        const QByteArray url = closed.url("/t");
        closed.close();
        m_server.answer("/t", ScriptedServer::http("", "302 Found", "Location: " + url + "\r\n"));
        TestRequest::Record record;
        const StandardOutput output;
        (new TestRequest(record))->Execute();
        QVERIFY(output.lines().contains(
            QStringLiteral("TestRequest job returned error %1").arg(KIO::ERR_CANNOT_CONNECT)));
        QVERIFY(last(record, 2).startsWith(QLatin1String("error ")));
        QVERIFY(last(record, 2).size() > 10);
    }

    void cancelledJobIsSilentAndSucceeds()
    {
        m_server.answer("/t", ScriptedServer::http(okReply));
        TestRequest::Record record;
        record.cancel = true;
        const BoxCloser boxes;
        const StandardOutput output;
        QVERIFY((new TestRequest(record, false))->Execute());
        QCOMPARE(record.events.size(), 2);
        QCOMPARE(last(record, 1), QStringLiteral("complete 1"));
        QCOMPARE(boxes.texts, QStringList());
        QVERIFY(!output.text().contains("job returned error"));
    }

    void abortedTransfersFail()
    {
        m_server.answer("/t", [](QTcpSocket*, const QByteArray&) {});
        TestRequest::Record one, two;
        (new TestRequest(one, true, false))->Execute();
        // The second one waits, and is aborted from within its wait.
        QTimer::singleShot(300, this, [] { CAPI::AbortTransfers(); });
        QVERIFY((new TestRequest(two))->Execute());
        for (const TestRequest::Record* record : { &one, &two }) {
            QCOMPARE(last(*record, 2),
                     QStringLiteral("error Communication with the VantrelNet server was "
                                    "interrupted."));
            QCOMPARE(last(*record, 1), QStringLiteral("complete 0"));
        }
        CAPI::AbortTransfers(); // nothing runs
    }

    void abortedTransfersEndAtOnceWithoutABox()
    {
        m_server.answer("/t", [](QTcpSocket*, const QByteArray&) {});
        TestRequest::Record one, two;
        const BoxCloser boxes;
        (new TestRequest(one, false, false))->Execute();
        QTimer::singleShot(200, this, [&] {
            CAPI::AbortTransfers();
            // Nothing delayed it: both are gone.
            QVERIFY(one.object.isNull() && two.object.isNull());
            CAPI::AbortTransfers();
        });
        QVERIFY((new TestRequest(two, false))->Execute());
        for (const TestRequest::Record* record : { &one, &two }) {
            QCOMPARE(record->events.size(), 3);
            QCOMPARE(last(*record, 1), QStringLiteral("complete 0"));
            QCOMPARE(record->failures, QStringList(QStringLiteral("cancelled")));
        }
        QCOMPARE(boxes.texts, QStringList());
    }

    void theEndOfOneMayEndAnother()
    {
        m_server.answer("/t", [](QTcpSocket*, const QByteArray&) {});
        TestRequest::Record records[2];
        bool ended = false;
        for (int i = 0; i < 2; ++i) {
            auto* request = new TestRequest(records[i], true, false);
            connect(request, &CAPI::APIComplete, this, [&records, &ended, i] {
                if (!std::exchange(ended, true))
                    delete records[1 - i].object;
            });
            QVERIFY(request->Execute());
        }
        CAPI::AbortTransfers();
        QStringList ends;
        for (const TestRequest::Record& record : records) {
            QVERIFY(record.object.isNull());
            ends << last(record, 1);
        }
        ends.sort(); // only one was aborted
        QCOMPARE(ends, (QStringList{ "complete 0", "complete 1" }));
    }

    void abortedWhileItsBoxIsOpenEndsOnce()
    {
        m_server.answer("/t", ScriptedServer::http("x"));
        TestRequest::Record record;
        auto* request = new TestRequest(record, false);
        QTimer look;
        connect(&look, &QTimer::timeout, this, [] {
            if (QWidget* box = QApplication::activeModalWidget()) {
                CAPI::AbortTransfers();
                box->close();
            }
        });
        look.start(10);
        QVERIFY(request->Execute());
        QCOMPARE(record.events.size(), 3);
        QCOMPARE(last(record, 1), QStringLiteral("complete 0"));
        QCOMPARE(record.failures, QStringList(QStringLiteral("reply-not-understood")));
    }

    void aReplyThatWaitedForAStalledEventLoopIsTaken()
    {
        Setting("response timeout", "1");
        // A server in another process: one in this process would be blocked with the
        // event loop.
        QProcess server;
        server.start(QStringLiteral("python3"),
                     { QStringLiteral("-c"), QString::fromLatin1(servingScript) });
        QVERIFY(server.waitForReadyRead());
        m_server.answer("/t",
                        ScriptedServer::http(
                            "", "302 Found",
                            "Location: http://127.0.0.1:" + server.readAll().trimmed() + "/\r\n"));
        TestRequest::Record record;
        auto* request = new TestRequest(record, true, false);
        // The answer arrives while the event loop is blocked for longer than the limit.
        QTimer::singleShot(400, this, [] { QThread::sleep(3); });
        QVERIFY(request->Execute());
        WaitForEnd(record);
        Setting("response timeout", "120");
        server.waitForFinished();
        QCOMPARE(last(record, 2), QStringLiteral("ok late"));
    }

    void aServerThatDripsEndsByTheTotalLimit()
    {
        Setting("transfer timeout", "1");
        m_server.answer("/t", [](QTcpSocket* socket, const QByteArray&) {
            socket->write("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n");
            auto* timer = new QTimer(socket);
            connect(timer, &QTimer::timeout, socket, [socket] { socket->write("x"); });
            timer->start(50);
        });
        TestRequest::Record record;
        QVERIFY((new TestRequest(record))->Execute());
        Setting("transfer timeout", "3600");
        QCOMPARE(record.failures, QStringList(QStringLiteral("timed-out")));
        QCOMPARE(last(record, 1), QStringLiteral("complete 0"));
    }

    void redirectionsStayInTheWebAndInHttps_data()
    {
        QTest::addColumn<QUrl>("from");
        QTest::addColumn<QUrl>("to");
        QTest::addColumn<bool>("may");
        const auto row = [](const char* from, const char* to, bool may) {
            QTest::addRow("%s to %s", from, to)
                << QUrl(QLatin1String(from)) << QUrl(QLatin1String(to)) << may;
        };
        row("http://a/", "http://b/", true);
        row("http://a/", "https://b/", true);
        row("https://a/", "https://b/", true);
        row("https://a/", "http://b/", false);
        for (const char* to : { "ftp://b/", "file:///etc/passwd", "sftp://b/", "data:,x", "" }) {
            row("http://a/", to, false);
            row("https://a/", to, false);
        }
    }
    void redirectionsStayInTheWebAndInHttps()
    {
        QFETCH(QUrl, from);
        QFETCH(QUrl, to);
        QTEST(MayRedirect(from, to), "may");
    }

    void redirectionToAnotherSchemeIsNotFollowed_data()
    {
        QTest::addColumn<QByteArray>("to");
        QTest::newRow("ftp") << QByteArray("ftp://127.0.0.1:1/x");
        QTest::newRow("file") << QByteArray("file:///etc/hostname");
    }
    void redirectionToAnotherSchemeIsNotFollowed()
    {
        QFETCH(QByteArray, to);
        const auto record = ask(ScriptedServer::http("", "302 Found", "Location: " + to + "\r\n"));
        QCOMPARE(record.failures, QStringList(QStringLiteral("redirect-refused")));
        QCOMPARE(last(record, 1), QStringLiteral("complete 0"));
        QCOMPARE(SpoolFiles(), QStringList());
    }

    // A class that replaces Execute: it starts the transfer itself and leaves the reply
    // to the base class.
    void replyOfAReplacedExecuteIsReadAndLimited()
    {
        class Own : public TestRequest
        {
        public:
            using TestRequest::TestRequest;
            QUrl url;
            bool Execute() override
            {
                emit BeforeTransfer(url.toString());
                auto* job = KIO::get(url, KIO::Reload, KIO::HideProgressInfo);
                connect(job, &KIO::TransferJob::data, this, &CAPI::onDownloadReceive);
                connect(job, &KJob::result, this,
                        [this](KJob* ended) { onDownloadComplete(static_cast<KIO::Job*>(ended)); });
                WaitForDone();
                return true;
            }
        };
        const auto run = [this](const QByteArray& bytes) {
            m_server.answer("/t", bytes);
            TestRequest::Record record;
            auto* request = new Own(record);
            request->url = QUrl(QString::fromLatin1(m_server.url("/t")));
            request->Execute();
            return record;
        };
        QCOMPARE(last(run(ScriptedServer::http(okReply)), 2), QStringLiteral("ok hello"));
        Setting("max reply size", "100");
        const auto over = run(ScriptedServer::http(okReply + QByteArray(100, ' ')));
        Setting("max reply size", "0");
        QCOMPARE(over.failures, QStringList(QStringLiteral("reply-too-large")));
        m_server.answer("/t", [](QTcpSocket* socket, const QByteArray&) {
            socket->write(ScriptedServer::http(QByteArray(20000, 'x')).chopped(1));
        });
        TestRequest::Record aborted;
        auto* request = new Own(aborted);
        request->url = QUrl(QString::fromLatin1(m_server.url("/t")));
        QTimer look;
        connect(&look, &QTimer::timeout, this, [] { CAPI::AbortTransfers(); });
        look.start(50);
        request->Execute();
        QCOMPARE(aborted.failures, QStringList(QStringLiteral("cancelled")));
    }

    void twoAtOnceAreCountedAndBothRun()
    {
        m_server.answer("/t", ScriptedServer::http(okReply));
        TestRequest::Record one, two;
        auto* first = new TestRequest(one, true, false);
        auto* second = new TestRequest(two, true, false);
        QCOMPARE(first->ReferenceCount(), 2);
        QVERIFY(first->Execute());
        QVERIFY(second->Execute());
        WaitForEnd(one);
        WaitForEnd(two);
        QCOMPARE(one.events.size(), 3);
        QCOMPARE(two.events.size(), 3);
        TestRequest::Record third;
        auto* probe = new TestRequest(third);
        QCOMPARE(probe->ReferenceCount(), 1);
        QCOMPARE(probe->Release(), 0);
        QCOMPARE(probe->Release(), 0);
        QCOMPARE(probe->AddRef(), 1);
        delete probe;
    }

    void exclusiveBesideAnotherIsNeitherCountedNorConnected()
    {
        m_server.answer("/t", ScriptedServer::http(okReply));
        TestRequest::Record other, record;
        auto* alive = new TestRequest(other, true, false);
        auto* exclusive = new TestRequest(record, true, false, true);
        QCOMPARE(exclusive->ReferenceCount(), 1);
        QVERIFY(!exclusive->APILocked(alive));
        QVERIFY(exclusive->Execute());
        // It runs nevertheless, but without a reply file, so nothing is dispatched.
        WaitForEnd(record);
        QVERIFY(record.file.isEmpty());
        QCOMPARE(last(record, 1), QStringLiteral("complete 1"));
        QCOMPARE(record.events.size(), 2);
        delete alive;
    }

    void exclusiveAloneLocksTheOthersOut()
    {
        m_server.answer("/t", ScriptedServer::http(okReply));
        TestRequest::Record holderRecord, record;
        auto* holder = new TestRequest(holderRecord, true, false, true);
        const BoxCloser boxes;
        const StandardOutput output;
        auto* late = new TestRequest(record, false);
        QCOMPARE(late->ReferenceCount(), 1);
        QVERIFY(late->APILocked(late));
        QVERIFY(!late->APILocked(holder));
        QVERIFY(!late->Execute());
        QVERIFY(record.object.isNull());
        QCOMPARE(
            record.events,
            (QStringList{ QLatin1String("error ") + Texts::locked, QStringLiteral("complete 1") }));
        QCOMPARE(boxes.texts, QStringList());
        QVERIFY(!output.text().contains("api error"));
        // The end of the late request lowered the count; the holder still works.
        QVERIFY(holder->Execute());
        WaitForEnd(holderRecord);
        TestRequest::Record after;
        QVERIFY((new TestRequest(after))->Execute());
        QCOMPARE(last(after, 2), QStringLiteral("ok hello"));
    }

    void lockIsGivenBackByItsHolder()
    {
        TestRequest::Record one, two;
        auto* first = new TestRequest(one, true, false, true);
        QVERIFY(first->LockAPI(false));
        auto* second = new TestRequest(two, true, false);
        QVERIFY(!first->LockAPI(true));
        QVERIFY(second->LockAPI(false));
        delete second;
        delete first;
    }

    void validXmlNeedsMoreThanItsHead_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("valid");
        QTest::newRow("whole") << QByteArray("<?xml version") << true;
        QTest::newRow("five bytes") << QByteArray("<?xml") << false;
        QTest::newRow("other") << QByteArray("<html></html>") << false;
        QTest::newRow("capitals") << QByteArray("<?XML v") << false;
        QTest::newRow("empty") << QByteArray() << false;
    }
    void validXmlNeedsMoreThanItsHead()
    {
        QFETCH(QByteArray, text);
        QFETCH(bool, valid);
        QTemporaryFile file;
        QVERIFY(file.open());
        file.write(text);
        file.flush();
        TestRequest::Record record;
        auto* request = new TestRequest(record);
        {
            const Trace trace;
            QCOMPARE(request->IsValidXML(file.fileName()), valid);
            QCOMPARE(trace.events().first(), QStringLiteral("+CAPI::IsValidXML"));
        }
        QVERIFY(!request->IsValidXML(file.fileName() + QLatin1Char('x')));
        QVERIFY(!request->IsValidXML());
        delete request;
    }
};

QTEST_MAIN(CapiTest)
#include "tst_capi.moc"
