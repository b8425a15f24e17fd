// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What those who run the store server see of it: its file of options, the pages of its status, the
// log for programs, and its end.

#include "server/serverprocess.h"

#include <QDateTime>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>
#include <algorithm>
#include <csignal>
#include <memory>

class StoreServiceTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;

    QString path(const char* name) const { return m_dir->filePath(QLatin1String(name)); }
    void write(const char* name, const QByteArray& text) const
    {
        if (!WriteTextFile(path(name), text))
            qFatal("cannot write a file of the store");
    }
    QByteArray read(const char* name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    static HttpReply status(const ServerProcess& server, const QByteArray& page,
                            const QList<QByteArray>& headers = {})
    {
        return server.get("/status/" + page, headers);
    }
    // The value of a line of the metrics; -1 if there is no such line.
    static int metric(const ServerProcess& server, const QByteArray& name)
    {
        for (const QByteArray& line : status(server, "metrics").body.split('\n')) {
            if (line.startsWith(name + ' '))
                return line.mid(name.size() + 1).toInt();
        }
        return -1;
    }
    static void compareMetric(const ServerProcess& server, const QByteArray& name, int expected)
    {
        // A request is counted after its client has the reply.
        QTRY_COMPARE_WITH_TIMEOUT(metric(server, name), expected, 60000);
    }

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        write("store/products", "Serial: 7\nName: A\nCategory: B\nPackage: c\nDescription: d\n");
        write("store/sources", "Type: dep\nEntry: deb @SERVER@/pool/main ./\nTimestamp: 5\n");
        write("store/pool/main/Packages", "");
    }
    void cleanup() { m_dir.reset(); }

    // -- the pages of the status

    void serverSaysThatItIsAliveAndReady()
    {
        const ServerProcess server(path("store"));
        QCOMPARE(status(server, "health").body, QByteArray("alive\n"));
        QCOMPARE(status(server, "ready").body, QByteArray("ready\n"));
        QCOMPARE(status(server, "ready").header("Cache-Control"), QByteArray("no-store"));
        QCOMPARE(status(server, "other").status, 404);
    }

    void serverThatCannotReadItsStoreIsNotReady_data()
    {
        QTest::addColumn<QByteArray>("file");
        for (const char* file : { "store/products", "store/profile", "store/updates" })
            QTest::newRow(file) << QByteArray(file);
    }
    void serverThatCannotReadItsStoreIsNotReady()
    {
        QFETCH(QByteArray, file);
        const ServerProcess server(path("store"));
        const QByteArray before = read(file.constData());
        write(file.constData(), "broken\n");
        const HttpReply reply = status(server, "ready");
        QCOMPARE(reply.status, 503);
        QCOMPARE(reply.body,
                 path(file.constData()).toUtf8()
                     + ":1: this is not a `Key: value` line: 'broken'\n");
        QCOMPARE(status(server, "health").status, 200);
        write(file.constData(), before);
        QCOMPARE(status(server, "ready").status, 200);
    }

    void pagesAreForWatchersAlone()
    {
        const QByteArray passedOn = "X-Forwarded-For: 127.0.0.1";
        const ServerProcess server(path("store"));
        for (const char* page : { "health", "ready", "metrics" }) {
            QCOMPARE(status(server, page).status, 200);
            QCOMPARE(status(server, page, { passedOn }).status, 404);
        }
    }

    void requestsAreCountedByKindAndAnswer()
    {
        write("store/registrations", "");
        const ServerProcess server(path("store"));
        server.get("/getagentapi.php");
        server.get("/agent/CAPISyncMyMachine");
        server.get("/agent/CAPISyncMyMachine?");
        server.get("/agent/CAPIDownloadAppInfo?app_id[]=%4");
        server.get("/pool/main/nothing");
        server.get("/agent/CAPINever\"{}\n");
        server.get("/" + QByteArray(10000, 'x'));
        server.ask("what\r\n\r\n");
        const QByteArray name = "pakmart_requests_total{kind=";
        compareMetric(server, name + "\"directory\",status=\"200\"}", 1);
        compareMetric(server, name + "\"CAPISyncMyMachine\",status=\"200\"}", 2);
        compareMetric(server, name + "\"CAPIDownloadAppInfo\",status=\"400\"}", 1);
        compareMetric(server, name + "\"pool\",status=\"404\"}", 1);
        compareMetric(server, name + "\"other\",status=\"414\"}", 1);
        compareMetric(server, "pakmart_answer_seconds_count{kind=\"CAPISyncMyMachine\"}", 2);
        compareMetric(server, "pakmart_answer_seconds_bucket{kind=\"pool\",le=\"+Inf\"}", 1);
        QCOMPARE(metric(server, "pakmart_database_statements_total"), 0);
        QVERIFY(metric(server, "pakmart_sent_bytes_total") > 1000);
        QVERIFY(
            qAbs(metric(server, "pakmart_start_time_seconds") - QDateTime::currentSecsSinceEpoch())
            < 3600);
        QCOMPARE(status(server, "metrics").header("Content-Type"),
                 QByteArray("text/plain; version=0.0.4; charset=utf-8"));
    }

    void eachPersonalRequestTakesOneStatement()
    {
        const ServerProcess server(path("store"), { QStringLiteral("--state"), path("state") });
        // The fewest of several requests: each of the connections is opened once, with some more.
        const auto statements = [&server](const char* request) {
            int fewest = 1000;
            for (int i = 0; i < 20; ++i) {
                const char name[] = "pakmart_database_statements_total";
                const int before = metric(server, name);
                server.get(request);
                fewest = std::min(fewest, metric(server, name) - before);
            }
            return fewest;
        };
        QCOMPARE(statements("/agent/CAPISyncMyMachine"), 1);
        QCOMPARE(statements("/agent/CAPISetOEMInfo?id=1"), 1);
        QCOMPARE(statements("/agent/CAPIUpdateCatalog"), 0);
    }

    // Each line is a comment or a value with labels, and all values of a name are together.
    void metricsHaveTheFormOfPrometheus()
    {
        const ServerProcess server(path("store"));
        server.get("/getagentapi.php");
        const QRegularExpression form(
            QStringLiteral("\\A(# (HELP [a-z_]+ .+|TYPE [a-z_]+ (counter|gauge|histogram))"
                           "|[a-z_]+(\\{[a-z]+=\"[^\"\\\\]*\"(,[a-z]+=\"[^\"\\\\]*\")*\\})? "
                           "[0-9.]+)\\z"));
        QList<QByteArray> lines = status(server, "metrics").body.split('\n');
        QCOMPARE(lines.takeLast(), QByteArray());
        QVERIFY(lines.size() > 15);
        for (const QByteArray& line : lines)
            QVERIFY2(form.match(QString::fromUtf8(line)).hasMatch(), line.constData());
    }

    // -- the log

    void logOfJsonHasAnObjectInEachLine()
    {
        ServerProcess server(path("store"),
                             { QStringLiteral("--access-log"), path("log"),
                               QStringLiteral("--log-format"), QStringLiteral("json") });
        const HttpReply reply = server.get("/getagentapi.php");
        QTRY_COMPARE_WITH_TIMEOUT(read("log").count('\n'), 1, 60000);
        server.get("/\"\\\xFF");
        QTRY_COMPARE_WITH_TIMEOUT(read("log").count('\n'), 2, 60000);
        QCOMPARE(server.end(SIGTERM), 0);
        const QList<QByteArray> lines = read("log").split('\n');
        QJsonObject first = QJsonDocument::fromJson(lines[0]).object();
        const QDateTime time
            = QDateTime::fromString(first.take(QStringLiteral("time")).toString(), Qt::ISODate);
        QVERIFY(qAbs(time.secsTo(QDateTime::currentDateTimeUtc())) < 3600);
        QVERIFY(first.take(QStringLiteral("microseconds")).toInt() > 0);
        QCOMPARE(first,
                 (QJsonObject{ { QStringLiteral("client"), QStringLiteral("127.0.0.1") },
                               { QStringLiteral("method"), QStringLiteral("GET") },
                               { QStringLiteral("target"), QStringLiteral("/getagentapi.php") },
                               { QStringLiteral("status"), 200 },
                               { QStringLiteral("bytes"), int(reply.body.size()) } }));
        QCOMPARE(
            QJsonDocument::fromJson(lines[1]).object().value(QStringLiteral("target")).toString(),
            QStringLiteral("/\\x22\\x5c\\xff"));
    }

    // -- the end

    void transferIsFinishedInTheTimeForIt()
    {
        const int size = 48 << 20; // more than the kernel takes at once
        write("store/pool/main/big", QByteArray(size, 'x'));
        ServerProcess server(path("store"), { QStringLiteral("--grace"), QStringLiteral("600") });
        const auto socket = server.send(ServerProcess::getRequest("/pool/main/big"));
        socket->setReadBufferSize(1 << 16); // a slow client
        QVERIFY(socket->waitForReadyRead(60000));
        ::kill(pid_t(server.pid()), SIGTERM);
        const auto isClosed
            = [&server] { return server.send("")->state() != QAbstractSocket::ConnectedState; };
        QTRY_VERIFY_WITH_TIMEOUT(isClosed(), 60000);
        QThread::sleep(4); // longer than without the option
        socket->setReadBufferSize(0);
        QCOMPARE(ServerProcess::receive(*socket).body.size(), size);
    }

    // -- the file of options

    void optionsComeFromAFile()
    {
        write(
            "options",
            "# a comment\nlisten: 127.0.0.1\nport: 1\nverbose: yes\npublic-url: http://a.example\n"
            "store: "
                + path("store").toUtf8() + '\n');
        // The port that follows is a free one.
        ServerProcess server(path("store"), { QStringLiteral("--config"), path("options") });
        QVERIFY(server.isRunning());
        QVERIFY(server.get("/getagentapi.php").body.contains("<url>http://a.example/agent/"));
        QCOMPARE(server.end(SIGTERM), 0);
        QVERIFY(server.standardError().contains("GET '/getagentapi.php' 200"));
        const auto checked = ServerProcess::run({ QStringLiteral("check"), path("options") });
        QCOMPARE(checked.err, QByteArray());
        QCOMPARE(checked.status, 0);
    }

    void optionsThatAreNoneAreRefused_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("message");
        const auto row = [](const char* text, const char* message) {
            QTest::newRow(QByteArray(text).simplified()) << QByteArray(text) << QByteArray(message);
        };
        row("port: 70000", ":1: a port is a number from 0 to 65535, not '70000'");
        row("store: x\n\nprot: 80", ":3: there is no option 'prot'");
        row("config: x", ":1: there is no option 'config'");
        row("help: yes", ":1: there is no option 'help'");
        row("verbose: no", ":1: `verbose` is `yes`, or not there at all");
        row("listen 127.0.0.1", ":1: this is not a `Key: value` line: 'listen 127.0.0.1'");
        row("grace: 0", ":1: a time to end is a number of seconds from 1 to 3600, not '0'");
        row("grace: 3601", ":1: a time to end is a number of seconds from 1 to 3600, not '3601'");
        row("dates: some", ":1: dates are own or shared, not 'some'");
        row("log-format: xml", ":1: a log has the format common or json, not 'xml'");
        row("monitor: here", ":1: --monitor needs an address such as 192.0.2.7, not 'here'");
        row("state:", ":1: --state needs a folder, and --postgresql a connection");
        row("store: nowhere\ncertificate: x", ": --certificate and --key belong together");
        row("port: 80", ": exactly one STORE is needed");
    }
    void optionsThatAreNoneAreRefused()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, message);
        write("options", text + '\n');
        const auto result = ServerProcess::run({ QStringLiteral("check"), path("options") });
        QCOMPARE(result.status, 1);
        QCOMPARE(result.err, "pakmart-storeserver: " + path("options").toUtf8() + message + '\n');
        const auto start = ServerProcess::run({ QStringLiteral("--config"), path("options") });
        QVERIFY(start.status == 1 || start.status == 2);
        QVERIFY(start.err.contains(message.mid(message.indexOf(": ") + 2)));
    }

    void checkReadsWhatAFileNames_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("message");
        const auto row = [](const char* text, const char* message) {
            QTest::newRow(QByteArray(text).simplified()) << QByteArray(text) << QByteArray(message);
        };
        row("certificate: DIR/c\nkey: DIR/k\nstore: DIR/store\n", "/c: ");
        row("sign: DIR/k\nstore: DIR/store\n", "/k: ");
        row("store: DIR/nowhere\n", "/nowhere/");
    }
    void checkReadsWhatAFileNames()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, message);
        write("options", text.replace("DIR", m_dir->path().toUtf8()));
        const auto result = ServerProcess::run({ QStringLiteral("check"), path("options") });
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(m_dir->path().toUtf8() + message), result.err.constData());
    }
};

QTEST_GUILESS_MAIN(StoreServiceTest)
#include "tst_storeservice.moc"
