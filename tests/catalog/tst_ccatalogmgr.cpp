// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The saved catalog and its indexes.

#include "catalog/ccatalogmgr.h"
#include "tests/common/datafolder.h"
#include "tests/common/observe.h"
#include "tests/common/plainuser.h"

#include <QtTest>

namespace
{

const QString savedFile = QStringLiteral(".catalog");

// A product in the form of the file.
QByteArray Product(const QByteArray& serial, const QByteArray& name)
{
    return "<product name=\"" + name + "\"><serialnumber>" + serial
        + "</serialnumber>\n</product>\n";
}

QByteArray Category(const QByteArray& serial, const QByteArray& content)
{
    return "<category serialnumber=\"" + serial + "\">" + content + "</category>\n";
}

QByteArray NameOf(CXMLNode* node)
{
    return node ? QByteArray::fromStdString(node->Attribute("name", "<no name>")) : "<null>";
}

} // namespace

class CatalogMgrTest : public QObject
{
    Q_OBJECT

private:
    static void catalogIs(const QByteArray& content)
    {
        WriteDataFile(savedFile, "<catalog>" + content + "</catalog>\n");
    }

private slots:
    void init() { QFile::remove(DataPath(savedFile)); }

    void withoutAFileThereIsNothing()
    {
        CCatalogMgr catalog;
        QVERIFY(!catalog.ReadCatalog());
        QVERIFY(catalog.Category(5) == nullptr);
        QVERIFY(catalog.Application(5) == nullptr);
        QVERIFY(std::has_virtual_destructor<CCatalogMgr>::value);
    }

    void categoriesAndProductsAreFoundByTheirNumbers()
    {
        catalogIs(Category("12", Product("1001", "lander") + Product("1002", "maze"))
                  + Category("13", Product("2001", "counter")));
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        CXMLNode* category = catalog.Category(12);
        QVERIFY(category != nullptr);
        QCOMPARE(category->ChildArray("product").size(), std::size_t(2));
        QVERIFY(catalog.Category(13) != nullptr && catalog.Category(13) != category);
        QCOMPARE(NameOf(catalog.Application(1001)), QByteArray("lander"));
        QCOMPARE(NameOf(catalog.Application(1002)), QByteArray("maze"));
        QCOMPARE(NameOf(catalog.Application(2001)), QByteArray("counter"));
        QVERIFY(catalog.Application(1001)->Parent() == category);
        QVERIFY(category->Parent() == &catalog.Root());
        QCOMPARE(catalog.Root().Name(), std::string("catalog"));
    }

    void productsOfTheRootAreFound()
    {
        catalogIs(Product("7", "loose"));
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        QCOMPARE(NameOf(catalog.Application(7)), QByteArray("loose"));
    }

    void categoriesInCategoriesAreFoundAtAnyDepth()
    {
        catalogIs(Category(
            "1", Category("2", Category("3", Product("30", "deep")) + Product("20", "mid"))));
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        QVERIFY(catalog.Category(3) != nullptr);
        QVERIFY(catalog.Category(3)->Parent() == catalog.Category(2));
        QCOMPARE(NameOf(catalog.Application(30)), QByteArray("deep"));
        QCOMPARE(NameOf(catalog.Application(20)), QByteArray("mid"));
    }

    void productsInOtherElementsAreNotIndexed()
    {
        catalogIs("<shelf>" + Category("1", Product("10", "a")) + "</shelf>"
                  + Category("2", "<shelf>" + Product("20", "b") + "</shelf>"));
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        QVERIFY(catalog.Category(1) == nullptr);
        QVERIFY(catalog.Category(2) != nullptr);
        QVERIFY(catalog.Application(10) == nullptr);
        QVERIFY(catalog.Application(20) == nullptr);
    }

    void productsInProductsAreNotIndexed()
    {
        const QByteArray pair = "<product><serialnumber>1</serialnumber>\n" + Product("2", "inner")
            + Category("3", Product("4", "deeper")) + "</product>\n";
        catalogIs(pair + Category("9", pair));
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        QVERIFY(catalog.Application(1) != nullptr);
        QVERIFY(catalog.Application(2) == nullptr);
        QVERIFY(catalog.Category(3) == nullptr);
        QVERIFY(catalog.Application(4) == nullptr);
    }

    void numbers_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<long>("number");
        const auto row = [](const char* text, long number) {
            QTest::newRow(text) << QByteArray(text) << number;
        };
        row("12", 12);
        row("0042", 42);
        row("%20%09 7", 7);
        row("12x", 12);
        row("12.9", 12);
        row("x12", 0);
        row("", 0);
        row("-5", -5);
        row("%2B5", 5);
        row("0x10", 0);
        row("2147483647", 2147483647);
        row("2147483648", 2147483647);
        row("99999999999999999999", 2147483647);
        row("-99999999999999999999", -2147483648L);
    }
    void numbers()
    {
        QFETCH(QByteArray, text);
        QFETCH(long, number);
        catalogIs(Category(text, Product(text, "p")));
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        QCOMPARE(catalog.Categories().size(), std::size_t(1));
        QCOMPARE(catalog.Categories().begin()->first, number);
        QCOMPARE(NameOf(catalog.Application(number)), QByteArray("p"));
    }

    void missingNumbersAreZeroAndTheLastWins()
    {
        catalogIs("<category name=\"a\"></category><category name=\"b\"><product name=\"x\">"
                  "</product><product name=\"y\"></product></category>");
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        QCOMPARE(catalog.Categories().size(), std::size_t(1));
        QCOMPARE(NameOf(catalog.Category(0)), QByteArray("b"));
        QCOMPARE(NameOf(catalog.Application(0)), QByteArray("y"));
    }

    void ofTwoWithOneNumberTheLaterWins()
    {
        // Products of inner categories are read before their category's own products.
        catalogIs(Category("1", Product("5", "early") + Category("2", Product("5", "deep")))
                  + Category("1", Product("6", "other") + Product("6", "late")));
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        QCOMPARE(NameOf(catalog.Application(5)), QByteArray("early"));
        QCOMPARE(NameOf(catalog.Application(6)), QByteArray("late"));
        QVERIFY(catalog.Category(1) == catalog.Root().ChildArray("category").back());
    }

    void theFirstSerialNumberOfAProductCounts()
    {
        catalogIs("<product><serialnumber>1</serialnumber><serialnumber>2</serialnumber>"
                  "</product>");
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        QVERIFY(catalog.Application(1) != nullptr);
        QVERIFY(catalog.Application(2) == nullptr);
    }

    void aProductsAttributeIsNotItsNumber()
    {
        catalogIs("<product serialnumber=\"9\"></product><category><serialnumber>8</serialnumber>"
                  "</category>");
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        QVERIFY(catalog.Application(9) == nullptr);
        QVERIFY(catalog.Category(8) == nullptr);
    }

    void askingForAnUnknownNumberLeavesANullEntry()
    {
        catalogIs(Category("1", QByteArray()));
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        QVERIFY(catalog.Category(77) == nullptr);
        QVERIFY(catalog.Application(78) == nullptr);
        QCOMPARE(catalog.Categories().count(77), std::size_t(1));
        QVERIFY(catalog.Categories().at(77) == nullptr);
        QCOMPARE(catalog.Applications().count(78), std::size_t(1));
        QCOMPARE(catalog.Categories().size(), std::size_t(2));
    }

    void textsAreDecoded()
    {
        catalogIs("<product name=\"%D0%9A+%26%20%3Cb%3E\"><serialnumber>%31</serialnumber>"
                  "</product>");
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        QCOMPARE(NameOf(catalog.Application(1)), QByteArray("\xD0\x9A & <b>"));
    }

    void namesAreCaseSensitive()
    {
        catalogIs("<Category serialnumber=\"1\"></Category><PRODUCT><serialnumber>1</serialnumber>"
                  "</PRODUCT>");
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        QVERIFY(catalog.Categories().empty() && catalog.Applications().empty());
    }

    void anEmptyCatalogIsRead()
    {
        catalogIs(QByteArray());
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        QVERIFY(catalog.Categories().empty() && catalog.Applications().empty());
    }

    void readingTwiceAddsASecondCopy()
    {
        catalogIs(Category("1", Product("5", "five")));
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        CXMLNode* first = catalog.Category(1);
        QVERIFY(catalog.ReadCatalog());
        const std::vector<CXMLNode*> both = catalog.Root().ChildArray("category");
        QCOMPARE(both.size(), std::size_t(2));
        QVERIFY(both[0] == first);
        QVERIFY(catalog.Category(1) == both[1]);
        QVERIFY(catalog.Application(5)->Parent() == both[1]);
    }

    void aFileThatIsGoneLeavesWhatWasRead()
    {
        catalogIs(Category("1", QByteArray()));
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        QVERIFY(QFile::remove(DataPath(savedFile)));
        QVERIFY(!catalog.ReadCatalog());
        QVERIFY(catalog.Category(1) != nullptr);
    }

    void aHostsOwnTreeIsIndexed()
    {
        CXMLNode root(nullptr);
        auto* category = new CXMLNode(nullptr);
        category->Name("category");
        category->AddAttribute("serialnumber", std::string("4"));
        root.AddChild(category);
        CCatalogMgr catalog;
        QVERIFY(catalog.BuildCatalogNode(&root));
        QVERIFY(catalog.Category(4) == category);
    }

    void brokenFilesGiveNothing_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("not XML") << QByteArray("hello");
        QTest::newRow("blank") << QByteArray(" \n");
        QTest::newRow("two roots") << QByteArray("<a></a>\n<b></b>\n");
        QTest::newRow("a comment's node") << QByteArray("<a><#comment></#comment>\n</a>\n");
        QTest::newRow("zero byte") << QByteArray("<a>\0</a>", 8);
        QTest::newRow("no UTF-8") << QByteArray("<a>\xC3(</a>");
        QTest::newRow("entity") << QByteArray("<!DOCTYPE a [<!ENTITY b 'c'>]><a>&b;</a>");
        QTest::newRow("nested 100,000 deep") << QByteArray(
            QByteArray("<category>").repeated(100000) + QByteArray("</category>").repeated(100000));
    }
    void brokenFilesGiveNothing()
    {
        QFETCH(QByteArray, text);
        WriteDataFile(savedFile, text);
        CCatalogMgr catalog;
        QVERIFY(!catalog.ReadCatalog());
        QVERIFY(catalog.Categories().empty() && catalog.Applications().empty());
        QCOMPARE(catalog.Root().ChildCount(), 0);
    }

    void fileCutAtAnyByteGivesNothing()
    {
        const QByteArray text = "<catalog>" + Category("1", Product("5", "five")) + "</catalog>\n";
        for (int size = 0; size < text.size() - 1; ++size) {
            WriteDataFile(savedFile, text.left(size));
            CCatalogMgr catalog;
            QVERIFY(!catalog.ReadCatalog());
            QVERIFY(catalog.Categories().empty() && catalog.Applications().empty());
        }
    }

    void flippedBytesDoNotCrash()
    {
        const QByteArray text = "<catalog>" + Category("1", Product("5", "five")) + "</catalog>\n";
        int read = 0;
        for (int at = 0; at < text.size(); ++at) {
            for (const char byte : { '<', '>', '"', '&', '\0', '\xFF', '/' }) {
                QByteArray damaged = text;
                damaged[at] = byte;
                WriteDataFile(savedFile, damaged);
                CCatalogMgr catalog;
                read += catalog.ReadCatalog() ? 1 : 0;
            }
        }
        QVERIFY(read > 0); // for example after a changed letter in a name
    }

    void folderInItsPlaceGivesNothing()
    {
        QVERIFY(QDir().mkdir(DataPath(savedFile)));
        CCatalogMgr catalog;
        QVERIFY(!catalog.ReadCatalog());
        QVERIFY(QDir().rmdir(DataPath(savedFile)));
    }

    void unreadableFileGivesNothing()
    {
        catalogIs(Category("1", QByteArray()));
        QVERIFY(QFile::setPermissions(DataPath(savedFile), QFile::Permissions()));
        const PlainUser user;
        CCatalogMgr catalog;
        QVERIFY(!catalog.ReadCatalog());
    }

    void deepestCatalogIsIndexed()
    {
        QByteArray text = "x";
        for (int i = 511; i > 0; --i)
            text = "<category serialnumber=\"" + QByteArray::number(i) + "\">" + text
                + "</category>\n";
        catalogIs(text);
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        QCOMPARE(catalog.Categories().size(), std::size_t(511));
        QCOMPARE(catalog.Category(511)->Value(), std::string("x"));
    }

    void theFileIsOnlyRead()
    {
        catalogIs(Category("1", Product("5", "five")));
        const QByteArray before = ReadDataFile(savedFile);
        CCatalogMgr catalog;
        QVERIFY(catalog.ReadCatalog());
        catalog.Application(99);
        QCOMPARE(ReadDataFile(savedFile), before);
        QCOMPARE(DataFiles(), QStringList(savedFile));
    }
};

QTEST_GUILESS_MAIN(CatalogMgrTest)
#include "tst_ccatalogmgr.moc"
