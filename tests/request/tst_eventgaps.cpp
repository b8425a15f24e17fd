// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A host's window stays responsive while a request waits: measures how long the event
// loop is blocked. The figures are printed; the asserted limits are far above them, for
// busy machines.

#include "requests.h"

#include "catalog/capiupdatecatalog.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QtTest>
#include <ctime>

namespace
{

constexpr qint64 mayStandStill = 500; // milliseconds
constexpr double mayWork = 250; // of these, the most that is own work

// A timer of 10 ms that remembers its longest gap. In addition to elapsed time it counts
// the processor time of this thread, which other processes do not affect.
class Heart
{
public:
    Heart()
    {
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { beat(); });
        m_timer.start(10);
        m_since.start();
        m_worked = worked();
    }
    qint64 longest()
    {
        beat();
        qInfo("the longest gap was %lld ms, with %.0f ms of work", m_longest, m_longestWork);
        return m_longest;
    }
    double longestWork() const { return m_longestWork; } // milliseconds

private:
    static double worked()
    {
        timespec time = {};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return double(time.tv_sec) * 1e3 + double(time.tv_nsec) / 1e6;
    }
    void beat()
    {
        const double worked = this->worked();
        m_longest = qMax(m_longest, m_since.restart());
        m_longestWork = qMax(m_longestWork, worked - m_worked);
        m_worked = worked;
    }

    QTimer m_timer;
    QElapsedTimer m_since;
    qint64 m_longest = 0;
    double m_worked = 0, m_longestWork = 0;
};

QString SavedCatalog()
{
    return QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"))
        + QStringLiteral("/usr/share/apps/vantrelagent/.catalog");
}

// Whether this process is writing a file in the folder of the saved catalog. The file has
// no name there until it is complete.
bool IsSaving()
{
    const QString folder = QFileInfo(SavedCatalog()).dir().canonicalPath();
    const QDir descriptors(QStringLiteral("/proc/self/fd"));
    for (const QFileInfo& info : descriptors.entryInfoList(QDir::Files | QDir::System))
        if (info.symLinkTarget().startsWith(folder + QStringLiteral("/#")))
            return true;
    return false;
}

QByteArray Catalog(int products)
{
    QByteArray text = "<agentfunction resultcode=\"OK\"><catalog><category name=\"games\">\n";
    for (int i = 0; i < products; ++i)
        text += "<product name=\"package-" + QByteArray::number(i)
            + "\"><serialnumber>1</serialnumber><version>1.0-1</version>"
              "<packagename>package</packagename><briefdescription>"
            + QByteArray(300, 'x')
            + "</briefdescription><dependencies><dependency name=\"libc6\"/>"
              "<dependency name=\"libpixel\"/></dependencies></product>\n";
    return text + "</category></catalog></agentfunction>\n";
}

} // namespace

class EventGapsTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;

    // Sends `bytes` in pieces, one at each tick of a timer of `pause` ms.
    void serve(const QByteArray& path, const QByteArray& bytes, int piece, int pause)
    {
        m_server.answer(path, [=](QTcpSocket* socket, const QByteArray&) {
            auto* timer = new QTimer(socket);
            connect(timer, &QTimer::timeout, socket, [=, sent = 0]() mutable {
                if (socket->bytesToWrite() > 1024 * 1024)
                    return;
                socket->write(bytes.mid(sent, piece));
                sent += piece;
                if (sent >= bytes.size()) {
                    timer->stop();
                    socket->disconnectFromHost();
                }
            });
            timer->start(pause);
        });
    }

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api",
                        Directory({ { "TestRequest", m_server.url("/t") },
                                    { "CAPIUpdateCatalog", m_server.url("/c") } }));
        CAPI::GetURLList();
    }

    void aSlowServerDoesNotFreezeTheWindow()
    {
        const QByteArray body = "<agentfunction resultcode=\"OK\">slow</agentfunction>";
        serve("/t", ScriptedServer::http(body), 10, 50);
        TestRequest::Record record;
        Heart heart;
        QVERIFY((new TestRequest(record))->Execute());
        const qint64 gap = heart.longest();
        QCOMPARE(record.events.last(), QStringLiteral("complete 1"));
        QVERIFY(gap < mayStandStill);
        QVERIFY(heart.longestWork() < mayWork);
    }

    void aLargeCatalogDoesNotFreezeTheWindow()
    {
        const QByteArray given = qgetenv("PAKMART_TEST_REPLY");
        QFile file(QFile::decodeName(given));
        const QByteArray body
            = !given.isEmpty() && file.open(QIODevice::ReadOnly) ? file.readAll() : Catalog(20000);
        serve("/c", ScriptedServer::http(body), 64 * 1024, 0);
        bool succeeded = false;
        auto* request = new CAPIUpdateCatalog(true, true);
        connect(request, &CAPI::APIComplete, this, [&succeeded](bool ok) { succeeded = ok; });
        Heart heart;
        QVERIFY(request->Execute());
        const qint64 gap = heart.longest();
        qInfo("for a catalog of %.1f MB", body.size() / 1e6);
        QVERIFY(succeeded);
        QVERIFY(QFileInfo(SavedCatalog()).size() > body.size() / 2);
        QVERIFY(gap < mayStandStill);
        QVERIFY(heart.longestWork() < mayWork);
    }

    // Also while the elements are sorted; in the reply they are not in order.
    void aCatalogThatIsBeingSavedCanBeCancelled()
    {
        QByteArray body = "<agentfunction resultcode=\"OK\"><catalog>\n";
        for (int i = 60000; i > 0; --i)
            body += QByteArray("<n") + QByteArray::number(i + 100000) + ">text</n"
                + QByteArray::number(i + 100000) + ">\n";
        body += "</catalog></agentfunction>\n";
        serve("/c", ScriptedServer::http(body), 64 * 1024, 0);
        QVERIFY(!QFile::exists(SavedCatalog()) || QFile::remove(SavedCatalog()));
        QList<bool> ends;
        auto* request = new CAPIUpdateCatalog(false, true);
        connect(request, &CAPI::APIComplete, this, [&ends](bool ok) { ends << ok; });
        bool saving = false;
        QTimer look;
        connect(&look, &QTimer::timeout, this, [&] {
            if (saving || !IsSaving())
                return;
            saving = true;
            CAPI::AbortTransfers();
        });
        look.start(0);
        QVERIFY(request->Execute());
        QVERIFY(saving);
        QCOMPARE(ends.size(), 1);
        // The file is complete or missing, and there is no other file.
        QFile saved(SavedCatalog());
        if (saved.open(QIODevice::ReadOnly))
            QVERIFY(saved.readAll().endsWith("</n160000>\n</catalog>\n"));
        qInfo("it ended with %d, saved: %d", ends.first(), QFile::exists(SavedCatalog()));
    }

    void fillingTheDatabaseDoesNotFreezeTheWindow()
    {
        const QByteArray given = qgetenv("PAKMART_TEST_PRODUCTS");
        QDomDocument document;
        QVERIFY(document.setContent(Catalog(given.isEmpty() ? 10000 : given.toInt())));
        QDomElement catalog = document.documentElement().firstChildElement();
        const std::unique_ptr<CAPIUpdateCatalog> request(new CAPIUpdateCatalog(true, true));
        Heart heart;
        QVERIFY(request->ProcessVantrelCatalogRequest(catalog));
        const qint64 gap = heart.longest();
        QVERIFY(gap < mayStandStill);
        QVERIFY(heart.longestWork() < mayWork);
    }

    void aReplyThatIsBeingReadCanBeCancelled()
    {
        const QByteArray body = Catalog(20000);
        serve("/t", ScriptedServer::http(body), 64 * 1024, 0);
        TestRequest::Record record;
        auto* request = new TestRequest(record, false);
        const BoxCloser boxes;
        // The transfer is over, and the reply file complete, before it is read.
        QElapsedTimer since;
        QTimer look;
        connect(&look, &QTimer::timeout, this, [&] {
            if (since.isValid() || QFileInfo(record.file).size() < body.size())
                return;
            since.start();
            CAPI::AbortTransfers();
        });
        look.start(1);
        QVERIFY(request->Execute());
        qInfo("it took %lld ms", since.elapsed());
        QCOMPARE(record.failures, QStringList(QStringLiteral("cancelled")));
        QCOMPARE(record.events.last(), QStringLiteral("complete 0"));
        QCOMPARE(record.events.size(), 3);
        QCOMPARE(boxes.texts, QStringList());
        QVERIFY(since.elapsed() < 3000);
    }
};

QTEST_MAIN(EventGapsTest)
#include "tst_eventgaps.moc"
