// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The memory that a reply may take: each class of request gets the largest replies that
// the gate accepts, of texts that are small to send and large to keep. Measured is the
// peak memory of the whole process while the reply is handled.

#include "catalog/capidownloadappinfo.h"
#include "catalog/capigetaisles.h"
#include "catalog/capisyncmymachine.h"
#include "catalog/capiupdatecatalog.h"
#include "install/capigetosver.h"
#include "install/capigetpackageinfo.h"
#include "install/capigetsourceslist.h"
#include "request/xmlgate.h"
#include "tests/common/frontend.h"
#include "tests/request/requests.h"

#include <QDir>
#include <QtTest>
#include <malloc.h>

namespace
{

#ifdef VANTREL_SANITIZE
constexpr bool sanitized = true; // the sanitizer uses memory itself
#else
constexpr bool sanitized = false;
#endif

// A field of /proc/self/status, in bytes.
qint64 Memory(const char* field)
{
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("there is no /proc");
    for (const QByteArray& line : file.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.simplified().split(' ').value(1).toLongLong() * 1024;
    }
    qFatal("the kernel does not say %s", field);
}

// The peak memory of the process since the object was made, above the memory at that
// time.
class Peak
{
public:
    Peak()
    {
        malloc_trim(0);
        m_before = Memory("VmRSS:");
        QFile file(QStringLiteral("/proc/self/clear_refs"));
        if (!file.open(QIODevice::WriteOnly) || file.write("5") != 1)
            qFatal("the highest memory cannot be forgotten");
    }
    qint64 bytes() const { return Memory("VmHWM:") - m_before; }

private:
    qint64 m_before;
};

// A reply that repeats a piece many times, with a number in place of '#'.
struct Shape {
    QByteArray begin, piece, end;

    QByteArray text(int count) const
    {
        QByteArray pieces;
        if (!piece.contains('#'))
            pieces = piece.repeated(count);
        for (int i = 0; i < count && piece.contains('#'); ++i)
            pieces += QByteArray(piece).replace('#', QByteArray::number(100000 + i));
        return "<agentfunction resultcode=\"OK\">" + begin + pieces + end + "</agentfunction>";
    }
};

using Agent::XmlGate;

bool Passes(const QByteArray& text, XmlGate::Use use)
{
    XmlGate gate(256 * 1024 * 1024, 1, use);
    return gate.Feed(text.constData(), std::size_t(text.size())) && gate.Finish();
}

// The largest accepted reply of this shape, up to a size at which disproportionate growth
// is visible.
QByteArray Largest(const Shape& shape, XmlGate::Use use)
{
    int low = 1, high = 6 * 1000 * 1000 / (shape.piece.size() + 5);
    while (low < high) {
        const int count = low + (high - low + 1) / 2;
        if (Passes(shape.text(count), use))
            low = count;
        else
            high = count - 1;
    }
    return shape.text(low);
}

} // namespace

class ReplyMemoryTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;
    ScriptedFrontEnd m_frontEnd;

    // Sends the reply a little at a time, so that no second copy of it is kept.
    void serve(const QByteArray& path, const QByteArray& body)
    {
        m_server.answer(path, [body](QTcpSocket* socket, const QByteArray&) {
            socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nConnection: close\r\n"
                          "Content-Length: "
                          + QByteArray::number(body.size()) + "\r\n\r\n");
            auto* timer = new QTimer(socket);
            QObject::connect(timer, &QTimer::timeout, socket, [=, sent = 0]() mutable {
                if (socket->bytesToWrite() > 256 * 1024)
                    return;
                socket->write(body.constData() + sent, qMin(body.size() - sent, 128 * 1024));
                sent += qMin(body.size() - sent, 128 * 1024);
                if (sent == body.size()) {
                    timer->stop();
                    socket->disconnectFromHost();
                }
            });
            timer->start(0);
        });
    }

    static CAPI* make(const QByteArray& name)
    {
        static std::vector<long> serials{ 7 };
        if (name == "CAPIUpdateCatalog")
            return new CAPIUpdateCatalog(true, true);
        if (name == "CAPIGetAisles")
            return new CAPIGetAisles(true);
        if (name == "CAPIDownloadAppInfo")
            return new CAPIDownloadAppInfo(serials, true);
        if (name == "CAPISyncMyMachine")
            return new CAPISyncMyMachine(true);
        if (name == "CAPIGetPackageInfo")
            return new CAPIGetPackageInfo({ "foo" }, true);
        if (name == "CAPIGetSourcesList")
            return new CAPIGetSourcesList(true, true);
        return new CAPIGetOSVer(true);
    }

    // The place in a reply of the class whose content costs the most.
    static Shape reply(const QByteArray& name, const QByteArray& piece, const QByteArray& begin,
                       const QByteArray& end)
    {
        Shape shape{ "<a>", piece, "</a>" };
        if (name == "CAPIUpdateCatalog")
            shape = { "<catalog><category name=\"x\"><product name=\"x\">"
                      "<serialnumber>1</serialnumber>",
                      piece, "</product></category></catalog>" };
        else if (name == "CAPIGetOSVer" || name == "CAPIDownloadAppInfo")
            shape = { "<package>", piece, "</package>" };
        else if (name == "CAPIGetPackageInfo")
            shape = { "<package_info><package><package_url>http://h/r</package_url>", piece,
                      "</package></package_info>" };
        else if (name == "CAPIGetSourcesList")
            shape = { "<list type=\"dep\">", piece, "</list>" };
        return { shape.begin + begin, piece, end + shape.end };
    }
    static XmlGate::Use useOf(const QByteArray& name)
    {
        const bool document = name == "CAPIUpdateCatalog" || name == "CAPIGetAisles"
            || name == "CAPIDownloadAppInfo";
        return document ? XmlGate::Use::Document : XmlGate::Use::Copy;
    }

    struct End {
        AgentError::Code code = AgentError::NoFailure;
        qint64 cost = 0;
    };
    End send(const QByteArray& name, const QByteArray& body)
    {
        serve('/' + name, body);
        End end;
        bool ended = false;
        CAPI* request = make(name);
        connect(request, &CAPI::signalFailure, this,
                [&end](AgentError::Code code, const QString&, const QString&) { end.code = code; });
        connect(request, &CAPI::APIComplete, this, [&ended] { ended = true; });
        const Peak peak;
        [&] { QVERIFY(request->Execute()); }();
        [&] { QTRY_VERIFY_WITH_TIMEOUT(ended, 120000); }();
        end.cost = peak.bytes();
        m_server.answer("/CAPIGetSourcesList",
                        ScriptedServer::http("<agentfunction resultcode=\"OK\">"
                                             "<list type=\"dep\"/></agentfunction>"));
        m_server.answer("/CAPIGetPackageInfo",
                        ScriptedServer::http("<agentfunction resultcode=\"FAILED\"/>"));
        return end;
    }

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        QMap<QByteArray, QByteArray> directory;
        for (const char* name :
             { "CAPIUpdateCatalog", "CAPIGetAisles", "CAPIDownloadAppInfo", "CAPISyncMyMachine",
               "CAPIGetPackageInfo", "CAPIGetSourcesList", "CAPIGetOSVer" })
            directory[name] = m_server.url(QByteArray("/") + name);
        m_server.answer("/api", Directory(directory));
        m_frontEnd.install(QStringLiteral("vos-apt-get"),
                           "case \" $* \" in *--print-uris*) echo \"'http://h/f_1_all.deb' "
                           "f_1_all.deb 5 SHA256:0\";; esac");
        // The first one of a process costs more.
        send("CAPIGetSourcesList", "<agentfunction resultcode=\"OK\"><list/></agentfunction>");
        send("CAPIGetPackageInfo", "<agentfunction resultcode=\"OK\"/>");
    }

    void aReplyCostsWhatIsAllowed_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QByteArray>("piece");
        QTest::addColumn<QByteArray>("begin");
        QTest::addColumn<QByteArray>("end");
        QByteArray attributes = "<b";
        for (int i = 0; i < 127; ++i)
            attributes += " a" + QByteArray::number(i) + "=\"\"";
        for (const QByteArray& name :
             { QByteArray("CAPIUpdateCatalog"), QByteArray("CAPISyncMyMachine"),
               QByteArray("CAPIGetPackageInfo"), QByteArray("CAPIGetSourcesList"),
               QByteArray("CAPIGetOSVer"), QByteArray("CAPIGetAisles"),
               QByteArray("CAPIDownloadAppInfo") }) {
            const auto row = [&name](const char* what, const QByteArray& piece,
                                     const QByteArray& begin = QByteArray(),
                                     const QByteArray& end = QByteArray()) {
                QTest::addRow("%s: %s", name.constData(), what) << name << piece << begin << end;
            };
            row("nested elements",
                QByteArray("<b>").repeated(400) + QByteArray("</b>").repeated(400));
            if (name != "CAPIUpdateCatalog" && name != "CAPISyncMyMachine")
                continue;
            row("empty elements", "<b/>");
            row("different names", "<b#/>");
            row("plus signs", QByteArray(100, '+'), "<b>", "</b>");
            row("attributes", attributes + "/>");
            row("letters between", "x<b/>");
            row("comments", "<!---->");
            row("sections", "<![CDATA[]]>");
        }
    }
    void aReplyCostsWhatIsAllowed()
    {
        QFETCH(QByteArray, name);
        QFETCH(QByteArray, piece);
        QFETCH(QByteArray, begin);
        QFETCH(QByteArray, end);
        const QByteArray body = Largest(reply(name, piece, begin, end), useOf(name));
        const End ended = send(name, body);
        QVERIFY(ended.code != AgentError::ReplyTooLarge);
        const qint64 allowed = 16 * qint64(body.size()) + 100 * 1000 * 1000;
        qInfo("%.1f MB cost %.0f MB, %.2f of what is allowed", body.size() / 1e6, ended.cost / 1e6,
              double(ended.cost) / double(allowed));
        QVERIFY(sanitized || ended.cost < allowed);
    }

    // Replies for which only the copy costs too much, not the document.
    void aReplyWhoseCopyCostsTooMuchIsRefused_data()
    {
        QTest::addColumn<QByteArray>("name");
        for (const char* name :
             { "CAPISyncMyMachine", "CAPIGetPackageInfo", "CAPIGetSourcesList", "CAPIGetOSVer" })
            QTest::newRow(name) << QByteArray(name);
    }
    void aReplyWhoseCopyCostsTooMuchIsRefused()
    {
        QFETCH(QByteArray, name);
        const QByteArray body = Largest(reply(name, "<b/>", "", ""), XmlGate::Use::Document);
        QVERIFY(!Passes(body, XmlGate::Use::Copy));
        QCOMPARE(send(name, body).code, AgentError::ReplyTooLarge);
    }

    void legitimateRepliesOfAnySizePass()
    {
        const Shape sources{ "<list type=\"dep\">",
                             "<entry timestamp=\"1732000000\">deb http://store.example/pool/# ./"
                             "</entry>\n",
                             "</list>" };
        QVERIFY(Passes(sources.text(80000), XmlGate::Use::Copy));
        const Shape updates{ "", "<package><name>package-#</name></package>\n", "" };
        QVERIFY(Passes(updates.text(80000), XmlGate::Use::Copy));
    }
};

QTEST_MAIN(ReplyMemoryTest)
#include "tst_replymemory.moc"
