// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A service with only a QCoreApplication: requests that are not silent show no box, which
// would end the process, but report what went wrong all the same.

#include "requests.h"
#include "util/desktop.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QRegularExpression>
#include <QtTest>

using namespace Agent;

namespace
{

QStringList& Logged()
{
    static QStringList lines;
    return lines;
}

void Collect(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    if (type == QtWarningMsg && qstrcmp(context.category, "vantrel.agent.request") == 0)
        Logged() << text;
}

} // namespace

class WithoutWidgetsTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api", Directory({ { "TestRequest", m_server.url("/t") } }));
        QVERIFY(!CanShowWindows());
    }
    void init() { Logged().clear(); }

    void aFailureGoesToTheSignalsAndTheLog_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("text");
        QTest::newRow("refused") << ScriptedServer::http("<agentfunction msg=\"No\"/>")
                                 << QStringLiteral("No");
        QTest::newRow("not understood") << ScriptedServer::http("x") << Texts::format;
    }
    void aFailureGoesToTheSignalsAndTheLog()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, text);
        m_server.answer("/t", bytes);
        TestRequest::Record record;
        const auto before = qInstallMessageHandler(Collect);
        const bool started = (new TestRequest(record, false))->Execute();
        qInstallMessageHandler(before);
        QVERIFY(started);
        QCOMPARE(Logged(), QStringList(text));
        QCOMPARE(record.failures.size(), 1);
        QCOMPARE(record.events.last(), QStringLiteral("complete 0"));
    }

    // KIO would start the desktop's cookie daemon, which outlives the requesting process.
    void aRequestLeavesNoDaemonOnTheBus()
    {
        m_server.answer("/t",
                        ScriptedServer::http("<agentfunction resultcode=\"OK\"/>", "200 OK",
                                             "Set-Cookie: a=b\r\n"));
        TestRequest::Record record;
        QVERIFY((new TestRequest(record))->Execute());
        QCOMPARE(record.events.last(), QStringLiteral("complete 1"));
        const auto bus = QDBusConnection::sessionBus().interface();
        const QDBusReply<QStringList> names = bus->call(QStringLiteral("ListActivatableNames"));
        const QStringList daemons
            = names.value().filter(QRegularExpression(QStringLiteral("^org\\.kde\\.kded[56]$")));
        QVERIFY(!daemons.isEmpty()); // the daemons that could be started
        for (const QString& daemon : daemons)
            QVERIFY2(!bus->isServiceRegistered(daemon), qPrintable(daemon));
    }

    void aPlainErrorGoesToTheLog()
    {
        const auto before = qInstallMessageHandler(Collect);
        ShowErrorMsg("a text");
        qInstallMessageHandler(before);
        QCOMPARE(Logged(), QStringList(QStringLiteral("a text")));
    }
};

QTEST_GUILESS_MAIN(WithoutWidgetsTest)
#include "tst_withoutwidgets.moc"
