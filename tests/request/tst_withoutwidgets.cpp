// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A service that has a QCoreApplication only: requests that are not silent show no
// box, which would end the process, and say all the same what went wrong.

#include "requests.h"
#include "util/desktop.h"

#include <QtTest>

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
