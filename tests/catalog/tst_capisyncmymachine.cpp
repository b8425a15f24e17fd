// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The profile of the machine, reduced to the installed applications.

#include "../request/requests.h"

#include "catalog/capisyncmymachine.h"
#include "catalog/cxmlnode.h"
#include "tests/common/datafolder.h"
#include "tests/common/statusfile.h"

#include <QDomDocument>
#include <QEventLoop>
#include <QtTest>

namespace
{

const QString savedFile = QStringLiteral(".profile");

QByteArray Application(const QByteArray& package, const QByteArray& name = "n")
{
    return "<application><name>" + name + "</name><packagename>" + package
        + "</packagename></application>";
}

// The same application in the form of the saved file.
QByteArray Written(const QByteArray& package, const QByteArray& name = "n")
{
    return "<application><name>" + name + "</name>\n<packagename>" + package
        + "</packagename>\n</application>\n";
}

QByteArray Stanza(const QByteArray& package, const QByteArray& status = "install ok installed")
{
    return "Package: " + package + "\nStatus: " + status + "\nVersion: 1\n\n";
}

// Keeps other applications than the base class, as a host may.
class Reserved : public CAPISyncMyMachine
{
public:
    using CAPISyncMyMachine::CAPISyncMyMachine;
    // The directory does not list this class.
    QString GetAPIName() override { return QStringLiteral("CAPISyncMyMachine"); }
    void KeepInstalledPackages(CXMLNode& profile) override
    {
        profile.AddAttribute("pruned", std::string("by me"));
    }
};

} // namespace

class SyncMyMachineTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;

    static void finish(CAPI* request)
    {
        QEventLoop loop;
        connect(request, &QObject::destroyed, &loop, &QEventLoop::quit);
        QTimer::singleShot(60000, &loop, &QEventLoop::quit);
        const QPointer<CAPI> alive(request);
        QVERIFY(request->Execute());
        loop.exec();
        QVERIFY(!alive);
    }
    void profileIs(const QByteArray& element)
    {
        m_server.answer("/p",
                        ScriptedServer::http("<agentfunction resultcode=\"OK\">" + element
                                             + "</agentfunction>"));
    }
    // Runs a request that gets this profile, and returns the saved file.
    QByteArray synced(const QByteArray& element)
    {
        profileIs(element);
        finish(new CAPISyncMyMachine(true));
        return ReadDataFile(savedFile);
    }
    // The trace's own lines, without scopes.
    static QStringList linesOf(const Trace& trace)
    {
        return trace.events().filter(
            QRegularExpression(QStringLiteral("^(Checking|Deleting|Finished|Preparing) ")));
    }

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api", Directory({ { "CAPISyncMyMachine", m_server.url("/p") } }));
    }
    void init()
    {
        QFile::remove(DataPath(savedFile));
        WriteStatusFile(Stanza("a") + Stanza("c") + Stanza("gone", "deinstall ok config-files")
                        + Stanza("purged", "purge ok not-installed")
                        + Stanza("half", "install reinstreq half-installed"));
    }

    void onlyInstalledApplicationsStay()
    {
        QCOMPARE(synced("<profile>" + Application("a") + Application("b") + "</profile>"),
                 "<profile>" + Written("a") + "</profile>\n");
    }

    void packageMarkedForRemovalIsRemoved()
    {
        QCOMPARE(synced("<profile>" + Application("gone") + Application("purged") + "</profile>"),
                 QByteArray("<profile></profile>\n"));
    }

    void packageOfAnyOtherStatusStays()
    {
        QCOMPARE(synced("<profile>" + Application("half") + "</profile>"),
                 "<profile>" + Written("half") + "</profile>\n");
    }

    void applicationWithoutAPackageNameIsRemoved()
    {
        // Even if a stanza has no name.
        WriteStatusFile(Stanza("a") + "Status: install ok installed\n\n");
        QCOMPARE(synced("<profile><application><name>x</name></application>"
                        "<application/><application><packagename/></application>"
                        "<application packagename=\"a\"/></profile>"),
                 QByteArray("<profile></profile>\n"));
    }

    void emptyProfileIsSavedAsItsBareElement()
    {
        QCOMPARE(synced("<profile/>"), QByteArray("<profile></profile>\n"));
    }

    void everythingElseIsKept()
    {
        QCOMPARE(synced("<profile id=\"7\"><owner>Ann &amp; Bob</owner>" + Application("b")
                        + "<group>" + Application("b") + "</group><Application/>" + Application("c")
                        + "text</profile>"),
                 "<profile id=\"7\">text<Application></Application>\n" + Written("c") + "<group>"
                     + Written("b") + "</group>\n<owner>Ann%20%26%20Bob</owner>\n</profile>\n");
    }

    void theFirstPackageNameCounts()
    {
        QCOMPARE(synced("<profile><application><packagename>b</packagename><packagename>a"
                        "</packagename></application></profile>"),
                 QByteArray("<profile></profile>\n"));
    }

    void namesAreComparedExactly()
    {
        QCOMPARE(synced("<profile>" + Application("A") + Application("a+") + "</profile>"),
                 QByteArray("<profile></profile>\n"));
    }

    void namesAreDecodedOnce()
    {
        WriteStatusFile(Stanza("libluck++"));
        QCOMPARE(synced("<profile>" + Application("libluck%2B%2B")
                        + Application("libluck%252B%252B") + "</profile>"),
                 "<profile>" + Written("libluck%252b%252b") + "</profile>\n");
    }

    void installedButNotInTheProfileIsNotAdded()
    {
        QVERIFY(!synced("<profile>" + Application("a") + "</profile>").contains(">c<"));
    }

    void sameApplicationTwiceIsKeptTwice()
    {
        QCOMPARE(synced("<profile>" + Application("a", "x") + Application("a", "y") + "</profile>"),
                 "<profile>" + Written("a", "x") + Written("a", "y") + "</profile>\n");
    }

    void onlyTheFirstElementIsTheProfile()
    {
        QCOMPARE(synced("<!-- x --><mine>" + Application("a") + "</mine><profile/>"),
                 "<mine>" + Written("a") + "</mine>\n");
    }

    void withoutAStatusFileNothingIsInstalled()
    {
        QVERIFY(QFile::remove(StatusFile()));
        QCOMPARE(synced("<profile>" + Application("a") + "</profile>"),
                 QByteArray("<profile></profile>\n"));
    }

    void statusFileIsReadAnewEachTime()
    {
        const QByteArray profile = "<profile>" + Application("late") + "</profile>";
        QCOMPARE(synced(profile), QByteArray("<profile></profile>\n"));
        WriteStatusFile(Stanza("late"));
        QVERIFY(synced(profile).contains("late"));
    }

    void stepsAreTraced()
    {
        profileIs("<profile>" + Application("b") + Application("a") + "</profile>");
        auto* request = new CAPISyncMyMachine(true);
        const Trace trace;
        finish(request);
        QStringList events = trace.events();
        events = events.mid(
            events.indexOf(QStringLiteral("+CAPISyncMyMachine::onSuccessfulTransfer")));
        events = events.mid(
            0, events.indexOf(QStringLiteral("-CAPISyncMyMachine::onSuccessfulTransfer")) + 1);
        QCOMPARE(events,
                 (QStringList{
                     QStringLiteral("+CAPISyncMyMachine::onSuccessfulTransfer"),
                     QStringLiteral("+CAPISyncMyMachine::KeepInstalledPackages"),
                     QStringLiteral("Checking package: b"), QStringLiteral("Deleting package: b"),
                     QStringLiteral("+CXMLNode::DeleteChild(CXMLNode *)"),
                     QStringLiteral("-CXMLNode::DeleteChild(CXMLNode *)"),
                     QStringLiteral("Finished deleting"), QStringLiteral("Checking package: a"),
                     QStringLiteral("-CAPISyncMyMachine::KeepInstalledPackages"),
                     QStringLiteral("Preparing to save .profile"),
                     QStringLiteral("-CAPISyncMyMachine::onSuccessfulTransfer") }));
    }

    void missingPackageNameIsTracedEmpty()
    {
        const Trace trace;
        synced("<profile><application/></profile>");
        QCOMPARE(
            linesOf(trace),
            (QStringList{ QStringLiteral("Checking package: "),
                          QStringLiteral("Deleting package: "), QStringLiteral("Finished deleting"),
                          QStringLiteral("Preparing to save .profile") }));
    }

    void checksGoByTheNameAttributeWhereThereIsOne()
    {
        const Trace trace;
        synced("<profile><application name=\"b\"><packagename>a</packagename></application>"
               "<application name=\"C\"><packagename>c</packagename></application>"
               "<application name=\"A\"><packagename>half</packagename></application></profile>");
        QCOMPARE(linesOf(trace),
                 (QStringList{ QStringLiteral("Checking package: half"),
                               QStringLiteral("Checking package: a"),
                               QStringLiteral("Checking package: c"),
                               QStringLiteral("Preparing to save .profile") }));
        // The order in the file is the server's.
        QVERIFY(ReadDataFile(savedFile).startsWith("<profile><application name=\"b\">"));
    }

    void emptyReplyIsNotTraced()
    {
        const Trace trace;
        QCOMPARE(synced(""), QByteArray("<none>"));
        QCOMPARE(linesOf(trace), QStringList());
    }

    void pruningIsTheSubclassesToReplace()
    {
        profileIs("<profile>" + Application("b") + "</profile>");
        finish(new Reserved(true));
        QCOMPARE(ReadDataFile(savedFile),
                 "<profile pruned=\"by%20me\">" + Written("b") + "</profile>\n");
    }

    void aTreeOfTheHostsCanBePruned()
    {
        QDomDocument document;
        QVERIFY(document.setContent("<p>" + Application("a") + Application("b") + "</p>"));
        QDomNode root = document.documentElement();
        CXMLNode tree(nullptr);
        QVERIFY(tree.ReadNode(root));
        auto* request = new CAPISyncMyMachine(true);
        request->KeepInstalledPackages(tree);
        delete request;
        QCOMPARE(tree.ChildArray("application").size(), std::size_t(1));
        QCOMPARE(tree.ChildArray("application")[0]->ChildValue("packagename", ""),
                 std::string("a"));
    }

    void aThousandApplicationsArePruned()
    {
        QByteArray profile = "<profile>";
        QByteArray status;
        for (int i = 0; i < 1000; ++i) {
            profile += Application('p' + QByteArray::number(i));
            if (i % 3 == 0)
                status += Stanza('p' + QByteArray::number(i));
        }
        WriteStatusFile(status);
        const QByteArray file = synced(profile + "</profile>");
        QCOMPARE(file.count("<application>"), 334);
        for (int i = 0; i < 1000; ++i)
            QCOMPARE(file.contains(">p" + QByteArray::number(i) + "<"), i % 3 == 0);
    }

    void theMostApplicationsAreSaved()
    {
        const int most = CAPISyncMyMachine::maxApplications;
        const QByteArray file
            = synced("<profile>" + Application("a", "").repeated(most) + "</profile>");
        QCOMPARE(file.count("<application>"), most);
    }

    void moreApplicationsThanAnyMachineHasLeaveTheFile()
    {
        WriteDataFile(savedFile, "old");
        QCOMPARE(
            synced("<profile>"
                   + QByteArray("<application/>").repeated(CAPISyncMyMachine::maxApplications + 1)
                   + "</profile>"),
            QByteArray("old"));
    }
};

QTEST_MAIN(SyncMyMachineTest)
#include "tst_capisyncmymachine.moc"
