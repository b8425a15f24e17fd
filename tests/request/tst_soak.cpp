// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A very large number of requests with all kinds of ends, in sequence and concurrently,
// leak no memory, descriptors or files. PAKMART_TEST_SOAK sets their number (2,000); more
// than a few thousand also need a QTEST_FUNCTION_TIMEOUT.

#include "requests.h"

#include <QDir>
#include <QtTest>
#include <malloc.h>
#include <memory>

namespace
{

double AllocatedMegabytes()
{
    const auto info = mallinfo2();
    return (double(info.uordblks) + double(info.hblkhd)) / 1e6;
}

double ResidentMegabytes()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return file.readAll().split(' ').value(1).toDouble() * double(sysconf(_SC_PAGESIZE)) / 1e6;
}

int Descriptors()
{
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::System | QDir::Files).size();
}

} // namespace

class SoakTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;
    int m_ended = 0;

    // A request that waits, or one that runs concurrently with the next ones.
    void one(int number)
    {
        m_server.asked.clear();
        TestRequest::Record record;
        auto* request = new TestRequest(record, true, true, false);
        switch (number % 5) {
        case 0:
        case 1:
            m_server.answer("/t", ScriptedServer::http("<agentfunction resultcode=\"OK\"/>"));
            break;
        case 2:
            m_server.answer("/t", ScriptedServer::http("<agentfunction msg=\"No\"/>"));
            break;
        case 3:
            m_server.answer("/t", ScriptedServer::http("<a><b>"));
            break;
        default:
            m_server.answer("/t", QByteArray());
            break;
        }
        request->Execute();
        m_ended += record.events.last().startsWith(QLatin1String("complete"));
    }
    void several()
    {
        m_server.answer("/t", ScriptedServer::http("<agentfunction resultcode=\"OK\"/>"));
        TestRequest::Record records[5];
        for (TestRequest::Record& record : records)
            (new TestRequest(record, true, false))->Execute();
        CAPI::AbortTransfers();
        for (const TestRequest::Record& record : records)
            m_ended += record.failures == QStringList(QStringLiteral("cancelled"));
    }
    void run(int requests)
    {
        m_ended = 0;
        for (int i = 0; i < requests / 10; ++i) {
            for (int k = 0; k < 5; ++k)
                one(k);
            several();
            // A host's event loop does this when a wait has ended.
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        }
        QCOMPARE(m_ended, requests / 10 * 10);
    }

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api", Directory({ { "TestRequest", m_server.url("/t") } }));
    }

    void manyRequestsLeaveNothing()
    {
        const int wanted = qEnvironmentVariableIntValue("PAKMART_TEST_SOAK");
        const int requests = wanted > 0 ? wanted : 2000;
        auto output = std::make_unique<StandardOutput>(); // ten lines per request
        run(500); // so that everything made only once exists
        malloc_trim(0);
        const double before = AllocatedMegabytes(), resident = ResidentMegabytes();
        const int descriptors = Descriptors();
        run(requests);
        output.reset();
        malloc_trim(0);
        const double after = AllocatedMegabytes();
        qInfo("%d requests: %.2f MB allocated before and %.2f after, %.1f and %.1f MB resident",
              requests, before, after, resident, ResidentMegabytes());
        QVERIFY(after - before < 5);
        QVERIFY(Descriptors() < descriptors + 20);
        QCOMPARE(QDir(QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT")) + QStringLiteral("/tmp"))
                     .entryList({ QStringLiteral("*.xml") }, QDir::Files),
                 QStringList());
    }
};

QTEST_MAIN(SoakTest)
#include "tst_soak.moc"
