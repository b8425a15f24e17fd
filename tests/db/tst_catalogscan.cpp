// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Reading the products of the catalog in sequence: the result is that of the database,
// for any user, and damaged files do no harm.

#include "db/catalogscan.h"
#include "db/ccatalogfile.h"
#include "db/cdependency.h"
#include "db/dboptions.h"
#include "tests/db/dbtest.h"
#include "tests/store/storeshims.h"
#include "tests/store/switchedfiles.h"

#include <QtTest>
#include <cstring>
#include <functional>

using namespace Agent;

Q_DECLARE_METATYPE(std::function<void(CCatalogFile&)>)

class CatalogScanTest : public QObject
{
    Q_OBJECT

private:
    // 700 products, more than are read at once.
    static constexpr int productCount = 700;

    static void addProducts(CCatalogFile& file)
    {
        for (int i = 1; i <= productCount; ++i) {
            const QByteArray number = QByteArray::number(i);
            file.AddNew();
            file.setServerSerialNumber(10000 - i);
            file.setCategory("c" + number);
            file.setName("n" + number);
            file.setPackageName("p" + number);
            file.setVersion("v" + number);
            file.setVendor("w" + number);
            file.setCopyright("y" + number);
            file.setPrice(number);
            file.setReleaseDate("d" + number);
            file.setReviewScore("s" + number);
            file.setCategoryRanking("a" + number);
            file.setSubCategoryRanking("b" + number);
            file.setVantrelRanking("r" + number);
            file.setCategoryURL("http://c/" + number);
            file.setApplicationURL("http://a/" + number);
            file.setAuthorURL("http://u/" + number);
            file.setHidden(i % 3 == 0);
            file.setDownloads(i * 2);
            file.setFileSize(-i);
            if (i % 5 != 0)
                file.setDescription(QString(i * 11, QLatin1Char('d')) + QString::number(i));
            for (int name = 0; name < i % 4; ++name)
                file.AddDependency("lib" + QByteArray::number(9 - name));
            QVERIFY(file.SaveRecord());
        }
    }
    static int count()
    {
        CatalogScan scan;
        int products = 0;
        while (scan.Next())
            ++products;
        return products;
    }

private slots:
    void initTestCase() { QCOMPARE(InitIndex(), 0); }
    void cleanupTestCase() { UnInitIndex(); }
    void init()
    {
        CCatalogFile file;
        QVERIFY(file.Create());
        addProducts(file);
    }

    void withoutACatalogThereIsNothing()
    {
        QCOMPARE(std::remove(CCatalogFile::CATALOGDFNAME.c_str()), 0);
        CatalogScan scan;
        QVERIFY(!scan);
        QVERIFY(!scan.Next());
        QCOMPARE(scan.Name(), "");
        QCOMPARE(scan.Description(), std::string());
        QVERIFY(scan.Dependencies().empty());
    }

    void aScanOfAnotherFolderReadsOnlyThatInItsOwnFileSystem()
    {
        const QTemporaryDir dir;
        CountingFiles files;
        const DbOptions options{ dir.path().toStdString() + '/', &files };
        QVERIFY(!CatalogScan(options));
        {
            CCatalogFile file(options);
            QVERIFY(file.Create());
            file.setName("alone");
            file.setDescription(QStringLiteral("a text"));
            file.AddDependency("lib");
            QVERIFY(file.SaveRecord());
        }
        QCOMPARE(files.syncs, 10 + 3); // the files, their folder, and twice the one with the links
        const int opens = files.opens, closes = files.closes, writes = files.writes;
        const int statuses = files.statuses;
        {
            CatalogScan scan(options);
            QVERIFY(scan.Next());
            QCOMPARE(scan.Name(), "alone");
            QCOMPARE(scan.Description(), std::string("a text"));
            QCOMPARE(scan.Dependencies(), std::vector<std::string>{ "lib" });
            QVERIFY(!scan.Next());
        }
        QCOMPARE(files.opens, opens + 3);
        QCOMPARE(files.closes, closes + 3);
        QCOMPARE(files.statuses, statuses + 3);
        QCOMPARE(files.writes, writes);
    }

    void aProductIsReachedByItsRecord()
    {
        CCatalogFile file;
        QVERIFY(file.Open());
        for (int record = productCount; record >= 1; --record) {
            CatalogScan scan;
            QVERIFY(scan.MoveTo(record));
            QVERIFY(file.GetRecord(record));
            QCOMPARE(scan.RecordNumber(), record);
            QCOMPARE(scan.Name(), file.Name());
            QCOMPARE(QString::fromStdString(scan.Description()), file.Description());
            for (int i = 0; i < 2; ++i) {
                QByteArrayList names;
                for (const std::string& name : scan.Dependencies())
                    names << QByteArray::fromStdString(name);
                QCOMPARE(names, file.OwnDependencies());
            }
            QCOMPARE(scan.Next(), record < productCount);
        }
        CatalogScan scan;
        for (const int record : { 0, -1, productCount + 1 }) {
            QVERIFY(!scan.MoveTo(record));
            QCOMPARE(scan.Name(), "");
            QVERIFY(scan.Dependencies().empty());
            QVERIFY(!scan.Next());
        }
        QVERIFY(scan.MoveTo(1));
    }

    void twoHalvesAreTheWhole()
    {
        for (const int read : { 0, 1, 2, productCount / 2, productCount - 1, productCount }) {
            CatalogScan scan;
            for (int i = 0; i < read; ++i)
                QVERIFY(scan.Next());
            const auto rest = scan.SecondHalf();
            QVERIFY(rest);
            int expected = read, first = 0;
            for (; scan.Next(); ++first)
                QCOMPARE(scan.RecordNumber(), ++expected);
            int second = 0;
            for (; rest->Next(); ++second) {
                QCOMPARE(rest->RecordNumber(), ++expected);
                QCOMPARE(rest->ServerSerialNumber(), 10000 - expected);
            }
            QCOMPARE(expected, productCount);
            QVERIFY2(second - first == 0 || second - first == -1, QByteArray::number(second));
        }
    }

    void halvesAreSplitAgain()
    {
        CatalogScan scan;
        const auto second = scan.SecondHalf();
        const auto fourth = second->SecondHalf();
        const auto alone = fourth->SecondHalf();
        int products = 0;
        for (CatalogScan* const part : { &scan, second.get(), fourth.get(), alone.get() })
            while (part->Next())
                ++products;
        QCOMPARE(products, productCount);
    }

    void aCatalogThatWasReplacedIsNotSplit()
    {
        CatalogScan scan;
        QVERIFY(scan.Next());
        {
            CCatalogFile file;
            QVERIFY(file.Create());
        }
        QVERIFY(!scan.SecondHalf());
        int products = 1;
        while (scan.Next())
            ++products;
        QCOMPARE(products, productCount);
    }

    void withoutACatalogThereAreNoHalves()
    {
        QCOMPARE(std::remove(CCatalogFile::CATALOGDFNAME.c_str()), 0);
        CatalogScan scan;
        QVERIFY(!scan.SecondHalf());
        QVERIFY(!scan.Next());
    }

    void emptyCatalogHasNoProduct()
    {
        {
            CCatalogFile file;
            QVERIFY(file.Create());
        }
        CatalogScan scan;
        QVERIFY(scan);
        QVERIFY(!scan.Next());
        QVERIFY(!scan.Next());
    }

    void everyProductIsWhatTheDatabaseSays()
    {
        CCatalogFile file;
        QVERIFY(file.Open());
        CatalogScan scan;
        for (int record = 1; record <= productCount; ++record) {
            QVERIFY(scan.Next());
            QVERIFY(file.GetRecord(record));
            QCOMPARE(scan.RecordNumber(), record);
            QCOMPARE(scan.ServerSerialNumber(), file.ServerSerialNumber());
            QCOMPARE(scan.Category(), file.Category());
            QCOMPARE(scan.Name(), file.Name());
            QCOMPARE(scan.PackageName(), file.PackageName());
            QCOMPARE(scan.Version(), file.Version());
            QCOMPARE(scan.Vendor(), file.Vendor());
            QCOMPARE(scan.Copyright(), file.Copyright());
            QCOMPARE(scan.Price(), file.Price());
            QCOMPARE(scan.ReleaseDate(), file.ReleaseDate());
            QCOMPARE(scan.ReviewScore(), file.ReviewScore());
            QCOMPARE(scan.CategoryRanking(), file.CategoryRanking());
            QCOMPARE(scan.SubCategoryRanking(), file.SubCategoryRanking());
            QCOMPARE(scan.VantrelRanking(), file.VantrelRanking());
            QCOMPARE(scan.CategoryURL(), file.CategoryURL());
            QCOMPARE(scan.ApplicationURL(), file.ApplicationURL());
            QCOMPARE(scan.AuthorURL(), file.AuthorURL());
            QCOMPARE(scan.Hidden(), file.Hidden());
            QCOMPARE(scan.Downloads(), file.Downloads());
            QCOMPARE(scan.FileSize(), file.FileSize());
            QCOMPARE(QString::fromStdString(scan.Description()), file.Description());
            QByteArrayList names;
            for (const std::string& name : scan.Dependencies())
                names << QByteArray::fromStdString(name);
            QCOMPARE(names, file.OwnDependencies());
        }
        QVERIFY(!scan.Next());
        QCOMPARE(scan.Name(), "");
        QCOMPARE(scan.Description(), std::string());
    }

    void theContentHashSeesWhatAProductIs_data()
    {
        using Change = std::function<void(CCatalogFile&)>;
        QTest::addColumn<Change>("change");
        QTest::addColumn<bool>("differs");
        const auto row = [](const char* name, bool differs, const Change& change) {
            QTest::newRow(name) << change << differs;
        };
        row("nothing", false, [](CCatalogFile&) {});
        row("the mark for installed products", false,
            [](CCatalogFile& file) { file.setInstalled(true); });
        row("a name that is there", false, [](CCatalogFile& file) { file.AddDependency("b"); });
        row("serial number", true, [](CCatalogFile& file) { file.setServerSerialNumber(8); });
        row("category", true, [](CCatalogFile& file) { file.setCategory("x"); });
        row("name", true, [](CCatalogFile& file) { file.setName("x"); });
        row("package", true, [](CCatalogFile& file) { file.setPackageName("x"); });
        row("version", true, [](CCatalogFile& file) { file.setVersion("x"); });
        row("vendor", true, [](CCatalogFile& file) { file.setVendor("x"); });
        row("page", true, [](CCatalogFile& file) { file.setApplicationURL("x"); });
        row("author's page", true, [](CCatalogFile& file) { file.setAuthorURL("x"); });
        row("the same texts in other fields", true, [](CCatalogFile& file) {
            file.setPrice("y");
            file.setCopyright("price");
        });
        row("hidden", true, [](CCatalogFile& file) { file.setHidden(true); });
        row("downloads", true, [](CCatalogFile& file) { file.setDownloads(1); });
        row("size", true, [](CCatalogFile& file) { file.setFileSize(-1); });
        row("description", true, [](CCatalogFile& file) { file.setDescription("x"); });
        row("one more name", true, [](CCatalogFile& file) { file.AddDependency("d"); });
        row("a name less", true, [](CCatalogFile& file) { file.setDependencies({ "a", "b" }); });
        row("another name", true, [](CCatalogFile& file) {
            file.setDependencies({ "a", "b", "x" });
        });
    }
    void theContentHashSeesWhatAProductIs()
    {
        QFETCH(std::function<void(CCatalogFile&)>, change);
        QFETCH(bool, differs);
        const auto fill = [](CCatalogFile& file) {
            file.setServerSerialNumber(7);
            file.setPackageName("p");
            file.setCopyright("y");
            file.setPrice("price");
            file.setDescription("text");
        };
        CCatalogFile file;
        QVERIFY(file.Create());
        file.AddNew();
        fill(file);
        file.setDependencies({ "c", "a", "b" });
        QVERIFY(file.SaveRecord());
        CatalogScan before;
        QVERIFY(before.Next());
        const std::uint64_t hash = before.ContentHash();
        QCOMPARE(before.ContentHash(), hash); // again

        // In another catalog, after products with names of their own.
        QVERIFY(file.Create());
        addProducts(file);
        file.AddNew();
        fill(file);
        file.setDependencies({ "a", "b", "c" });
        change(file);
        QVERIFY(file.SaveRecord());
        CatalogScan after;
        for (int record = 1; record <= productCount; ++record) {
            QVERIFY(after.Next());
            QVERIFY(after.ContentHash() != hash);
        }
        QVERIFY(after.Next());
        QCOMPARE(after.ContentHash() != hash, differs);
    }

    void longCategoryIsCutAsTheDatabaseCutsIt()
    {
        {
            CCatalogFile file;
            QVERIFY(file.Create());
            file.AddNew();
            file.setCategory(QByteArray(75, 'c'));
            QVERIFY(file.SaveRecord());
        }
        CatalogScan scan;
        QVERIFY(scan.Next());
        QCOMPARE(scan.Category(), QByteArray(60, 'c'));
    }

    void longestDescriptionIsReadWhole()
    {
        const QString text(499992, QLatin1Char('d'));
        {
            CCatalogFile file;
            QVERIFY(file.Open());
            for (int i = 0; i < 4; ++i) {
                file.AddNew();
                file.setServerSerialNumber(20000 + i);
                file.setPackageName("long" + QByteArray::number(i));
                file.setDescription(text);
                QVERIFY(file.SaveRecord());
            }
        }
        CatalogScan scan;
        int found = 0;
        while (scan.Next())
            found += scan.ServerSerialNumber() >= 20000 && scan.Description() == text.toStdString();
        QCOMPARE(found, 4);
    }

    void nothingIsWritten()
    {
        const PlainUser nobody;
        if (access(CCatalogFile::CATALOGDFNAME.c_str(), W_OK) == 0) {
            // Not with the macro: clang warns about its empty arguments.
            QTest::qSkip("this user may write there", __FILE__, __LINE__);
            return;
        }
        QCOMPARE(count(), productCount);
    }

    void aCatalogThatIsReplacedMeanwhileIsReadOn()
    {
        CatalogScan scan;
        QVERIFY(scan.Next());
        const std::string path = CCatalogFile::CATALOGDFNAME;
        WriteWhole(path + ".other", "");
        QCOMPARE(std::rename((path + ".other").c_str(), path.c_str()), 0);
        int products = 1;
        while (scan.Next())
            ++products;
        QCOMPARE(products, productCount);
    }

    void indexesDoNotMatter()
    {
        for (const std::string& path :
             { CCatalogFile::CATALOGIDXNAME1, CCatalogFile::CATALOGIDXNAME4,
               CDependency::DEPENDENCYIDXNAME1 })
            QCOMPARE(std::remove(path.c_str()), 0);
        QCOMPARE(count(), productCount);
    }

    void withoutNotesOrDependenciesTheProductsAreThere()
    {
        QCOMPARE(std::remove((CCatalogFile::CATALOGNOTES + ".fil").c_str()), 0);
        QCOMPARE(std::remove(CDependency::DEPENDENCYDFNAME.c_str()), 0);
        CatalogScan scan;
        int products = 0;
        while (scan.Next()) {
            ++products;
            QCOMPARE(scan.Description(), std::string());
            QVERIFY(scan.Dependencies().empty());
        }
        QCOMPARE(products, productCount);
    }

    // No crash, no hang, and no unterminated text.
    void damageIsPassedOver()
    {
        Random random = Random::announced();
        Damage damage({ CCatalogFile::CATALOGDFNAME, CCatalogFile::CATALOGNOTES + ".fil",
                        CDependency::DEPENDENCYDFNAME });
        damage.forEachDamaged(random, [] {
            CatalogScan scan;
            int products = 0;
            while (scan.Next()) {
                ++products;
                QVERIFY(std::strlen(scan.AuthorURL()) < 458);
                QVERIFY(scan.Description().size() < 500000);
                scan.Dependencies();
                scan.ContentHash();
            }
            QVERIFY(products <= productCount);
        });
    }
};

QTEST_GUILESS_MAIN(CatalogScanTest)
#include "tst_catalogscan.moc"
