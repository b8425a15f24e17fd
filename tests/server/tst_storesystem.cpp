// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The functions of the store server about a machine as a whole: the updates of
// its operating system, and the system builder it comes from.

#include "server/serverprocess.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>
#include <csignal>
#include <sys/stat.h>
#include <unistd.h>

class StoreSystemTest : public QObject
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
    QByteArray registrations() const
    {
        QFile file(path("registrations"));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<none>");
    }
    static QByteArray updates(const ServerProcess& server)
    {
        return server.get("/agent/CAPIGetOSVer").body.simplified();
    }
    static QByteArray registration(const ServerProcess& server, const QByteArray& query)
    {
        return server.get("/agent/CAPISetOEMInfo" + query).body.simplified();
    }
    static QByteArray ok(const QByteArray& content = QByteArray())
    {
        return "<?xml version=\"1.0\" encoding=\"UTF-8\"?> <agentfunction resultcode=\"OK\"> "
            + content + "</agentfunction>";
    }
    static QByteArray failed(const QByteArray& msg)
    {
        return "<?xml version=\"1.0\" encoding=\"UTF-8\"?> <agentfunction resultcode=\"FAILED\" "
               "msg=\""
            + msg + "\"/>";
    }

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        write("products", "Serial: 7\nName: A\nCategory: B\nPackage: c\nDescription: d\n");
        write("sources", "Type: dep\nEntry: deb @SERVER@/pool/main ./\nTimestamp: 5\n");
        write("pool/main/Packages", "Package: p\nVersion: 1\nFilename: p_1_all.deb\n");
    }
    void cleanup() { m_dir.reset(); }

    void updatesComeInTheOrderOfTheFile()
    {
        write("updates", "Package: zlib1g\n\n# a comment\nPackage: vantrelagent\nPackage: a+b\n");
        const ServerProcess server(m_dir->path());
        QCOMPARE(updates(server),
                 ok("<package> <name>zlib1g</name> </package> <package> <name>vantrelagent</name> "
                    "</package> <package> <name>a%2Bb</name> </package> "));
    }

    void storeWithoutUpdatesHasNone()
    {
        const ServerProcess server(m_dir->path());
        QVERIFY(server.isRunning());
        QCOMPARE(updates(server), ok());
        write("updates", "");
        QCOMPARE(updates(server), ok());
    }

    void updatesAreReadAgainWhenTheyChangeAndWhenTheyGo()
    {
        const ServerProcess server(m_dir->path());
        write("updates", "Package: ab\n");
        QVERIFY(updates(server).contains("<name>ab</name>"));
        write("new", "Package: cd\n");
        QCOMPARE(::rename(qPrintable(path("new")), qPrintable(path("updates"))), 0);
        QVERIFY(updates(server).contains("<name>cd</name>"));
        QVERIFY(QFile::remove(path("updates")));
        QCOMPARE(updates(server), ok());
    }

    void brokenUpdatesEndTheStart_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("message");
        const auto row = [](const char* name, const QByteArray& text, const QByteArray& message) {
            QTest::newRow(name) << text << message;
        };
        row("other field", "Package: ab\nVersion: 1\n", ":2: an update has no field Version");
        row("no name", "\nPackage:\n", ":2: invalid package name: ''");
        row("one letter", "Package: a\n", ":1: invalid package name: 'a'");
        row("blank", "Package: a b\n", ":1: invalid package name: 'a b'");
        row("option", "Package: -y\n", ":1: invalid package name: '-y'");
        row("shell", "Package: a$(x)\n", ":1: invalid package name: 'a$(x)'");
        row("capitals", "Package: Ab\n", ":1: invalid package name: 'Ab'");
        row("twice", "Package: ab\n\nPackage: ab\n", ":3: a second update of 'ab'");
        row("no field", "vantrelagent\n", ":1: this is not a `Key: value` line: 'vantrelagent'");
        row("no text", "Package: a\xFF\n", ":1: there is a byte that is not UTF-8 in this line");
    }
    void brokenUpdatesEndTheStart()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, message);
        write("updates", text);
        const auto result
            = ServerProcess::run({ QStringLiteral("--port"), QStringLiteral("0"), m_dir->path() });
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains("/updates" + message + '\n'), result.err.constData());
    }

    void updatesThatBreakLaterFailTheCallAlone()
    {
        write("updates", "Package: ab\n");
        ServerProcess server(m_dir->path());
        write("updates", "Package: ab\nPackage: a b c\n");
        QCOMPARE(updates(server), failed("The store is being repaired. Please try again later."));
        QCOMPARE(registration(server, "?id=1"), ok());
        write("updates", "Package: abc\n");
        QVERIFY(updates(server).contains("<name>abc</name>"));
        QCOMPARE(server.end(SIGTERM), 0);
        QVERIFY(server.standardError().contains("/updates:2: "));
    }

    void updatesThatAreALinkAreNotFollowed()
    {
        write("elsewhere", "Package: ab\n");
        QVERIFY(QFile::link(path("elsewhere"), path("updates")));
        const auto result
            = ServerProcess::run({ QStringLiteral("--port"), QStringLiteral("0"), m_dir->path() });
        QCOMPARE(result.status, 1);
        QVERIFY(result.err.contains("links are not followed"));
    }

    void registrationIsKeptWhereThereIsAFile()
    {
        write("registrations", "");
        const ServerProcess server(m_dir->path());
        QCOMPARE(registration(server, "?id=0000000042"), ok());
        QCOMPARE(registration(server, "?id=Acme%20%C3%A9&other=1"), ok());
        const QRegularExpression lines(QStringLiteral(
            "\\A\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ 0000000042\n[-0-9T:]{19}Z Acme é\n\\z"));
        QVERIFY2(lines.match(QString::fromUtf8(registrations())).hasMatch(),
                 registrations().constData());
    }

    void registrationIsTakenWithoutAFileAndNoneIsMade()
    {
        const ServerProcess server(m_dir->path());
        QCOMPARE(registration(server, "?id=1"), ok());
        QCOMPARE(registrations(), QByteArray("<none>"));
    }

    void identifiersThatAreNoneAreRefused_data()
    {
        QTest::addColumn<QByteArray>("query");
        QTest::addColumn<QByteArray>("msg");
        const QByteArray nobody = "The request names no system builder.";
        const QByteArray none = "Not an identifier of a system builder: &apos;";
        QTest::newRow("no query") << QByteArray() << nobody;
        QTest::newRow("empty") << QByteArray("?id=") << nobody;
        QTest::newRow("other name") << QByteArray("?ID=1") << nobody;
        QTest::newRow("twice") << QByteArray("?id=1&id=2") << nobody;
        QTest::newRow("too long") << QByteArray("?id=" + QByteArray(65, '1'))
                                  << QByteArray(none + QByteArray(65, '1') + "&apos;");
        QTest::newRow("line end") << QByteArray("?id=1%0A2") << QByteArray(none + "1?2&apos;");
        QTest::newRow("tab") << QByteArray("?id=1%092") << QByteArray(none + "1?2&apos;");
        QTest::newRow("control character")
            << QByteArray("?id=%1B[2J") << QByteArray(none + "?[2J&apos;");
        QTest::newRow("no UTF-8") << QByteArray("?id=%FF") << QByteArray(none + "?&apos;");
        QTest::newRow("zero byte")
            << QByteArray("?id=1%00") << QByteArray("There is a zero byte in &apos;1%00&apos;.");
        QTest::newRow("half an escape")
            << QByteArray("?id=1%4")
            << QByteArray("There is an incomplete percent escape in &apos;1%4&apos;.");
    }
    void identifiersThatAreNoneAreRefused()
    {
        QFETCH(QByteArray, query);
        QFETCH(QByteArray, msg);
        write("registrations", "");
        const ServerProcess server(m_dir->path());
        QCOMPARE(registration(server, query), failed(msg));
        QCOMPARE(registrations(), QByteArray());
    }

    void longestIdentifierIsTaken()
    {
        write("registrations", "");
        const ServerProcess server(m_dir->path());
        QCOMPARE(registration(server, "?id=" + QByteArray(64, '1')), ok());
        QVERIFY(registrations().endsWith(' ' + QByteArray(64, '1') + '\n'));
    }

    void registrationsThatCannotBeWrittenFailTheCall_data()
    {
        QTest::addColumn<QString>("kind");
        for (const char* kind : { "folder", "link", "pipe", "full" })
            QTest::newRow(kind) << QString::fromLatin1(kind);
    }
    void registrationsThatCannotBeWrittenFailTheCall()
    {
        QFETCH(QString, kind);
        const QByteArray name = path("registrations").toLocal8Bit();
        write("outside", "");
        if (kind == QLatin1String("folder"))
            QVERIFY(QDir().mkpath(path("registrations")));
        else if (kind == QLatin1String("link"))
            QVERIFY(QFile::link(path("outside"), path("registrations")));
        else if (kind == QLatin1String("pipe"))
            QCOMPARE(::mkfifo(name.constData(), 0600), 0);
        else {
            write("registrations", "");
            QCOMPARE(::truncate(name.constData(), 64 << 20), 0);
        }
        ServerProcess server(m_dir->path());
        QCOMPARE(registration(server, "?id=1"),
                 failed("The store is being repaired. Please try again later."));
        QCOMPARE(server.end(SIGTERM), 0);
        QVERIFY(server.standardError().contains("/registrations: "));
        QCOMPARE(QFileInfo(path("outside")).size(), qint64(0));
    }

    void registrationsOfManyAtOnceAreWholeLines()
    {
        write("registrations", "");
        const ServerProcess server(m_dir->path());
        std::vector<std::unique_ptr<QTcpSocket>> clients;
        for (int i = 10; i < 50; ++i)
            clients.push_back(server.send(ServerProcess::getRequest(
                "/agent/CAPISetOEMInfo?id=machine" + QByteArray::number(i))));
        for (const auto& client : clients)
            QCOMPARE(ServerProcess::receive(*client).status, 200);
        QList<QByteArray> lines = registrations().split('\n');
        QCOMPARE(lines.takeLast(), QByteArray());
        QCOMPARE(lines.size(), 40);
        QSet<QByteArray> ids;
        for (const QByteArray& line : lines) {
            QCOMPARE(line.size(), 20 + 1 + 9);
            ids.insert(line.mid(21));
        }
        QCOMPARE(ids.size(), 40);
    }
};

QTEST_GUILESS_MAIN(StoreSystemTest)
#include "tst_storesystem.moc"
