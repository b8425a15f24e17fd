// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The worked example of CONTRIBUTING.md: a new request, tested with a new function of the
// real server, and with replies that no sane server sends.

#include "capigetnews.h"
#include "tests/common/observe.h"
#include "tests/request/requests.h"
#include "tests/server/serverprocess.h"

#include <QtTest>

class NewsTest : public QObject
{
    Q_OBJECT

private:
    struct Told {
        QStringList headlines;
        QString error;
        bool succeeded = false;
    };

    // Runs a request for `count` headlines to its end.
    Told ask(int count)
    {
        Told told;
        bool done = false;
        auto* request = new CAPIGetNews(count, true);
        connect(request, &CAPIGetNews::signalNews, this,
                [&told](const QStringList& headlines) { told.headlines = headlines; });
        connect(request, &CAPI::APIComplete, this, [&](bool succeeded) {
            told.succeeded = succeeded;
            done = true;
        });
        const StandardOutput output;
        if (request->Execute())
            [&] { QTRY_VERIFY_WITH_TIMEOUT(done, 60000); }();
        told.error = output.lines().filter(QStringLiteral("error")).join(QLatin1Char('\n'));
        return told;
    }

private slots:
    void headlinesComeFromTheServer()
    {
        const QString folder = QString::fromLocal8Bit(qgetenv("TEST_DIR"));
        const ServerProcess server(ServerProcess::makeDemoStore(folder));
        QVERIFY(server.isRunning());
        Setting("agent api url", server.url().toStdString() + "/getagentapi.php");
        const Told told = ask(3);
        QVERIFY(told.succeeded);
        QCOMPARE(
            told.headlines,
            (QStringList{ QStringLiteral("Star Lander 2 is here"),
                          QStringLiteral("C++ for 5% less"), QStringLiteral("Möbius strips") }));
        QCOMPARE(ask(1).headlines.size(), 1);
    }

    void anEmptyReplyIsAnError()
    {
        ScriptedServer server;
        Setting("agent api url", server.url("/api").toStdString());
        server.answer("/api", Directory({ { "CAPIGetNews", server.url("/news") } }));
        server.answer("/news", ScriptedServer::http("<agentfunction resultcode=\"OK\"/>"));
        const Told told = ask(3);
        QVERIFY(!told.succeeded);
        QCOMPARE(told.headlines, QStringList());
        QCOMPARE(told.error, QStringLiteral("CAPIGetNews - api error = 'The store has no news.'"));
    }

    void moreThanAskedForIsNotTaken()
    {
        ScriptedServer server;
        Setting("agent api url", server.url("/api").toStdString());
        server.answer("/api", Directory({ { "CAPIGetNews", server.url("/news") } }));
        server.answer("/news",
                      ScriptedServer::http("<agentfunction resultcode=\"OK\">"
                                           + QByteArray("<headline>again</headline>").repeated(1000)
                                           + "</agentfunction>"));
        QCOMPARE(ask(2).headlines.size(), 2);
    }
};

QTEST_MAIN(NewsTest)
#include "tst_capigetnews.moc"
