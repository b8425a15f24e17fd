// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The requests that save an element of their reply as a file: the aisles, the profile of
// the machine, the catalog. Their common behaviour is tested with each of them.

#include "../request/hostilereplies.h"

#include "catalog/capigetaisles.h"
#include "catalog/capisyncmymachine.h"
#include "catalog/capiupdatecatalog.h"
#include "catalog/cxmlnode.h"
#include "tests/common/datafolder.h"
#include "tests/common/limits.h"
#include "tests/common/plainuser.h"

#include <QDomDocument>
#include <QEventLoop>
#include <QSignalSpy>
#include <sys/stat.h>

namespace
{

struct Kind {
    const char* row;
    const char* name; // of the class and of the function
    const char* file;
    CAPI* (*make)(bool silent);
    const QMetaObject* meta;
};

const Kind kinds[] = {
    { "aisles", "CAPIGetAisles", ".aisles",
      [](bool silent) -> CAPI* { return new CAPIGetAisles(silent); },
      &CAPIGetAisles::staticMetaObject },
    { "profile", "CAPISyncMyMachine", ".profile",
      [](bool silent) -> CAPI* { return new CAPISyncMyMachine(silent); },
      &CAPISyncMyMachine::staticMetaObject },
    { "catalog", "CAPIUpdateCatalog", ".catalog",
      [](bool silent) -> CAPI* { return new CAPIUpdateCatalog(silent, false); },
      &CAPIUpdateCatalog::staticMetaObject },
};

// Access to the API directory, to list a function at another address for a while.
struct DirectoryAccess : public CAPI {
    static void list(const QString& name, const QByteArray& url)
    {
        m_URLList.AddAPI(name, QString::fromLatin1(url));
    }
};

QByteArray Ok(const QByteArray& content)
{
    return "<?xml version=\"1.0\"?>\n<agentfunction resultcode=\"OK\">" + content
        + "</agentfunction>";
}

} // namespace

class SavedRepliesTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;
    const Kind* m_kind = nullptr;

    QString file() const { return QLatin1String(m_kind->file); }
    QByteArray contents() const { return ReadDataFile(file()); }
    void answer(const QByteArray& bytes) { m_server.answer("/f", bytes); }

    // Runs one request to its end. Returns its signals, in order.
    QStringList run(bool silent = true)
    {
        QStringList events;
        CAPI* request = m_kind->make(silent);
        connect(request, &CAPI::BeforeTransfer, this,
                [&](const QString& url) { events << QLatin1String("before ") + url; });
        connect(request, &CAPI::APIDestinationFile, this,
                [&](const QFile&) { events << QStringLiteral("file"); });
        connect(request, &CAPI::SuccessfulTransfer, this, [&](QDomElement*) {
            events << QLatin1String("ok, saved ") + QString::fromUtf8(contents().left(5));
        });
        connect(request, &CAPI::FailedTransfer, this, [&](QDomElement* element) {
            events << QLatin1String("failed ")
                    + element->attribute(QStringLiteral("msg"), QStringLiteral("<none>"));
        });
        connect(request, &CAPI::ErroneousTransfer, this,
                [&](const QString& text) { events << QLatin1String("error ") + text; });
        connect(request, &CAPI::APIComplete, this, [&](bool succeeded) {
            events << QLatin1String("complete ") + QString::number(succeeded);
        });
        const QPointer<QObject> object = request;
        if (!request->Execute())
            return events << QStringLiteral("not started");
        if (!object)
            return events << QStringLiteral("ended too early"); // it does not wait
        QEventLoop loop;
        connect(request, &QObject::destroyed, &loop, &QEventLoop::quit);
        QTimer::singleShot(60000, &loop, &QEventLoop::quit);
        loop.exec();
        if (object)
            qFatal("the request does not end");
        return events;
    }
    static QString last(const QStringList& events) { return events.value(events.size() - 1); }
    static QString beforeLast(const QStringList& events) { return events.value(events.size() - 2); }

private slots:
    void initTestCase_data()
    {
        QTest::addColumn<int>("kind");
        for (int i = 0; i < 3; ++i)
            QTest::newRow(kinds[i].row) << i;
    }
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        QMap<QByteArray, QByteArray> entries;
        for (const Kind& kind : kinds)
            entries[kind.name] = m_server.url("/f");
        m_server.answer("/api", Directory(entries));
        CAPI::GetURLList();
    }
    void init()
    {
        QFETCH_GLOBAL(int, kind);
        m_kind = &kinds[kind];
        QVERIFY(QFile::setPermissions(DataFolder(), QFile::Permissions(0x7755)));
        for (const QString& name : DataFiles())
            QVERIFY(QFile::remove(DataPath(name)));
        WriteDataFile(file(), "old");
        answer(ScriptedServer::http(Ok("<all>new</all>")));
        m_server.asked.clear();
    }

    // -- the exchange

    void oneSlotAndNoSignalOfItsOwn()
    {
        QCOMPARE(m_kind->meta->methodCount() - m_kind->meta->methodOffset(), 1);
        const QMetaMethod slot = m_kind->meta->method(m_kind->meta->methodOffset());
        QCOMPARE(slot.methodType(), QMetaMethod::Slot);
        QCOMPARE(slot.methodSignature(), QByteArray("onSuccessfulTransfer(QDomElement*)"));
        QCOMPARE(m_kind->meta->superClass(), &CAPI::staticMetaObject);
    }

    // The reply file is opened by the request's own slot, which is called first.
    void signalsComeOnceAndInOrder()
    {
        QCOMPARE(run(),
                 (QStringList{ QStringLiteral("file"),
                               QLatin1String("before ") + QString::fromLatin1(m_server.url("/f")),
                               QStringLiteral("ok, saved <all>"), QStringLiteral("complete 1") }));
        // Found by its class name, without a query.
        QCOMPARE(m_server.asked, QList<QByteArray>{ "/f" });
    }

    void spiesHearEachSignalOnce()
    {
        CAPI* request = m_kind->make(true);
        QSignalSpy before(request, &CAPI::BeforeTransfer);
        QSignalSpy destination(request, &CAPI::APIDestinationFile);
        QSignalSpy ok(request, &CAPI::SuccessfulTransfer);
        QSignalSpy failed(request, &CAPI::FailedTransfer);
        QSignalSpy error(request, &CAPI::ErroneousTransfer);
        QSignalSpy complete(request, &CAPI::APIComplete);
        QVERIFY(request->Execute());
        QCOMPARE(before.count(), 1); // before the transfer, inside Execute
        QCOMPARE(ok.count() + complete.count(), 0);
        QVERIFY(complete.wait(60000));
        QCOMPARE(destination.count(), 1);
        QCOMPARE(ok.count(), 1);
        QCOMPARE(failed.count() + error.count(), 0);
        QCOMPARE(complete.count(), 1);
        QCOMPARE(complete[0][0].toBool(), true);
    }

    void logNamesTheRequest()
    {
        const StandardOutput output;
        run();
        const QStringList lines = output.lines();
        QVERIFY(lines.contains(QLatin1String(m_kind->name) + QLatin1String(" - ")
                               + QString::fromLatin1(m_server.url("/f"))));
    }

    void severalAtOnceLeaveAWholeFile()
    {
        int ended = 0;
        for (int i = 0; i < 3; ++i) {
            CAPI* request = m_kind->make(true);
            connect(request, &CAPI::APIComplete, this, [&ended](bool ok) { ended += ok ? 1 : 0; });
            QVERIFY(request->Execute());
        }
        QTRY_COMPARE_WITH_TIMEOUT(ended, 3, 60000);
        QCOMPARE(contents(), QByteArray("<all>new</all>\n"));
        QCOMPARE(DataFiles(), QStringList(file()));
    }

    // -- what is saved

    void firstElementIsSavedToTheByte()
    {
        answer(ScriptedServer::http(Ok("\n  <!-- note -->\n  <all z=\"1\" a='x &amp; y'>\n"
                                       "    <item>a+b</item>\n    <group/>\n    <item/>\n  </all>\n"
                                       "  <other/>\n")));
        run();
        QCOMPARE(contents(),
                 QByteArray("<all a=\"x%20%26%20y\" z=\"1\"><group></group>\n"
                            "<item>a%20b</item>\n<item></item>\n</all>\n"));
    }

    void noLineBeginsWithABlank()
    {
        answer(ScriptedServer::http(Ok("<all>  one\n two <a> three </a></all>")));
        run();
        QVERIFY(!contents().contains("\n "));
        QVERIFY(!contents().startsWith(' '));
        QVERIFY(contents().endsWith("</all>\n"));
    }

    void textIsWrittenEncodedAndReadBack()
    {
        answer(ScriptedServer::http(Ok("<all t=\"&lt;b&gt; &quot;q&quot;\">x &lt;y&gt; &amp; z'%20"
                                       "\xD0\x9A \xE7\x8C\xAB \xF0\x9F\x90\x88</all>")));
        run();
        QCOMPARE(contents(),
                 QByteArray("<all t=\"%3Cb%3E%20%22q%22\">x%20%3Cy%3E%20%26%20z%27%20"
                            "%D0%9A%20%E7%8C%AB%20%F0%9F%90%88</all>\n"));
        QDomDocument document;
        QVERIFY(document.setContent(contents()));
        QDomNode root = document.documentElement();
        CXMLNode tree(nullptr);
        QVERIFY(tree.ReadNode(root));
        QCOMPARE(tree.Value(), std::string("x <y> & z' \xD0\x9A \xE7\x8C\xAB \xF0\x9F\x90\x88"));
        QCOMPARE(tree.Attribute("t", ""), std::string("<b> \"q\""));
    }

    void deepestNestingIsSaved()
    {
        answer(ScriptedServer::http(
            Ok(QByteArray("<a>").repeated(511) + QByteArray("</a>").repeated(511))));
        run();
        QCOMPARE(contents().count("<a>"), 511);
    }

    void newFileIsWrittenByItsOwnerOnly()
    {
        QVERIFY(QFile::remove(DataPath(file())));
        const mode_t mask = umask(0);
        run();
        umask(mask);
        struct stat info = {};
        QCOMPARE(stat(qPrintable(DataPath(file())), &info), 0);
        QCOMPARE(int(info.st_mode & 07777), file() == QLatin1String(".profile") ? 0600 : 0644);
    }

    // -- what leaves the old file

    void bodyWithoutAnElementLeavesTheFile_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("white space") << QByteArray("\n  \n");
        QTest::newRow("text") << QByteArray("text");
        QTest::newRow("comment") << QByteArray("<!-- <all/> -->");
    }
    void bodyWithoutAnElementLeavesTheFile()
    {
        QFETCH(QByteArray, content);
        answer(ScriptedServer::http(Ok(content)));
        QCOMPARE(last(run()), QStringLiteral("complete 1"));
        QCOMPARE(contents(), QByteArray("old"));
    }

    void failedCallsLeaveTheFile_data()
    {
        QTest::addColumn<QByteArray>("root");
        QTest::addColumn<QString>("event");
        QTest::addColumn<QString>("box");
        const QString unspecified = QStringLiteral("Unspecified API error");
        QTest::newRow("failed") << QByteArray("resultcode=\"FAILED\" msg=\"no &amp; no\"")
                                << "failed no & no"
                                << "no & no";
        QTest::newRow("lower-case ok")
            << QByteArray("resultcode=\"ok\"") << "failed <none>" << unspecified;
        QTest::newRow("OK and a blank")
            << QByteArray("resultcode=\"OK \"") << "failed <none>" << unspecified;
        QTest::newRow("no resultcode") << QByteArray() << "failed <none>" << unspecified;
    }
    void failedCallsLeaveTheFile()
    {
        QFETCH(QByteArray, root);
        QFETCH(QString, event);
        QFETCH(QString, box);
        answer(ScriptedServer::http("<agentfunction " + root + "><all/></agentfunction>"));
        const BoxCloser boxes;
        QStringList events = run(true);
        QCOMPARE(beforeLast(events), event);
        QCOMPARE(last(events), QStringLiteral("complete 0"));
        QCOMPARE(boxes.texts, QStringList()); // it is silent
        events = run(false);
        QCOMPARE(beforeLast(events), event);
        QCOMPARE(boxes.texts, QStringList(box));
        QCOMPARE(contents(), QByteArray("old"));
    }

    void hostileRepliesLeaveTheFile_data() { HostileReplies(Ok("<all>new</all>")); }
    void hostileRepliesLeaveTheFile()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, error);
        answer(bytes);
        const BoxCloser boxes;
        const QStringList events = run();
        QVERIFY2(beforeLast(events).startsWith(QLatin1String("error ") + error),
                 qPrintable(events.join(QLatin1Char('|'))));
        QCOMPARE(last(events), QStringLiteral("complete 0"));
        QCOMPARE(boxes.texts, QStringList());
        QCOMPARE(contents(), QByteArray("old"));
        QCOMPARE(DataFiles(), QStringList(file()));
    }

    void nestingOf100000LeavesTheFile()
    {
        answer(ScriptedServer::http(
            Ok(QByteArray("<a>").repeated(100000) + QByteArray("</a>").repeated(100000))));
        QCOMPARE(beforeLast(run()), QLatin1String("error ") + Texts::format);
        QCOMPARE(contents(), QByteArray("old"));
    }

    void replyOverTheLimitLeavesTheFile()
    {
        answer(ScriptedServer::http(Ok("<all>" + QByteArray(200000, 'x') + "</all>")));
        Setting("max reply size", "100000");
        const QStringList events = run();
        Setting("max reply size", "268435456");
        QCOMPARE(beforeLast(events), QLatin1String("error ") + Texts::format);
        QCOMPARE(contents(), QByteArray("old"));
    }

    void silentServerLeavesTheFile()
    {
        m_server.answer("/f", [](QTcpSocket*, const QByteArray&) {});
        Setting("response timeout", "1");
        const QStringList events = run();
        Setting("response timeout", "120");
        QVERIFY(beforeLast(events).startsWith(QLatin1String("error ")));
        QCOMPARE(last(events), QStringLiteral("complete 0"));
        QCOMPARE(contents(), QByteArray("old"));
    }

    void unusableUrlsLeaveTheFile_data()
    {
        QTest::addColumn<QByteArray>("url");
        QTest::addColumn<QString>("text");
        QTest::newRow("none") << QByteArray() << Texts::noUrl;
        QTest::newRow("file") << QByteArray("file:///etc/passwd") << Texts::noJob;
        QTest::newRow("ftp") << QByteArray("ftp://127.0.0.1/x") << Texts::noJob;
        QTest::newRow("data") << QByteArray("data:text/xml,<a/>") << Texts::noJob;
        QTest::newRow("no scheme") << QByteArray("127.0.0.1/x") << Texts::noJob;
    }
    void unusableUrlsLeaveTheFile()
    {
        QFETCH(QByteArray, url);
        QFETCH(QString, text);
        DirectoryAccess::list(QLatin1String(m_kind->name), url);
        const QStringList events = run();
        DirectoryAccess::list(QLatin1String(m_kind->name), m_server.url("/f"));
        QCOMPARE(last(events), QStringLiteral("not started"));
        QVERIFY(events.contains(QLatin1String("error ") + text));
        QCOMPARE(beforeLast(events), QStringLiteral("complete 0"));
        QCOMPARE(contents(), QByteArray("old"));
    }

    void refusedConnectionLeavesTheFile()
    {
        DirectoryAccess::list(QLatin1String(m_kind->name), RefusingUrl());
        const QStringList events = run();
        DirectoryAccess::list(QLatin1String(m_kind->name), m_server.url("/f"));
        QVERIFY(beforeLast(events).startsWith(QLatin1String("error ")));
        QCOMPARE(last(events), QStringLiteral("complete 0"));
        QCOMPARE(contents(), QByteArray("old"));
    }

    // These failures are not emitted: the request itself has succeeded.

    void fileThatCannotBeWrittenIsLeft()
    {
        QCOMPARE(chmod(qPrintable(DataPath(file())), 0444), 0);
        {
            // The spool folder must not be an obstacle.
            QCOMPARE(chmod((qgetenv("PAKMART_SYSROOT") + "/tmp").constData(), 01777), 0);
            const PlainUser user;
            QCOMPARE(run().last(), QStringLiteral("complete 1"));
        }
        QCOMPARE(contents(), QByteArray("old"));
    }

    void fileInAnUnwritableFolderIsRewritten()
    {
        QCOMPARE(chmod(qPrintable(DataPath(file())), 0666), 0);
        QCOMPARE(chmod(qPrintable(DataFolder()), 0555), 0);
        {
            const PlainUser user;
            QCOMPARE(run().last(), QStringLiteral("complete 1"));
        }
        QCOMPARE(contents(), QByteArray("<all>new</all>\n"));
    }

    void fullDiskLeavesTheFile()
    {
        answer(ScriptedServer::http(Ok("<all>" + QByteArray(100000, 'x') + "</all>")));
        std::unique_ptr<FullDisk> full;
        const auto before
            = CTracer::SetSink([&full](CTracer::Event event, const std::string& text) {
                  // The reply is on the disk, but its element is not saved yet.
                  if (event == CTracer::Event::Enter && text == "CAPI::onDownloadComplete")
                      full = std::make_unique<FullDisk>(50000);
              });
        const QStringList events = run();
        full.reset();
        CTracer::SetSink(before);
        QCOMPARE(last(events), QStringLiteral("complete 1"));
        QCOMPARE(beforeLast(events), QStringLiteral("ok, saved old"));
        QCOMPARE(contents(), QByteArray("old"));
        QCOMPARE(DataFiles(), QStringList(file()));
    }

    void folderInItsPlaceIsLeft()
    {
        QVERIFY(QFile::remove(DataPath(file())));
        QVERIFY(QDir().mkdir(DataPath(file())));
        QCOMPARE(last(run()), QStringLiteral("complete 1"));
        QCOMPARE(DataFiles(), QStringList());
        QVERIFY(QDir().rmdir(DataPath(file())));
    }
};

QTEST_MAIN(SavedRepliesTest)
#include "tst_savedreplies.moc"
