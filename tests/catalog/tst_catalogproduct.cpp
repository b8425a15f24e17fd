// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The walk over a catalog element, from the reply to what is to be recorded.

#include "catalog/capiupdatecatalog.h"
#include "catalog/catalogproduct.h"
#include "tests/common/datafolder.h"
#include "tests/request/requests.h"

#include <QDomDocument>
#include <QtTest>
#include <limits>

using namespace Agent;

namespace
{

using Products = std::vector<CatalogProduct>;
using Strings = std::vector<std::string>;

// The products of all categories, in order.
Products ProductsOf(const QByteArray& content)
{
    QDomDocument document;
    if (!document.setContent("<catalog>" + content + "</catalog>"))
        qFatal("the test's own XML is broken");
    Products products;
    ForEachCategory(document.documentElement(), [&products](const QDomElement& category) {
        ForEachProduct(category,
                       [&products](const CatalogProduct& product) { products.push_back(product); });
    });
    return products;
}

// The one product of these elements, in one category.
CatalogProduct ProductOf(const QByteArray& elements)
{
    const Products products
        = ProductsOf("<category><product>" + elements + "</product></category>");
    return products.size() == 1 ? products.front() : CatalogProduct();
}

Strings Names(const Products& products)
{
    Strings names;
    for (const CatalogProduct& product : products)
        names.push_back(product.Name());
    return names;
}

} // namespace

class CatalogProductTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api", Directory({ { "CAPIUpdateCatalog", m_server.url("/c") } }));
    }

    void everyElementGoesToItsField()
    {
        const Products products = ProductsOf(
            "<category name=\"Games+%26+Fun\" home_page=\"http://g.example/?a=%2B\" other=\"x\">"
            "<product name=\"Dice%20%26+Cards\">"
            "<packagename>dice%2Bcards</packagename>"
            "<briefdescription>two+games</briefdescription>"
            "<version>1:2.0-1</version>"
            "<vendor>A+B</vendor>"
            "<copyright>%C2%A9+2026</copyright>"
            "<price>9.99</price>"
            "<hidden>1</hidden>"
            "<serialnumber>1003</serialnumber>"
            "<releasedate>2026-11-21</releasedate>"
            "<reviewscore>4.5</reviewscore>"
            "<categoryranking>3</categoryranking>"
            "<subcategoryranking>2</subcategoryranking>"
            "<vantrelranking>17</vantrelranking>"
            "<downloads>12345</downloads>"
            "<filesize>20672</filesize>"
            "<applicationdetailURL>http://d.example/%3Fx</applicationdetailURL>"
            "<authorpageURL>http://a.example/</authorpageURL>"
            "<dependencies><dependency name=\"libluck%2B%2B\"/><other name=\"libc6\"/><x/>"
            "</dependencies>"
            "</product></category>");
        QCOMPARE(products.size(), std::size_t(1));
        const CatalogProduct& product = products.front();
        QCOMPARE(product.Category(), "Games & Fun");
        QCOMPARE(product.CategoryURL(), "http://g.example/?a=+");
        QCOMPARE(product.Name(), "Dice & Cards");
        QCOMPARE(product.PackageName(), "dice+cards");
        QCOMPARE(product.description, std::string("two games"));
        QCOMPARE(product.Version(), "1:2.0-1");
        QCOMPARE(product.Vendor(), "A B");
        QCOMPARE(product.Copyright(), "\xC2\xA9 2026");
        QCOMPARE(product.Price(), "9.99");
        QCOMPARE(product.Hidden(), true);
        QCOMPARE(int(product.ServerSerialNumber()), 1003);
        QCOMPARE(product.ReleaseDate(), "2026-11-21");
        QCOMPARE(product.ReviewScore(), "4.5");
        QCOMPARE(product.CategoryRanking(), "3");
        QCOMPARE(product.SubCategoryRanking(), "2");
        QCOMPARE(product.VantrelRanking(), "17");
        QCOMPARE(int(product.Downloads()), 12345);
        QCOMPARE(int(product.FileSize()), 20672);
        QCOMPARE(product.ApplicationURL(), "http://d.example/?x");
        QCOMPARE(product.AuthorURL(), "http://a.example/");
        QCOMPARE(product.dependencies, (Strings{ "libluck++", "libc6", "" }));
    }

    void missingElementsAreEmpty()
    {
        const Products products = ProductsOf("<category><product/></category>");
        QCOMPARE(products.size(), std::size_t(1));
        const CatalogProduct& product = products.front();
        QCOMPARE(product.description, std::string());
        for (const ProductRecord::Value& value : product.Values()) {
            QCOMPARE(value.text, "");
            QCOMPARE(int(value.number), 0);
        }
        QVERIFY(product.dependencies.empty());
    }

    void productWithoutANameHasAnEmptyOne()
    {
        const Products products
            = ProductsOf("<category><product><name>not this</name></product></category>");
        QCOMPARE(Names(products), Strings{ "" });
    }

    // -- the walk

    void categoriesInOtherElementsAreNotProcessed()
    {
        QCOMPARE(Names(ProductsOf("<group><category><product name=\"a\"/></category></group>"
                                  "<category><product name=\"b\"/></category>"
                                  "<Category><product name=\"c\"/></Category>"
                                  "<product name=\"d\"/>")),
                 Strings{ "b" });
    }

    void productsInWrappersAreFoundInOrder()
    {
        const Products products = ProductsOf(
            "<category name=\"c\"><product name=\"1\"/><shelf><product name=\"2\"/>"
            "<box><product name=\"3\"/></box></shelf><product name=\"4\"/></category>");
        QCOMPARE(Names(products), (Strings{ "1", "2", "3", "4" }));
    }

    void categoriesInCategoriesBelongToTheOuterOne()
    {
        const Products products = ProductsOf(
            "<category name=\"outer\"><category name=\"inner\"><product name=\"a\"/></category>"
            "</category>");
        QCOMPARE(products.size(), std::size_t(1));
        QCOMPARE(products.front().Category(), "outer");
    }

    void productsInProductsAreProductsAsWell()
    {
        const Products products
            = ProductsOf("<category><product name=\"a\"><version>1</version><product name=\"b\">"
                         "<version>2</version></product><vendor>v</vendor></product></category>");
        QCOMPARE(Names(products), (Strings{ "a", "b" }));
        QCOMPARE(products[0].Version(), "1");
        QCOMPARE(products[0].Vendor(), "v");
        QCOMPARE(products[1].Version(), "2");
        QCOMPARE(products[1].Vendor(), "");
    }

    void aProductOfTwoCategoriesComesTwice()
    {
        const Products products
            = ProductsOf("<category name=\"x\"><product name=\"a\"><serialnumber>1</serialnumber>"
                         "</product></category><category name=\"y\"><product name=\"a\">"
                         "<serialnumber>1</serialnumber></product></category>");
        QCOMPARE(products.size(), std::size_t(2));
        QCOMPARE(products[0].Category(), "x");
        QCOMPARE(products[1].Category(), "y");
    }

    void sameNumbersAndPackagesAllCome()
    {
        const QByteArray product = "<product><serialnumber>1</serialnumber>"
                                   "<packagename>p</packagename></product>";
        QCOMPARE(ProductsOf("<category>" + product.repeated(3) + "</category>").size(),
                 std::size_t(3));
    }

    void emptyCatalogHasNothing()
    {
        QVERIFY(ProductsOf("").empty());
        QVERIFY(ProductsOf("text<!-- <category/> -->").empty());
        QVERIFY(ProductsOf("<category/><category name=\"c\"/>").empty());
    }

    // -- the elements of a product

    void elementsComeInAnyOrderAndTheLastOfANameCounts()
    {
        const CatalogProduct product = ProductOf("<filesize>1</filesize><vendor>a</vendor>"
                                                 "<version>1</version><vendor>b</vendor>"
                                                 "<filesize>2</filesize><vendor/>");
        QCOMPARE(product.Vendor(), "");
        QCOMPARE(product.Version(), "1");
        QCOMPARE(int(product.FileSize()), 2);
    }

    void listsOfDependenciesAddUp()
    {
        QCOMPARE(ProductOf("<dependencies><d name=\"b\"/></dependencies><vendor/>"
                           "<dependencies/><dependencies><d name=\"a\"/><d name=\"b\"/>"
                           "</dependencies>")
                     .dependencies,
                 (Strings{ "b", "a", "b" }));
    }

    void unknownElementsAreIgnored()
    {
        const CatalogProduct product
            = ProductOf("<colour>red</colour><Version>9</Version><serialNumber>9</serialNumber>"
                        "<downloadurl>u</downloadurl><vendor>a</vendor>text<!-- note --><?pi?>");
        QCOMPARE(product.Version(), "");
        QCOMPARE(product.VantrelRanking(), "");
        QCOMPARE(int(product.ServerSerialNumber()), 0);
        QCOMPARE(product.Vendor(), "a");
    }

    void elementsBelowOthersAreNotTheProducts()
    {
        const CatalogProduct product
            = ProductOf("<details><version>9</version><serialnumber>9</serialnumber></details>");
        QCOMPARE(product.Version(), "");
        QCOMPARE(int(product.ServerSerialNumber()), 0);
    }

    void theDownloadAddressAndTheRankingShareAField()
    {
        QCOMPARE(ProductOf("<vantrelranking>5</vantrelranking><downloadURL>http://x/</downloadURL>")
                     .VantrelRanking(),
                 "http://x/");
        QCOMPARE(ProductOf("<downloadURL>http://x/</downloadURL><vantrelranking>5</vantrelranking>")
                     .VantrelRanking(),
                 "5");
    }

    void allTextOfAnElementCounts()
    {
        QCOMPARE(ProductOf("<vendor>a<b>b</b><![CDATA[<c>]]>&amp;<!-- no -->d</vendor>").Vendor(),
                 "ab<c>&d");
    }

    void hidden_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("hidden");
        const auto row = [](const char* text, bool hidden) {
            QTest::newRow(text) << QByteArray(text) << hidden;
        };
        row("0", false);
        row("1", true);
        row("2", true);
        row("-1", true);
        row("00", false);
        row("yes", false);
        row("true", false);
        row("1yes", true);
        row("", false);
        row("4294967296", true);
        row("%31", false); // not decoded
        row("%2B1", false);
        row("+1", true);
    }
    void hidden()
    {
        QFETCH(QByteArray, text);
        QTEST(ProductOf("<hidden>" + text + "</hidden>").Hidden(), "hidden");
    }

    void numbers_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("number");
        const auto row = [](const char* text, int number) {
            QTest::newRow(text) << QByteArray(text) << number;
        };
        row("42", 42);
        row("0042", 42);
        row("+42", 42);
        row("-42", -42);
        row("\n\t 42\n", 42);
        row("42 kB", 42);
        row("about 42", 0);
        row("4,200", 4);
        row("%34%32", 0); // numbers are not decoded
        row("", 0);
        row("2147483647", std::numeric_limits<int>::max());
        row("2147483648", std::numeric_limits<int>::max());
        row("99999999999999999999", std::numeric_limits<int>::max());
        row("-2147483649", std::numeric_limits<int>::min());
    }
    void numbers()
    {
        QFETCH(QByteArray, text);
        QFETCH(int, number);
        for (const char* name : { "serialnumber", "downloads", "filesize" }) {
            const CatalogProduct product
                = ProductOf('<' + QByteArray(name) + '>' + text + "</" + name + '>');
            QCOMPARE(int(product.ServerSerialNumber() + product.Downloads() + product.FileSize()),
                     number);
        }
    }

    void longTextsAreCutToTheirFieldsButTheDescription()
    {
        const QByteArray text(100000, 'x');
        const CatalogProduct product = ProductOf("<vendor>" + text + "</vendor><briefdescription>"
                                                 + text + "</briefdescription>");
        QCOMPARE(QByteArray(product.Vendor()), text.left(256));
        QCOMPARE(QByteArray::fromStdString(product.description), text);
        const Products products = ProductsOf("<category name=\"" + text.left(60)
                                             + "\"><product/></category>"
                                               "<category name=\""
                                             + text.left(76) + "\"><product/></category>");
        QCOMPARE(QByteArray(products[0].Category()), text.left(60));
        QCOMPARE(QByteArray(products[1].Category()), text.left(75));
    }

    void textsAreDecoded_data()
    {
        QTest::addColumn<QByteArray>("xml");
        QTest::addColumn<QByteArray>("text");
        const auto row = [](const char* name, const char* xml, const char* text) {
            QTest::newRow(name) << QByteArray(xml) << QByteArray(text);
        };
        row("plus", "a+b%2Bc\\+d", "a b+c+d");
        row("percent", "100%25 5% %zz", "100% 5% %zz");
        row("quotes", "&quot;a&quot; %22b%22 'c' %27d%27", "\"a\" \"b\" 'c' 'd'");
        row("brackets", "&lt;b&gt; %3Cb%3E", "<b> <b>");
        row("ampersand", "a &amp; b %26 c &amp;amp;", "a & b & c &amp;");
        row("backslash", "a\\b %5C \\\\ c\\", "ab \\ \\ c");
        row("Cyrillic", "\xD0\x9A %D0%BE", "\xD0\x9A \xD0\xBE");
        row("Chinese", "\xE7\x8C\xAB %E7%8C%AB", "\xE7\x8C\xAB \xE7\x8C\xAB");
        row("emoji", "\xF0\x9F\x90\x88 %F0%9F%90%88", "\xF0\x9F\x90\x88 \xF0\x9F\x90\x88");
        row("zero byte", "a%00b", "a");
        row("line end", "a%0Ab", "a\nb");
    }
    void textsAreDecoded()
    {
        QFETCH(QByteArray, xml);
        QFETCH(QByteArray, text);
        const Products products = ProductsOf("<category name=\"" + xml + "\" home_page=\"" + xml
                                             + "\"><product name=\"" + xml + "\"><authorpageURL>"
                                             + xml + "</authorpageURL><dependencies><d name=\""
                                             + xml + "\"/></dependencies></product></category>");
        QCOMPARE(products.size(), std::size_t(1));
        const CatalogProduct& product = products.front();
        for (const char* const field : { product.Category(), product.CategoryURL(), product.Name(),
                                         product.AuthorURL(), product.dependencies.at(0).c_str() })
            QCOMPARE(QByteArray(field), text);
    }

    // -- the request

    void updateThatIsToldToWaitHasSavedItsCatalog()
    {
        m_server.answer("/c",
                        ScriptedServer::http("<agentfunction resultcode=\"OK\"><catalog>"
                                             "<category name=\"a b\"/></catalog>"
                                             "</agentfunction>"));
        bool complete = false;
        auto* request = new CAPIUpdateCatalog(true, true);
        connect(request, &CAPI::APIComplete, this, [&complete](bool ok) { complete = ok; });
        QVERIFY(request->Execute());
        QVERIFY(complete);
        QCOMPARE(ReadDataFile(QStringLiteral(".catalog")),
                 QByteArray("<catalog><category name=\"a%20b\"></category>\n</catalog>\n"));
        QVERIFY(QFile::remove(DataPath(QStringLiteral(".catalog"))));
    }
};

QTEST_MAIN(CatalogProductTest)
#include "tst_catalogproduct.moc"
