// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Replies as large as the default limit allows, and larger ones. They are generated while
// they are sent.

#include "requests.h"

#include <QFileInfo>
#include <QtTest>
#include <sys/resource.h>

namespace
{

constexpr qint64 mb = 1024 * 1024;
constexpr qint64 limit = 256 * mb;

// With the sanitizers this would be the slowest of all tests. So with them the large
// reply has a tenth of the size, and its memory is not checked. The reply over the limit
// always has its full size.
#ifdef VANTREL_SANITIZE
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif
constexpr qint64 large = sanitized ? 20 * mb : 200 * mb;

// Products with a thousand letters of text each.
constexpr int products = 1000; // per piece
const QByteArray piece = ("<product><name>Star Lander</name><description>" + QByteArray(1000, 'x')
                          + "</description></product>\n")
                             .repeated(products);
const QByteArray head = "<?xml version=\"1.0\"?><agentfunction resultcode=\"OK\">\n";
const QByteArray tail = "</agentfunction>\n";

// The peak memory of this process, in bytes.
qint64 PeakMemory()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return qint64(usage.ru_maxrss) * 1024;
}

// Counts the data without copying it.
class LargeRequest : public TestRequest
{
public:
    using TestRequest::TestRequest;
    static inline qint64 products = 0, letters = 0;

    void onSuccessfulTransfer(QDomElement* root) override
    {
        products = letters = 0;
        for (auto e = root->firstChildElement(); !e.isNull(); e = e.nextSiblingElement()) {
            ++products;
            letters += e.lastChildElement().text().size();
        }
    }
};

} // namespace

class LargeReplyTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;
    TestRequest::Record m_record;
    qint64 m_sent = 0;

    // Answers with `pieces` pieces. The server is never far ahead of the reply file: KIO
    // queues what arrives faster than it is read, and its queue costs the square of its
    // length.
    void serve(qint64 pieces)
    {
        m_server.answer("/t", [this, pieces](QTcpSocket* socket, const QByteArray&) {
            const qint64 size = head.size() + pieces * piece.size() + tail.size();
            socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nConnection: close\r\n"
                          "Content-Length: "
                          + QByteArray::number(size) + "\r\n\r\n" + head);
            m_sent = head.size();
            auto* timer = new QTimer(socket);
            connect(timer, &QTimer::timeout, socket, [this, timer, socket, size] {
                if (m_sent > QFileInfo(m_record.file).size() + 2 * mb)
                    return;
                const QByteArray& next = size - m_sent > tail.size() ? piece : tail;
                socket->write(next);
                m_sent += next.size();
                if (m_sent == size) {
                    timer->stop();
                    socket->disconnectFromHost();
                }
            });
            timer->start(0);
        });
    }

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api", Directory({ { "TestRequest", m_server.url("/t") } }));
    }
    void init() { m_record = {}; }
    // Each reply file was removed.
    void cleanup()
    {
        QVERIFY(!m_record.file.isEmpty());
        QVERIFY(!QFile::exists(m_record.file));
    }

    void replyOf200MegabytesIsRead()
    {
        const qint64 pieces = large / piece.size() + 1;
        serve(pieces);
        const qint64 before = PeakMemory();
        QVERIFY((new LargeRequest(m_record))->Execute());
        QVERIFY(m_sent >= large);
        QCOMPARE(m_record.events.last(), QStringLiteral("complete 1"));
        QCOMPARE(LargeRequest::products, pieces * products);
        QCOMPARE(LargeRequest::letters, pieces * products * 1000);
        const double cost = double(PeakMemory() - before) / double(m_sent);
        qInfo("%.1f bytes of memory for a byte of the reply", cost);
        QVERIFY(sanitized || cost < 4);
    }

    void replyWithoutAnEndIsCutOffAtTheLimit()
    {
        serve(1000000);
        qint64 largest = 0;
        auto* request = new TestRequest(m_record);
        connect(request, &CAPI::ErroneousTransfer, this,
                [&] { largest = QFileInfo(m_record.file).size(); });
        QVERIFY(request->Execute());
        QCOMPARE(m_record.events.value(1), QLatin1String("error ") + Texts::format);
        QCOMPARE(m_record.events.last(), QStringLiteral("complete 0"));
        QCOMPARE(m_record.events.size(), 3);
        QVERIFY(largest > limit);
        QVERIFY(largest < limit + mb);
        QVERIFY(m_sent < limit + 10 * mb);
    }
};

QTEST_MAIN(LargeReplyTest)
#include "tst_largereply.moc"
