// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The update of the operating system, with a scripted server and a scripted front end.

#include "install/capigetosver.h"
#include "install/crunaptget.h"
#include "tests/common/frontend.h"
#include "tests/request/hostilereplies.h"

#include <QDir>
#include <QRegularExpression>
#include <QSignalSpy>

namespace
{

QByteArray Envelope(const QByteArray& content)
{
    return "<agentfunction resultcode=\"OK\">" + content + "</agentfunction>";
}

QByteArray Package(const QByteArray& name)
{
    return "<package><name>" + name + "</name></package>";
}

QString InRoot(const char* path)
{
    return QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT")) + QLatin1String(path);
}

QByteArray Contents(const QString& name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void WriteFile(const QString& name, const QByteArray& text)
{
    QFile file(name);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        qFatal("cannot write %s", qPrintable(name));
}

} // namespace

static QStringList questions;
static bool policyAgrees = true;

// The linker leads the library's call of okToDoUpdate here.
extern "C" bool __wrap__Z12okToDoUpdateRK7QStringS1_(const QString& text, const QString& caption)
{
    questions << caption << text;
    return policyAgrees;
}

// A host that asks before it updates; the server must not see a difference.
class AskingUpdate : public CAPIGetOSVer
{
public:
    AskingUpdate(bool go, int& asked) : CAPIGetOSVer(true), m_go(go), m_asked(asked) { }
    void onCanContinue(int nPackages, bool& bCanContinue) override
    {
        m_asked = nPackages;
        CAPIGetOSVer::onCanContinue(nPackages, bCanContinue);
        bCanContinue = bCanContinue && m_go;
    }

private:
    const bool m_go;
    int& m_asked;
};

class GetOSVerTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;
    ScriptedFrontEnd m_frontEnd;

    // Sets the front end's output for listing the files and for installing.
    void frontEndSays(const QByteArray& listing, const QByteArray& run, int runStatus = 0,
                      int listStatus = 0)
    {
        const QString dir = QString::fromLocal8Bit(qgetenv("TEST_DIR"));
        WriteFile(dir + QLatin1String("/says-listing"), listing);
        WriteFile(dir + QLatin1String("/says-run"), run);
        m_frontEnd.install(QStringLiteral("vos-apt-get"),
                           "case \" $* \" in *--print-uris*) cat $TEST_DIR/says-listing; exit "
                               + QByteArray::number(listStatus)
                               + ";; *' install '*) cat $TEST_DIR/says-run; exit "
                               + QByteArray::number(runStatus) + ";; esac");
    }
    void updatesAre(const QByteArray& content)
    {
        m_server.answer("/v", ScriptedServer::http(Envelope(content)));
    }
    QStringList installs() const
    {
        return m_frontEnd.calls().filter(QStringLiteral("-yp install"));
    }
    static QString dateOfLastUpdate()
    {
        const CConfigFile settings(InRoot("/etc/pakmartd.conf").toStdString(), false);
        return QString::fromStdString(settings.GetStringValue("DateOfLastUpdate", "none"));
    }
    static bool isDate(const QString& text)
    {
        static const QRegularExpression date(
            QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d$"));
        return date.match(text).hasMatch();
    }

    // Runs one check to its end. Returns its events, in order.
    QStringList update(bool silent = true) { return follow(new CAPIGetOSVer(silent)); }
    QStringList follow(CAPIGetOSVer* request)
    {
        QStringList events;
        connect(request, &CAPI::SuccessfulTransfer, this, [&] { events << QStringLiteral("ok"); });
        connect(request, &CAPI::FailedTransfer, this, [&](QDomElement* element) {
            events << QLatin1String("failed ") + element->attribute(QStringLiteral("msg"));
        });
        connect(request, &CAPI::ErroneousTransfer, this,
                [&](const QString& text) { events << QLatin1String("error ") + text; });
        connect(request, &CAPIGetOSVer::signalUpdatedAgent, this, [&](bool ok, bool agent) {
            // The date is written before the end is emitted.
            const bool dated = dateOfLastUpdate() != QLatin1String("none");
            events << QStringLiteral("updated %1 %2 dated %3").arg(ok).arg(agent).arg(dated);
        });
        connect(request, &CAPI::APIComplete, this,
                [&](bool ok) { events << QStringLiteral("complete %1").arg(ok); });
        const QPointer<QObject> object = request;
        const bool started = request->Execute();
        if (!started || object)
            events << QStringLiteral("not started, or still there");
        return events;
    }
    static QStringList whole(bool agent)
    {
        return { QStringLiteral("ok"), QStringLiteral("updated 1 %1 dated 1").arg(agent),
                 QStringLiteral("complete 1") };
    }

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api",
                        Directory({ { "CAPIGetOSVer", m_server.url("/v") },
                                    { "CAPIGetSourcesList", m_server.url("/s") },
                                    { "CAPIGetPackageInfo", m_server.url("/p") },
                                    { "CAPIDownloadAppInfo", m_server.url("/a") } }));
        m_server.answer("/s", ScriptedServer::http(Envelope("<list type=\"dep\"/>")));
        m_server.answer("/a", ScriptedServer::http("<agentfunction msg=\"no product\"/>"));
        m_server.answer("/p",
                        ScriptedServer::http(
                            Envelope("<package_info><package><package_url>http://h/r</package_url>"
                                     "<package_data>x</package_data></package></package_info>")));
    }
    void init()
    {
        frontEndSays("'http://h/pool/libfoo_1_all.deb' libfoo_1_all.deb 5 SHA256:0\n",
                     "Setting up libfoo (1) ...\n");
        m_frontEnd.forget();
        m_server.asked.clear();
        QDir(InRoot("/etc/pakmartd.conf")).removeRecursively();
        QFile::remove(InRoot("/etc/pakmartd.conf"));
        QFile::remove(InRoot("/tmp/apt-get.out"));
    }

    void packagesAreInstalledByTheirNames()
    {
        updatesAre(Package("libfoo") + Package("VantrelAgent"));
        QCOMPARE(update(), whole(true));
        QCOMPARE(installs().size(), 1);
        QVERIFY(installs()[0].endsWith(QLatin1String("/lists/ libfoo VantrelAgent")));
        QVERIFY(m_server.asked.contains("/v")); // without a query
        QVERIFY(!m_server.asked.contains("/a"));
    }

    void signalsCarryTheOutcomeOnceEach()
    {
        updatesAre(Package("vantrelagent"));
        auto* request = new CAPIGetOSVer(true);
        const QSignalSpy updated(request, &CAPIGetOSVer::signalUpdatedAgent);
        const QSignalSpy complete(request, &CAPI::APIComplete);
        QVERIFY(request->Execute());
        QCOMPARE(updated.size(), 1);
        QCOMPARE(updated[0], (QVariantList{ true, true }));
        QCOMPARE(complete.size(), 1);
        QCOMPARE(complete[0], QVariantList{ true });
    }

    void agentIsFoundAnywhereWithoutRegardToCase_data()
    {
        QTest::addColumn<QByteArray>("names");
        QTest::addColumn<bool>("agent");
        QTest::newRow("first") << QByteArray("VANTRELAGENT,a,b") << true;
        QTest::newRow("last") << QByteArray("a,b,vantrelagent") << true;
        QTest::newRow("longer name") << QByteArray("vantrelagent2,libvantrelagent") << false;
        QTest::newRow("beginning of the name") << QByteArray("vantrel") << false;
    }
    void agentIsFoundAnywhereWithoutRegardToCase()
    {
        QFETCH(QByteArray, names);
        QFETCH(bool, agent);
        QByteArray content;
        for (const QByteArray& name : names.split(','))
            content += Package(name);
        updatesAre(content);
        QCOMPARE(update(), whole(agent));
    }

    void emptyNamesAreKept()
    {
        updatesAre(Package("a1") + "<package/>" + Package("")
                   + "<package><other>x</other></package>" + Package("b2"));
        const StandardOutput output;
        QCOMPARE(update(), whole(false));
        QVERIFY(output.text().contains("/lists/  a1    b2 2>&1|"));
    }

    void otherElementsAreIgnored()
    {
        updatesAre("text<packages>" + Package("no1")
                   + "</packages><name>no2</name>"
                     "<Package><name>no3</name></Package>"
                     "<package version=\"9\"><Name>no4</Name><name>a1</name><name>no5</name>"
                     "<note><name>no6</name></note></package><!-- c -->"
                   + Package("b%2Bc"));
        QCOMPARE(update(), whole(false));
        QVERIFY(installs()[0].endsWith(QLatin1String("/lists/ a1 b+c")));
    }

    void noPackagesStillMakeAnInstallerWhichAsksForNothing()
    {
        updatesAre("<nothing/>");
        const Trace trace;
        QCOMPARE(update(), whole(false));
        QVERIFY(trace.events().contains(
            QStringLiteral("+CAPIInstallPackages::CAPIInstallPackages(2)")));
        QVERIFY(m_server.asked.contains("/a"));
        QCOMPARE(m_frontEnd.calls().filter(QStringLiteral("install")), QStringList());
    }

    void nothingToFetchStopsWithoutAnInstall()
    {
        frontEndSays("", "E: this must not run\n", 100);
        updatesAre(Package("vantrelagent"));
        QCOMPARE(update(), whole(false));
        QCOMPARE(installs(), QStringList());
    }

    void installThatFailsLeavesTheCheckASuccess()
    {
        frontEndSays("'http://h/pool/a_1_all.deb' a_1_all.deb 5 SHA256:0\n", "E: no room\n", 100);
        updatesAre(Package("vantrelagent"));
        const BoxCloser boxes;
        QCOMPARE(update(false), whole(false)); // and the agent was not updated
        QCOMPARE(boxes.texts, QStringList()); // the installer is silent, always
        QCOMPARE(Contents(InRoot("/tmp/apt-get.out")), QByteArray("E: no room\n"));
    }

    void dependenciesThatCannotBeMetLeaveTheCheckASuccess()
    {
        frontEndSays("E: unmet\n", "", 0, 100);
        updatesAre(Package("vantrelagent"));
        QCOMPARE(update(), whole(false));
        QCOMPARE(installs(), QStringList());
    }

    void missingFrontEndLeavesTheCheckASuccess()
    {
        QFile::remove(ScriptedFrontEnd::path(QStringLiteral("vos-apt-get")));
        updatesAre(Package("a1"));
        QCOMPARE(update(), whole(false));
    }

    void updatesAreNoNewSoftware()
    {
        updatesAre(Package("a1"));
        const BoxCloser boxes;
        const StandardOutput output;
        update(false);
        QVERIFY(!output.text().contains("NewStuff"));
        QCOMPARE(boxes.texts, QStringList());
    }

    void failedRequestWritesNoDate()
    {
        m_server.answer("/v", ScriptedServer::http("<agentfunction resultcode=\"NO\" msg=\"x\"/>"));
        const BoxCloser boxes;
        QCOMPARE(update(),
                 (QStringList{ QStringLiteral("failed x"), QStringLiteral("updated 0 0 dated 0"),
                               QStringLiteral("complete 0") }));
        QVERIFY(!QFile::exists(InRoot("/etc/pakmartd.conf")));
        QCOMPARE(boxes.texts, QStringList());
        update(false);
        QCOMPARE(boxes.texts.size(), 1);
        QVERIFY(boxes.texts[0].contains(QLatin1String("x")));
    }

    void hostileReplies_data() { HostileReplies(Envelope(Package("libfoo"))); }
    void hostileReplies()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, error);
        m_server.answer("/v", bytes);
        const QStringList events = update();
        QCOMPARE(events.size(), 3);
        QVERIFY2(events[0].startsWith(QLatin1String("error ") + error), qPrintable(events[0]));
        QCOMPARE(events[1], QStringLiteral("updated 0 0 dated 0"));
        QCOMPARE(events[2], QStringLiteral("complete 0"));
        QCOMPARE(m_frontEnd.calls(), QStringList());
    }

    void refusedConnection()
    {
        m_server.answer(
            "/v", ScriptedServer::http("", "302 Found", "Location: " + RefusingUrl() + "\r\n"));
        QCOMPARE(
            update().mid(1),
            (QStringList{ QStringLiteral("updated 0 0 dated 0"), QStringLiteral("complete 0") }));
    }

    void namesThatAreMoreThanNamesRunNothing_data()
    {
        QTest::addColumn<QByteArray>("name");
        const QByteArray witness = QDir::homePath().toLocal8Bit() + "/witness";
        QTest::newRow("command") << QByteArray("a; touch " + witness);
        QTest::newRow("substitution") << QByteArray("$(touch${IFS}" + witness + ")");
        QTest::newRow("option") << QByteArray("-o Debug::NoLocking=1");
        QTest::newRow("removal") << QByteArray("bash-");
        QTest::newRow("pattern") << QByteArray("a*");
        QTest::newRow("line end") << QByteArray("a1%0Atouch+" + witness);
        QTest::newRow("emoji") << QByteArray("%F0%9F%92%BE");
        QTest::newRow("1 MB") << QByteArray(1 << 20, 'a');
    }
    void namesThatAreMoreThanNamesRunNothing()
    {
        QFETCH(QByteArray, name);
        updatesAre(Package("libfoo") + Package(name));
        QCOMPARE(update(), whole(false));
        QCOMPARE(m_frontEnd.calls().filter(QStringLiteral("install")), QStringList());
        QVERIFY(!QFile::exists(QDir::homePath() + QStringLiteral("/witness")));
    }

    void moreNamesThanACommandLineHolds()
    {
        QByteArray content;
        for (int i = 0; i < 50000; ++i)
            content += Package("package" + QByteArray::number(i));
        updatesAre(content);
        QCOMPARE(update(), whole(false));
        QCOMPARE(installs(), QStringList());
    }

    void dateIsWrittenAmongOtherSettings()
    {
        WriteFile(InRoot("/etc/pakmartd.conf"),
                  "# the daemon\nInterval = 60\nDateOfLastUpdate = long ago\nMode = quiet\n");
        updatesAre("");
        update();
        QVERIFY2(isDate(dateOfLastUpdate()), qPrintable(dateOfLastUpdate()));
        QCOMPARE(Contents(InRoot("/etc/pakmartd.conf")),
                 QByteArray("# the daemon\nInterval = 60\nDateOfLastUpdate = "
                            + dateOfLastUpdate().toLatin1() + "\nMode = quiet\n"));
    }

    void dateMakesTheFileWhereThereIsNone()
    {
        updatesAre("");
        update();
        QVERIFY(isDate(dateOfLastUpdate()));
    }

    void dateThatCannotBeWrittenIsNoFailure()
    {
        QVERIFY(QDir().mkpath(InRoot("/etc/pakmartd.conf/x")));
        updatesAre("");
        QCOMPARE(update(),
                 (QStringList{ QStringLiteral("ok"), QStringLiteral("updated 1 0 dated 0"),
                               QStringLiteral("complete 1") }));
    }

    void policyIsAskedOnlyForPackagesAndANoStays_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<bool>("before");
        QTest::addColumn<bool>("after");
        QTest::newRow("one") << 1 << true << true;
        QTest::newRow("many") << 100000 << true << true;
        QTest::newRow("none") << 0 << true << false;
        QTest::newRow("less than none") << -1 << true << false;
        QTest::newRow("no already") << 1 << false << false;
        QTest::newRow("none, no already") << 0 << false << false;
    }
    void policyIsAskedOnlyForPackagesAndANoStays()
    {
        QFETCH(int, count);
        QFETCH(bool, before);
        QFETCH(bool, after);
        auto* request = new CAPIGetOSVer(true);
        bool go = before;
        request->onCanContinue(count, go);
        QCOMPARE(go, after);
        delete request;
    }

    void policyIsAskedWithTheQuestionAndMayRefuse()
    {
        updatesAre(Package("a1"));
        for (const bool agrees : { true, false }) {
            m_frontEnd.forget();
            questions.clear();
            policyAgrees = agrees;
            update();
            policyAgrees = true;
            QCOMPARE(questions,
                     (QStringList{
                         QStringLiteral("Update Available"),
                         QStringLiteral("An update for VantrelOS is available, do you want to "
                                        "update your system now?\n(You will be reminded later if "
                                        "you select No at this time.)") }));
            QCOMPARE(installs().isEmpty(), !agrees);
        }
    }

    void agentOnceFoundStaysFound()
    {
        auto* request = new CAPIGetOSVer(true);
        const QSignalSpy updated(request, &CAPIGetOSVer::signalUpdatedAgent);
        bool add = true;
        PackageNameArray none, agent{ "a", "VantrelAgent" }, other{ "b" };
        for (PackageNameArray* names : { &none, &agent, &other }) {
            add = true;
            request->onCanAddToNewStuff(*names, add);
            QVERIFY(!add);
        }
        delete request;
        QCOMPARE(updated[0], (QVariantList{ true, true }));
    }

    void hostThatAsksIsKnownByTheSameName()
    {
        updatesAre(Package("vantrelagent"));
        int asked = -1;
        QCOMPARE(follow(new AskingUpdate(true, asked)), whole(true));
        QCOMPARE(asked, 1);
        m_frontEnd.forget();
        QCOMPARE(follow(new AskingUpdate(false, asked)), whole(false));
        QCOMPARE(installs(), QStringList());
    }

    void questionIsTraced()
    {
        updatesAre(Package("a1"));
        const Trace trace;
        update();
        QVERIFY(trace.events().contains(QStringLiteral(
            "Update Available: An update for VantrelOS is available, do you want to update your "
            "system now?\n(You will be reminded later if you select No at this time.)")));
    }

    void scopesInTheirOrder()
    {
        updatesAre(Package("a1"));
        const Trace trace;
        update();
        QStringList own = trace.events().filter(QRegularExpression(
            QStringLiteral("^\\+CAPI(GetOSVer::.*|InstallPackages::CAPIInstall.*)$")));
        QCOMPARE(own,
                 (QStringList{ QStringLiteral("+CAPIGetOSVer::CAPIGetOSVer"),
                               QStringLiteral("+CAPIGetOSVer::onSuccessfulTransfer"),
                               QStringLiteral("+CAPIGetOSVer::UpgradeOSPackages"),
                               QStringLiteral("+CAPIInstallPackages::CAPIInstallPackages(2)"),
                               QStringLiteral("+CAPIGetOSVer::onCanContinue"),
                               QStringLiteral("+CAPIGetOSVer::onCanAddToNewStuff"),
                               QStringLiteral("+CAPIGetOSVer::~CAPIGetOSVer") }));
        const int end = trace.events().indexOf(QStringLiteral("-CAPIGetOSVer::~CAPIGetOSVer"));
        QVERIFY(trace.events().indexOf(QStringLiteral("+CAPI::~CAPI"), end) > end);
    }

    void neitherExclusiveNorAlone()
    {
        auto* request = new CAPIGetOSVer(true);
        QCOMPARE(request->ReferenceCount(), 1);
        QVERIFY(!request->APILocked(nullptr));
        QCOMPARE(request->DecorateURI(), QString());
        QCOMPARE(request->GetAPIName(), QStringLiteral("CAPIGetOSVer"));
        delete request;
    }
};

QTEST_MAIN(GetOSVerTest)
#include "tst_capigetosver.moc"
