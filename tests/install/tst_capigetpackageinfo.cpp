// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Fetching the sources and indexes of package files.

#include "install/capigetpackageinfo.h"
#include "install/crunaptget.h"
#include "tests/common/frontend.h"
#include "tests/request/requests.h"

#include <QSignalSpy>
#include <QtTest>
#include <sys/stat.h>

namespace
{

const QByteArray uris = "Need to get 5B of archives.\n"
                        "'http://h/pool/liba_1-2_i386.deb' liba_1-2_i386.deb 5 SHA256:0\n"
                        "'http://h/pool/b+c_1_all.deb' b+c_1_all.deb 5 SHA256:0\n";

QByteArray Package(const QByteArray& url, const QByteArray& data)
{
    return "<package><package_url>" + url + "</package_url><package_data>" + data
        + "</package_data></package>";
}

} // namespace

class PackageInfoTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;
    ScriptedFrontEnd m_frontEnd;

    struct Record {
        QStringList events;
        QString reason; // the name of the failure
        bool started = false;
    };

    Record ask(const PackageNameArray& names = { "liba", "b+c" })
    {
        Record record;
        auto* request = new CAPIGetPackageInfo(names, true);
        const auto add = [&record](const QString& event) { record.events << event; };
        connect(request, &CAPIGetPackageInfo::signalPackageCount, qApp,
                [=](int n) { add(QStringLiteral("count %1").arg(n)); });
        connect(request, &CAPIGetPackageInfo::signalPackageURLs, qApp,
                [=](const PackageNameArray& urls) {
                    QStringList list;
                    for (const std::string& url : urls)
                        list << QString::fromStdString(url);
                    add(QLatin1String("urls ") + list.join(QLatin1Char(',')));
                });
        connect(request, &CAPIGetPackageInfo::signalURIListComplete, qApp,
                [=](bool ok) { add(QStringLiteral("list %1").arg(ok)); });
        connect(request, &CAPIGetPackageInfo::signalDependencyErrors, qApp,
                [=](AptGetMessages& errors, AptGetMessages& report) {
                    for (const std::string& line : errors)
                        add(QLatin1String("why ") + QString::fromLatin1(line.c_str()));
                    add(QStringLiteral("report of %1").arg(report.size()));
                });
        connect(request, &CAPI::ErroneousTransfer, qApp,
                [=](const QString& text) { add(QLatin1String("error ") + text); });
        connect(request, &CAPI::signalFailure, qApp,
                [&record](AgentError::Code code) { record.reason = AgentError::Name(code); });
        bool ended = false;
        connect(request, &CAPI::APIComplete, qApp, [&record, &ended](bool ok) {
            record.events << QStringLiteral("complete %1").arg(ok);
            ended = true;
        });
        record.started = request->Execute();
        if (!QTest::qWaitFor([&ended] { return ended; }, 30000))
            record.events << QStringLiteral("never ended");
        return record;
    }
    void packagesAre(const QByteArray& packages)
    {
        m_server.answer("/p",
                        ScriptedServer::http("<agentfunction resultcode=\"OK\"><package_info>"
                                             + packages + "</package_info></agentfunction>"));
    }
    static QByteArray contents(const std::string& name)
    {
        QFile file(QString::fromStdString(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<none>");
    }
    static std::string fileFor(const std::string& url)
    {
        auto* request = new CAPIGetPackageInfo({}, true);
        const std::string name = request->GetFilenameFromURL(url);
        delete request;
        return name;
    }

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api",
                        Directory({ { "CAPIGetSourcesList", m_server.url("/s") },
                                    { "CAPIGetPackageInfo", m_server.url("/p") } }));
        m_server.answer("/s",
                        ScriptedServer::http("<agentfunction resultcode=\"OK\"><list "
                                             "type=\"dep\"/></agentfunction>"));
    }
    void init()
    {
        CAPIGetPackageInfo::DeleteTempLists({});
        QVERIFY(CRunAptGet::CreateAptGetDirs());
        m_frontEnd.says(uris);
        m_frontEnd.forget();
        m_server.asked.clear();
    }

    void aFullDiskIsTheReason()
    {
        packagesAre(Package("http://h/full", "data"));
        const QString index = QString::fromStdString(fileFor("http://h/full"));
        QVERIFY(QFile::link(QStringLiteral("/dev/full"), index));
        QString failure;
        auto* request = new CAPIGetPackageInfo({ "a" }, true);
        connect(request, &CAPI::signalFailure, qApp,
                [&failure](AgentError::Code code, const QString&, const QString& details) {
                    failure = AgentError::Name(code) + QLatin1Char(' ') + details;
                });
        QSignalSpy end(request, &CAPI::APIComplete);
        QVERIFY(request->Execute());
        QTRY_COMPARE_WITH_TIMEOUT(end.size(), 1, 30000);
        QCOMPARE(failure, QStringLiteral("no-disk-space http://h/full"));
        QVERIFY(!QFileInfo(index).isSymLink());
    }

    void filesAreListedAskedForAndStored()
    {
        packagesAre(Package("http://h/r1", "Package: liba%0AVersion: 1-2")
                    + Package("http://h/r2", "Package: b%2Bc"));
        const Record record = ask();
        QVERIFY(record.started);
        QCOMPARE(
            record.events,
            (QStringList{ QStringLiteral("count 2"), QStringLiteral("urls http://h/r1,http://h/r2"),
                          QStringLiteral("list 1"), QStringLiteral("complete 1") }));
        QVERIFY(
            m_server.asked.contains("/p?filename[]=liba_1-2_i386.deb&filename[]=b+c_1_all.deb"));
        QCOMPARE(contents(CRunAptGet::SourcesFile(false)),
                 QByteArray("deb http://h/r1 . .\ndeb http://h/r2 . .\n"));
        QCOMPARE(contents(fileFor("http://h/r1")),
                 QByteArray("Package: liba\nVersion: 1-2\0\n", 28));
        QVERIFY(m_frontEnd.calls().value(0).contains(
            QLatin1String("-yp --print-uris install")
            + QString::fromStdString(CRunAptGet::AptGetOptions(true))
            + QLatin1String(" liba b+c")));
    }

    void lastPackageDecides()
    {
        packagesAre(Package("bad url", "x") + Package("http://h/r", "y"));
        QCOMPARE(ask().events.mid(1),
                 (QStringList{ QStringLiteral("urls bad url,http://h/r"), QStringLiteral("list 1"),
                               QStringLiteral("complete 1") }));
        packagesAre(Package("http://h/r", "y") + Package("bad url", "x"));
        QCOMPARE(ask().events.mid(2),
                 (QStringList{ QStringLiteral("list 0"), QStringLiteral("complete 0") }));
    }

    void urlsThatAreMoreThanAWordAreRefused_data()
    {
        QTest::addColumn<QByteArray>("url");
        for (const char* url : { "http://h/a b", "http://h/a%0Ab", "http://h/a%09b",
                                 "[trusted=yes]", "http://h/[x", "%20", "", "http://h/%7F" })
            QTest::newRow(*url ? url : "empty") << QByteArray(url);
    }
    void urlsThatAreMoreThanAWordAreRefused()
    {
        QFETCH(QByteArray, url);
        packagesAre(Package(url, "x"));
        const Trace trace;
        const Record record = ask();
        QCOMPARE(record.events.last(), QStringLiteral("complete 0"));
        QCOMPARE(record.reason, AgentError::Name(AgentError::ReplyNotUnderstood));
        QVERIFY(trace.events().contains(QStringLiteral("failed to save url")));
        QCOMPARE(contents(CRunAptGet::SourcesFile(false)), QByteArray("<none>"));
    }

    void cancelledListingReportsNoErrorsOfPackages()
    {
        m_frontEnd.install(QStringLiteral("vos-apt-get"),
                           "case \" $* \" in *--print-uris*) exec sleep 60;; esac");
        QStringList events;
        auto* request = new CAPIGetPackageInfo({ "a" }, true);
        connect(request, &CAPI::signalFailure, qApp,
                [&events](AgentError::Code code) { events << AgentError::Name(code); });
        connect(request, &CAPIGetPackageInfo::signalDependencyErrors, qApp,
                [&events](AptGetMessages&, AptGetMessages&) { events << QStringLiteral("why"); });
        // At any moment of the listing.
        QTimer::singleShot(100, request, [request] { request->Cancel(); });
        QVERIFY(!request->Execute());
        QCOMPARE(events, QStringList{ AgentError::Name(AgentError::Cancelled) });
    }

    void replyWithoutPackageInfoIsAnError()
    {
        m_server.answer("/p", ScriptedServer::http("<agentfunction resultcode=\"OK\"/>"));
        const StandardOutput output;
        const Record record = ask();
        QCOMPARE(
            record.events.mid(1),
            (QStringList{ QStringLiteral("error Pakmart encountered an error while requesting "
                                         "information about the products(s) that you are trying to "
                                         "install."),
                          QStringLiteral("complete 0") }));
        QVERIFY(output.lines().contains(QStringLiteral("CAPIGetPackageInfo::onSuccessfulTransfer "
                                                       "- there are no packages to install")));
    }

    void missingFrontEndIsTold()
    {
        QVERIFY(QFile::remove(ScriptedFrontEnd::path(QStringLiteral("vos-apt-get"))));
        const Record record = ask();
        QVERIFY(!record.started);
        QCOMPARE(record.events,
                 (QStringList{ QStringLiteral("why Unable to run /usr/bin/vos-apt-get. Make sure "
                                              "it exists and has execute permissions.\x7f"),
                               QStringLiteral("report of 0"), QStringLiteral("complete 0") }));
    }

    void dependencyErrorsAreTold()
    {
        m_frontEnd.says("x\nE: broken\n detail\n", 100);
        QCOMPARE(ask().events,
                 (QStringList{ QStringLiteral("why broken"), QStringLiteral("why  detail"),
                               QStringLiteral("report of 3"), QStringLiteral("complete 0") }));
    }

    void hostileNameIsTold()
    {
        const Record record = ask({ "good", "$(evil)" });
        QVERIFY(record.events.value(0).contains(QStringLiteral("$(evil)")));
        QCOMPARE(record.events.last(), QStringLiteral("complete 0"));
    }

    void noFilesEndTheRequest()
    {
        m_frontEnd.says("nothing to do\n");
        const Record record = ask();
        QVERIFY(!record.started);
        QCOMPARE(record.events,
                 (QStringList{ QStringLiteral("count 0"), QStringLiteral("complete 0") }));
    }

    void fileNameOfAnIndex()
    {
        QCOMPARE(fileFor("scheme://host/path/a=b&c"),
                 CRunAptGet::ListsDir(false)
                     + "host_path_a%3db%26c_dists_._._binary-i386_Packages");
        // Only the part before the first "://" is removed, and each "=" and "&" is
        // escaped.
        QCOMPARE(fileFor("http://h/x?u=a://b&c=d&e=f"),
                 CRunAptGet::ListsDir(false)
                     + "h_x?u%3da:__b%26c%3dd%26e%3df_dists_._._binary-i386_Packages");
        QCOMPARE(fileFor("../../etc/x"),
                 CRunAptGet::ListsDir(false) + ".._.._etc_x_dists_._._binary-i386_Packages");
    }

    void indexThatCannotBeWrittenFails()
    {
        packagesAre(Package("http://h/" + QByteArray(300, 'a'), "x"));
        QCOMPARE(ask().events.last(), QStringLiteral("complete 0"));
    }

    void readOnlySourcesFileFails()
    {
        const QString sources = QString::fromStdString(CRunAptGet::SourcesFile(false));
        QVERIFY(QDir().mkpath(sources)); // even root cannot write to a folder
        packagesAre(Package("http://h/r", "x"));
        const Trace trace;
        QCOMPARE(ask().events.last(), QStringLiteral("complete 0"));
        QVERIFY(trace.events().contains(
            QStringLiteral("failed to open CRunAptGet::SourcesFile().c_str(), std::ios::app")));
        QVERIFY(QDir(sources).removeRecursively());
    }

    void whatWasStoredCanBeTakenBack()
    {
        auto* request = new CAPIGetPackageInfo({}, true);
        for (const char* url : { "http://h/a", "http://h/b", "http://h/c" }) {
            QVERIFY(request->SaveURL(url));
            QVERIFY(request->SaveListData(request->GetFilenameFromURL(url), "data"));
        }
        request->DeleteFromSourceList({ "http://h/b" });
        QCOMPARE(contents(CRunAptGet::SourcesFile(false)),
                 QByteArray("deb http://h/a . .\ndeb http://h/c . .\n"));
        request->DeleteURLs({ "http://h/b", "http://h/c" });
        QCOMPARE(contents(fileFor("http://h/b")), QByteArray("<none>"));
        QCOMPARE(contents(fileFor("http://h/a")), QByteArray("data\0\n", 6));
        QVERIFY(request->ContainsURLs("deb http://h/a . .", { "x", "http://h/a" }));
        QVERIFY(!request->ContainsURLs("deb http://h/a . .", { "", "http://h/b" }));
        delete request;
    }

    void indexIsWholeReadableByAllAndReplacesALongerOne()
    {
        const std::string name = fileFor("http://h/r");
        const mode_t before = umask(0);
        auto* request = new CAPIGetPackageInfo({}, true);
        QVERIFY(request->SaveListData(name, "a long index"));
        QVERIFY(request->SaveListData(name, "short"));
        delete request;
        umask(before);
        QCOMPARE(contents(name), QByteArray("short\0\n", 7));
        struct stat found = {};
        QCOMPARE(stat(name.c_str(), &found), 0);
        QCOMPARE(int(found.st_mode & 0777), 0664);
    }

    void onlyTheFirstListOfPackagesCounts()
    {
        m_server.answer("/p",
                        ScriptedServer::http(
                            "<agentfunction resultcode=\"OK\"><package_info>"
                            + Package("http://h/one", "x") + "</package_info><package_info>"
                            + Package("http://h/two", "y") + "</package_info></agentfunction>"));
        QVERIFY(ask().events.contains(QStringLiteral("urls http://h/one")));
        QCOMPARE(contents(CRunAptGet::SourcesFile(false)), QByteArray("deb http://h/one . .\n"));
    }

    void takingLinesOutIsTracedStepByStep()
    {
        auto* request = new CAPIGetPackageInfo({}, true);
        QVERIFY(request->SaveURL("http://h/a") && request->SaveURL("http://h/b"));
        QStringList lines;
        {
            const Trace trace;
            request->DeleteFromSourceList({ "http://h/b" });
            lines = trace.events().filter(
                QRegularExpression(QStringLiteral("^[^-+]|DeleteFromSourceList$")));
        }
        delete request;
        const QString a = QStringLiteral("deb http://h/a . .'");
        QCOMPARE(lines,
                 (QStringList{ QStringLiteral("+CAPIGetPackageInfo::DeleteFromSourceList"),
                               QStringLiteral("Reading line from sources.list"),
                               QLatin1String("Read this line: '") + a,
                               QLatin1String("Saving this line: '") + a,
                               QStringLiteral("Reading line from sources.list"),
                               QStringLiteral("Read this line: 'deb http://h/b . .'"),
                               QStringLiteral("Reading line from sources.list"),
                               QStringLiteral("Closing sources.list"),
                               QStringLiteral("Opening sources.list for writing"),
                               QStringLiteral("Writing to sources.list"),
                               QStringLiteral("closing sources.list for writing"),
                               QStringLiteral("-CAPIGetPackageInfo::DeleteFromSourceList") }));
    }

    void refusedNameHasItsOwnTextOnly()
    {
        const Record record = ask({ "good", "$(evil)" });
        QCOMPARE(record.events,
                 (QStringList{ QStringLiteral("why Refused the package name '$(evil)'"),
                               QStringLiteral("report of 0"), QStringLiteral("complete 0") }));
    }

    void storingMakesTheFoldersThatItNeeds()
    {
        CAPIGetPackageInfo::DeleteTempLists({});
        QDir(QDir::homePath() + QStringLiteral("/.vos-apt-get/apt")).removeRecursively();
        m_server.answer("/s", ScriptedServer::http("<agentfunction resultcode=\"OK\"/>"));
        packagesAre(Package("http://h/r", "x"));
        QCOMPARE(ask().events.last(), QStringLiteral("complete 1"));
        m_server.answer("/s",
                        ScriptedServer::http("<agentfunction resultcode=\"OK\"><list "
                                             "type=\"dep\"/></agentfunction>"));
    }

    void tempListsAreThePlainTree()
    {
        QFile deps(QString::fromStdString(CRunAptGet::SourcesFile(true)));
        QVERIFY(deps.open(QIODevice::WriteOnly));
        CAPIGetPackageInfo::DeleteTempLists({ "ignored" });
        QVERIFY(!QDir(QString::fromStdString(CRunAptGet::ListsDir(false))).exists());
        QVERIFY(QDir(QString::fromStdString(CRunAptGet::ListsDir(true))).exists());
        QVERIFY(deps.exists());
    }
};

QTEST_MAIN(PackageInfoTest)
#include "tst_capigetpackageinfo.moc"
