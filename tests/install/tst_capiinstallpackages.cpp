// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The install sequence, with a scripted server and a scripted front end: all signals that
// a listener gets, in order.

#include "catalog/capidownloadappinfo.h"
#include "db/crufile.h"
#include "db/dbshared.h"
#include "install/capigetpackageinfo.h"
#include "install/capiinstallpackages.h"
#include "install/cdlginstallcomplete.h"
#include "store/indexfile.h"
#include "tests/common/frontend.h"
#include "tests/common/statusfile.h"
#include "tests/request/requests.h"
#include "util/paths.h"

#include <QPlainTextEdit>
#include <QPushButton>
#include <QtTest>

using namespace Agent;

namespace
{

const QByteArray uris = "'http://h/pool/foo_1_all.deb' foo_1_all.deb 5 SHA256:0\n";
const QByteArray run = "The following NEW packages will be installed:\n  foo\n"
                       "Need to get 5B of archives.\nGet:1 http://h ./. foo 1 [5B]\n"
                       "50% [1 foo 40%]\nSetting up foo (1) ...\n";
const QString preparing = QStringLiteral("pre Preparing to download product...");
const QString appInfoError = QStringLiteral(
    "error Pakmart encountered an error while requesting some information from the VantrelNet "
    "server.");

QByteArray Reply(const QByteArray& content)
{
    return ScriptedServer::http("<agentfunction resultcode=\"OK\">" + content + "</agentfunction>");
}

} // namespace

// Records all signals.
class Listener : public QObject
{
    Q_OBJECT

public:
    QStringList events;
    bool go = true;

public slots:
    void onPreInstallInformation(const std::string& t) { add("pre ", t); }
    void onCanContinue(int count, bool& canContinue)
    {
        events << QStringLiteral("continue? %1 %2").arg(count).arg(canContinue);
        canContinue = go;
    }
    void onBeginInstall() { events << QStringLiteral("begin"); }
    void onReceivedPackageNames(const AptGetPackages& p)
    {
        events << QStringLiteral("names %1").arg(p.size());
    }
    void onReceivedTotalBytes(const std::string& t) { add("total ", t); }
    void onBeginReceivePackage(const std::string& n, const std::string&) { add("get ", n); }
    void onEndReceivePackage(const std::string& n) { add("got ", n); }
    void onBeginInstall(const std::string& n) { add("setup ", n); }
    void onEndInstall(const bool ok) { events << QStringLiteral("end %1").arg(ok); }
    void onReceivePackagePulse(int item, int all)
    {
        events << QStringLiteral("pulse %1 %2").arg(item).arg(all);
    }

private:
    void add(const char* what, const std::string& text)
    {
        events << QLatin1String(what) + QString::fromStdString(text);
    }
};

// An installer whose requests cannot be made.
class WithoutRequests : public CAPIInstallPackages
{
    Q_OBJECT

public:
    using CAPIInstallPackages::CAPIInstallPackages;
    bool appInfo = false;

protected:
    CAPIDownloadAppInfo* MakeAppInfoRequest() override
    {
        return appInfo ? CAPIInstallPackages::MakeAppInfoRequest() : nullptr;
    }
    CAPIGetPackageInfo* MakePackageInfoRequest() override { return nullptr; }
};

// Reads the dialog that opens at the end and closes it, as long as the object lives.
class DialogReader
{
public:
    DialogReader()
    {
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { look(); });
        m_timer.start(5);
    }
    QString name, text;
    QString details; // the text after "Details" was pressed
    QStringList buttons; // the visible ones
    QString press; // the label of a button to press

private:
    void look()
    {
        auto* box = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (!box)
            return;
        name = box->objectName();
        if (const auto* edit = box->findChild<QPlainTextEdit*>())
            text = edit->toPlainText();
        for (const QPushButton* button : box->findChildren<QPushButton*>()) {
            if (button->isVisible())
                buttons << button->text();
        }
        for (QPushButton* button : box->findChildren<QPushButton*>()) {
            if (!press.isEmpty() && button->isVisible() && button->text() == press)
                button->click();
        }
        if (const auto* edit = box->findChild<QPlainTextEdit*>())
            details = edit->toPlainText();
        box->reject();
    }
    QTimer m_timer;
};

class InstallTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;
    ScriptedFrontEnd m_frontEnd;
    bool m_addToNewStuff = true;

    // Sets the front end's output for a listing and for an install.
    void frontEndSays(const QByteArray& listing, const QByteArray& output, int runStatus = 0,
                      int listStatus = 0)
    {
        const QString dir = QString::fromLocal8Bit(qgetenv("TEST_DIR"));
        const auto write = [&dir](const char* name, const QByteArray& text) {
            QFile file(dir + QLatin1String(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(text);
        };
        write("/says-listing", listing);
        write("/says-output", output);
        m_frontEnd.install(QStringLiteral("vos-apt-get"),
                           "case \" $* \" in *--print-uris*) cat $TEST_DIR/says-listing; exit "
                               + QByteArray::number(listStatus)
                               + ";; *' install '*) cat $TEST_DIR/says-output; exit "
                               + QByteArray::number(runStatus) + ";; esac");
    }
    void appInfoIs(const QByteArray& content) { m_server.answer("/a", Reply(content)); }

    void follow(CAPIInstallPackages* request, QStringList& events)
    {
        using I = CAPIInstallPackages;
        connect(request, &I::signalAptGetReport, qApp, [&events](AptGetMessages& report) {
            events << QStringLiteral("report %1").arg(report.size());
        });
        connect(request, &I::signalCanAddToNewStuff, qApp,
                [&events, this](PackageNameArray& names, bool& add) {
                    events << QStringLiteral("add? %1 %2").arg(names.size()).arg(add);
                    add = m_addToNewStuff;
                });
        connect(request, &I::signalBuildErrorReport, qApp,
                [&events](bool ok) { events << QStringLiteral("outcome %1").arg(ok); });
        connect(request, &CAPI::ErroneousTransfer, qApp,
                [&events](const QString& text) { events << QLatin1String("error ") + text; });
        connect(request, &CAPI::APIComplete, qApp,
                [&events](bool ok) { events << QStringLiteral("complete %1").arg(ok); });
    }
    struct Result {
        QStringList events;
        bool started;
    };
    Result installProduct(bool silent = true, bool go = true)
    {
        Listener listener;
        listener.go = go;
        std::vector<long> serials{ 7 };
        auto* request = new CAPIInstallPackages(&listener, serials, silent);
        follow(request, listener.events);
        const bool started = request->Execute();
        return { listener.events, started };
    }
    Result installPackage(PackageNameArray names, bool silent = true)
    {
        Listener listener;
        auto* request = new CAPIInstallPackages(&listener, names, silent);
        follow(request, listener.events);
        const bool started = request->Execute();
        return { listener.events, started };
    }

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api",
                        Directory({ { "CAPIGetSourcesList", m_server.url("/s") },
                                    { "CAPIGetPackageInfo", m_server.url("/p") },
                                    { "CAPIDownloadAppInfo", m_server.url("/a") } }));
        m_server.answer("/s", Reply("<list type=\"dep\"/>"));
    }
    void init()
    {
        m_server.answer("/p",
                        Reply("<package_info><package><package_url>http://h/r</package_url>"
                              "<package_data>x</package_data></package></package_info>"));
        appInfoIs("<package><name>Foo</name><serialnumber>7</serialnumber>"
                  "<packagename>foo</packagename><binary><name>Foo</name><path>/usr/bin/foo</path>"
                  "<menu>Games</menu></binary></package>");
        frontEndSays(uris, run);
        m_frontEnd.forget();
        m_server.asked.clear();
        m_addToNewStuff = true;
        QFile::remove(SystemPath(QStringLiteral("/tmp/apt-get.out")));
    }
    void cleanup()
    {
        // Every install leaves the plain tree and the spool folder empty.
        QVERIFY(!QFile::exists(QString::fromStdString(CRunAptGet::SourcesFile(false))));
        QVERIFY(!QFile::exists(QString::fromStdString(CRunAptGet::ListsDir(false))));
        QCOMPARE(QDir(SystemPath(QStringLiteral("/tmp")))
                     .entryList({ QStringLiteral("*.xml") }, QDir::Files),
                 QStringList());
    }

    // An install that was killed between dpkg's work and the recording.
    void whatIsInstalledAlreadyAndNotRecordedIsRecorded_data()
    {
        QTest::addColumn<QByteArray>("state");
        QTest::addColumn<bool>("wanted");
        QTest::addColumn<bool>("records");
        QTest::newRow("installed") << QByteArray("install ok installed") << true << true;
        QTest::newRow("not wanted") << QByteArray("install ok installed") << false << false;
        QTest::newRow("unpacked") << QByteArray("install ok unpacked") << true << false;
        QTest::newRow("removed") << QByteArray("deinstall ok config-files") << true << false;
    }
    void whatIsInstalledAlreadyAndNotRecordedIsRecorded()
    {
        QFETCH(QByteArray, state);
        QFETCH(bool, wanted);
        QFETCH(bool, records);
        m_addToNewStuff = wanted;
        const Agent::IndexLayer layer;
        CRUFile list;
        QVERIFY(list.Open());
        list.DeleteRecord(7);
        frontEndSays("foo is already the newest version (1).\n", run);
        WriteStatusFile("Package: foo\nStatus: " + state + "\n\n");
        QCOMPARE(list.FindServerSerialNumber(7), false);
        const QString question = QStringLiteral("add? 1 1");
        const Trace trace;
        const QStringList events = installProduct().events;
        // The menus change after the listing, and again for what is recorded.
        const QString recorded = QStringLiteral("-CAppInfo::AddAppToDatabase");
        const QString menus = QStringLiteral("+BroadcastMenuChange");
        QCOMPARE(trace.events().count(menus), records ? 2 : 1);
        QVERIFY(trace.events().lastIndexOf(menus) > trace.events().indexOf(recorded));
        QCOMPARE(trace.events().contains(recorded), records);
        QCOMPARE(events.contains(question), state == "install ok installed");
        QVERIFY(events.endsWith(QStringLiteral("complete 0")));
        QCOMPARE(list.FindServerSerialNumber(7), records);
        if (!records)
            return;
        QCOMPARE(list.Description(), "Foo");
        // It is in the list, and stays unchanged.
        list.SetLastAccessed(5);
        QVERIFY(list.Update());
        QVERIFY(!installProduct().events.contains(question));
        QVERIFY(list.FindServerSerialNumber(7));
        QCOMPARE(list.LastAccessed(), 5);
    }

    void productFromStartToEnd()
    {
        const StandardOutput output;
        const Result result = installProduct();
        QVERIFY(result.started);
        QCOMPARE(result.events,
                 (QStringList{ preparing, preparing, preparing, QStringLiteral("continue? 1 1"),
                               preparing, QStringLiteral("begin"), QStringLiteral("names 1"),
                               QStringLiteral("total 5B"), QStringLiteral("get foo"),
                               QStringLiteral("pulse 40 50"), QStringLiteral("got foo"),
                               QStringLiteral("setup foo"), QStringLiteral("end 1"),
                               QStringLiteral("report 6"), QStringLiteral("outcome 1"),
                               QStringLiteral("add? 1 1"), QStringLiteral("complete 1") }));
        const QStringList lines = output.lines();
        QVERIFY(lines.contains(QStringLiteral("adding 'Foo' to NewStuff")));
        QCOMPARE(lines.value(lines.size() - 3),
                 QStringLiteral("returning from ~CAPIInstallPackages"));
        QCOMPARE(lines.value(lines.size() - 2), QStringLiteral("terminating CAPI"));
        QVERIFY(m_server.asked.contains("/a?app_id[]=7"));
        QVERIFY(m_frontEnd.calls()
                    .filter(QStringLiteral("-yp install"))
                    .value(0)
                    .endsWith(QStringLiteral("/lists/ foo")));
    }

    void successDialogTellsAndOffersToRun()
    {
        const DialogReader dialog;
        installProduct(false);
        QCOMPARE(dialog.name, QStringLiteral("pDlgInstall"));
        QVERIFY(
            dialog.text.startsWith(QLatin1String("Foo has been installed!\n\nYou can run it by:")));
        QVERIFY(dialog.buttons.contains(QLatin1String("Run It!")));
    }

    void detailsShowTheWholeOutput()
    {
        DialogReader dialog;
        dialog.press = QStringLiteral("Details");
        installProduct(false);
        QVERIFY2(dialog.details.endsWith(QLatin1String("\n\nInstallation Log\n")
                                         + QString::fromLatin1(run)),
                 qPrintable(dialog.details));
    }

    void firstProgramThatCanBeStartedIsOfferedAndOnlySoundOnesAreRecorded()
    {
        const auto program = [](const char* name) {
            const QString path = SystemPath(QLatin1String("/usr/bin/") + QLatin1String(name));
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("#!/bin/sh\ntouch $0.ran\n");
            file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        };
        program("two");
        program("three");
        appInfoIs("<package><serialnumber>11</serialnumber><packagename>one</packagename>"
                  "<binary><name>One</name></binary></package>"
                  "<package><serialnumber>12</serialnumber><packagename>two</packagename>"
                  "<binary><name>Two</name><path>/usr/bin/two</path></binary></package>"
                  "<package><serialnumber>13</serialnumber><packagename>three</packagename>"
                  "<binary><name>Three</name><path>/usr/bin/three</path></binary></package>"
                  "<package><serialnumber>14</serialnumber><packagename>four</packagename>"
                  "<binary><path>/usr/bin/four</path></binary></package>");
        DialogReader dialog;
        dialog.press = QStringLiteral("Run It!");
        installProduct(false);
        QTRY_VERIFY(QFile::exists(SystemPath(QStringLiteral("/usr/bin/two.ran"))));
        QVERIFY(!QFile::exists(SystemPath(QStringLiteral("/usr/bin/three.ran"))));

        QCOMPARE(InitIndex(), 0);
        {
            CRUFile list;
            QVERIFY(list.Open());
            const auto recorded
                = [&list](int serial) { return list.FindServerSerialNumber(serial); };
            QVERIFY(!recorded(11));
            QVERIFY(recorded(12));
            QVERIFY(recorded(13));
            QVERIFY(!recorded(14));
        }
        UnInitIndex();
    }

    void replyWithTheApplicationInformationIsKeptIfTheSettingsSaySo()
    {
        Setting("keep agent xml", "1");
        installProduct();
        Setting("keep agent xml", "0");
        QDir spool(SystemPath(QStringLiteral("/tmp")));
        bool kept = false;
        for (const QString& name : spool.entryList({ QStringLiteral("*.xml") }, QDir::Files)) {
            QFile file(spool.filePath(name));
            QVERIFY(file.open(QIODevice::ReadOnly));
            kept = kept || file.readAll().contains("<packagename>foo</packagename>");
            QVERIFY(file.remove());
        }
        QVERIFY(kept);
    }

    void dependencyErrorsAreShownAndTraced()
    {
        frontEndSays("x\nE: broken\n detail\n", "", 0, 100);
        const Trace trace;
        DialogReader dialog;
        dialog.press = QStringLiteral("Details");
        const Result result = installProduct(false);
        QCOMPARE(result.events.last(), QStringLiteral("complete 0"));
        QCOMPARE(dialog.text,
                 QStringLiteral("Pakmart failed to install this product.\n\n\nbroken\n detail"));
        QVERIFY(!dialog.buttons.contains(QLatin1String("Run It!")));
        QVERIFY(dialog.details.endsWith(QLatin1String("x\nE: broken\n detail\n")));
        const int scope
            = trace.events().indexOf(QStringLiteral("+CAPIInstallPackages::onDependencyErrors"));
        QVERIFY(scope >= 0);
        QCOMPARE(trace.events().mid(scope + 1, 2),
                 (QStringList{ QStringLiteral("broken"), QStringLiteral(" detail") }));
    }

    void failuresOfTheRequestsAreShownUnlessSilent()
    {
        const QByteArray no
            = ScriptedServer::http("<agentfunction resultcode=\"FAILED\" msg=\"Not today.\"/>");
        for (const char* path : { "/a", "/p" }) {
            m_server.answer(path, no);
            for (const bool silent : { false, true }) {
                const BoxCloser boxes;
                installProduct(silent);
                QVERIFY2(boxes.texts.join(QLatin1Char('/')).contains(QLatin1String("Not today."))
                             == !silent,
                         path);
            }
            init();
        }
    }

    void traceReadsAsTheStoryOfTheInstall()
    {
        const Trace trace;
        installProduct();
        QStringList story;
        for (const QString& event : trace.events()) {
            if (event.startsWith(QLatin1String("+CAPIInstallPackages::"))
                || event == QLatin1String("+CAPIDownloadAppInfo::DecorateURI")
                || event == QLatin1String("+CAPIGetPackageInfo::GetPackageFiles")
                || event == QLatin1String("+CAPIGetPackageInfo::SaveURL")
                || event == QLatin1String("+CAPIGetPackageInfo::SaveListData")
                || event == QLatin1String("+CAPIGetSourcesList::UpdateSourcesList")
                || event == QLatin1String("+CRunAptGet::checkSources")
                || event == QLatin1String("+CRunAptGet::Run")
                || event == QLatin1String("+CRunAptGet::GetPackageFiles")
                || event == QLatin1String("+CRunAptGet::GetReceivedPackageInfo")
                || event == QLatin1String("+CRunAptGet::Pulse")
                || event == QLatin1String("+CRunAptGet::GetSetupInfo"))
                story << event.mid(1);
        }
        story.removeAll(QStringLiteral("CAPIDownloadAppInfo::DecorateURI"));
        QCOMPARE(story,
                 (QStringList{ QStringLiteral("CAPIInstallPackages::CAPIInstallPackages(1)"),
                               QStringLiteral("CAPIInstallPackages::ConnectListener"),
                               QStringLiteral("CAPIInstallPackages::Execute"),
                               QStringLiteral("CAPIInstallPackages::onAppInfoDestinationFile"),
                               QStringLiteral("CAPIInstallPackages::onAppInfoComplete"),
                               QStringLiteral("CAPIInstallPackages::CalculateDependencies"),
                               QStringLiteral("CAPIGetPackageInfo::GetPackageFiles"),
                               QStringLiteral("CRunAptGet::Run"),
                               QStringLiteral("CRunAptGet::checkSources"),
                               QStringLiteral("CAPIGetSourcesList::UpdateSourcesList"),
                               QStringLiteral("CRunAptGet::GetPackageFiles"),
                               QStringLiteral("CAPIInstallPackages::onPackageCount"),
                               QStringLiteral("CAPIGetPackageInfo::SaveURL"),
                               QStringLiteral("CAPIGetPackageInfo::SaveListData"),
                               QStringLiteral("CAPIInstallPackages::onPackageURLs"),
                               QStringLiteral("CAPIInstallPackages::onDependencyComplete"),
                               QStringLiteral("CAPIInstallPackages::InstallPackages"),
                               QStringLiteral("CRunAptGet::Run"),
                               QStringLiteral("CRunAptGet::GetReceivedPackageInfo"),
                               QStringLiteral("CRunAptGet::Pulse"),
                               QStringLiteral("CRunAptGet::GetSetupInfo"),
                               QStringLiteral("CAPIInstallPackages::ShowInstallDialog"),
                               QStringLiteral("CAPIInstallPackages::~CAPIInstallPackages") }));
        // Every scope that is entered is left.
        QCOMPARE(trace.events().filter(QRegularExpression(QStringLiteral("^\\+"))).size(),
                 trace.events().filter(QRegularExpression(QStringLiteral("^-"))).size());
    }

    void severalProductsShareOneText()
    {
        appInfoIs("<package><packagename>foo</packagename><binary><name>A</name></binary></package>"
                  "<package><packagename>bar</packagename><binary><name>B</name><path>/b</path>"
                  "</binary></package>");
        const DialogReader dialog;
        installProduct(false);
        QCOMPARE(dialog.text,
                 QStringLiteral("A has been installed!\n\n\n\n\nB has been installed!\n\n"));
    }

    void packagesByNameShowNoDialogAfterSuccess()
    {
        const BoxCloser boxes;
        const Result result = installPackage({ "foo", "bar" }, false);
        QVERIFY(result.started);
        QCOMPARE(boxes.texts, QStringList());
        QCOMPARE(result.events.mid(0, 3),
                 (QStringList{ preparing, QStringLiteral("continue? 1 1"), preparing }));
        QCOMPARE(result.events.last(), QStringLiteral("complete 1"));
        QVERIFY(!m_server.asked.join().contains("/a?"));
    }

    void declinedInstallsNothing()
    {
        const BoxCloser boxes;
        const Result result = installProduct(false, false);
        QCOMPARE(result.events.mid(3),
                 (QStringList{ QStringLiteral("continue? 1 1"), preparing,
                               QStringLiteral("outcome 1"), QStringLiteral("complete 1") }));
        QCOMPARE(boxes.texts, QStringList());
        QCOMPARE(m_frontEnd.calls().filter(QStringLiteral("-yp install")), QStringList());
    }

    void notWantedInNewStuffRecordsAndShowsNothing()
    {
        m_addToNewStuff = false;
        const BoxCloser boxes;
        const StandardOutput output;
        const Result result = installProduct(false);
        QCOMPARE(result.events.last(), QStringLiteral("complete 1"));
        QCOMPARE(boxes.texts, QStringList());
        QVERIFY(!output.text().contains("NewStuff"));
    }

    void failedInstallLeavesItsOutputAndTellsErrors()
    {
        frontEndSays(uris, "one\nE: bad thing\n detail\n", 100);
        const DialogReader dialog;
        const Result result = installProduct(false);
        QVERIFY(result.started);
        QCOMPARE(dialog.text,
                 QStringLiteral("Pakmart failed to install this product.\n\n\nbad thing\n detail"));
        QCOMPARE(result.events.mid(result.events.size() - 4),
                 (QStringList{ QStringLiteral("end 0"), QStringLiteral("report 3"),
                               QStringLiteral("outcome 0"), QStringLiteral("complete 0") }));
        QFile out(SystemPath(QStringLiteral("/tmp/apt-get.out")));
        QVERIFY(out.open(QIODevice::ReadOnly));
        QCOMPARE(out.readAll(), QByteArray("one\nE: bad thing\n detail\n"));
    }

    void silentFailureShowsNoDialog()
    {
        frontEndSays(uris, "E: bad\n", 100);
        const BoxCloser boxes;
        QCOMPARE(installProduct(true).events.last(), QStringLiteral("complete 0"));
        QCOMPARE(boxes.texts, QStringList());
    }

    void appInfoThatFailsEndsOnce()
    {
        m_server.answer("/a", ScriptedServer::http("<agentfunction resultcode=\"FAILED\"/>"));
        const StandardOutput output;
        const Result result = installProduct();
        QVERIFY(result.started);
        QCOMPARE(result.events,
                 (QStringList{ preparing, appInfoError, QStringLiteral("complete 0") }));
        QVERIFY(output.lines().contains(
            QStringLiteral("CAPIInstallPackages - failed to retrieve app info")));
    }

    void appInfoWithoutAPackageIsUnreadable()
    {
        appInfoIs("<nothing/>");
        const StandardOutput output;
        QCOMPARE(installProduct().events,
                 (QStringList{ preparing, preparing, appInfoError, QStringLiteral("complete 0") }));
        QVERIFY(output.lines().contains(
            QStringLiteral("CAPIInstallPackages - grammatical error in app info")));
    }

    void dependencyErrorsEndOnce()
    {
        frontEndSays("E: no such thing\n", "", 0, 100);
        const Result result = installProduct();
        QCOMPARE(result.events.mid(3),
                 (QStringList{ QStringLiteral("report 1"), QStringLiteral("outcome 0"),
                               QStringLiteral("complete 0") }));
    }

    void packageRequestThatGivesUpAtOnceEndsOnceAndReturnsFalse()
    {
        frontEndSays("E: no such thing\n", "", 0, 100);
        const Result result = installPackage({ "foo" });
        QVERIFY(!result.started);
        QCOMPARE(result.events,
                 (QStringList{ preparing, QStringLiteral("report 1"), QStringLiteral("outcome 0"),
                               QStringLiteral("complete 0") }));
    }

    void hostilePackageNameFromTheServerIsRefused()
    {
        const QString witness = QDir::homePath() + QStringLiteral("/witness");
        appInfoIs("<package><packagename>$(touch${IFS}" + witness.toLocal8Bit()
                  + ")</packagename><binary><name>A</name></binary></package>");
        const Result result = installProduct();
        QCOMPARE(result.events.last(), QStringLiteral("complete 0"));
        QVERIFY(!QFile::exists(witness));
        QCOMPARE(m_frontEnd.calls(), QStringList());
    }

    void packageInformationThatFailsIsReported()
    {
        m_server.answer("/p", ScriptedServer::http("<agentfunction msg=\"no\"/>"));
        const Result result = installProduct();
        QCOMPARE(result.events.mid(4),
                 (QStringList{ QStringLiteral("outcome 0"), QStringLiteral("complete 0") }));
    }

    void requestsThatCannotBeMade()
    {
        QStringList events;
        std::vector<long> serials{ 7 };
        CAPIInstallPackages* request = new WithoutRequests(nullptr, serials, true);
        follow(request, events);
        QVERIFY(!request->Execute());
        QCOMPARE(events,
                 (QStringList{
                     QStringLiteral("error There was a memory allocation error while attempting to "
                                    "request information from the VantrelNet server"),
                     QStringLiteral("complete 0") }));

        const QString noMemory = QStringLiteral(
            "error There was a memory allocation error while attempting to request information "
            "from the VantrelNet.");
        events.clear();
        PackageNameArray names{ "foo" };
        request = new WithoutRequests(nullptr, names, true);
        follow(request, events);
        QVERIFY(!request->Execute());
        QCOMPARE(events,
                 (QStringList{ noMemory,
                               QStringLiteral("error There was an error installing this product."),
                               QStringLiteral("complete 0") }));

        events.clear();
        auto* half = new WithoutRequests(nullptr, serials, true);
        half->appInfo = true;
        follow(half, events);
        QVERIFY(half->Execute());
        QCOMPARE(events, (QStringList{ noMemory, QStringLiteral("complete 0") }));
    }

    void noListenerIsFine()
    {
        std::vector<long> serials{ 7 };
        QStringList events;
        auto* request = new CAPIInstallPackages(nullptr, serials, true);
        follow(request, events);
        QVERIFY(request->Execute());
        QCOMPARE(events.last(), QStringLiteral("complete 1"));
    }
};

QTEST_MAIN(InstallTest)
#include "tst_capiinstallpackages.moc"
