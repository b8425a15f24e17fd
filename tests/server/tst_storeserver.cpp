// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The store server: the real program, a store made by the test.

#include "server/storetext.h"
#include "util/urlcodec.h"

#include <QDir>
#include <QDomDocument>
#include <QProcess>
#include <QTcpSocket>
#include <QtTest>
#include <signal.h>

class StoreServerTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QProcess m_server;
    quint16 m_port = 0;
    QDomDocument m_reply;

    void write(const char* name, const QByteArray& text)
    {
        QFile file(m_dir.filePath(QLatin1String(name)));
        QVERIFY(QDir().mkpath(QFileInfo(file).path()));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
    }
    void start(const QStringList& more = {})
    {
        m_server.start(QStringLiteral(STORE_SERVER),
                       QStringList{ QStringLiteral("--port"), QStringLiteral("0") } + more
                           + QStringList(m_dir.path()));
        QVERIFY(m_server.waitForReadyRead(10000));
        const QByteArray line = m_server.readLine();
        const QRegularExpression told(
            QStringLiteral("\\Alistening on http://127\\.0\\.0\\.1:([0-9]+)/\n\\z"));
        const auto match = told.match(QString::fromLatin1(line));
        QVERIFY2(match.hasMatch(), line.constData());
        m_port = quint16(match.captured(1).toUInt());
    }
    // Sends a request as it stands; returns the whole answer.
    QByteArray raw(const QByteArray& request) const
    {
        QTcpSocket socket;
        socket.connectToHost(QStringLiteral("127.0.0.1"), m_port);
        if (!socket.waitForConnected(5000))
            return QByteArray();
        socket.write(request);
        QByteArray answer;
        while (socket.waitForReadyRead(5000))
            answer += socket.readAll();
        return answer + socket.readAll();
    }
    QByteArray get(const QByteArray& target, const QByteArray& headers = QByteArray()) const
    {
        return raw("GET " + target + " HTTP/1.1\r\nConnection: close\r\n"
                   + (headers.isEmpty() ? "Host: store.example:99\r\n" : headers) + "\r\n");
    }
    static QByteArray body(const QByteArray& answer)
    {
        return answer.mid(answer.indexOf("\r\n\r\n") + 4);
    }
    // The root of a reply, which lives until the next one.
    QDomElement root(const QByteArray& answer)
    {
        m_reply = QDomDocument();
        return m_reply.setContent(body(answer)) ? m_reply.documentElement() : QDomElement();
    }
    static QString text(const QDomElement& parent, const char* name)
    {
        return url_decode(parent.firstChildElement(QLatin1String(name)).text());
    }

private slots:
    void init()
    {
        write("products",
              "# a comment\nSerial: 7\nName: A + B & \"C\" <x> 100% \\o/\nPackage: a+b\n"
              "Category: Games\nDescription: d\nProgram: A | /usr/games/a | s | l | Ga+mes\n"
              "Program: B | /usr/games/b | s | l | Games\n\n\nSerial: 8\nName: Z\nPackage: z\n");
        write("sources",
              "Type: dep\nTimestamp: t1\nEntry: deb @URL@/repo ./\n\n"
              "Timestamp: t2\nEntry: deb http://x.example/ y\n");
        write("pool/Packages",
              "Package: a+b\nVersion: 1\nFilename: ./a+b_1_all.deb\n"
              "Description: 100% of \\ and +\n more\n\n"
              "Package: z\nFilename: ./z_1%3a2_all.deb\n");
        write("pool/a+b_1_all.deb", "0123456789");
        write("outside", "secret");
        QVERIFY(QFile::link(m_dir.filePath(QStringLiteral("outside")),
                            m_dir.filePath(QStringLiteral("pool/link"))));
        start();
    }
    void cleanup()
    {
        m_server.terminate();
        QVERIFY(m_server.waitForFinished(10000));
        QCOMPARE(m_server.exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_server.exitCode(), 0);
        QFile::remove(m_dir.filePath(QStringLiteral("pool/link")));
    }

    void encoderSurvivesTheAgentsDecoding()
    {
        QString all;
        for (ushort c = 1; c < 0x300; ++c)
            all += QChar(c);
        all += QString::fromUtf8("\xE4\xB8\xAD \xF0\x9F\x98\x80 end");
        for (const QString& text : { all, QStringLiteral("   "), QString(),
                                     QStringLiteral("a+b%2b\\+ \\"), QStringLiteral("<&>\"'") }) {
            const std::string encoded = EncodeForAgent(text.toStdString());
            QDomDocument document;
            QVERIFY(document.setContent(
                QByteArray::fromStdString("<a b=\"" + encoded + "\">" + encoded + "</a>")));
            QCOMPARE(url_decode(document.documentElement().text()), text);
            QCOMPARE(url_decode(document.documentElement().attribute(QStringLiteral("b"))), text);
        }
    }

    void directoryListsTheFunctionsUnderTheHostAskedFor()
    {
        const QDomElement list
            = root(get("/getagentapi.php")).firstChildElement(QStringLiteral("getagentapi"));
        QMap<QString, QString> entries;
        for (QDomElement api = list.firstChildElement(); !api.isNull();
             api = api.nextSiblingElement())
            entries[api.firstChildElement(QStringLiteral("name")).text()]
                = api.firstChildElement(QStringLiteral("url")).text();
        QCOMPARE(entries.value(QStringLiteral("CAPIDownloadAppInfo")),
                 QStringLiteral("http://store.example:99/appinfo.php"));
        QVERIFY(entries.contains(QStringLiteral("CAPIGetPackageInfo")));
        QVERIFY(entries.contains(QStringLiteral("CAPIGetSourcesList")));
    }

    void hostileHostIsNotRepeated()
    {
        const QByteArray answer = get("/getagentapi.php", "Host: \"><evil/>\r\n");
        QVERIFY(!answer.contains("evil"));
        QVERIFY(answer.contains("http://127.0.0.1:" + QByteArray::number(m_port)));
    }

    void applicationInformation()
    {
        const QDomElement reply = root(get("/appinfo.php?app_id[]=7&app_id%5B%5D=8"));
        QCOMPARE(reply.attribute(QStringLiteral("resultcode")), QStringLiteral("OK"));
        const QDomElement package = reply.firstChildElement();
        QCOMPARE(text(package, "name"), QStringLiteral("A + B & \"C\" <x> 100% \\o/"));
        QCOMPARE(text(package, "packagename"), QStringLiteral("a+b"));
        QCOMPARE(text(package, "serialnumber"), QStringLiteral("7"));
        const QDomElement program = package.firstChildElement(QStringLiteral("binary"));
        QCOMPARE(text(program, "menu"), QStringLiteral("Ga+mes"));
        QCOMPARE(text(program, "path"), QStringLiteral("/usr/games/a"));
        QVERIFY(!program.nextSiblingElement(QStringLiteral("binary")).isNull());
        QCOMPARE(text(package.nextSiblingElement(), "packagename"), QStringLiteral("z"));
    }

    void packageInformationIsTheIndexOfWhatWasAskedFor()
    {
        const QDomElement package
            = root(get("/packageinfo.php?filename[]=a+b_1_all.deb&filename[]=z_1%253a2_all.deb"))
                  .firstChildElement(QStringLiteral("package_info"))
                  .firstChildElement(QStringLiteral("package"));
        QCOMPARE(text(package, "package_url"), QStringLiteral("http://store.example:99/repo"));
        QCOMPARE(text(package, "package_data"),
                 QStringLiteral("Package: a+b\nVersion: 1\nFilename: ./a+b_1_all.deb\n"
                                "Description: 100% of \\ and +\n more\n\n"
                                "Package: z\nFilename: ./z_1%3a2_all.deb\n\n"));
    }

    void sourcesLists()
    {
        const QDomElement list = root(get("/sourceslist.php")).firstChildElement();
        QCOMPARE(list.attribute(QStringLiteral("type")), QStringLiteral("dep"));
        const QDomElement entry = list.firstChildElement();
        QCOMPARE(url_decode(entry.text()), QStringLiteral("deb http://store.example:99/repo ./"));
        QCOMPARE(entry.attribute(QStringLiteral("timestamp")), QStringLiteral("t1"));
        QCOMPARE(list.nextSiblingElement().firstChildElement().text(),
                 QStringLiteral("deb http://x.example/ y"));
    }

    void failuresAreSaidInWords_data()
    {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<QByteArray>("word");
        QTest::newRow("unknown product")
            << QByteArray("/appinfo.php?app_id[]=99") << QByteArray("no product number 99");
        QTest::newRow("no product") << QByteArray("/appinfo.php") << QByteArray("app_id[]");
        QTest::newRow("unknown file") << QByteArray("/packageinfo.php?filename[]=x.deb")
                                      << QByteArray("no package file x.deb");
        QTest::newRow("markup in the name")
            << QByteArray("/packageinfo.php?filename[]=%22%3E%3Cx/%3E%FF%00")
            << QByteArray("no package file");
        QTest::newRow("too many") << "/appinfo.php?" + QByteArray("app_id[]=&").repeated(1001)
                                  << QByteArray();
    }
    void failuresAreSaidInWords()
    {
        QFETCH(QByteArray, target);
        QFETCH(QByteArray, word);
        const QByteArray answer = get(target);
        // Past its limit the HTTP library refuses the request itself.
        if (answer.startsWith("HTTP/1.1 414"))
            return;
        const QDomElement reply = root(answer);
        QCOMPARE(reply.attribute(QStringLiteral("resultcode")), QStringLiteral("FAILED"));
        QVERIFY2(reply.attribute(QStringLiteral("msg")).toUtf8().contains(word),
                 answer.constData());
    }

    void poolServesFilesAndRanges()
    {
        QCOMPARE(body(get("/repo/a+b_1_all.deb")), QByteArray("0123456789"));
        const QByteArray part = get("/repo/./a+b_1_all.deb", "Host: h\r\nRange: bytes=3-5\r\n");
        QVERIFY(part.startsWith("HTTP/1.1 206"));
        QCOMPARE(body(part), QByteArray("345"));
        QCOMPARE(body(get("/repo/a+b_1_all.deb", "Host: h\r\nRange: bytes=8-\r\n")),
                 QByteArray("89"));
        QVERIFY(get("/repo/Packages").startsWith("HTTP/1.1 200"));
    }

    void pathsOutsideThePoolAreRefused_data()
    {
        QTest::addColumn<QByteArray>("target");
        for (const char* target :
             { "/repo/../outside", "/repo/%2e%2e/outside", "/repo/..%2foutside", "/repo/link",
               "/repo//etc/passwd", "/repo/%00", "/repo/", "/repo/absent", "/products", "/../etc" })
            QTest::newRow(target) << QByteArray(target);
    }
    void pathsOutsideThePoolAreRefused()
    {
        QFETCH(QByteArray, target);
        const QByteArray answer = get(target);
        QVERIFY2(answer.startsWith("HTTP/1.1 404") || answer.startsWith("HTTP/1.1 400"),
                 answer.constData());
        QVERIFY(!answer.contains("secret") && !answer.contains("root:"));
    }

    void overlongAndBrokenRequestsAreSurvived()
    {
        QVERIFY(!get("/appinfo.php?app_id[]=" + QByteArray(20000, '9')).contains("\"OK\""));
        raw("nonsense\r\n\r\n");
        raw(QByteArray(100000, '\0'));
        QVERIFY(get("/getagentapi.php").contains("\"OK\""));
    }

    void changedFilesCountFromTheNextRequest()
    {
        write("products", "Serial: 9\nName: New\nPackage: new\n");
        QVERIFY(get("/appinfo.php?app_id[]=9").contains("\"OK\""));
        write("products", "broken\n");
        const QByteArray answer = get("/appinfo.php?app_id[]=9");
        QVERIFY(answer.contains("FAILED") && answer.contains("out of order"));
        QVERIFY(m_server.waitForReadyRead(0)
                || m_server.readAllStandardError().contains("products:1: no \"Key: value\""));
    }

    void manyClientsAtOnce()
    {
        std::vector<std::unique_ptr<QTcpSocket>> sockets;
        for (int i = 0; i < 50; ++i) {
            sockets.push_back(std::make_unique<QTcpSocket>());
            sockets.back()->connectToHost(QStringLiteral("127.0.0.1"), m_port);
        }
        for (auto& socket : sockets) {
            QVERIFY(socket->waitForConnected(5000));
            socket->write(
                "GET /repo/a+b_1_all.deb HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n");
        }
        for (auto& socket : sockets) {
            QByteArray answer;
            while (socket->waitForReadyRead(5000))
                answer += socket->readAll();
            QCOMPARE(body(answer + socket->readAll()), QByteArray("0123456789"));
        }
    }

    void brokenStoresAreNamedAtTheStart_data()
    {
        QTest::addColumn<QByteArray>("products");
        QTest::addColumn<QByteArray>("error");
        QTest::newRow("no key") << QByteArray("Serial: 1\nwords\n") << QByteArray("products:2:");
        QTest::newRow("unknown key")
            << QByteArray("Serial: 1\nColour: red\n") << QByteArray("products:2:");
        QTest::newRow("no number") << QByteArray("\nSerial: x\n") << QByteArray("products:2:");
        QTest::newRow("too large")
            << QByteArray("Serial: 99999999999\n") << QByteArray("products:1:");
        QTest::newRow("half a product") << QByteArray("Serial: 1\n") << QByteArray("products:1:");
        QTest::newRow("program of four parts")
            << QByteArray("Serial: 1\nProgram: a | b | c | d\n") << QByteArray("products:2:");
        QTest::newRow("twice") << QByteArray("Serial: 1\nName: a\nPackage: a\n\nSerial: 1\nName: "
                                             "b\nPackage: b\n")
                               << QByteArray("products:5:");
    }
    void brokenStoresAreNamedAtTheStart()
    {
        QFETCH(QByteArray, products);
        QFETCH(QByteArray, error);
        write("products", products);
        QProcess server;
        server.start(QStringLiteral(STORE_SERVER),
                     { QStringLiteral("--port"), QStringLiteral("0"), m_dir.path() });
        QVERIFY(server.waitForFinished(10000));
        QCOMPARE(server.exitCode(), 1);
        QVERIFY(server.readAllStandardError().contains(error));
        QCOMPARE(server.readAllStandardOutput(), QByteArray());
    }

    void usage_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<int>("status");
        QTest::newRow("help") << QStringList(QStringLiteral("--help")) << 0;
        QTest::newRow("version") << QStringList(QStringLiteral("--version")) << 0;
        QTest::newRow("no store") << QStringList() << 2;
        QTest::newRow("bad port") << QStringList{ QStringLiteral("--port"), QStringLiteral("x"),
                                                  QStringLiteral("/") }
                                  << 2;
        QTest::newRow("unknown option") << QStringList(QStringLiteral("--nonsense")) << 2;
        QTest::newRow("no such store") << QStringList(QStringLiteral("/nonexistent")) << 1;
    }
    void usage()
    {
        QFETCH(QStringList, words);
        QFETCH(int, status);
        QProcess server;
        server.start(QStringLiteral(STORE_SERVER), words);
        QVERIFY(server.waitForFinished(10000));
        QCOMPARE(server.exitCode(), status);
    }
};

QTEST_GUILESS_MAIN(StoreServerTest)
#include "tst_storeserver.moc"
