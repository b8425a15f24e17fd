// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Runs the host developer's guide: the code in it is taken from here, between marks, and
// the orders that it describes are compared with a real install.

#include "tests/apps/demomachine.h"

#include <QApplication>
#include <QDomElement>
#include <QPointer>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTimer>
#include <QWidget>
#include <QtTest>
#include <cstdio>
#include <vantrelagent/catalog/capigetaisles.h>
#include <vantrelagent/catalog/capiupdatecatalog.h>
#include <vantrelagent/catalog/cxmlnode.h>
#include <vantrelagent/catalog/savedtree.h>
#include <vantrelagent/db/catalogscan.h>
#include <vantrelagent/db/ccatalogfile.h>
#include <vantrelagent/db/cdpkg.h>
#include <vantrelagent/install/capiinstallpackages.h>
#include <vantrelagent/install/cgetospackage.h>
#include <vantrelagent/request/agenterror.h>
#include <vantrelagent/request/capistatus.h>
#include <vantrelagent/store/indexfile.h>

// ---- code that the guide shows ----

//! [aisles]
void FetchAisles(QObject* host, const std::function<void(bool)>& whenDone)
{
    auto* request = new CAPIGetAisles(true); // silent: no boxes
    QObject::connect(request, &CAPI::APIComplete, host, whenDone);
    request->Execute(); // comes back at once; the request is not touched again
}
//! [aisles]

//! [failure]
QString AislesFailure()
{
    QString why;
    bool done = false;
    auto* request = new CAPIGetAisles(true);
    QObject::connect(request, &CAPI::ErroneousTransfer,
                     [&why](const QString& text) { why = text; });
    QObject::connect(request, &CAPI::FailedTransfer,
                     [&why](QDomElement* reply) { why = reply->attribute(QStringLiteral("msg")); });
    QObject::connect(request, &CAPI::APIComplete, [&done](bool) { done = true; });
    request->Execute();
    while (!done)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return why;
}
//! [failure]

//! [update]
bool UpdateCatalog()
{
    bool filled = false;
    auto* request = new CAPIUpdateCatalog(true, true); // silent, and waits
    QObject::connect(request, &CAPI::SuccessfulTransfer, request,
                     [request, &filled](QDomElement* reply) {
                         QDomElement catalog = reply->firstChildElement();
                         filled = request->ProcessVantrelCatalogRequest(catalog);
                     });
    request->Execute(); // the request is gone when this returns
    return filled;
}
//! [update]

//! [scan]
void PrintCatalog()
{
    Agent::CatalogScan products;
    while (products.Next())
        std::printf("%d  %s\n", products.ServerSerialNumber(), products.Name());
}
//! [scan]

//! [category]
QStringList NamesOf(const char* category)
{
    QStringList names;
    InitIndex();
    {
        CCatalogFile catalog;
        if (catalog.Open())
            for (bool more = catalog.FindFirstForCategory(category); more;
                 more = catalog.FindNextForCategory(category))
                names << QString::fromUtf8(catalog.Name());
    } // closed here, before the page cache goes
    UnInitIndex();
    return names;
}
//! [category]

//! [tree]
int CountAisles()
{
    CXMLNode aisles(nullptr);
    return Agent::ReadSavedTree(".aisles", aisles) ? int(aisles.ChildArray("aisle").size()) : 0;
}
//! [tree]

//! [install]
bool Install(QObject* listener, long serial)
{
    bool succeeded = false;
    std::vector<long> serials{ serial };
    auto* install = new CAPIInstallPackages(listener, serials, true);
    QObject::connect(install, &CAPI::APIComplete, [&succeeded](bool ok) { succeeded = ok; });
    return install->Execute() && succeeded;
}
//! [install]

//! [listener]
class Listener : public QObject
{
    Q_OBJECT

public slots:
    void onCanContinue(int files, bool& go) { go = files < 100; }
    void onReceivePackagePulse(int item, int whole) { std::printf("%d%% %d%%\n", whole, item); }
    void onBeginInstall(const std::string& package) { std::puts(package.c_str()); }
};
//! [listener]

//! [remove]
bool Remove(const QString& package)
{
    CGetOSPackage(QStringLiteral("R"), package, false).Execute();
    CDpkg packages; // the outcome is not reported, so check it
    packages.ReadStatusFile();
    const CDpkgInfo left = packages.GetPackageInfo(package.toStdString());
    return left.GetName().empty() || left.GetStatus() != 0;
}
//! [remove]

//! [quit]
void EndWaitsWithTheWindow(QObject* host)
{
    QObject::connect(qApp, &QGuiApplication::lastWindowClosed, host, &CAPI::AbortTransfers);
}
//! [quit]

//! [busy]
class Shop : public QObject
{
    Q_OBJECT

public slots:
    void update()
    {
        if (m_busy) // the button was pressed again, inside the wait below
            return;
        m_busy = true;
        const QPointer<Shop> alive(this);
        UpdateCatalog(); // events run in here: this object may be deleted
        if (alive)
            m_busy = false;
    }

private:
    bool m_busy = false;
};
//! [busy]

//! [cancel]
class InstallButton : public QObject
{
    Q_OBJECT

public:
    explicit InstallButton(CAPIInstallPackages* install) : m_install(install) { }
    bool isEnabled() const { return m_install && m_install->CanCancel(); }

public slots:
    void onClicked()
    {
        if (m_install) // it destroys itself at its end
            m_install->Cancel();
    }

private:
    QPointer<CAPIInstallPackages> m_install;
};
//! [cancel]

// ---- the tests ----

// Records the signals, repetitions only once; progress is only counted.
class Recorder : public QObject
{
    Q_OBJECT

public:
    QStringList heard;
    bool decline = false;
    int pulses = 0;

    void hear(const QString& what)
    {
        if (heard.isEmpty() || heard.last() != what)
            heard << what;
    }
    // Also records the signals of an install, and its end.
    void follow(CAPIInstallPackages* install)
    {
        const auto hears
            = [this](const char* what) { return [this, what] { hear(QLatin1String(what)); }; };
        connect(install, &CAPIInstallPackages::signalAptGetReport, this,
                hears("signalAptGetReport"));
        connect(install, &CAPIInstallPackages::signalBuildErrorReport, this, [this](bool ok) {
            hear(QStringLiteral("signalBuildErrorReport(%1)").arg(ok ? "true" : "false"));
        });
        connect(install, &CAPIInstallPackages::signalCanAddToNewStuff, this,
                hears("signalCanAddToNewStuff"));
        connect(install, &CAPI::ErroneousTransfer, this, hears("ErroneousTransfer"));
        connect(install, &CAPI::APIComplete, this, [this](bool ok) {
            hear(QStringLiteral("APIComplete(%1)").arg(ok ? "true" : "false"));
        });
    }

public slots:
    void onPreInstallInformation(const std::string&) { hear("onPreInstallInformation"); }
    void onCanContinue(int, bool& go)
    {
        hear("onCanContinue");
        go = !decline;
    }
    void onBeginInstall() { hear("onBeginInstall()"); }
    void onReceivedPackageNames(const AptGetPackages&) { hear("onReceivedPackageNames"); }
    void onReceivedTotalBytes(const std::string&) { hear("onReceivedTotalBytes"); }
    void onBeginReceivePackage(const std::string& name, const std::string&)
    {
        hear("onBeginReceivePackage " + QString::fromStdString(name));
    }
    void onReceivePackagePulse(int item, int whole)
    {
        ++pulses;
        QVERIFY(item >= 0 && item <= 100 && whole >= 0 && whole <= 100);
    }
    void onEndReceivePackage(const std::string& name)
    {
        hear("onEndReceivePackage " + QString::fromStdString(name));
    }
    void onBeginInstall(const std::string& name)
    {
        hear("onBeginInstall " + QString::fromStdString(name));
    }
    void onEndInstall(bool ok)
    {
        hear(QStringLiteral("onEndInstall(%1)").arg(ok ? "true" : "false"));
    }
};

class GuideTest : public QObject
{
    Q_OBJECT

private:
    DemoMachine m_machine;

    // The lines of the guide's block with this title.
    static QStringList block(const QString& title)
    {
        QFile file(QStringLiteral(GUIDE));
        if (!file.open(QIODevice::ReadOnly))
            return {};
        const QRegularExpression form(
            QStringLiteral("<!-- %1 -->\n+```text\n(.*?)\n```").arg(title),
            QRegularExpression::DotMatchesEverythingOption);
        const QString text = form.match(QString::fromUtf8(file.readAll())).captured(1);
        return text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    }
    // The codes that a table of the guide names.
    static QSet<QString> codes(const QString& title)
    {
        QFile file(QStringLiteral(GUIDE));
        if (!file.open(QIODevice::ReadOnly))
            return {};
        const QString text = QString::fromUtf8(file.readAll());
        QSet<QString> found;
        const auto rows = text.mid(text.indexOf(QLatin1String("<!-- ") + title))
                              .section(QStringLiteral("\n\n"), 0, 0)
                              .split(QLatin1Char('\n'));
        const QRegularExpression code(QStringLiteral("`([a-z-]+)`"));
        for (const QString& row : rows) {
            auto match = code.globalMatch(row.section(QLatin1Char('|'), 2, 2));
            while (match.hasNext())
                found << match.next().captured(1);
        }
        return found;
    }
    static QStringList installAndListen(long serial, bool decline = false)
    {
        Recorder recorder;
        recorder.decline = decline;
        return installAndListen(serial, recorder);
    }
    static QStringList installAndListen(long serial, Recorder& recorder)
    {
        std::vector<long> serials{ serial };
        auto* install = new CAPIInstallPackages(&recorder, serials, true);
        recorder.follow(install);
        install->Execute();
        return recorder.heard;
    }

private slots:
    void initTestCase() { QVERIFY(m_machine.setUp()); }

    void theTableOfReasonsNamesTheReasonsOfRequests()
    {
        const QSet<QString> named = codes(QStringLiteral("reasons of failures"));
        QSet<QString> known;
        // The codes before those of installs, and the last one.
        for (int code = AgentError::ServerUnreachable; code <= AgentError::UnknownProduct; ++code)
            known << AgentError::Name(AgentError::Code(code));
        known << AgentError::Name(AgentError::Other);
        QVERIFY2(named == known,
                 qPrintable((named + known - (named & known)).values().join(QLatin1Char(' '))));
    }

    void aRequestTellsItsEnd()
    {
        bool done = false, succeeded = false;
        FetchAisles(this, [&](bool ok) {
            done = true;
            succeeded = ok;
        });
        QTRY_VERIFY_WITH_TIMEOUT(done, 60000);
        QVERIFY(succeeded);
        QVERIFY(CountAisles() > 0);
        QCOMPARE(AislesFailure(), QString());
    }

    void theCatalogIsFetchedAndRead()
    {
        Shop shop;
        shop.update();
        QVERIFY(UpdateCatalog());
        QVERIFY(Agent::CatalogScan().Next());
        PrintCatalog();
        QVERIFY(NamesOf("Games").contains(QStringLiteral("Star Lander")));
    }

    void anInstallTellsThingsInTheGuidesOrder()
    {
        Recorder recorder;
        QCOMPARE(installAndListen(1001, recorder), block(QStringLiteral("order of an install")));
        QVERIFY(recorder.pulses > 0);
        QCOMPARE(installAndListen(1001), block(QStringLiteral("order of a second install")));
    }

    void aDeclinedInstallTellsThingsInTheGuidesOrder()
    {
        QCOMPARE(installAndListen(1002, true),
                 block(QStringLiteral("order of a declined install")));
    }

    void anUnknownProductTellsThingsInTheGuidesOrder()
    {
        QCOMPARE(installAndListen(9999), block(QStringLiteral("order of a failed install")));
    }

    void aCancelledInstallInstallsNothing()
    {
        std::vector<long> serials{ 1003 };
        auto* install = new CAPIInstallPackages(nullptr, serials, true);
        InstallButton button(install);
        QStringList heard;
        bool enabled = false;
        connect(install, &CAPIInstallPackages::signalBeginInstall, install, [&] {
            enabled = button.isEnabled();
            button.onClicked();
        });
        connect(install, &CAPIInstallPackages::signalBuildErrorReport, this,
                [&](bool ok) { heard << QString::number(ok); });
        connect(install, &CAPI::signalFailure, this,
                [&](AgentError::Code code, const QString&, const QString&) {
                    heard << AgentError::Name(code);
                });
        QVERIFY(!button.isEnabled());
        install->Execute();
        QVERIFY(enabled);
        QVERIFY(!button.isEnabled());
        QCOMPARE(heard, (QStringList{ QStringLiteral("0"), QStringLiteral("cancelled") }));
        QVERIFY(!m_machine.dpkgStatus().contains("Package: dicecards\nStatus: install ok"));
    }

    void installAndRemove()
    {
        Listener listener;
        QVERIFY(Install(&listener, 1003));
        QVERIFY(Remove(QStringLiteral("dicecards")));
    }

    void closingTheLastWindowEndsTheWait()
    {
        EndWaitsWithTheWindow(this);
        QTcpServer silent; // accepts the connection, and sends nothing
        QVERIFY(silent.listen(QHostAddress::LocalHost));
        QVERIFY(
            m_machine.useServer(QStringLiteral("http://127.0.0.1:%1").arg(silent.serverPort())));
        const QString settings
            = m_machine.root + QLatin1String("/usr/share/apps/vantrelagent/.vauf");
        QVERIFY(
            CConfigFile(settings.toStdString(), true).SetValue("response timeout", "86400", true));
        QWidget window;
        window.show();
        bool reached = true;
        QTimer::singleShot(0, this, [&reached] { reached = (new CAPIStatus)->Execute(); });
        connect(&silent, &QTcpServer::newConnection, &window, &QWidget::close);
        QCoreApplication::exec(); // ends with the window, once the wait in it has ended
        QVERIFY(!reached);
    }
};

QTEST_MAIN(GuideTest)
#include "tst_guide.moc"
