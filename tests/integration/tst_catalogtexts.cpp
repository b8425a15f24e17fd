// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Texts through the real store server, a real request, the saved files and their
// readers: each row of the page that says what becomes of them.

#include "catalog/capigetaisles.h"
#include "catalog/capisyncmymachine.h"
#include "catalog/capiupdatecatalog.h"
#include "catalog/catalogproduct.h"
#include "catalog/ccatalogmgr.h"
#include "catalog/savedtree.h"
#include "db/ccatalogfile.h"
#include "server/serverprocess.h"
#include "store/indexfile.h"
#include "tests/common/datafolder.h"
#include "tests/common/observe.h"
#include "tests/common/statusfile.h"

#include <QEventLoop>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>
#include <utility>

using namespace Agent;

namespace
{

struct Row {
    QByteArray store, reply, agent, file, back;
};

// The rows of the page's table.
QList<Row> ReadPage()
{
    QFile page(QStringLiteral(TEXTS_PAGE));
    if (!page.open(QIODevice::ReadOnly))
        qFatal("cannot read the page");
    QList<Row> rows;
    for (const QByteArray& line : page.readAll().split('\n')) {
        const int first = line.indexOf(" | `");
        if (!line.startsWith("| ") || first < 0)
            continue;
        const QStringList cells = QString::fromUtf8(line.mid(first + 4, line.size() - first - 7))
                                      .split(QStringLiteral("` | `"));
        if (cells.size() != 5)
            qFatal("a row of the page cannot be read");
        rows.append({ cells[0].toUtf8(), cells[1].toUtf8(), cells[2].toUtf8(), cells[3].toUtf8(),
                      cells[4].toUtf8() });
    }
    return rows;
}

QByteArray Bytes(const std::string& text)
{
    return QByteArray::fromStdString(text);
}

} // namespace

class CatalogTextsTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QList<Row> m_rows = ReadPage();
    std::unique_ptr<ServerProcess> m_server;
    std::vector<CatalogProduct> m_products; // as the reply has them

    void write(const char* name, const QByteArray& text) const
    {
        if (!WriteTextFile(m_dir.filePath(QLatin1String(name)), text))
            qFatal("cannot write a file of the store");
    }
    // A store in which each text stands in every field.
    void makeStore() const
    {
        QByteArray products, categories, aisles, profile, status;
        for (int i = 0; i < m_rows.size(); ++i) {
            const QByteArray serial = QByteArray::number(i + 1), text = m_rows[i].store;
            products += "Serial: " + serial + "\nName: " + text + "\nCategory: " + text
                + "\nPackage: p" + serial + "\nDescription: " + text + "\nVendor: " + text
                + "\nCopyright: " + text + "\nPrice: " + text + "\nRelease-Date: " + text
                + "\nReview-Score: " + text + "\nCategory-Ranking: " + text
                + "\nSubcategory-Ranking: " + text + "\nDownload-URL: " + text
                + "\nDetail-URL: " + text + "\nAuthor-URL: " + text + "\n\n";
            categories += "Name: " + text + "\nSerial: " + serial + "\nHome-Page: " + text + "\n\n";
            aisles += "Name: " + text + "\nDescription: " + text + "\nCategory: " + text + "\n\n";
            profile += "Serial: " + serial + "\nName: " + text + "\nPackage: p" + serial + "\n\n";
            status += "Package: p" + serial + "\nStatus: install ok installed\n\n";
        }
        write("products", products);
        write("categories", categories);
        write("aisles", aisles);
        write("profile", profile);
        write("sources", "");
        write("pool/main/Packages", "");
        WriteStatusFile(status);
    }
    static void finish(CAPI* request)
    {
        QEventLoop loop;
        connect(request, &QObject::destroyed, &loop, &QEventLoop::quit);
        QVERIFY(request->Execute());
        QTimer::singleShot(60000, &loop, &QEventLoop::quit);
        loop.exec();
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_rows.size() >= 16);
        makeStore();
        m_server = std::make_unique<ServerProcess>(m_dir.path());
        QVERIFY(m_server->isRunning());
        Setting("agent api url", m_server->url().toStdString() + "/getagentapi.php");

        auto* update = new CAPIUpdateCatalog(true, true);
        connect(update, &CAPI::SuccessfulTransfer, this, [this, update](QDomElement* body) {
            QDomElement catalog = body->firstChildElement();
            QVERIFY(update->ProcessVantrelCatalogRequest(catalog));
            ForEachCategory(body->firstChildElement(), [this](const QDomElement& category) {
                ForEachProduct(category, [this](const CatalogProduct& product) {
                    m_products.push_back(product);
                });
            });
        });
        QVERIFY(update->Execute());
        QCOMPARE(int(m_products.size()), m_rows.size());
        finish(new CAPIGetAisles(true));
        finish(new CAPISyncMyMachine(true));
    }

    void serverWritesThem()
    {
        const QByteArray reply = m_server->get("/agent/CAPIUpdateCatalog").body;
        for (const Row& row : std::as_const(m_rows)) {
            for (const char* element :
                 { "briefdescription", "vendor", "copyright", "price", "releasedate", "reviewscore",
                   "categoryranking", "subcategoryranking", "downloadURL", "applicationdetailURL",
                   "authorpageURL" })
                QVERIFY2(reply.contains('<' + QByteArray(element) + '>' + row.reply + "</" + element
                                        + '>'),
                         row.reply.constData());
            QVERIFY2(reply.contains("<product name=\"" + row.reply + "\">"), row.reply.constData());
            QVERIFY2(reply.contains("<category home_page=\"" + row.reply + "\" name=\"" + row.reply
                                    + '"'),
                     row.reply.constData());
        }
    }

    void agentHasThemAsTheyAreInTheStore()
    {
        QVERIFY(!m_products.empty());
        for (const CatalogProduct& product : m_products) {
            const Row& row = m_rows[product.ServerSerialNumber() - 1];
            QCOMPARE(row.agent, row.store);
            QCOMPARE(QByteArray::fromStdString(product.description), row.agent);
            for (const char* const field :
                 { product.Category(), product.CategoryURL(), product.Name(), product.Vendor(),
                   product.Copyright(), product.ApplicationURL(), product.AuthorURL() })
                QCOMPARE(QByteArray(field), row.agent);
            for (const QByteArray& field :
                 { QByteArray(product.Price()), QByteArray(product.ReleaseDate()),
                   QByteArray(product.ReviewScore()), QByteArray(product.CategoryRanking()),
                   QByteArray(product.SubCategoryRanking()), QByteArray(product.VantrelRanking()) })
                QVERIFY2(!field.isEmpty() && row.agent.startsWith(field), row.agent.constData());
        }
    }

    void databaseHasThemAsTheAgentHasThem()
    {
        QCOMPARE(InitIndex(), 0);
        CCatalogFile file;
        QVERIFY(file.Open());
        for (int i = 0; i < m_rows.size(); ++i) {
            const QByteArray& text = m_rows[i].agent;
            QVERIFY(file.FindServerSerialNumber(i + 1));
            for (const char* field :
                 { file.Category(), file.CategoryURL(), file.Name(), file.Vendor(),
                   file.Copyright(), file.ApplicationURL(), file.AuthorURL() })
                QCOMPARE(QByteArray(field), text);
            QCOMPARE(file.Description().toUtf8(), text);
            for (const QByteArray& field :
                 { QByteArray(file.Price()), QByteArray(file.ReleaseDate()),
                   QByteArray(file.VantrelRanking()) })
                QVERIFY2(!field.isEmpty() && text.startsWith(field), text.constData());
            QVERIFY(file.FindFirstForCategory(text));
            QCOMPARE(file.ServerSerialNumber(), i + 1);
        }
        file.Close();
        UnInitIndex();
    }

    void filesHoldThem()
    {
        const QByteArray catalog = ReadDataFile(QStringLiteral(".catalog"));
        const QByteArray aisles = ReadDataFile(QStringLiteral(".aisles"));
        const QByteArray profile = ReadDataFile(QStringLiteral(".profile"));
        for (const Row& row : std::as_const(m_rows)) {
            QVERIFY2(catalog.contains("<vendor>" + row.file + "</vendor>\n"), row.file.constData());
            QVERIFY2(catalog.contains("<product name=\"" + row.file + "\">"), row.file.constData());
            QVERIFY2(catalog.contains("<category home_page=\"" + row.file + "\" name=\"" + row.file
                                      + '"'),
                     row.file.constData());
            QVERIFY2(aisles.contains("<aisle name=\"" + row.file + "\">"), row.file.constData());
            QVERIFY2(aisles.contains('>' + row.file + "</category>\n"), row.file.constData());
            QVERIFY2(profile.contains("<name>" + row.file + "</name>\n"), row.file.constData());
        }
        QVERIFY(!catalog.contains("\n "));
    }

    void catalogIsReadBack()
    {
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        QCOMPARE(int(catalog.Applications().size()), m_rows.size());
        for (int i = 0; i < m_rows.size(); ++i) {
            CXMLNode* product = catalog.Application(i + 1);
            CXMLNode* category = catalog.Category(i + 1);
            QVERIFY(product && category && product->Parent() == category);
            QCOMPARE(Bytes(product->Attribute("name", "")), m_rows[i].back);
            QCOMPARE(Bytes(category->Attribute("name", "")), m_rows[i].back);
            QCOMPARE(Bytes(category->Attribute("home_page", "")), m_rows[i].back);
            for (const char* element : { "briefdescription", "vendor", "price", "authorpageURL" })
                QCOMPARE(Bytes(product->ChildValue(element, "")), m_rows[i].back);
        }
    }

    void aislesAndProfileAreReadBack()
    {
        CXMLNode aisles(nullptr);
        CXMLNode profile(nullptr);
        QVERIFY(ReadSavedTree(".aisles", aisles) && ReadSavedTree(".profile", profile));
        const auto aisle = aisles.ChildArray("aisle");
        const auto application = profile.ChildArray("application");
        QCOMPARE(int(aisle.size()), m_rows.size());
        QCOMPARE(int(application.size()), m_rows.size());
        for (int i = 0; i < m_rows.size(); ++i) {
            QCOMPARE(Bytes(aisle[std::size_t(i)]->Attribute("name", "")), m_rows[i].back);
            QCOMPARE(Bytes(aisle[std::size_t(i)]->ChildValue("category", "")), m_rows[i].back);
            QCOMPARE(Bytes(application[std::size_t(i)]->ChildValue("name", "")), m_rows[i].back);
        }
    }

    void personReadsThemAsTheyAreInTheStore()
    {
        for (const char* command : { "aisles", "sync" }) {
            QProcess pakmart;
            pakmart.start(QStringLiteral(PAKMART), { QLatin1String(command) });
            QVERIFY(pakmart.waitForFinished(60000));
            QCOMPARE(pakmart.exitCode(), 0);
            const QByteArray out = pakmart.readAllStandardOutput();
            for (const Row& row : std::as_const(m_rows)) {
                // A text that holds what stands for a plus sign is the exception.
                const QByteArray shown = QByteArray(row.store).replace("%2b", "+");
                QVERIFY2(out.contains(shown), shown.constData());
            }
        }
    }

    void textsLongerThanAnyFieldComeWhole()
    {
        const QByteArray category60(60, 'c'), category76(76, 'c'), text(3000, 'x');
        const auto product = [&text](const QByteArray& serial, const QByteArray& category) {
            return "Serial: " + serial + "\nName: " + text + "\nCategory: " + category
                + "\nPackage: same\nDescription: two\n lines\nVendor: " + text + "\nPrice: " + text
                + "\nDownloads: 2147483647\n\n";
        };
        write("products", product("1", category60) + product("2147483647", category76));
        write("categories", "");
        QVERIFY((new CAPIUpdateCatalog(true, true))->Execute());
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        for (const long serial : { 1L, 2147483647L }) {
            CXMLNode* found = catalog.Application(serial);
            QVERIFY(found != nullptr);
            QCOMPARE(Bytes(found->Attribute("name", "")), text);
            QCOMPARE(Bytes(found->ChildValue("vendor", "")), text);
            QCOMPARE(Bytes(found->ChildValue("price", "")), text);
            QCOMPARE(Bytes(found->ChildValue("packagename", "")), QByteArray("same"));
            QCOMPARE(Bytes(found->ChildValue("briefdescription", "")), QByteArray("two\nlines"));
            QCOMPARE(Bytes(found->ChildValue("downloads", "")), QByteArray("2147483647"));
            QCOMPARE(Bytes(found->Parent()->Attribute("name", "")),
                     serial == 1 ? category60 : category76);
        }
    }
};

QTEST_MAIN(CatalogTextsTest)
#include "tst_catalogtexts.moc"
