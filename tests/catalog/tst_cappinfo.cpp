// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Application information: its request, its reply, its signals, and recording it.

#include "catalog/capidownloadappinfo.h"
#include "catalog/cappinfo.h"
#include "catalog/cmenueditor.h"
#include "db/crufile.h"
#include "db/dbshared.h"
#include "tests/request/requests.h"

#include <QtTest>

using namespace Agent;

namespace
{

QByteArray Binary(const QByteArray& name, const QByteArray& path, const QByteArray& menu)
{
    return "<binary><name>" + name + "</name><path>" + path
        + "</path><smallicon>s</smallicon>"
          "<largeicon>l</largeicon><menu>"
        + menu + "</menu><other>x</other></binary>";
}

// Replaces the panel's remote control: it is found before any real one.
class Dcop
{
public:
    Dcop(const QTemporaryDir& dir, const QByteArray& script) : m_path(qgetenv("PATH"))
    {
        QFile dcop(dir.filePath(QStringLiteral("dcop")));
        if (!dcop.open(QIODevice::WriteOnly) || dcop.write("#!/bin/sh\n" + script) < 0)
            qFatal("cannot write a script");
        dcop.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("PATH", dir.path().toLocal8Bit() + ':' + m_path);
    }
    ~Dcop() { qputenv("PATH", m_path); }
    Dcop(const Dcop&) = delete;
    Dcop& operator=(const Dcop&) = delete;

private:
    const QByteArray m_path;
};

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

    CAppInfo numbered(const QByteArray& serial, const QByteArray& name) const
    {
        CAppInfo info;
        if (!info.BuildApplicationInformation(reply("<package><serialnumber>" + serial
                                                    + "</serialnumber>" + Binary(name, "/a", "")
                                                    + "</package>")))
            qFatal("an unreadable reply");
        return info;
    }
    CAppInfo application(int serial, const QByteArray& name) const
    {
        return numbered(QByteArray::number(serial), name);
    }
    static void emptyList()
    {
        const IndexLayer layer;
        CRUFile list;
        QVERIFY(list.Create());
    }
    // The number and name of each item, by name, if both walks have the same items.
    static QByteArrayList listed()
    {
        const IndexLayer layer;
        CRUFile list;
        QByteArrayList items;
        if (!list.Open())
            return { "not open" };
        int byTime = 0;
        for (bool more = list.FindLastAccessedItem(); more; more = list.FindPrevAccessedItem())
            ++byTime;
        for (bool more = list.FindFirstByDescription(); more; more = list.FindNextByDescription())
            items << QByteArray::number(list.ServerSerialNumber()) + ' ' + list.Description();
        if (byTime != items.size() || byTime != list.UsedRecs())
            items << "and one that is not in all indexes";
        return items;
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

    void queryIsALineOfTheOutput()
    {
        for (const long count : { 0, 2 }) {
            std::vector<long> ids(std::size_t(count), 7);
            const std::unique_ptr<CAPIDownloadAppInfo> request(new CAPIDownloadAppInfo(ids, true));
            QByteArray written;
            QByteArray query;
            {
                const StandardOutput output;
                query = request->DecorateURI().toUtf8();
                written = output.text();
            }
            QCOMPARE(written, query + '\n');
        }
    }

    void boxesComeUnlessItIsSilent()
    {
        m_server.answer("/a", ScriptedServer::http("<agentfunction resultcode=\"NO\" msg=\"m\"/>"));
        for (const bool silent : { true, false }) {
            std::vector<long> ids{ 1 };
            bool ended = false;
            auto* request = new CAPIDownloadAppInfo(ids, silent);
            connect(request, &CAPI::APIComplete, qApp, [&ended] { ended = true; });
            AgentError::Code reason = AgentError::NoFailure;
            connect(request, &CAPI::signalFailure, qApp,
                    [&reason](AgentError::Code code) { reason = code; });
            const BoxCloser boxes;
            QVERIFY(request->Execute());
            QVERIFY(!ended); // it does not wait
            QTRY_VERIFY(ended);
            QCOMPARE(boxes.texts, silent ? QStringList() : QStringList{ QStringLiteral("m") });
            QCOMPARE(reason, AgentError::UnknownProduct);
        }
    }

    void itRunsBesideAnother()
    {
        std::vector<long> ids{ 1 };
        const std::unique_ptr<CAPIDownloadAppInfo> first(new CAPIDownloadAppInfo(ids, true));
        QCOMPARE(first->ReferenceCount(), 1);
        const std::unique_ptr<CAPIDownloadAppInfo> second(new CAPIDownloadAppInfo(ids, true));
        QCOMPARE(second->ReferenceCount(), 2);
        QVERIFY(!first->APILocked(nullptr));
        QVERIFY(!first->CanDeleteAPIFile());
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

    void everyTextIsDecoded()
    {
        std::vector<CAppInfo> infos(1);
        QVERIFY(CAppInfo::BuildApplicationInformation(
            infos,
            reply("<package><name>a+%62</name><serialnumber>%37</serialnumber>"
                  "<packagename>c%2Bd</packagename><binary><name>e+f</name><path>g%20h</path>"
                  "<smallicon>i+j</smallicon><largeicon>k%20l</largeicon><menu>m+n</menu>"
                  "</binary></package>")));
        // They are added after the existing ones.
        QCOMPARE(infos.size(), std::size_t(2));
        QCOMPARE(infos[0].Count(), 0);
        CAppInfo& info = infos[1];
        const CAppInfoObject& program = info[0];
        QCOMPARE((QStringList{ info.FriendlyName(), info.ServerSerialNumber(), info.PackageName(),
                               program.Name(), program.Path(), program.SmallIcon(),
                               program.LargeIcon(), program.MenuPath() }),
                 QStringLiteral("a b,7,c+d,e f,g h,i j,k l,m n").split(QLatin1Char(',')));
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

    void firstIconThatThereIsCounts()
    {
        const auto program = [](const char* icon) {
            return "<binary><smallicon>" + QByteArray(icon) + "</smallicon></binary>";
        };
        CAppInfo info;
        QVERIFY(info.BuildApplicationInformation(
            reply("<package>" + program("") + program("two") + program("three") + "</package>")));
        QString name, message, icon, path;
        info.GetAppInfo(name, message, icon, path);
        QCOMPARE(icon, QStringLiteral("two"));
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
        QVERIFY(info.RemoveAppFromDatabase()); // the list exists, but not the item
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

    void emptyIconsAreRecordedAsTheUsualOne_data()
    {
        QTest::addColumn<QByteArray>("icons");
        QTest::addColumn<QByteArray>("recorded");
        QTest::newRow("none") << QByteArray() << QByteArray("kcmkwm kcmkwm");
        QTest::newRow("small") << QByteArray("<smallicon>s</smallicon>") << QByteArray("kcmkwm s");
        QTest::newRow("large") << QByteArray("<largeicon>l</largeicon>") << QByteArray("l kcmkwm");
    }
    void emptyIconsAreRecordedAsTheUsualOne()
    {
        QFETCH(QByteArray, icons);
        CAppInfo info;
        QVERIFY(info.BuildApplicationInformation(
            reply("<package><serialnumber>8</serialnumber><binary><name>Plain</name>"
                  "<path>/p</path>"
                  + icons + "</binary></package>")));
        QVERIFY(info.AddAppToDatabase());
        const IndexLayer layer;
        CRUFile list;
        QVERIFY(list.Open());
        QVERIFY(list.FindItem("plain"));
        QTEST(QByteArray(list.IconPath()) + ' ' + list.SmallIconPath(), "recorded");
    }

    void productsDoNotGetInEachOthersWay()
    {
        emptyList();
        QVERIFY(application(5, "Five").AddAppToDatabase());
        QVERIFY(application(7, "Seven").AddAppToDatabase());
        // The searches for these numbers reach 5, 7 and the end.
        for (const int serial : { 2, 6, 9 })
            QVERIFY(application(serial, "N" + QByteArray::number(serial)).AddAppToDatabase());
        QCOMPARE(listed(), (QByteArrayList{ "5 Five", "2 N2", "6 N6", "9 N9", "7 Seven" }));
        QVERIFY(application(6, "Renamed").AddAppToDatabase());
        QVERIFY(application(2, "").RemoveAppFromDatabase());
        QVERIFY(application(3, "").RemoveAppFromDatabase());
        QCOMPARE(listed(), (QByteArrayList{ "5 Five", "9 N9", "6 Renamed", "7 Seven" }));
        for (const char* serial : { "0", "-1", "", "x" })
            QVERIFY(numbered(serial, "Five").RemoveAppFromDatabase());
        QCOMPARE(listed().size(), 4);
    }

    void aNameThatAnotherProductHas()
    {
        emptyList();
        QVERIFY(application(5, "Editor").AddAppToDatabase());
        for (int i = 0; i < 3; ++i) {
            QVERIFY(application(2, "EDITOR").AddAppToDatabase());
            QCOMPARE(listed(), (QByteArrayList{ "5 Editor", "2 EDITOR (2)" }));
        }
        QVERIFY(application(5, "").RemoveAppFromDatabase());
        QVERIFY(application(2, "EDITOR").AddAppToDatabase());
        QCOMPARE(listed(), (QByteArrayList{ "2 EDITOR" }));
        QVERIFY(application(2, "").RemoveAppFromDatabase());
        QCOMPARE(listed(), QByteArrayList());
    }

    void aNameThatIsTakenEitherWay()
    {
        emptyList();
        QVERIFY(application(5, "Editor").AddAppToDatabase());
        QVERIFY(application(6, "Editor (2)").AddAppToDatabase());
        QVERIFY(!application(2, "Editor").AddAppToDatabase());
        QCOMPARE(listed(), (QByteArrayList{ "5 Editor", "6 Editor (2)" }));
    }

    void whatRefusedRecordingsLeftIsPutRight()
    {
        emptyList();
        {
            const IndexLayer layer;
            CRUFile list;
            QVERIFY(list.Open());
            for (const int serial : { 5, 2, 2, 3 }) {
                list.AddNew();
                list.SetServerSerialNumber(serial);
                list.SetDescription("Editor");
                list.SetLastAccessed(100 * list.UsedRecs());
                QCOMPARE(list.Update(), serial == 5);
            }
        }
        QVERIFY(application(2, "Editor").RemoveAppFromDatabase());
        QCOMPARE(listed(), (QByteArrayList{ "5 Editor", "3 Editor (3)" }));
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
        for (const std::string& name : { CRUFile::RUDATAFILE, CRUFile::RUDATAIDX2 }) {
            const QString path = QString::fromStdString(name);
            QFile file(path);
            QVERIFY(file.rename(path + QLatin1String(".away")) && QDir().mkdir(path));
            QVERIFY(!info.AddAppToDatabase());
            QVERIFY(!info.RemoveAppFromDatabase());
            QVERIFY(QDir().rmdir(path) && file.rename(path));
            QVERIFY(info.AddAppToDatabase());
        }
    }

    void anIndexThatIsGoneOrCutOffIsMadeAgain()
    {
        CAppInfo info;
        QVERIFY(info.BuildApplicationInformation(reply("<package><serialnumber>9</serialnumber>"
                                                       + Binary("Nine", "/9", "") + "</package>")));
        CAppInfo other;
        QVERIFY(other.BuildApplicationInformation(reply(
            "<package><serialnumber>10</serialnumber>" + Binary("Ten", "/10", "") + "</package>")));
        const IndexLayer layer;
        CRUFile list;
        for (const std::string& name :
             { CRUFile::RUDATAIDX1, CRUFile::RUDATAIDX2, CRUFile::RUDATAIDX3 }) {
            QFile index(QString::fromStdString(name));
            QVERIFY(info.AddAppToDatabase());
            QVERIFY(index.resize(100));
            QVERIFY(other.AddAppToDatabase());
            QVERIFY(list.Open());
            QVERIFY(list.FindServerSerialNumber(9) && list.FindServerSerialNumber(10));
            list.Close();
            QVERIFY(index.remove());
            QVERIFY(other.RemoveAppFromDatabase());
            QVERIFY(list.Open());
            QVERIFY(list.FindServerSerialNumber(9) && !list.FindServerSerialNumber(10));
            list.Close();
        }
    }

    void nobodyWaitsForTheMenu()
    {
        // It ends only after restartMenu has returned, or gives up after a while.
        const QString go = m_dir.filePath(QStringLiteral("go"));
        const QString witness = m_dir.filePath(QStringLiteral("waited"));
        const Dcop dcop(m_dir,
                        "for i in $(seq 300); do\n"
                        "[ -e "
                            + go.toLocal8Bit() + " ] && echo went > " + witness.toLocal8Bit()
                            + " && exit\nsleep 0.05\ndone\n");
        CMenuEditor().restartMenu();
        QFile file(go);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QTRY_VERIFY(QFile::exists(witness));
    }

    void menuIsRestartedOnlyForPrograms()
    {
        const QString witness = m_dir.filePath(QStringLiteral("dcop-called"));
        const Dcop dcop(m_dir,
                        "echo \"$*\" > " + witness.toLocal8Bit() + ".new && mv "
                            + witness.toLocal8Bit() + ".new " + witness.toLocal8Bit() + "\n");
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
    }
};

QTEST_MAIN(AppInfoTest)
#include "tst_cappinfo.moc"
