// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Every request that fails reports the reason, once, immediately before its end.

#include "catalog/capidownloadappinfo.h"
#include "requests.h"
#include "tests/common/limits.h"

#include <QDir>
#include <QMetaEnum>
#include <QtTest>
#include <csignal>
#include <optional>

namespace
{

const QByteArray okReply = "<agentfunction resultcode=\"OK\">hello</agentfunction>";

// A request class that sets its reason itself, or only reports a text.
class OwnReason : public TestRequest
{
public:
    OwnReason(Record& record, std::function<void(OwnReason&)> fail)
        : TestRequest(record), m_fail(std::move(fail))
    {
    }
    void onSuccessfulTransfer(QDomElement*) override { m_fail(*this); }
    void set(AgentError::Code code, const QString& sentence = QString())
    {
        SetFailure(code, sentence, QStringLiteral("the details"));
    }
    void fail() { m_bSucceeded = false; }

private:
    std::function<void(OwnReason&)> m_fail;
};

// A listener whose slot is found by name.
class Listener : public QObject
{
    Q_OBJECT

public:
    QStringList heard;

public slots:
    void onFailure(AgentError::Code code, const QString& sentence, const QString&)
    {
        heard << AgentError::Name(code) << sentence;
    }
};

} // namespace

class FailuresTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;

    TestRequest::Record ask(const QByteArray& bytes)
    {
        m_server.answer("/t", bytes);
        TestRequest::Record record;
        (new TestRequest(record))->Execute();
        return record;
    }
    TestRequest::Record own(std::function<void(OwnReason&)> fail)
    {
        m_server.answer("/t", ScriptedServer::http(okReply));
        TestRequest::Record record;
        (new OwnReason(record, std::move(fail)))->Execute();
        return record;
    }

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api",
                        Directory({ { "TestRequest", m_server.url("/t") },
                                    { "CAPIDownloadAppInfo", m_server.url("/t") } }));
    }

    void everyCodeHasItsOwnNameAndSentence()
    {
        const auto codes = QMetaEnum::fromType<AgentError::Code>();
        QSet<QString> names, sentences;
        for (int i = 0; i < codes.keyCount(); ++i) {
            const auto code = AgentError::Code(codes.value(i));
            const QString name = AgentError::Name(code);
            QVERIFY2(
                QRegularExpression(QStringLiteral("\\A[a-z]+(-[a-z]+)*\\z")).match(name).hasMatch(),
                qPrintable(name));
            QCOMPARE(AgentError::Sentence(code).isEmpty(), code == AgentError::NoFailure);
            names << name;
            sentences << AgentError::Sentence(code);
        }
        QCOMPARE(names.size(), codes.keyCount());
        QCOMPARE(sentences.size(), codes.keyCount());
        QCOMPARE(AgentError::Name(AgentError::NoFailure), QStringLiteral("none"));
        QCOMPARE(AgentError::Name(AgentError::Other), QStringLiteral("other"));
        QCOMPARE(AgentError::Name(AgentError::Code(12345)), QStringLiteral("other"));
    }

    void aRequestThatSucceedsSaysNothing()
    {
        const auto record = ask(ScriptedServer::http(okReply));
        QCOMPARE(record.failures, QStringList());
        QCOMPARE(record.events.last(), QStringLiteral("complete 1"));
    }

    void aReplySaysItsReason_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("sentence");
        const auto row = [](const char* name, const QByteArray& bytes, AgentError::Code code,
                            const QString& sentence = QString()) {
            QTest::newRow(name) << bytes << AgentError::Name(code)
                                << (sentence.isEmpty() ? AgentError::Sentence(code) : sentence);
        };
        const auto http = [](const QByteArray& body) { return ScriptedServer::http(body); };
        row("no answer", QByteArray(), AgentError::ServerUnreachable);
        const QByteArray whole = http(okReply);
        row("cut before its last byte", whole.chopped(1), AgentError::ServerUnreachable);
        row("cut in the middle", whole.chopped(okReply.size() / 2), AgentError::ServerUnreachable);
        row("cut after its end", http(okReply + "\n").chopped(1), AgentError::ServerUnreachable);
        row("cut before its first byte", whole.chopped(okReply.size()),
            AgentError::ServerUnreachable);
        row("not XML", http("hello"), AgentError::ReplyNotUnderstood);
        row("empty", http(""), AgentError::ReplyNotUnderstood);
        row("another root", http("<other/>"), AgentError::ReplyNotUnderstood);
        row("a page about a missing page", ScriptedServer::http("<html><p>gone", "404 Not Found"),
            AgentError::ServerFailed);
        row("a page with a root of its own", ScriptedServer::http("<html/>", "503 No"),
            AgentError::ServerFailed);
        row("a page about a bad request", ScriptedServer::http("<html/>", "400 Bad Request"),
            AgentError::ServerFailed);
        row("a page with a choice", ScriptedServer::http("<html/>", "300 Multiple Choices"),
            AgentError::RedirectRefused);
        row("refused", http("<agentfunction msg=\"No such thing\"/>"), AgentError::RefusedByServer,
            QStringLiteral("No such thing"));
        row("refused without a word", http("<agentfunction/>"), AgentError::RefusedByServer);
    }
    void aReplySaysItsReason()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, name);
        QFETCH(QString, sentence);
        const auto record = ask(bytes);
        QCOMPARE(record.failures, QStringList(name));
        QVERIFY(record.failureBeforeEnd);
        QCOMPARE(record.sentence, sentence);
        QVERIFY(record.details.contains(QString::fromLatin1(m_server.url("/t"))));
        QCOMPARE(record.events.last(), QStringLiteral("complete 0"));
    }

    void theDetailsHoldWhatTheServerSaid()
    {
        QVERIFY(ask(ScriptedServer::http("oops", "503 No")).details.contains(QLatin1String("503")));
        QVERIFY(ask(ScriptedServer::http("<agentfunction>&"))
                    .details.contains(QLatin1String("ends in the middle")));
        QVERIFY(ask(ScriptedServer::http("<agentfunction></x></agentfunction>"))
                    .details.contains(QLatin1String("closes an element")));
        QVERIFY(ask(ScriptedServer::http("<agentfunction></x>"))
                    .details.contains(QLatin1String("line 1")));
    }

    void aRefusedDownloadOfInformationIsAnUnknownProduct()
    {
        const auto asked = [this](const QByteArray& bytes) {
            m_server.answer("/t?app_id[]=8", bytes);
            m_server.answer("/t", bytes);
            std::vector<long> ids{ 8 };
            auto* request = new CAPIDownloadAppInfo(ids, true);
            QSignalSpy failure(request, &CAPI::signalFailure);
            QSignalSpy end(request, &CAPI::APIComplete);
            request->Execute();
            [&end] { QTRY_COMPARE_WITH_TIMEOUT(end.size(), 1, 60000); }();
            return failure.value(0);
        };
        const QByteArray reply = "<agentfunction msg=\"There is no product 8\"/>";
        const auto unknown = asked(ScriptedServer::http(reply));
        QCOMPARE(unknown.value(0).value<AgentError::Code>(), AgentError::UnknownProduct);
        QCOMPARE(unknown.value(1).toString(), QStringLiteral("There is no product 8"));
        const auto refused = asked(ScriptedServer::http(reply, "400 Bad Request"));
        QCOMPARE(refused.value(0).value<AgentError::Code>(), AgentError::RefusedByServer);
    }

    void aRefusedConnectionIsAServerThatCannotBeReached()
    {
        ScriptedServer closed;
        const QByteArray url = closed.url("/t");
        closed.close();
        const auto record = ask(ScriptedServer::http("", "302 Found", "Location: " + url + "\r\n"));
        QCOMPARE(record.failures, QStringList(QStringLiteral("server-unreachable")));
    }

    void aReplyOverTheLimitIsTooLarge()
    {
        Setting("max reply size", "1000");
        const auto record = ask(ScriptedServer::http("<agentfunction resultcode=\"OK\">"
                                                     + QByteArray(2000, 'x') + "</agentfunction>"));
        Setting("max reply size", "0");
        QCOMPARE(record.failures, QStringList(QStringLiteral("reply-too-large")));
    }

    void aDiskWithoutRoomIsTold()
    {
        std::signal(SIGXFSZ, SIG_IGN);
        m_server.answer("/t",
                        ScriptedServer::http("<agentfunction resultcode=\"OK\">"
                                             + QByteArray(100000, 'x') + "</agentfunction>"));
        TestRequest::Record record;
        auto* request = new TestRequest(record, true, false);
        std::optional<LowLimit> full;
        connect(request, &CAPI::APIDestinationFile, this,
                [&full] { full.emplace(RLIMIT_FSIZE, 40000); });
        QVERIFY(request->Execute());
        QTRY_VERIFY_WITH_TIMEOUT(!record.failures.isEmpty(), 60000);
        full.reset();
        QCOMPARE(record.failures, QStringList(QStringLiteral("no-disk-space")));
        QCOMPARE(record.events.last(), QStringLiteral("complete 0"));
    }

    void aFolderWithoutReplyFilesIsTold()
    {
        const QString folder = QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT")) + "/tmp";
        QVERIFY(QDir().rename(folder, folder + QStringLiteral(".away")));
        const auto record = ask(ScriptedServer::http(okReply));
        QVERIFY(QDir().rename(folder + QStringLiteral(".away"), folder));
        QCOMPARE(record.failures, QStringList(QStringLiteral("cannot-write")));
        QVERIFY(record.details.contains(QLatin1String("No such file")));
        // Nothing else is emitted.
        QCOMPARE(record.events.last(), QStringLiteral("complete 1"));
    }

    void aCancelledJobIsTold()
    {
        m_server.answer("/t", ScriptedServer::http(okReply));
        TestRequest::Record record;
        record.cancel = true;
        (new TestRequest(record))->Execute();
        QCOMPARE(record.failures, QStringList(QStringLiteral("cancelled")));
        QCOMPARE(record.events.last(), QStringLiteral("complete 1"));
    }

    void anAbortedTransferIsCancelled()
    {
        m_server.answer("/t", [](QTcpSocket*, const QByteArray&) {});
        TestRequest::Record record;
        QTimer::singleShot(200, this, [] { CAPI::AbortTransfers(); });
        (new TestRequest(record))->Execute();
        QCOMPARE(record.failures, QStringList(QStringLiteral("cancelled")));
        QCOMPARE(record.events.last(), QStringLiteral("complete 0"));
    }

    void aRequestThatTheLockRefusesSaysSo()
    {
        TestRequest::Record holding, refused;
        auto* holder = new TestRequest(holding, true, false, true);
        auto* late = new TestRequest(refused);
        QVERIFY(!late->Execute());
        delete holder;
        QCOMPARE(refused.failures, QStringList(QStringLiteral("locked")));
        QVERIFY(refused.failureBeforeEnd);
        QCOMPARE(refused.events.last(), QStringLiteral("complete 1"));
        QCOMPARE(holding.failures, QStringList());
    }

    void aReplyThatNobodyKeptIsOneOfTheLock()
    {
        m_server.answer("/t", ScriptedServer::http(okReply));
        TestRequest::Record other, record;
        auto* alive = new TestRequest(other, true, false);
        // It waits, and has none of its own slots; the wait ends nevertheless.
        QVERIFY((new TestRequest(record, true, true, true))->Execute());
        delete alive;
        QCOMPARE(record.failures, QStringList(QStringLiteral("locked")));
        QCOMPARE(record.events.last(), QStringLiteral("complete 1"));
    }

    void aFunctionThatTheDirectoryLacksIsUnknown()
    {
        class Unlisted : public TestRequest
        {
        public:
            using TestRequest::TestRequest;
            QString GetAPIName() override { return QStringLiteral("Unlisted"); }
        };
        TestRequest::Record record;
        QVERIFY(!(new Unlisted(record))->Execute());
        QCOMPARE(record.failures, QStringList(QStringLiteral("unknown-function")));
        QVERIFY(record.details.contains(QLatin1String("Unlisted")));
        QCOMPARE(record.events.last(), QStringLiteral("complete 0"));
    }

    void theFirstReasonStaysAndAnyIsMoreThanOther()
    {
        const auto first = own([](OwnReason& request) {
            request.set(AgentError::HashMismatch);
            request.set(AgentError::LockHeld);
            emit request.ErroneousTransfer(QStringLiteral("A text"));
        });
        QCOMPARE(first.failures, QStringList(QStringLiteral("hash-mismatch")));
        QCOMPARE(first.sentence, AgentError::Sentence(AgentError::HashMismatch));
        QCOMPARE(first.details, QStringLiteral("the details"));

        const auto later = own([](OwnReason& request) {
            emit request.ErroneousTransfer(QStringLiteral("A text"));
            request.set(AgentError::LockHeld, QStringLiteral("Wait"));
        });
        QCOMPARE(later.failures, QStringList(QStringLiteral("lock-held")));
        QCOMPARE(later.sentence, QStringLiteral("Wait"));
    }

    void aTextWithoutAReasonIsTheSentence()
    {
        const auto emitted = own([](OwnReason& request) {
            emit request.ErroneousTransfer(QStringLiteral("A text"));
            emit request.ErroneousTransfer(QStringLiteral("Another"));
        });
        const auto called = own(
            [](OwnReason& request) { request.onErroneousTransfer(QStringLiteral("A text")); });
        for (const auto& record : { emitted, called }) {
            QCOMPARE(record.failures, QStringList(QStringLiteral("other")));
            QCOMPARE(record.sentence, QStringLiteral("A text"));
            QCOMPARE(record.events.last(), QStringLiteral("complete 0"));
        }
    }

    void aFailureWithoutATextIsToldToo()
    {
        const auto record = own([](OwnReason& request) { request.fail(); });
        QCOMPARE(record.failures, QStringList(QStringLiteral("other")));
        QCOMPARE(record.sentence, AgentError::Sentence(AgentError::Other));
        QCOMPARE(record.events.last(), QStringLiteral("complete 0"));
    }

    void aListenerIsFoundByName()
    {
        m_server.answer("/t", ScriptedServer::http("<agentfunction msg=\"No\"/>"));
        TestRequest::Record record;
        auto* request = new TestRequest(record);
        Listener listener;
        QVERIFY(connect(request, SIGNAL(signalFailure(AgentError::Code, QString, QString)),
                        &listener, SLOT(onFailure(AgentError::Code, QString, QString))));
        request->Execute();
        QCOMPARE(listener.heard,
                 (QStringList{ QStringLiteral("refused-by-server"), QStringLiteral("No") }));
    }
};

QTEST_MAIN(FailuresTest)
#include "tst_failures.moc"
