// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart and the machine as a whole: the state of the connection, registration, updates
// of the system; and a store made from a package index. With the real program, store
// server, apt-get and dpkg.

#include "archivestore.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>
#include <csignal>

class PakmartSystemTest : public QObject, ArchiveStore
{
    Q_OBJECT

private:
    struct Result {
        int status = -1;
        QString out, err;

        QJsonObject json() const { return QJsonDocument::fromJson(out.toUtf8()).object(); }
    };

    Result pakmart(const char* words, const QByteArray& input = QByteArray())
    {
        QProcess process;
        process.start(QStringLiteral(PAKMART),
                      QString::fromLatin1(words).split(QLatin1Char(' '), Qt::SkipEmptyParts));
        process.write(input);
        process.closeWriteChannel();
        if (!process.waitForFinished(120000))
            qFatal("pakmart does not end");
        return { process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                 QString::fromUtf8(process.readAllStandardOutput()),
                 QString::fromUtf8(process.readAllStandardError()) };
    }
    void updatesAre(const QByteArray& names)
    {
        QByteArray text;
        for (const QByteArray& name : names.split(' '))
            text += "Package: " + name + "\n\n";
        QVERIFY(write("updates", names.isEmpty() ? QByteArray() : text));
    }
    QByteArray installed(const QByteArray& name) const
    {
        QProcess dpkg;
        dpkg.start(m_root + QStringLiteral("/usr/bin/dpkg"),
                   { QStringLiteral("--status"), QString::fromLatin1(name) });
        dpkg.waitForFinished();
        for (const QByteArray& line : dpkg.readAllStandardOutput().split('\n')) {
            if (line.startsWith("Version: "))
                return line.mid(9);
        }
        return "none";
    }
    QString lastUpdate() const
    {
        return QString::fromStdString(
            CConfigFile((m_root + QStringLiteral("/etc/pakmartd.conf")).toStdString(), false)
                .GetStringValue("DateOfLastUpdate", "never"));
    }

private slots:
    void initTestCase()
    {
        makeRoot();
        QVERIFY(write("products",
                      "Serial: 7\nName: Lucky\nCategory: Games\nPackage: lucky\nDescription: d\n"));
        publish({ { "vantrelagent", "1.0" }, { "libluck", "1.0" }, { "lucky", "1.0", "libluck" } });
        serve();
        QCOMPARE(pakmart("install --yes --package vantrelagent lucky").status, 0);
        QCOMPARE(installed("vantrelagent"), QByteArray("1.0"));
    }
    void cleanupTestCase() { m_server.reset(); }

    void statusOfAServerThatAnswers()
    {
        const Result result = pakmart("status");
        QCOMPARE(result.status, 0);
        QCOMPARE(result.err, QString());
        QCOMPARE(result.out,
                 QStringLiteral("The store server can be reached: %1/getagentapi.php\n"
                                "System: unknown\nLast update of the system: never\n"
                                "System builder: 0000000001\n")
                     .arg(m_server->url()));
    }

    void statusForPrograms()
    {
        QVERIFY(WriteTextFile(m_root + QStringLiteral("/etc/vantrelos-version"),
                              "VantrelOS 4 \"Ärger\"\n"));
        QVERIFY(
            WriteTextFile(m_root + QStringLiteral("/etc/vantrel-welcome/builder.txt"), "id=42\n"));
        const Result result = pakmart("status --json");
        QCOMPARE(result.status, 0);
        QCOMPARE(result.out.count(QLatin1Char('\n')), 1);
        QCOMPARE(
            result.json(),
            (QJsonObject{
                { QStringLiteral("reached"), true },
                { QStringLiteral("server"), m_server->url() + QStringLiteral("/getagentapi.php") },
                { QStringLiteral("system"), QStringLiteral("VantrelOS 4 \"Ärger\"") },
                { QStringLiteral("lastUpdate"), QJsonValue() },
                { QStringLiteral("builder"), QStringLiteral("42") },
                { QStringLiteral("code"), QStringLiteral("none") },
                { QStringLiteral("sentence"), QString() },
                { QStringLiteral("details"), QString() } }));
    }

    void statusOfAServerThatIsGone()
    {
        serverIs(QStringLiteral("http://127.0.0.1:1"));
        const Result result = pakmart("status");
        const Result json = pakmart("status --json");
        serverIs(m_server->url());
        QCOMPARE(result.status, 1);
        QCOMPARE(result.out, QString());
        QVERIFY(result.err.startsWith(QLatin1String("pakmart: the store server cannot be reached: "
                                                    "http://127.0.0.1:1/getagentapi.php\n"
                                                    "  127.0.0.1:1: Connection refused\n")));
        QCOMPARE(json.status, 1);
        QCOMPARE(json.json()[QStringLiteral("reached")], QJsonValue(false));
        QCOMPARE(json.json()[QStringLiteral("details")].toString(),
                 QStringLiteral("127.0.0.1:1: Connection refused"));
    }

    void statusOfAnAddressThatIsNone_data()
    {
        QTest::addColumn<QString>("address");
        QTest::newRow("empty") << QString();
        QTest::newRow("a file") << QStringLiteral("file:///etc/passwd");
        QTest::newRow("no host") << QStringLiteral("http:///x");
        QTest::newRow("words") << QStringLiteral("the store");
    }
    void statusOfAnAddressThatIsNone()
    {
        QFETCH(QString, address);
        settingIs("/usr/share/apps/vantrelagent/.vauf", "agent api url", address);
        const Result result = pakmart("status");
        serverIs(m_server->url());
        QCOMPARE(result.status, 1);
        QVERIFY(
            result.err.contains(QStringLiteral("the settings name no address of a store server")));
    }

    void interruptionEndsAStatusThatGetsNoAnswer()
    {
        QTcpServer mute;
        QVERIFY(mute.listen(QHostAddress::LocalHost));
        serverIs(QStringLiteral("http://127.0.0.1:%1").arg(mute.serverPort()));
        QProcess process;
        process.start(QStringLiteral(PAKMART), { QStringLiteral("status") });
        QVERIFY(mute.waitForNewConnection(30000));
        QCOMPARE(kill(pid_t(process.processId()), SIGINT), 0);
        QVERIFY(process.waitForFinished(30000));
        serverIs(m_server->url());
        QCOMPARE(process.exitCode(), 130);
    }

    void registration()
    {
        QVERIFY(write("registrations", ""));
        const Result result = pakmart("register");
        QCOMPARE(result.status, 0);
        QCOMPARE(result.out,
                 QStringLiteral("The store knows that this machine comes from the system builder "
                                "42.\n"));
        QFile kept(m_store + QStringLiteral("/registrations"));
        QVERIFY(kept.open(QIODevice::ReadOnly));
        QVERIFY(kept.readAll().endsWith("Z 42\n"));
        QCOMPARE(pakmart("register --json").json(),
                 (QJsonObject{ { QStringLiteral("registered"), true },
                               { QStringLiteral("builder"), QStringLiteral("42") },
                               { QStringLiteral("error"), QJsonValue() },
                               { QStringLiteral("code"), QStringLiteral("none") },
                               { QStringLiteral("sentence"), QString() },
                               { QStringLiteral("details"), QString() } }));
    }

    void registrationThatTheServerRefuses()
    {
        QVERIFY(
            WriteTextFile(m_root + QStringLiteral("/etc/vantrel-welcome/builder.txt"), "id=\n"));
        const Result result = pakmart("register");
        const Result json = pakmart("register --json");
        QVERIFY(QFile::remove(m_root + QStringLiteral("/etc/vantrel-welcome/builder.txt")));
        QCOMPARE(result.status, 1);
        QVERIFY(result.err.contains(QStringLiteral("The request names no system builder.")));
        QCOMPARE(json.status, 1);
        QCOMPARE(json.json()[QStringLiteral("registered")], QJsonValue(false));
        QCOMPARE(json.json()[QStringLiteral("error")],
                 QJsonValue(QStringLiteral("The request names no system builder.")));
    }

    void registrationWithoutAServer()
    {
        serverIs(QStringLiteral("http://127.0.0.1:1"));
        const Result result = pakmart("register");
        serverIs(m_server->url());
        QCOMPARE(result.status, 1);
        QVERIFY(result.err.contains(QStringLiteral("The store cannot be reached.")));
    }

    void noUpdates()
    {
        updatesAre("");
        const Result result = pakmart("os-update");
        QCOMPARE(result.status, 0);
        QVERIFY(result.out.endsWith(QLatin1String("The system is up to date.\n")));
        QVERIFY(lastUpdate() != QLatin1String("never"));
        QVERIFY(pakmart("status").out.contains(QStringLiteral("Last update of the system: ")
                                               + lastUpdate()));
    }

    void packagesThatAreUpToDateAreLeftAlone()
    {
        updatesAre("vantrelagent libluck");
        const Result result = pakmart("os-update --yes");
        QCOMPARE(result.status, 0);
        QCOMPARE(result.err, QString());
        QVERIFY(result.out.endsWith(QLatin1String("The system is up to date.\n")));
    }

    void declinedUpdateChangesNothing()
    {
        publish({ { "vantrelagent", "1.1", "libnew" }, { "libluck", "1.0.1" }, { "libnew", "3" } });
        const Result result = pakmart("os-update", "n\n");
        QCOMPARE(result.status, 3);
        QVERIFY(
            result.out.contains(QStringLiteral("To be upgraded:\n  libluck       1.0 -> 1.0.1\n")));
        QVERIFY(result.out.endsWith(QLatin1String("Nothing was updated.\n")));
        QCOMPARE(installed("vantrelagent"), QByteArray("1.0"));
    }

    void updateOfTheAgentItself()
    {
        const Result result = pakmart("os-update", "y\n");
        QCOMPARE(result.err, QString());
        QCOMPARE(result.status, 0);
        QVERIFY2(result.out.endsWith(
                     QLatin1String("libnew 3 is installed.\nlibluck 1.0 is updated to 1.0.1.\n"
                                   "vantrelagent 1.0 is updated to 1.1.\n"
                                   "The agent itself was updated: restart its programs.\n")),
                 qPrintable(result.out));
        QCOMPARE(installed("vantrelagent"), QByteArray("1.1"));
        QCOMPARE(installed("libluck"), QByteArray("1.0.1"));
        QCOMPARE(installed("lucky"), QByteArray("1.0"));
    }

    void updateForPrograms()
    {
        publish({ { "lucky", "2.0", "libluck" } });
        updatesAre("lucky");
        const Result result = pakmart("os-update --yes --json");
        QCOMPARE(result.status, 0);
        QCOMPARE(result.out.count(QLatin1Char('\n')), 1);
        QCOMPARE(result.json(),
                 (QJsonObject{ { QStringLiteral("updated"),
                                 QJsonArray{ QJsonObject{
                                     { QStringLiteral("package"), QStringLiteral("lucky") },
                                     { QStringLiteral("from"), QStringLiteral("1.0") },
                                     { QStringLiteral("to"), QStringLiteral("2.0") } } } },
                               { QStringLiteral("agent"), false } }));
        QCOMPARE(pakmart("os-update --yes --json").out,
                 QStringLiteral("{\"agent\":false,\"updated\":[]}\n"));
    }

    void updateThatNobodyHas()
    {
        updatesAre("nosuchpackage");
        const Result result = pakmart("os-update --yes");
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(QStringLiteral("The package is in no package source.")),
                 qPrintable(result.err));
    }

    void updateWhoseArchiveIsDamaged()
    {
        publish({ { "lucky", "3.0", "libluck" } });
        QVERIFY(write("pool/main/lucky_3.0_all.deb",
                      m_archive.contents(m_archive.fileOf({ "lucky", "3.0" })).replace('a', 'b')));
        updatesAre("lucky");
        const Result result = pakmart("os-update --yes");
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains(QStringLiteral("Hash Sum mismatch")), qPrintable(result.err));
        QCOMPARE(installed("lucky"), QByteArray("2.0"));
    }

    void updateWithoutAServer()
    {
        serverIs(QStringLiteral("http://127.0.0.1:1"));
        const QString before = lastUpdate();
        const Result result = pakmart("os-update --yes");
        serverIs(m_server->url());
        QCOMPARE(result.status, 1);
        QVERIFY(result.err.contains(QStringLiteral("The store cannot be reached.")));
        QCOMPARE(lastUpdate(), before);
    }

    // The archives stay on their own server, like those of Debian.
    void productOfAnImportedStoreIsInstalled()
    {
        const QString index = m_dir + QStringLiteral("/Packages");
        QVERIFY(WriteTextFile(index, m_archive.index()));
        const QString store = m_dir + QStringLiteral("/imported");
        const auto made
            = ServerProcess::run({ QStringLiteral("import"), QStringLiteral("--archive"),
                                   m_server->url() + QStringLiteral("/pool/main"), index, store });
        QCOMPARE(made.err, QByteArray());
        QCOMPARE(made.status, 0);
        const ServerProcess server(store);
        serverIs(server.url());
        QCOMPARE(pakmart("remove --yes lucky libluck").status, 0);
        // The products are numbered by their names: libluck, libnew, lucky, ...
        const Result result = pakmart("install --yes 1");
        serverIs(m_server->url());
        QCOMPARE(result.err, QString());
        QCOMPARE(result.status, 0);
        QCOMPARE(installed("libluck"), QByteArray("1.0.1"));
    }
};

QTEST_GUILESS_MAIN(PakmartSystemTest)
#include "tst_pakmartsystem.moc"
