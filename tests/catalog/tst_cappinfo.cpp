// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Application information: its request, its reply, what is told of it.

#include "catalog/capidownloadappinfo.h"
#include "catalog/cappinfo.h"
#include "catalog/cmenueditor.h"
#include "db/crufile.h"
#include "db/indexlayer.h"
#include "tests/request/requests.h"

#include <QtTest>

namespace
{

QByteArray Binary(const QByteArray& name, const QByteArray& path, const QByteArray& menu)
{
    return "<binary><name>" + name + "</name><path>" + path
        + "</path><smallicon>s</smallicon>"
          "<largeicon>l</largeicon><menu>"
        + menu + "</menu><other>x</other></binary>";
}

} // namespace

class AppInfoTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;
    QTemporaryDir m_dir;

    QString fileWith(const QByteArray& text) const
    {
        QFile file(m_dir.filePath(QStringLiteral("reply.xml")));
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
            qFatal("cannot write a reply");
        return file.fileName();
    }
    QString reply(const QByteArray& packages) const
    {
        return fileWith("<agentfunction resultcode=\"OK\">" + packages + "</agentfunction>");
    }

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api", Directory({ { "CAPIDownloadAppInfo", m_server.url("/a") } }));
    }

    void queryNamesTheProducts()
    {
        const StandardOutput output;
        std::vector<long> ids{ 1, 2, 3 };
        auto* request = new CAPIDownloadAppInfo(ids, true);
        QCOMPARE(request->DecorateURI(), QStringLiteral("?app_id[]=1&app_id[]=2&app_id[]=3"));
        QVERIFY(output.lines().contains(QStringLiteral("?app_id[]=1&app_id[]=2&app_id[]=3")));
        delete request;
        ids.clear();
        request = new CAPIDownloadAppInfo(ids, true);
        QCOMPARE(request->DecorateURI(), QString());
        delete request;
    }

    void replyFileStaysWhenTheRequestEnds()
    {
        const QByteArray text = "<agentfunction resultcode=\"OK\"/>";
        m_server.answer("/a", ScriptedServer::http(text));
        std::vector<long> ids{ 1 };
        auto* request = new CAPIDownloadAppInfo(ids, true);
        QString name;
        bool ended = false;
        connect(request, &CAPI::APIDestinationFile, qApp,
                [&name](const QFile& file) { name = file.fileName(); });
        connect(request, &CAPI::APIComplete, qApp, [&ended] { ended = true; });
        QVERIFY(request->Execute());
        QTRY_VERIFY(ended);
        QFile file(name);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), text);
        QVERIFY(file.remove());
    }

    void packagesAndProgramsAreRead()
    {
        std::vector<CAppInfo> infos;
        QVERIFY(CAppInfo::BuildApplicationInformation(
            infos,
            reply("text<other/><package><name>Foo+%26 Co</name><serialnumber>7</serialnumber>"
                  "<packagename>foo</packagename>"
                  + Binary("A", "/a", "Games") + Binary("B", "/b%2Bc", "") + "</package>"
                  + "<package/>")));
        QCOMPARE(infos.size(), std::size_t(2));
        CAppInfo& info = infos[0];
        QCOMPARE(info.FriendlyName(), QStringLiteral("Foo & Co"));
        QCOMPARE(info.ServerSerialNumber(), QStringLiteral("7"));
        QCOMPARE(info.PackageName(), QStringLiteral("foo"));
        QCOMPARE(info.Count(), 2);
        QCOMPARE(info[0].Name(), QStringLiteral("A"));
        QCOMPARE(info[0].MenuPath(), QStringLiteral("Games"));
        QCOMPARE(info[1].Path(), QStringLiteral("/b+c"));
        QCOMPARE(info[1].SmallIcon(), QStringLiteral("s"));
        QCOMPARE(info[1].LargeIcon(), QStringLiteral("l"));
        QCOMPARE(info[1].ServerSerialNumber(), QStringLiteral("7"));
        QCOMPARE(infos[1].Count(), 0);
    }

    void serialNumberBehindAProgramDoesNotReachIt()
    {
        std::vector<CAppInfo> infos;
        QVERIFY(CAppInfo::BuildApplicationInformation(
            infos,
            reply("<package>" + Binary("A", "/a", "") + "<serialnumber>7</serialnumber>"
                  + Binary("B", "/b", "") + "</package>")));
        QCOMPARE(infos[0][0].ServerSerialNumber(), QString());
        QCOMPARE(infos[0][1].ServerSerialNumber(), QStringLiteral("7"));
        QCOMPARE(infos[0].ServerSerialNumber(), QStringLiteral("7"));
    }

    void oneObjectTakesAllPackages()
    {
        CAppInfo info;
        QVERIFY(info.BuildApplicationInformation(
            reply("<package><name>One</name>" + Binary("A", "/a", "")
                  + "</package><package><name>Two</name>" + Binary("B", "/b", "") + "</package>")));
        QCOMPARE(info.Count(), 2);
        QCOMPARE(info.FriendlyName(), QStringLiteral("Two"));
    }

    void unreadableReplies_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("lower-case ok") << QByteArray("<agentfunction resultcode=\"ok\"><package/>"
                                                     "</agentfunction>");
        QTest::newRow("no resultcode") << QByteArray("<agentfunction><package/></agentfunction>");
        QTest::newRow("other root") << QByteArray("<x resultcode=\"OK\"><package/></x>");
        QTest::newRow("not xml") << QByteArray("<agentfunction");
        QTest::newRow("no package") << QByteArray("<agentfunction resultcode=\"OK\"/>");
        QTest::newRow("nested package")
            << QByteArray("<agentfunction resultcode=\"OK\"><x><package/></x></agentfunction>");
        QTest::newRow("too deep") << "<agentfunction resultcode=\"OK\"><package/>"
                + QByteArray("<a>").repeated(100000) + QByteArray("</a>").repeated(100000)
                + "</agentfunction>";
    }
    void unreadableReplies()
    {
        QFETCH(QByteArray, text);
        std::vector<CAppInfo> infos(1);
        QVERIFY(!CAppInfo::BuildApplicationInformation(infos, fileWith(text)));
        QCOMPARE(infos.size(), std::size_t(1));
        QVERIFY(!infos[0].BuildApplicationInformation(fileWith(text)));
        QVERIFY(!infos[0].BuildApplicationInformation(m_dir.filePath(QStringLiteral("absent"))));
        QCOMPARE(infos[0].Count(), 0);
    }

    void validNeedsANameAndAPath()
    {
        const auto valid = [this](const QByteArray& programs) {
            CAppInfo info;
            info.BuildApplicationInformation(reply("<package>" + programs + "</package>"));
            return info.IsValid();
        };
        QVERIFY(valid(Binary("A", "/a", "")));
        QVERIFY(!valid(Binary("", "/a", "")));
        QVERIFY(!valid(Binary("A", "", "") + Binary("B", "/b", "")));
        QVERIFY(!valid(""));
    }

    void completionText()
    {
        CAppInfo info;
        QVERIFY(info.BuildApplicationInformation(
            reply("<package>" + Binary("Foo", "/usr/games/foo", "Games") + "</package>")));
        QString name, message, icon, path;
        info.GetAppInfo(name, message, icon, path);
        QCOMPARE(name, QStringLiteral("Foo"));
        QCOMPARE(path, QStringLiteral("/usr/games/foo"));
        QCOMPARE(icon, QStringLiteral("s"));
        QCOMPARE(message,
                 QStringLiteral("Foo has been installed!\n\nYou can run it by:\n\n"
                                "  - Clicking the link in Games\n"
                                "  - Clicking the link in New Stuff on your desktop\n"
                                "  - Clicking the \"Run It!\" button below\n"));
    }

    void completionTextWithLess()
    {
        CAppInfo info;
        QVERIFY(info.BuildApplicationInformation(reply("<package>" + Binary("A", "/a", "")
                                                       + Binary("B", "", "Menu")
                                                       + Binary("", "/c", "") + "</package>")));
        QString name, message = QStringLiteral("before"), icon = QStringLiteral("mine"), path;
        info.GetAppInfo(name, message, icon, path);
        QCOMPARE(message,
                 QStringLiteral("before\nA has been installed!\n\n\nB has been installed!\n\n"
                                "You can run it by:\n\n  - Clicking the link in Menu\n\n"));
        QCOMPARE(name, QString());
        QCOMPARE(path, QStringLiteral("/c"));
        QCOMPARE(icon, QStringLiteral("mine"));
    }

    void firstProgramIsRecordedAsUsedNow()
    {
        CAppInfo info;
        QVERIFY(info.BuildApplicationInformation(
            reply("<package><serialnumber>7</serialnumber>" + Binary("First", "/a", "")
                  + Binary("Second", "/b", "") + "</package>")));
        QCOMPARE(info.Count(), 2);
        const auto before = std::int32_t(std::time(nullptr));
        QVERIFY(info.AddAppToDatabase());
        CRUFile list;
        QCOMPARE(InitIndex(), 0);
        QVERIFY(list.Open());
        QCOMPARE(list.UsedRecs(), 1);
        QVERIFY(list.FindLastAccessedItem());
        QCOMPARE(list.ServerSerialNumber(), 7);
        QCOMPARE(list.Description(), "First");
        QCOMPARE(list.ExecutablePath(), "/a");
        QCOMPARE(list.IconPath(), "l");
        QCOMPARE(list.SmallIconPath(), "s");
        QVERIFY(list.LastAccessed() >= before && list.LastAccessed() <= std::time(nullptr));
        // Recording it again changes the item that is there.
        list.SetLastAccessed(5);
        QVERIFY(list.Update());
        list.Close();
        QVERIFY(info.AddAppToDatabase());
        QVERIFY(list.Open());
        QCOMPARE(list.UsedRecs(), 1);
        QVERIFY(list.FindServerSerialNumber(7));
        QVERIFY(list.LastAccessed() >= before);
        list.Close();
        UnInitIndex();
        QVERIFY(info.RemoveAppFromDatabase());
        QVERIFY(info.RemoveAppFromDatabase()); // there is a list, if not the item
        QCOMPARE(InitIndex(), 0);
        QVERIFY(list.Open());
        QCOMPARE(list.UsedRecs(), 0);
        list.Close();
        UnInitIndex();
    }

    void packageWithoutASerialNumberIsNotRecorded()
    {
        for (const char* serial : { "", "0", "-7", "text" }) {
            CAppInfo info;
            info.BuildApplicationInformation(reply("<package><serialnumber>" + QByteArray(serial)
                                                   + "</serialnumber>" + Binary("A", "/a", "")
                                                   + "</package>"));
            QVERIFY(!info.AddAppToDatabase());
        }
        QVERIFY(!CAppInfo().AddAppToDatabase());
        // Without a program there is nothing to record.
        CAppInfo info;
        info.BuildApplicationInformation(
            reply("<package><serialnumber>7</serialnumber></package>"));
        QVERIFY(!info.AddAppToDatabase());
        QVERIFY(!HasPageCache());
    }

    void emptyIconsAreRecordedAsTheUsualOne()
    {
        CAppInfo info;
        QVERIFY(info.BuildApplicationInformation(
            reply("<package><serialnumber>8</serialnumber><binary><name>Plain</name>"
                  "<path>/p</path></binary></package>")));
        QVERIFY(info.AddAppToDatabase());
        const IndexLayer layer;
        CRUFile list;
        QVERIFY(list.Open());
        QVERIFY(list.FindItem("plain"));
        QCOMPARE(list.IconPath(), "kcmkwm");
        QCOMPARE(list.SmallIconPath(), "kcmkwm");
    }

    void recordingLeavesAHostsIndexesOpen()
    {
        CAppInfo info;
        QVERIFY(info.BuildApplicationInformation(reply("<package><serialnumber>9</serialnumber>"
                                                       + Binary("Nine", "/9", "") + "</package>")));
        QCOMPARE(InitIndex(), 0);
        IndexFile* index
            = MakeIndex(0, m_dir.filePath(QStringLiteral("own")).toUtf8().constData(), 10, 0);
        QVERIFY(index);
        const std::uint32_t record = 1;
        char key[] = "key       ";
        QCOMPARE(AddKey(index, &record, key), 0);
        QVERIFY(info.AddAppToDatabase());
        QVERIFY(info.RemoveAppFromDatabase());
        std::uint32_t found = 0;
        QCOMPARE(FindKey(index, &found, key), 0);
        QCOMPARE(found, 1u);
        QCOMPARE(CloseIndex(index), 0);
        UnInitIndex();
        QVERIFY(info.AddAppToDatabase());
        QVERIFY(!HasPageCache());
    }

    void listThatDoesNotOpenIsNotWritten()
    {
        CAppInfo info;
        QVERIFY(info.BuildApplicationInformation(reply("<package><serialnumber>9</serialnumber>"
                                                       + Binary("Nine", "/9", "") + "</package>")));
        QVERIFY(info.AddAppToDatabase());
        QFile file(QString::fromStdString(CRUFile::RUDATAIDX2));
        QVERIFY(file.rename(file.fileName() + QLatin1String(".away")));
        QVERIFY(!info.AddAppToDatabase());
        QVERIFY(!info.RemoveAppFromDatabase());
        QVERIFY(file.rename(QString::fromStdString(CRUFile::RUDATAIDX2)));
        QVERIFY(info.AddAppToDatabase());
    }

    void menuIsRestartedOnlyForPrograms()
    {
        // The panel's remote control, found before any real one.
        const QString witness = m_dir.filePath(QStringLiteral("dcop-called"));
        QFile dcop(m_dir.filePath(QStringLiteral("dcop")));
        QVERIFY(dcop.open(QIODevice::WriteOnly));
        dcop.write("#!/bin/sh\necho \"$*\" > " + witness.toLocal8Bit() + ".new && mv "
                   + witness.toLocal8Bit() + ".new " + witness.toLocal8Bit() + "\n");
        dcop.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
        dcop.close();
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", m_dir.path().toLocal8Bit() + ':' + path);
        QVERIFY(!CAppInfo().AddAppToMenu());
        QVERIFY(!CAppInfo().RemoveAppFromMenu());
        QTest::qWait(200);
        QVERIFY(!QFile::exists(witness));
        CAppInfo info;
        QVERIFY(info.BuildApplicationInformation(
            reply("<package>" + Binary("A", "/a", "") + "</package>")));
        QVERIFY(info.AddAppToMenu());
        QTRY_VERIFY(QFile::exists(witness));
        QFile called(witness);
        QVERIFY(called.open(QIODevice::ReadOnly));
        QCOMPARE(called.readAll(), QByteArray("kicker Panel restart\n"));
        QVERIFY(called.remove());
        QVERIFY(info.RemoveAppFromMenu());
        QTRY_VERIFY(QFile::exists(witness));
        qputenv("PATH", path);
    }
};

QTEST_MAIN(AppInfoTest)
#include "tst_cappinfo.moc"
