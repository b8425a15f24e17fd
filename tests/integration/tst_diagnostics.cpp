// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The logging categories: silent by default, and their messages when switched on.

#include "catalog/catalogproduct.h"
#include "catalog/cxmlnode.h"
#include "catalog/savedtree.h"
#include "db/ccatalogfile.h"
#include "db/cdpkg.h"
#include "db/dboptions.h"
#include "db/productfields.h"
#include "db/rebuild.h"
#include "install/crun.h"
#include "install/crunaptget.h"
#include "tests/common/datafolder.h"
#include "tests/request/requests.h"
#include "util/logcatalog.h"
#include "util/logdb.h"
#include "util/loginstall.h"
#include "util/logrequest.h"
#include "util/logsettings.h"
#include "util/paths.h"

#include <QProcess>
#include <QtTest>

using namespace Agent;

namespace
{

// The messages of the library's categories, each as "category text".
QStringList said;
QtMessageHandler before = nullptr;

void Listen(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    const QString category = QString::fromLatin1(context.category);
    if (category.startsWith(QLatin1String("vantrel.")))
        said << category + QLatin1Char(' ') + text;
    else
        before(type, context, text);
}

} // namespace

class DiagnosticsTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;

    void ask(const QByteArray& body)
    {
        m_server.answer("/t", ScriptedServer::http(body));
        TestRequest::Record record;
        (new TestRequest(record))->Execute();
    }
    // Triggers messages of each category. Returns the number of lines on standard output.
    int work()
    {
        const StandardOutput output;
        said.clear();
        ask("<agentfunction resultcode=\"OK\"/>");
        ask("<!DOCTYPE a [<!ENTITY b \"c\">]><a/>");
        ask("<a></b>");
        Setting("max reply size", "1000");
        ask("<a>" + QByteArray(4000, 'x') + "</a>");
        Setting("max reply size", "100000");
        CXMLNode tree(nullptr);
        tree.Name("catalog");
        SaveTree(tree, ".aisles");
        SaveTree(tree, "no/such/folder");
        CatalogProduct product;
        product.Set(Catalog::FieldOf("package"), "twice");
        const auto fill = [&product](CCatalogFile& file) {
            for (const char* serial : { "1", "2" }) {
                product.Set(Catalog::FieldOf("serial"), serial);
                RecordProduct(product, file);
            }
        };
        RebuildCatalogDatabase(Agent::DbOptions(), fill, [] { return false; });
        CDpkg().ReadStatusFile();
        CRunAptGet().Run('I', "anything", false, false);
        CRun(QStringLiteral("/bin/sh"), QStringLiteral("-c exit"), true).Run();
        return output.lines().size();
    }
    static bool saidIt(const char* pattern)
    {
        return !said.filter(QRegularExpression(QLatin1String(pattern))).isEmpty();
    }

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api", Directory({ { "TestRequest", m_server.url("/t") } }));
        before = qInstallMessageHandler(Listen);
    }
    void cleanupTestCase() { qInstallMessageHandler(before); }

    void nothingIsSaidByDefault()
    {
        work();
        QCOMPARE(said, QStringList());
    }

    void eachCategorySpeaksWhenAsked()
    {
        // The lines on standard output are the same with the messages and without.
        const int lines = work();
        QLoggingCategory::setFilterRules(QStringLiteral("vantrel.agent.*=true"));
        QCOMPARE(work(), lines);
        QLoggingCategory::setFilterRules(QString());
        for (const char* pattern :
             { "^vantrel.agent.request TestRequest has begun its transfer into .*/tmp/",
               "^vantrel.agent.request TestRequest has ended its transfer, error 0, with 34 "
               "bytes",
               "^vantrel.agent.request refused an XML text .*holds declarations",
               "^vantrel.agent.request an XML text has an error in line 1: ",
               "^vantrel.agent.request TestRequest was cut off after ",
               "^vantrel.agent.catalog wrote .*/.aisles$",
               "^vantrel.agent.catalog cannot write .*/no/such/folder: ",
               "^vantrel.agent.catalog replaced the catalog by that in .*/.VACatalog.gen-[0-9]+/$",
               "^vantrel.agent.db product 2 is not whole",
               "^vantrel.agent.db cannot read dpkg's status file: ",
               "^vantrel.agent.install the front end .* was not started for 'anything'$",
               "^vantrel.agent.install /bin/sh -c exit has ended with 0$" })
            QVERIFY2(saidIt(pattern), qPrintable(pattern + said.join(QLatin1Char('\n'))));
    }

    void anUnreadableSettingsFileIsTold()
    {
        const QString file = DataPath(QStringLiteral(".vauf"));
        QVERIFY(QFile::rename(file, file + QStringLiteral(".away")));
        QVERIFY(QFile::link(file, file));
        said.clear();
        SettingsFile();
        QCOMPARE(said, QStringList());
        QLoggingCategory::setFilterRules(QStringLiteral("vantrel.agent.settings=true"));
        SettingsFile();
        QLoggingCategory::setFilterRules(QString());
        QVERIFY(saidIt("^vantrel.agent.settings cannot read .*/.vauf: "));
        QVERIFY(QFile::remove(file) && QFile::rename(file + QStringLiteral(".away"), file));
    }

    void theEnvironmentSwitchesThemOn()
    {
        Setting("agent api url", "http://127.0.0.1:1/api");
        for (const bool asked : { false, true }) {
            QProcess process;
            auto environment = QProcessEnvironment::systemEnvironment();
            environment.insert(QStringLiteral("QT_LOGGING_TO_CONSOLE"), QStringLiteral("1"));
            if (asked)
                environment.insert(QStringLiteral("QT_LOGGING_RULES"),
                                   QStringLiteral("vantrel.agent.request=true"));
            process.setProcessEnvironment(environment);
            process.setProcessChannelMode(QProcess::MergedChannels);
            process.start(QStringLiteral(PAKMART),
                          { QStringLiteral("--verbose"), QStringLiteral("update") });
            QVERIFY(process.waitForFinished(120000));
            const QByteArray text = process.readAll();
            QVERIFY2(text.contains("The API directory could not be fetched."), text.constData());
            QVERIFY2(text.contains("vantrel.agent.request: there is no API directory") == asked,
                     text.constData());
        }
    }

    void theListOfCategoriesIsComplete()
    {
        QFile file(QStringLiteral(CATEGORIES));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QStringList listed;
        for (const QByteArray& line : file.readAll().split('\n')) {
            if (!line.isEmpty() && !line.startsWith('#'))
                listed << QString::fromUtf8(line.left(line.indexOf(' ')));
        }
        QStringList made;
        for (const QLoggingCategory* category :
             { &logRequest(), &logCatalog(), &logInstall(), &logDb(), &logSettings() })
            made << QString::fromLatin1(category->categoryName());
        QCOMPARE(listed, made);
    }
};

QTEST_MAIN(DiagnosticsTest)
#include "tst_diagnostics.moc"
