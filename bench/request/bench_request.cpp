// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The cost of a request compared with its transfer: a request of the library, a bare
// KIO::get that discards its data, and libcurl take turns at fetching the same replies from
// the same server on loopback. The parse of the same bytes is measured beside them, which a request
// cannot be without.
//
// Run it through tests/in-sandbox; with a size in bytes and a number of rounds as arguments,
// it measures only that size. The server runs in a thread of its own, so that it does not
// wait for the event loop that is measured.

#include "request/capi.h"
#include "support/cconfigfile.h"

#include <KIO/TransferJob>
#include <QApplication>
#include <QDomDocument>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QSemaphore>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QUrl>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <curl/curl.h>
#include <vector>

namespace
{

// Elements with 10 KB of text each, so that the parse does not dominate. Each thread has its own.
const QByteArray& Reply(int size)
{
    thread_local QMap<int, QByteArray> made;
    QByteArray& xml = made[size];
    if (xml.isEmpty()) {
        xml = "<agentfunction resultcode=\"OK\">";
        while (xml.size() < size)
            xml += "<e>" + QByteArray(std::min(10000, size), 'x') + "</e>";
        xml += "</agentfunction>";
    }
    return xml;
}

// Serves "/api", and "/N" with a reply of about N bytes.
class Server : public QThread
{
public:
    quint16 port = 0;
    QSemaphore ready;

protected:
    void run() override
    {
        QTcpServer server;
        server.listen(QHostAddress::LocalHost);
        port = server.serverPort();
        connect(&server, &QTcpServer::newConnection, &server, [&] {
            QTcpSocket* socket = server.nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                const QByteArray path = socket->readAll().split(' ').value(1).mid(1);
                const QByteArray body = path == "api" ? directory() : Reply(path.toInt());
                socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nConnection: close\r\n"
                              "Content-Length: "
                              + QByteArray::number(body.size()) + "\r\n\r\n" + body);
                socket->disconnectFromHost();
            });
        });
        ready.release();
        exec();
    }

private:
    QByteArray directory() const
    {
        QByteArray xml = "<agentfunction resultcode=\"OK\"><getagentapi>";
        return xml + "<api><name>BenchRequest</name><url>http://127.0.0.1:"
            + QByteArray::number(port) + "/</url></api></getagentapi></agentfunction>";
    }
};

class BenchRequest : public CAPI
{
    Q_OBJECT

public:
    explicit BenchRequest(int size) : CAPI(true, false, true), m_size(size) { }
    QString DecorateURI() override { return QString::number(m_size); }
    void onSuccessfulTransfer(QDomElement*) override { ++done; }
    static int done;

private:
    int m_size;
};
int BenchRequest::done = 0;

double Seconds(void (*work)(quint16, int), quint16 port, int size)
{
    QElapsedTimer timer;
    timer.start();
    work(port, size);
    return double(timer.nsecsElapsed()) / 1e9;
}

void ByRequest(quint16, int size)
{
    const int before = BenchRequest::done;
    (new BenchRequest(size))->Execute();
    if (BenchRequest::done != before + 1)
        qFatal("a request failed");
}

// Waits as a request does: without sleeping.
void ByKio(quint16 port, int size)
{
    qint64 received = 0;
    bool done = false;
    KIO::TransferJob* job
        = KIO::get(QUrl(QStringLiteral("http://127.0.0.1:%1/%2").arg(port).arg(size)), KIO::Reload,
                   KIO::HideProgressInfo);
    QObject::connect(job, &KIO::TransferJob::data,
                     [&](KIO::Job*, const QByteArray& data) { received += data.size(); });
    QObject::connect(job, &KJob::result, [&] { done = true; });
    while (!done)
        QCoreApplication::processEvents();
    if (received < size)
        qFatal("a transfer failed");
}

std::size_t Drop(char*, std::size_t size, std::size_t count, void* sum)
{
    *static_cast<qint64*>(sum) += qint64(size * count);
    return size * count;
}

void ByCurl(quint16 port, int size)
{
    qint64 received = 0;
    CURL* curl = curl_easy_init();
    const QByteArray url = QByteArray("http://127.0.0.1:") + QByteArray::number(port) + '/'
        + QByteArray::number(size);
    curl_easy_setopt(curl, CURLOPT_URL, url.constData());
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, Drop);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &received);
    if (curl_easy_perform(curl) != CURLE_OK || received < size)
        qFatal("a transfer by curl failed");
    curl_easy_cleanup(curl);
}

// What a request does at least with the bytes that KIO has fetched.
void ByParser(quint16, int size)
{
    QDomDocument document;
    if (!document.setContent(Reply(size)))
        qFatal("the parse failed");
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void Measure(quint16 port, int size, int rounds)
{
    std::vector<double> request, kio, curl, parse;
    ByParser(port, size); // makes the text
    for (int i = 0; i < rounds; ++i) {
        // The first one finds KIO's worker asleep, so they take turns at being first.
        if (i % 2 == 0)
            kio.push_back(Seconds(ByKio, port, size));
        request.push_back(Seconds(ByRequest, port, size));
        if (i % 2 == 1)
            kio.push_back(Seconds(ByKio, port, size));
        curl.push_back(Seconds(ByCurl, port, size));
        parse.push_back(Seconds(ByParser, port, size));
    }
    const double r = Median(request), k = Median(kio), c = Median(curl), p = Median(parse);
    std::fprintf(stderr,
                 "%9d bytes, %3d rounds: request %.6f s, KIO %.6f s, curl %.6f s, parse %.6f s;"
                 " request/KIO %.2f, request/(KIO and parse) %.2f, KIO/curl %.1f\n",
                 size, rounds, r, k, c, p, r / k, r / (k + p), k / c);
}

} // namespace

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    Server server;
    server.start();
    server.ready.acquire();
    const std::string settings
        = std::string(getenv("PAKMART_SYSROOT")) + "/usr/share/apps/vantrelagent/.vauf";
    CConfigFile(settings, true)
        .SetValue("agent api url", "http://127.0.0.1:" + std::to_string(server.port) + "/api",
                  true);
    ByRequest(server.port, 1000); // starts the worker process
    if (argc == 3) {
        Measure(server.port, std::atoi(argv[1]), std::atoi(argv[2]));
    } else {
        Measure(server.port, 1000, 201);
        Measure(server.port, 1000 * 1000, 51);
        Measure(server.port, 50 * 1000 * 1000, 5);
    }
    server.quit();
    server.wait();
    return 0;
}

#include "bench_request.moc"
