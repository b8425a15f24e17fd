// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The system builder's file, and its registration with the server over real KIO.

#include "hostilereplies.h"

#include "request/capisetoeminfo.h"

#include <QDir>
#include <QSignalSpy>

namespace
{

QString BuilderFile()
{
    return QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"))
        + QStringLiteral("/etc/vantrel-welcome/builder.txt");
}

} // namespace

class SetOEMInfoTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;

    void builderIs(const QByteArray& text)
    {
        QFile file(BuilderFile());
        if (!QDir().mkpath(QFileInfo(file).path()) || !file.open(QIODevice::WriteOnly)
            || file.write(text) != text.size())
            qFatal("cannot write the builder's file");
    }
    // Runs one registration to its end and returns its events.
    QStringList registration()
    {
        QStringList events;
        auto* request = new CAPISetOEMInfo;
        connect(request, &CAPI::SuccessfulTransfer, this, [&] { events << QStringLiteral("ok"); });
        connect(request, &CAPI::FailedTransfer, this, [&](QDomElement* element) {
            events << QLatin1String("failed ") + element->attribute(QStringLiteral("msg"));
        });
        connect(request, &CAPI::ErroneousTransfer, this,
                [&](const QString& text) { events << QLatin1String("error ") + text; });
        connect(request, &CAPI::APIComplete, this, [&](bool succeeded) {
            events << QLatin1String("complete ") + QString::number(succeeded);
        });
        const QPointer<QObject> object = request;
        if (!request->Execute())
            return events << QStringLiteral("not started");
        // The request does not wait for its own end.
        if (!object)
            return events << QStringLiteral("ended too early");
        if (!QTest::qWaitFor([&object] { return object.isNull(); }, 60000))
            qFatal("the request does not end");
        return events;
    }

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api", Directory({ { "CAPISetOEMInfo", m_server.url("/o") } }));
        CAPI::GetURLList();
    }
    void init()
    {
        QFile::remove(BuilderFile());
        m_server.asked.clear();
        m_server.answer("/o", ScriptedServer::http("<agentfunction resultcode=\"OK\"/>"));
    }

    void builderFile_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("id");
        QTest::addColumn<QByteArray>("name");
        const QByteArray ten = "0000000001", vendor = "vantrelnet.example";
        const auto row
            = [](const char* name, const QByteArray& text, const QByteArray& id,
                 const QByteArray& builder) { QTest::newRow(name) << text << id << builder; };
        row("ID=  42", "ID=  42\n", "42", vendor);
        row("Name=Acme", "Name=Acme\n", ten, "Acme");
        row("both", "id=7\nname=Acme Computers\n", "7", "Acme Computers");
        row("id= with nothing after it", "id=\n", "", vendor);
        row("name= with white space alone", "name= \t \n", ten, "");
        row("all kinds of white space", "id=\t \v\f9\n", "9", vendor);
        row("trailing blanks are kept", "id=9  \nname=Acme \n", "9  ", "Acme ");
        row("a later line overwrites", "id=1\nid=2\nID=3\n", "3", vendor);
        row("a later empty line overwrites", "id=1\nid=\n", "", vendor);
        row("other lines are ignored", "#id=1\n id=2\nid =3\nids=4\nnames=x\n\nname\n", ten,
            vendor);
        row("carriage return", "id=42\r\nname=Acme\r\n", "42", "Acme");
        row("cut at the first carriage return", "id=4\r2\rname=x\n", "4", vendor);
        row("no line end", "id=42", "42", vendor);
        row("empty file", "", ten, vendor);
        row("bytes that are no text", "\xFF\xFE\nid=\xC3\xA9\n", "\xC3\xA9", vendor);
        row("cut at a zero byte", QByteArray("id=4\0002\nname=Acme\n", 16), "4", "Acme");
        row("1,023 characters with their line end", "id=" + QByteArray(1019, 'x') + "\n",
            QByteArray(1019, 'x'), vendor);
        // The rest of a longer line counts as another line.
        row("longer line", "id=" + QByteArray(1020, 'x') + "id=5\nname=A\n", "5", "A");
        row("longer line, nothing in its rest", "id=" + QByteArray(5000, 'x') + "\n",
            QByteArray(1020, 'x'), vendor);
    }
    void builderFile()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, id);
        QFETCH(QByteArray, name);
        builderIs(text);
        const CGetOEMInfo info;
        QCOMPARE(QByteArray::fromStdString(info.getID()), id);
        QCOMPARE(QByteArray::fromStdString(info.getName()), name);
    }

    void noBuilderFileGivesTheDefaults()
    {
        const CGetOEMInfo info;
        QCOMPARE(info.getID(), std::string("0000000001"));
        QCOMPARE(info.getName(), std::string("vantrelnet.example"));
    }

    void builderFileThatIsAFolderGivesTheDefaults()
    {
        QVERIFY(QDir().mkpath(BuilderFile()));
        const CGetOEMInfo info;
        QVERIFY(QDir().rmdir(BuilderFile()));
        QCOMPARE(info.getID(), std::string("0000000001"));
    }

    void skipWhiteStopsAtTheEndOfTheText()
    {
        CGetOEMInfo info;
        char text[] = " \t\n\v\f\r";
        char* at = text;
        info.SkipWhite(&at);
        QCOMPARE(at, text + 6);
        char word[] = "  \xA0 x"; // a byte beyond ASCII is not white space
        at = word;
        info.SkipWhite(&at);
        QCOMPARE(at, word + 2);
    }

    void identifierIsTheQuery()
    {
        builderIs("id=0000000042\n");
        const StandardOutput output;
        QCOMPARE(registration(),
                 (QStringList{ QStringLiteral("ok"), QStringLiteral("complete 1") }));
        QCOMPARE(m_server.asked, QList<QByteArray>{ "/o?id=0000000042" });
        QVERIFY(output.text().contains("CAPISetOEMInfo - " + m_server.url("/o?id=0000000042")));
    }

    void withoutABuilderFileTheDefaultIsSent()
    {
        registration();
        QCOMPARE(m_server.asked, QList<QByteArray>{ "/o?id=0000000001" });
    }

    void emptyIdentifierEndsTheUrlWithTheKey()
    {
        builderIs("id=\n");
        registration();
        QCOMPARE(m_server.asked, QList<QByteArray>{ "/o?id=" });
    }

    void identifierIsTakenAsItStands()
    {
        builderIs("id=a+b&c=%2F/~\n");
        auto* request = new CAPISetOEMInfo;
        QCOMPARE(request->DecorateURI(), QStringLiteral("?id=a+b&c=%2F/~"));
        delete request;
        registration();
        QCOMPARE(m_server.asked, QList<QByteArray>{ "/o?id=a+b&c=%2F/~" });
    }

    void identifierCannotBreakOutOfItsRequest()
    {
        builderIs("id=x HTTP/1.1\tHost: other\n");
        registration();
        QCOMPARE(m_server.asked.size(), 1);
        QVERIFY(m_server.lastRequest.startsWith("GET /o?id=x%20HTTP/1.1"));
        QVERIFY(!m_server.lastRequest.contains("\nHost: other"));
    }

    void fileIsReadWhenTheObjectIsMade()
    {
        builderIs("id=1\n");
        auto* request = new CAPISetOEMInfo;
        builderIs("id=2\n");
        QCOMPARE(request->DecorateURI(), QStringLiteral("?id=1"));
        delete request;
    }

    void answerIsNotReadBeyondItsEnvelope()
    {
        m_server.answer("/o",
                        ScriptedServer::http("<agentfunction resultcode=\"OK\"><id>9</id>"
                                             "<unknown><a/></unknown></agentfunction>"));
        QCOMPARE(registration(),
                 (QStringList{ QStringLiteral("ok"), QStringLiteral("complete 1") }));
    }

    void failureIsLoggedNotShown()
    {
        m_server.answer("/o",
                        ScriptedServer::http("<agentfunction resultcode=\"NO\" msg=\"who?\"/>"));
        const BoxCloser boxes;
        const StandardOutput output;
        QCOMPARE(registration(),
                 (QStringList{ QStringLiteral("failed who?"), QStringLiteral("complete 0") }));
        QVERIFY(output.lines().contains(QStringLiteral("CAPISetOEMInfo - api failure = who?")));
        QCOMPARE(boxes.texts, QStringList());
    }

    void hostileReplies_data()
    {
        HostileReplies("<agentfunction resultcode=\"OK\"></agentfunction>");
    }
    void hostileReplies()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, error);
        m_server.answer("/o", bytes);
        const BoxCloser boxes;
        const QStringList events = registration();
        QCOMPARE(events.size(), 2);
        QVERIFY2(events[0].startsWith(QLatin1String("error ") + error), qPrintable(events[0]));
        QCOMPARE(events[1], QStringLiteral("complete 0"));
        QCOMPARE(boxes.texts, QStringList());
    }

    void refusedConnection()
    {
        m_server.answer(
            "/o", ScriptedServer::http("", "302 Found", "Location: " + RefusingUrl() + "\r\n"));
        const QStringList events = registration();
        QCOMPARE(events.size(), 2);
        QVERIFY(events[0].startsWith(QLatin1String("error ")));
        QCOMPARE(events[1], QStringLiteral("complete 0"));
    }

    void severalAtOnce()
    {
        int ended = 0;
        for (int i = 0; i < 3; ++i) {
            auto* request = new CAPISetOEMInfo;
            QCOMPARE(request->ReferenceCount(), i + 1);
            connect(request, &CAPI::APIComplete, this, [&ended](bool ok) { ended += ok ? 1 : 0; });
            QVERIFY(request->Execute());
        }
        QTRY_COMPARE_WITH_TIMEOUT(ended, 3, 60000);
    }
};

QTEST_MAIN(SetOEMInfoTest)
#include "tst_capisetoeminfo.moc"
