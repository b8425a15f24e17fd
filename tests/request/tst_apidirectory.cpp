// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The API directory. It is fetched only once per process, so each of these functions that
// makes a request runs in a process of its own.

#include "requests.h"

#include "request/capigetapilist.h"

#include <QtTest>

class ApiDirectoryTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;

    void directoryIs(const QByteArray& inner)
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer(
            "/api",
            ScriptedServer::http("<agentfunction resultcode=\"OK\">" + inner + "</agentfunction>"));
        m_server.answer("/t", ScriptedServer::http("<agentfunction resultcode=\"OK\"/>"));
        m_server.answer("/u", ScriptedServer::http("<agentfunction resultcode=\"OK\"/>"));
    }
    // A request that must fail because it has no URL.
    static void expectNoUrl(const QString& name = QStringLiteral("TestRequest"))
    {
        TestRequest::Record record;
        const StandardOutput output;
        const BoxCloser boxes;
        QVERIFY(!(new TestRequest(record, false))->Execute());
        QCOMPARE(
            record.events,
            (QStringList{ QLatin1String("error ") + Texts::noUrl, QStringLiteral("complete 0") }));
        QCOMPARE(boxes.texts, QStringList(Texts::noUrl));
        QVERIFY(output.lines().contains(
            QStringLiteral("CAPI::Execute failed to find URL for '%1'").arg(name)));
    }

private slots:
    void listKeepsWhatItIsGiven()
    {
        CAPIList list;
        QVERIFY(list.Empty());
        list.AddAPI(QStringLiteral("b"), QStringLiteral("u1"));
        list.AddAPI(QStringLiteral("b"), QStringLiteral("u2"));
        list.AddAPI(QStringLiteral("B"), QStringLiteral("u3"));
        QCOMPARE(list.url(QStringLiteral("b")), QStringLiteral("u2"));
        QCOMPARE(list.url(QStringLiteral("B")), QStringLiteral("u3"));
        QVERIFY(!list.Empty());
        list.Clear();
        QVERIFY(list.Empty());
    }

    void askingForAnUnknownNameLeavesAnEmptyEntry()
    {
        CAPIList list;
        list.AddAPI(QStringLiteral("b"), QStringLiteral("u"));
        QCOMPARE(list.url(QStringLiteral("a")), QString());
        const StandardOutput output;
        list.dump();
        QCOMPARE(output.text(), QByteArray("Name: a url: \nName: b url: u\n"));
    }

    void entriesNeedNameAndUrlAndTheLaterOneWins()
    {
        directoryIs("text<getagentapi><api><name>TestRequest</name><url>http://x.invalid/</url>"
                    "</api><other/></getagentapi><getagentapi>"
                    "<api><name>NoUrl</name></api><api><name>EmptyUrl</name><url/></api>"
                    "<api><url>u</url></api><!-- c -->"
                    "<api><name>Old</name><what/><name>TestRequest</name><url>"
                    + m_server.url("/t") + "</url></api></getagentapi>");
        TestRequest::Record record;
        QVERIFY((new TestRequest(record))->Execute());
        QCOMPARE(record.events.first(),
                 QLatin1String("before ") + QString::fromLatin1(m_server.url("/t")));
        QCOMPARE(CAPI::GetURL(QStringLiteral("NoUrl")), QString());
        QCOMPARE(CAPI::GetURL(QStringLiteral("EmptyUrl")), QString());
        QCOMPARE(CAPI::GetURL(QStringLiteral("Old")), QString());
        QCOMPARE(CAPI::GetURL(QString()), QString());
        QCOMPARE(CAPI::GetURL(QStringLiteral("agentapi")),
                 QString::fromLatin1(m_server.url("/api")));
    }

    void theLaterUrlOfAnEntryCountsAndNoUrlIsNoEntry()
    {
        directoryIs("<getagentapi><api><name>A</name><url>u1</url><url>u2</url></api>"
                    "<api><name>B</name><url>kept</url></api><api><name>B</name></api>"
                    "<api><name>B</name><url/></api></getagentapi>");
        CAPI::GetURLList();
        QCOMPARE(CAPI::GetURL(QStringLiteral("A")), QStringLiteral("u2"));
        QCOMPARE(CAPI::GetURL(QStringLiteral("B")), QStringLiteral("kept"));
    }

    void aReplyTakesThePlaceOfTheDirectory()
    {
        directoryIs("<getagentapi><api><name>Old</name><url>u</url></api></getagentapi>");
        CAPI::GetURLList();
        QCOMPARE(CAPI::GetURL(QStringLiteral("Old")), QStringLiteral("u"));
        directoryIs("<getagentapi><api><name>New</name><url>v</url></api></getagentapi>");
        QVERIFY((new CAPIGetAPIList(true))->Execute());
        QCOMPARE(CAPI::GetURL(QStringLiteral("Old")), QString());
        QCOMPARE(CAPI::GetURL(QStringLiteral("New")), QStringLiteral("v"));
    }

    void textIsTakenAsItStands()
    {
        directoryIs("<getagentapi><api><name> Blank+%41 </name><url>u+%41\\</url></api>"
                    "</getagentapi>");
        CAPI::GetURLList();
        QCOMPARE(CAPI::GetURL(QStringLiteral(" Blank+%41 ")), QStringLiteral("u+%41\\"));
    }

    void isFetchedOnce()
    {
        directoryIs("<getagentapi><api><name>TestRequest</name><url>" + m_server.url("/t")
                    + "</url></api></getagentapi>");
        for (int i = 0; i < 3; ++i) {
            TestRequest::Record record;
            QVERIFY((new TestRequest(record))->Execute());
        }
        QCOMPARE(m_server.asked, (QList<QByteArray>{ "/api", "/t", "/t", "/t" }));
    }

    void firstExclusiveRequestStillGetsTheLock()
    {
        directoryIs("<getagentapi><api><name>TestRequest</name><url>" + m_server.url("/t")
                    + "</url></api></getagentapi>");
        TestRequest::Record record;
        auto* request = new TestRequest(record, true, true, true);
        QCOMPARE(request->ReferenceCount(), 1);
        QVERIFY(request->APILocked(nullptr));
        QVERIFY(request->Execute());
        QCOMPARE(record.events.last(), QStringLiteral("complete 1"));
    }

    void failedFetchIsNotRetried()
    {
        Setting("agent api url", m_server.url("/absent").toStdString());
        expectNoUrl();
        expectNoUrl();
        QCOMPARE(m_server.asked, QList<QByteArray>{ "/absent" });
    }

    void failedFetchIsTheReasonOfLaterRequests()
    {
        {
            ScriptedServer closed;
            Setting("agent api url", closed.url("/api").toStdString());
        }
        TestRequest::Record record;
        QVERIFY(!(new TestRequest(record))->Execute());
        QCOMPARE(record.failures, QStringList(QStringLiteral("server-unreachable")));
        QVERIFY(record.failureBeforeEnd);
        QVERIFY2(record.details.startsWith(QLatin1String("The API directory could not be")),
                 qPrintable(record.details));
        QVERIFY(record.details.contains(QLatin1String("/api")));
        QCOMPARE(record.events.last(), QStringLiteral("complete 0"));
    }

    void directoryWithoutAnAddressIsABadAddress()
    {
        Setting("agent api url", "");
        auto* request = new CAPIGetAPIList(true);
        QSignalSpy told(request, &CAPI::signalFailure);
        QVERIFY(!request->Execute());
        QCOMPARE(told.value(0).value(0).value<AgentError::Code>(), AgentError::BadAddress);
    }

    void waitingRequestMadeDuringTheFetchIsRefusedAndReturns()
    {
        directoryIs("<getagentapi><api><name>TestRequest</name><url>" + m_server.url("/t")
                    + "</url></api></getagentapi>");
        TestRequest::Record first, refused, later;
        TestRequest* late = nullptr;
        bool started = true;
        QTimer::singleShot(0, this, [&] {
            started = (new TestRequest(refused))->Execute();
            late = new TestRequest(later);
        });
        auto* request = new TestRequest(first);
        QVERIFY(!started);
        QCOMPARE(
            refused.events,
            (QStringList{ QLatin1String("error ") + Texts::locked, QStringLiteral("complete 1") }));
        QCOMPARE(refused.failures, QStringList(QStringLiteral("locked")));
        QVERIFY(request->Execute());
        QCOMPARE(first.events.last(), QStringLiteral("complete 1"));
        // A request made in the meantime does not get its own slots, but its wait ends.
        QVERIFY(late->Execute());
        QCOMPARE(later.failures, QStringList(QStringLiteral("locked")));
    }

    void refusedDirectoryIsLoggedNotShown()
    {
        {
            ScriptedServer closed;
            Setting("agent api url", closed.url("/api").toStdString());
        }
        const StandardOutput output;
        const BoxCloser boxes;
        CAPI::GetURLList();
        QVERIFY(output.text().contains("CAPIGetAPIList job returned error"));
        QVERIFY(output.text().contains("CAPIGetAPIList - api error = '"));
        QCOMPARE(boxes.texts, QStringList());
    }

    void directoryWithoutTheFunction()
    {
        directoryIs("<getagentapi/>");
        expectNoUrl();
    }

    void urlsOfOtherSchemesMakeNoJob()
    {
        QFile secret(QDir::home().filePath(QStringLiteral("secret.xml")));
        QVERIFY(secret.open(QIODevice::WriteOnly));
        secret.write("<agentfunction resultcode=\"OK\">secret</agentfunction>");
        secret.close();
        directoryIs("<getagentapi><api><name>TestRequest</name><url>file://"
                    + QFile::encodeName(secret.fileName()) + "</url></api></getagentapi>");
        TestRequest::Record record;
        const BoxCloser boxes;
        QVERIFY(!(new TestRequest(record, false))->Execute());
        QCOMPARE(
            record.events.mid(1),
            (QStringList{ QLatin1String("error ") + Texts::noJob, QStringLiteral("complete 0") }));
        QCOMPARE(boxes.texts, QStringList(Texts::noJob));
        // The reply file had been made, and was removed with the request.
        QVERIFY(!record.file.isEmpty());
        QVERIFY(!QFile::exists(record.file));
    }

    void bootstrapUrlWithoutASetting()
    {
        QCOMPARE(CAPI::GetAgentAPIURL(),
                 QStringLiteral("http://store.vantrelnet.example/getagentapi.php"));
    }

    void bootstrapUrlIsReadEachTime()
    {
        Setting("agent api url", "http://127.0.0.1:1/a b");
        QCOMPARE(CAPI::GetAgentAPIURL(), QStringLiteral("http://127.0.0.1:1/a b"));
        Setting("agent api url", "http://127.0.0.1:1/c");
        QCOMPARE(CAPI::GetAgentAPIURL(), QStringLiteral("http://127.0.0.1:1/c"));
    }

    void settingsThatAreADirectoryGiveTheDefaults()
    {
        const QString name = QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"))
            + QStringLiteral("/usr/share/apps/vantrelagent/.vauf");
        QVERIFY(QDir().mkpath(name));
        QCOMPARE(CAPI::GetAgentAPIURL(),
                 QStringLiteral("http://store.vantrelnet.example/getagentapi.php"));
    }

    void binarySettingsGiveTheDefaults()
    {
        QFile file(QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"))
                   + QStringLiteral("/usr/share/apps/vantrelagent/.vauf"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray("agent api url = http://x/\n\0", 27));
        file.close();
        QCOMPARE(CAPI::GetAgentAPIURL(),
                 QStringLiteral("http://store.vantrelnet.example/getagentapi.php"));
    }

    void serverThatDoesNotAnswerEndsInAnError()
    {
        Setting("response timeout", "2");
        directoryIs("<getagentapi><api><name>TestRequest</name><url>" + m_server.url("/mute")
                    + "</url></api></getagentapi>");
        m_server.answer("/mute", [](QTcpSocket*, const QByteArray&) {});
        TestRequest::Record record;
        QVERIFY((new TestRequest(record))->Execute());
        QVERIFY(record.events.value(1).startsWith(QLatin1String("error ")));
        QCOMPARE(record.events.last(), QStringLiteral("complete 0"));
    }
};

QTEST_MAIN(ApiDirectoryTest)
#include "tst_apidirectory.moc"
