// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The functions of the store server that show the store: its catalog, its aisles,
// the applications of an account.

#include "server/serverprocess.h"
#include "util/urlcodec.h"

#include <QDir>
#include <QDomDocument>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>
#include <csignal>

namespace
{

QByteArray Product(const QByteArray& serial, const QByteArray& name, const QByteArray& category,
                   const QByteArray& more = QByteArray())
{
    return "Serial: " + serial + "\nName: " + name + "\nCategory: " + category
        + "\nPackage: p\nDescription: d\n" + more + '\n';
}

} // namespace

class StoreCatalogTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QDomDocument m_reply;

    QString path(const char* name) const { return m_dir->filePath(QLatin1String(name)); }
    void write(const char* name, const QByteArray& text) const
    {
        if (!WriteTextFile(path(name), text))
            qFatal("cannot write a file of the store");
    }
    // The content element of a successful reply, or an empty one.
    QDomElement ask(const ServerProcess& server, const char* function)
    {
        const HttpReply reply = server.get(QByteArray("/agent/") + function);
        if (!m_reply.setContent(reply.body)
            || m_reply.documentElement().attribute(QStringLiteral("resultcode"))
                != QLatin1String("OK"))
            return QDomElement();
        return m_reply.documentElement().firstChildElement();
    }
    QDomElement ask(const char* function)
    {
        const ServerProcess server(m_dir->path());
        return ask(server, function);
    }
    static QString failure(const ServerProcess& server, const char* function)
    {
        QDomDocument document;
        document.setContent(server.get(QByteArray("/agent/") + function).body);
        return document.documentElement().attribute(QStringLiteral("msg"));
    }
    // "NAME=SERIAL" of each category, in order.
    static QStringList numbers(const QDomElement& parent)
    {
        QStringList result;
        const QString tag = QStringLiteral("category");
        for (QDomElement e = parent.firstChildElement(tag); !e.isNull();
             e = e.nextSiblingElement(tag))
            result << e.attribute(QStringLiteral("name"), url_decode(e.text())) + QLatin1Char('=')
                    + e.attribute(QStringLiteral("serialnumber"));
        return result;
    }
    // "ELEMENT=TEXT" for the children of the first product; for a child without text, the
    // name attributes of its own children.
    static QStringList firstProduct(const QDomElement& catalog)
    {
        QStringList result;
        const QDomElement product
            = catalog.elementsByTagName(QStringLiteral("product")).at(0).toElement();
        for (QDomElement e = product.firstChildElement(); !e.isNull(); e = e.nextSiblingElement()) {
            QStringList names;
            for (QDomElement n = e.firstChildElement(); !n.isNull(); n = n.nextSiblingElement())
                names << url_decode(n.attribute(QStringLiteral("name")));
            result << e.tagName() + QLatin1Char('=') + url_decode(e.text())
                    + names.join(QLatin1Char(','));
        }
        return result;
    }

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        write("products", Product("7", "A", "Tools"));
        write("sources", "");
        write("pool/main/Packages", "Package: other\nVersion: 1\nFilename: o.deb\n");
    }
    void cleanup() { m_dir.reset(); }

    // -- the catalog

    void productsStandInTheirCategoriesInOrder()
    {
        write("products",
              Product("30", "c", "Tools") + Product("4", "b", "Games")
                  + Product("10", "a", "Tools"));
        const QDomElement catalog = ask("CAPIUpdateCatalog");
        QCOMPARE(catalog.tagName(), QStringLiteral("catalog"));
        QCOMPARE(numbers(catalog),
                 (QStringList{ QStringLiteral("Games=1"), QStringLiteral("Tools=2") }));
        QStringList names;
        const QDomNodeList products = catalog.elementsByTagName(QStringLiteral("product"));
        for (int i = 0; i < products.count(); ++i)
            names << products.at(i).toElement().attribute(QStringLiteral("name"));
        QCOMPARE(names,
                 (QStringList{ QStringLiteral("b"), QStringLiteral("a"), QStringLiteral("c") }));
    }

    void categoriesThatAreNotListedGetTheFreeNumbers()
    {
        write("products",
              Product("1", "a", "B") + Product("2", "b", "A") + Product("3", "c", "C")
                  + Product("4", "d", "D"));
        write("categories", "Name: C\nSerial: 1\n\nName: gone\nSerial: 3\n");
        QCOMPARE(numbers(ask("CAPIUpdateCatalog")),
                 (QStringList{ QStringLiteral("A=2"), QStringLiteral("B=4"), QStringLiteral("C=1"),
                               QStringLiteral("D=5") }));
    }

    void everyFieldHasItsElement()
    {
        write(
            "products",
            Product("7", "A", "B",
                    "Vendor: V\nCopyright: C\nPrice: 1.00\nHidden: yes\nRelease-Date: 2026-01-02\n"
                    "Review-Score: 5\nCategory-Ranking: 1\nSubcategory-Ranking: 2\nRanking: 3\n"
                    "Downloads: 0\nDownload-URL: http://d/\nDetail-URL: http://e/?a=b&c\n"
                    "Author-URL: http://f/\n"));
        QCOMPARE(firstProduct(ask("CAPIUpdateCatalog")),
                 (QStringList{ QStringLiteral("serialnumber=7"), QStringLiteral("packagename=p"),
                               QStringLiteral("briefdescription=d"), QStringLiteral("vendor=V"),
                               QStringLiteral("copyright=C"), QStringLiteral("price=1.00"),
                               QStringLiteral("hidden=1"), QStringLiteral("releasedate=2026-01-02"),
                               QStringLiteral("reviewscore=5"), QStringLiteral("categoryranking=1"),
                               QStringLiteral("subcategoryranking=2"),
                               QStringLiteral("vantrelranking=3"), QStringLiteral("downloads=0"),
                               QStringLiteral("downloadURL=http://d/"),
                               QStringLiteral("applicationdetailURL=http://e/?a=b&c"),
                               QStringLiteral("authorpageURL=http://f/") }));
    }

    void rankingAndDownloadAddressKeepTheirOrder()
    {
        write("products", Product("7", "A", "B", "Download-URL: u\nRanking: 3\nHidden: no\n"));
        QCOMPARE(firstProduct(ask("CAPIUpdateCatalog")).mid(3),
                 (QStringList{ QStringLiteral("downloadURL=u"), QStringLiteral("vantrelranking=3"),
                               QStringLiteral("hidden=0") }));
    }

    void packageIndexSaysTheRest()
    {
        write("pool/main/Packages",
              "Package: p\nVersion: 1:2+x\nFilename: p.deb\nSize: 1234\nHomepage: http://h/\n"
              "Pre-Depends: base (>= 1)\nDepends: a (>= 1.0~), b | c, d:any,e[amd64],\n f<!x>, \n");
        QCOMPARE(firstProduct(ask("CAPIUpdateCatalog")).mid(3),
                 (QStringList{ QStringLiteral("version=1:2+x"), QStringLiteral("filesize=1234"),
                               QStringLiteral("applicationdetailURL=http://h/"),
                               QStringLiteral("dependencies=base,a,b,d,e,f") }));
    }

    void packageOfTheFirstRepositoryCounts()
    {
        write("pool/b/Packages", "Package: p\nVersion: 9\nFilename: p_9.deb\n");
        write("pool/a/Packages",
              "Package: p\nVersion: 2\nFilename: p_2.deb\n\nPackage: p\nVersion: 1\n"
              "Filename: p_1.deb\n");
        QCOMPARE(firstProduct(ask("CAPIUpdateCatalog")).mid(3),
                 (QStringList{ QStringLiteral("version=2"), QStringLiteral("dependencies=") }));
    }

    void emptyStoreHasAnEmptyCatalog()
    {
        write("products", "");
        const QDomElement catalog = ask("CAPIUpdateCatalog");
        QCOMPARE(catalog.tagName(), QStringLiteral("catalog"));
        QVERIFY(!catalog.hasChildNodes());
    }

    void productsWithoutPackagesAreServedWithoutThem()
    {
        QCOMPARE(firstProduct(ask("CAPIUpdateCatalog")).size(), 3);
    }

    // -- the aisles

    void aislesComeInTheOrderOfTheFile()
    {
        write("products", Product("1", "a", "X & Y") + Product("2", "b", "Z"));
        write("categories", "Name: Z\nSerial: 40\n");
        write("aisles",
              "Name: Second & best\nCategory: Z\nCategory: X & Y\nDescription: about\n it\n\n"
              "Name: First\nCategory: nobody\n");
        const QDomElement aisles = ask("CAPIGetAisles");
        QCOMPARE(aisles.tagName(), QStringLiteral("aisles"));
        const QDomElement first = aisles.firstChildElement();
        QCOMPARE(url_decode(first.attribute(QStringLiteral("name"))),
                 QStringLiteral("Second & best"));
        QCOMPARE(url_decode(first.firstChildElement(QStringLiteral("description")).text()),
                 QStringLiteral("about\nit"));
        QCOMPARE(numbers(first),
                 (QStringList{ QStringLiteral("Z=40"), QStringLiteral("X & Y=1") }));
        const QDomElement second = first.nextSiblingElement();
        QCOMPARE(second.attribute(QStringLiteral("name")), QStringLiteral("First"));
        QVERIFY(!second.hasChildNodes());
    }

    // -- the profile

    void applicationsComeInTheOrderOfTheFile()
    {
        write("profile",
              "Serial: 9\nName: Nine\nPackage: nine\n\nPackage: lib+x\nName: A & B\nSerial: 1\n");
        const QDomElement profile = ask("CAPISyncMyMachine");
        QCOMPARE(profile.tagName(), QStringLiteral("profile"));
        QStringList texts;
        for (QDomElement e = profile.firstChildElement(); !e.isNull(); e = e.nextSiblingElement()) {
            QCOMPARE(e.tagName(), QStringLiteral("application"));
            for (const char* name : { "name", "packagename", "serialnumber" })
                texts << url_decode(e.firstChildElement(QLatin1String(name)).text());
        }
        QCOMPARE(
            texts,
            (QStringList{ QStringLiteral("Nine"), QStringLiteral("nine"), QStringLiteral("9"),
                          QStringLiteral("A & B"), QStringLiteral("lib+x"), QStringLiteral("1") }));
    }

    // -- the files

    void missingFilesAreEmpty()
    {
        const ServerProcess server(m_dir->path());
        QVERIFY(!ask(server, "CAPIGetAisles").hasChildNodes());
        QCOMPARE(m_reply.documentElement().firstChildElement().tagName(), QStringLiteral("aisles"));
        QVERIFY(!ask(server, "CAPISyncMyMachine").hasChildNodes());
        QCOMPARE(m_reply.documentElement().firstChildElement().tagName(),
                 QStringLiteral("profile"));
    }

    void filesAreReadAgainWhenTheyComeChangeAndGo()
    {
        const ServerProcess server(m_dir->path());
        write("profile", "Serial: 1\nName: one\nPackage: p\n");
        QCOMPARE(ask(server, "CAPISyncMyMachine").childNodes().count(), 1);
        write("profile", "Serial: 1\nName: one\nPackage: p\n\nSerial: 2\nName: b\nPackage: q\n");
        QCOMPARE(ask(server, "CAPISyncMyMachine").childNodes().count(), 2);
        QVERIFY(QFile::remove(path("profile")));
        QCOMPARE(ask(server, "CAPISyncMyMachine").childNodes().count(), 0);
    }

    void brokenFilesEndTheStart_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("says");
        const auto row
            = [](const char* name, const char* file, const QByteArray& text, const char* says) {
                  QTest::newRow(name) << QByteArray(file) << text << QByteArray(says);
              };
        const QByteArray product = Product("7", "A", "B").trimmed() + '\n';
        const char* p = "products";
        row("downloads of letters", p, product + "Downloads: many\n",
            ":6: invalid number of downloads: 'many'");
        row("too many downloads", p, product + "Downloads: 2147483648\n",
            ":6: invalid number of downloads");
        row("hidden neither way", p, product + "Hidden: 1\n", ":6: hidden is yes or no, not '1'");
        row("two vendors", p, product + "Vendor: a\nVendor: b\n",
            ":7: a second Vendor for the same thing");
        row("no price", p, product + "Price:\n", ":6: Price has no value");

        const QByteArray category = "Name: A\nSerial: 1\n";
        const char* c = "categories";
        row("category without name", c, "Serial: 1\n", ":1: Name is missing here");
        row("category without number", c, "Name: A\n", ":1: Serial is missing here");
        row("category number", c, "Name: A\nSerial: x\n", ":2: a serial number is a number");
        row("category twice", c, category + "\nName: A\nSerial: 2\n", ":4: a second category 'A'");
        row("number twice", c, category + "\nName: B\nSerial: 1\n",
            ":4: a second category has this serial number");
        row("two names", c, category + "Name: B\n", ":3: a second Name for the same thing");
        row("field of a category", c, category + "Colour: red\n",
            ":3: a category has no field Colour");
        row("empty page", c, category + "Home-Page:\n", ":3: Home-Page has no value");

        const char* a = "aisles";
        row("aisle without name", a, "Category: x\n", ":1: Name is missing here");
        row("aisle without category", a, "Name: x\n", ":1: Category is missing here");
        row("two descriptions", a, "Name: x\nCategory: y\nDescription: a\nDescription: b\n",
            ":4: a second Description for the same thing");
        row("field of an aisle", a, "Name: x\nCategory*: y\n",
            ":2: this is not a `Key: value` line");
        row("no UTF-8", a, "Name: \xFF\nCategory: y\n", ":1: there is a byte that is not UTF-8");

        const char* f = "profile";
        row("no package", f, "Serial: 1\nName: x\n", ":1: Package is missing here");
        row("no number", f, "Name: x\nPackage: p\n", ":1: Serial is missing here");
        row("field of an application", f, "Serial: 1\nName: x\nPackage: p\nDate: 1\n",
            ":4: an application has no field Date");
    }
    void brokenFilesEndTheStart()
    {
        QFETCH(QByteArray, file);
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, says);
        write(file.constData(), text);
        const auto result
            = ServerProcess::run({ QStringLiteral("--port"), QStringLiteral("0"), m_dir->path() });
        QCOMPARE(result.status, 1);
        QVERIFY2(result.err.contains('/' + file + says), result.err);
    }

    void filesThatAreNoneEndTheStart_data()
    {
        QTest::addColumn<QByteArray>("file");
        for (const char* name : { "categories", "aisles", "profile" })
            QTest::newRow(name) << QByteArray(name);
    }
    void filesThatAreNoneEndTheStart()
    {
        QFETCH(QByteArray, file);
        const auto start = [this] {
            return ServerProcess::run(
                { QStringLiteral("--port"), QStringLiteral("0"), m_dir->path() });
        };
        QVERIFY(QDir().mkdir(path(file.constData())));
        QVERIFY(start().err.contains('/' + file + ": this is not a regular file"));
        QVERIFY(QDir().rmdir(path(file.constData())));
        QVERIFY(QFile::link(path("nowhere"), path(file.constData())));
        QVERIFY(start().err.contains("links are not followed"));
    }

    void aFileThatBreaksLaterFailsItsCallsAlone()
    {
        write("aisles", "Name: x\nCategory: y\n");
        ServerProcess server(m_dir->path());
        write("aisles", "Name: x\nCategory:\n");
        QCOMPARE(failure(server, "CAPIGetAisles"),
                 QStringLiteral("The store is being repaired. Please try again later."));
        QVERIFY(!ask(server, "CAPIUpdateCatalog").isNull());
        QVERIFY(!ask(server, "CAPISyncMyMachine").isNull());
        QCOMPARE(server.end(SIGTERM), 0);
        QVERIFY(server.standardError().contains("/aisles:2: "));
    }
};

QTEST_GUILESS_MAIN(StoreCatalogTest)
#include "tst_storecatalog.moc"
