// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The catalog database: its record and keys byte by byte, the order of walks, the state
// after a failed save, and damaged files.

#include "db/ccatalogfile.h"
#include "store/cnote.h"
#include "store/indexpage.h"
#include "tests/db/dbtest.h"
#include "tests/db/onfiles.h"
#include "tests/store/storeshims.h"

#include <QtTest>

using namespace Agent;

namespace
{

constexpr int recordLength = 2012;

std::vector<std::string> Files()
{
    return { CCatalogFile::CATALOGDFNAME,        CCatalogFile::CATALOGIDXNAME1,
             CCatalogFile::CATALOGIDXNAME2,      CCatalogFile::CATALOGIDXNAME3,
             CCatalogFile::CATALOGIDXNAME4,      CCatalogFile::CATALOGNOTES + ".fil",
             CCatalogFile::CATALOGNOTES + ".k1", CDependency::DEPENDENCYDFNAME,
             CDependency::DEPENDENCYIDXNAME1,    CDependency::DEPENDENCYIDXNAME2 };
}

Items Index(int which)
{
    const int keyLengths[] = { 110, 50, 50, 20 };
    return ItemsOf(Files()[std::size_t(which)], keyLengths[which - 1], which < 3);
}

std::string CategoryKey(const std::string& category, const std::string& name)
{
    return category + std::string(60 - category.size(), ' ') + name;
}

// Fills a new product with equal names of product and package.
void Fill(CCatalogFile& catalog, int serial, const char* category, const char* name)
{
    catalog.AddNew();
    catalog.setServerSerialNumber(serial);
    catalog.setCategory(category);
    catalog.setName(name);
    catalog.setPackageName(name);
}

bool Add(CCatalogFile& catalog, int serial, const char* category, const char* name)
{
    Fill(catalog, serial, category, name);
    return catalog.SaveRecord();
}

QByteArrayList Walk(CCatalogFile& catalog, const char* category)
{
    QByteArrayList names;
    for (bool more = catalog.FindFirstForCategory(category); more && names.size() < 100;
         more = catalog.FindNextForCategory(category))
        names << catalog.Name();
    return names;
}

// Makes a catalog with one product, "one", with the description "text".
bool CreateWithOneText(CCatalogFile& catalog)
{
    if (!catalog.Create())
        return false;
    Fill(catalog, 1, "Games", "one");
    catalog.setDescription(QStringLiteral("text"));
    return catalog.SaveRecord();
}

} // namespace

class CatalogFileTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QCOMPARE(InitIndex(), 0); }
    void cleanupTestCase() { UnInitIndex(); }

    void filesStandInTheDataFolder()
    {
        const CCatalogFile catalog;
        const std::string folder
            = qgetenv("PAKMART_SYSROOT").toStdString() + "/usr/share/apps/vantrelagent/";
        QCOMPARE(CCatalogFile::CATALOGDFNAME, folder + ".VACatalog.fil");
        QCOMPARE(CCatalogFile::CATALOGIDXNAME1, folder + ".VACatalog.k1");
        QCOMPARE(CCatalogFile::CATALOGIDXNAME2, folder + ".VACatalog.k2");
        QCOMPARE(CCatalogFile::CATALOGIDXNAME3, folder + ".VACatalog.k3");
        QCOMPARE(CCatalogFile::CATALOGIDXNAME4, folder + ".VACatalog.k4");
        QCOMPARE(CCatalogFile::CATALOGNOTES, folder + ".VACatalogNotes");
    }

    void recordByteByByte()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        catalog.setCategory("Games");
        catalog.setName("Star Lander");
        catalog.setPackageName("starlander");
        catalog.setVersion("1.0-2");
        catalog.setVendor("Pixel");
        catalog.setCopyright("(c)");
        catalog.setPrice("9.99");
        catalog.setInstalled(true);
        catalog.setHidden(true);
        catalog.setServerSerialNumber(1001);
        catalog.setReleaseDate("2026-01-31");
        catalog.setReviewScore("4.5");
        catalog.setCategoryRanking("3");
        catalog.setSubCategoryRanking("2");
        catalog.setVantrelRanking("http://host");
        catalog.setDownloads(0x01020304);
        catalog.setFileSize(-2);
        catalog.setCategoryURL("/g");
        catalog.setApplicationURL("/s");
        catalog.setAuthorURL("/p");
        QVERIFY(catalog.SaveRecord());
        QCOMPARE(catalog.RecordNumber(), 1);
        const QByteArray golden = Golden(recordLength)
                                      .at(4, "47616d6573") // Games
                                      .at(80, "53746172204c616e646572") // Star Lander
                                      .at(131, "737461726c616e646572") // starlander
                                      .at(388, "ffffffff") // no description
                                      .at(392, "312e302d32") // 1.0-2
                                      .at(443, "506978656c") // Pixel
                                      .at(700, "286329") // (c)
                                      .at(957, "392e3939") // 9.99
                                      .at(967, "01")
                                      .at(968, "01")
                                      .at(976, "e9030000") // 1001
                                      .at(980, "323032362d30312d3331") // 2026-01-31
                                      .at(991, "342e35") // 4.5
                                      .at(1001, "33")
                                      .at(1011, "32")
                                      .at(1021, "687474703a2f2f686f73") // http://hos
                                      .at(1032, "04030201")
                                      .at(1036, "feffffff")
                                      .at(1040, "2f67")
                                      .at(1297, "2f73")
                                      .at(1554, "2f70")
                                      .bytes();
        QCOMPARE(RecordInFile(CCatalogFile::CATALOGDFNAME, 1, recordLength), golden.toHex());
        catalog.Close();
        QCOMPARE(Index(1), (Items{ { CategoryKey("Games", "Star Lander"), 1 } }));
        QCOMPARE(Index(2), (Items{ { "Star Lander", 1 } }));
        QCOMPARE(Index(3), (Items{ { "starlander", 1 } }));
        QCOMPARE(Index(4), (Items{ { "00000000000000001001", 1 } }));
    }

    void everyFieldIsReadBack()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        using Setter = const char* (CCatalogFile::*)(const char*);
        using Getter = const char* (CCatalogFile::*)() const;
        struct Field {
            Setter set;
            Getter get;
            int longest;
        };
        using C = CCatalogFile;
        const Field fields[] = {
            { &C::setCategory, &C::Category, 75 },
            { &C::setName, &C::Name, 50 },
            { &C::setPackageName, &C::PackageName, 256 },
            { &C::setVersion, &C::Version, 50 },
            { &C::setVendor, &C::Vendor, 256 },
            { &C::setCopyright, &C::Copyright, 256 },
            { &C::setPrice, &C::Price, 9 },
            { &C::setReleaseDate, &C::ReleaseDate, 10 },
            { &C::setReviewScore, &C::ReviewScore, 9 },
            { &C::setCategoryRanking, &C::CategoryRanking, 9 },
            { &C::setSubCategoryRanking, &C::SubCategoryRanking, 9 },
            { &C::setVantrelRanking, &C::VantrelRanking, 10 },
            { &C::setCategoryURL, &C::CategoryURL, 256 },
            { &C::setApplicationURL, &C::ApplicationURL, 256 },
            { &C::setAuthorURL, &C::AuthorURL, 457 },
        };
        char letter = 'a';
        for (const Field& field : fields) {
            const QByteArray text(field.longest + 7, letter++);
            QCOMPARE(QByteArray((catalog.*field.set)(text)), text.left(field.longest));
        }
        QVERIFY(catalog.SaveRecord());
        QVERIFY(catalog.GetRecord(1));
        letter = 'a';
        for (const Field& field : fields) {
            const int kept = field.set == &C::setCategory ? 60 : field.longest;
            QCOMPARE(QByteArray((catalog.*field.get)()), QByteArray(kept, letter++));
        }
        // Each of them is cut before a character that does not fit.
        for (const Field& field : fields) {
            const QByteArray text(field.longest - 1, 'x');
            for (const char* character : { "\xc3\xa4", "\xe4\xb8\xad", "\xf0\x9f\x98\x80" })
                QCOMPARE(QByteArray((catalog.*field.set)(text + character)), text);
        }
        QVERIFY(!catalog.Installed() && !catalog.Hidden());
        catalog.setInstalled(true);
        QVERIFY(catalog.Installed() && !catalog.Hidden());
    }

    void serialKeyHasTwentyDigits()
    {
        CCatalogFile catalog;
        QCOMPARE(catalog.ServerSerialNumberStr(5), "00000000000000000005");
        QCOMPARE(catalog.ServerSerialNumberStr(INT32_MAX), "00000000002147483647");
        catalog.setServerSerialNumber(42);
        QCOMPARE(catalog.ServerSerialNumberStr(), "00000000000000000042");
        char key[21];
        catalog.MakeKey4(key);
        QCOMPARE(key, "00000000000000000042");
    }

    void productsAreFoundBySerial()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        QVERIFY(!catalog.FindServerSerialNumber(-1)); // empty
        for (const int serial : { 50, 5, 500 })
            QVERIFY(Add(catalog, serial, "Games", QByteArray::number(serial)));
        QVERIFY(catalog.FindServerSerialNumber(5));
        QCOMPARE(catalog.Name(), "5");
        QVERIFY(catalog.FindServerSerialNumber("500"));
        QCOMPARE(catalog.Name(), "500");
        QVERIFY(catalog.FindServerSerialNumber(" 50 of them"));
        QCOMPARE(catalog.Name(), "50");
        QVERIFY(!catalog.FindServerSerialNumber("99999999999999999999"));
        QVERIFY(!catalog.FindServerSerialNumber(51));
        QCOMPARE(catalog.Name(), "500"); // where the search came to
        QVERIFY(!catalog.FindServerSerialNumber(501));
    }

    void negativeSerialFindsTheLowest()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        for (const int serial : { 50, 7, 500 })
            QVERIFY(Add(catalog, serial, "Games", QByteArray::number(serial)));
        QVERIFY(catalog.FindServerSerialNumber(-1));
        QCOMPARE(catalog.ServerSerialNumber(), 7);
        QVERIFY(catalog.FindServerSerialNumber("-100"));
        QCOMPARE(catalog.ServerSerialNumber(), 7);
    }

    void closedCatalogIsOpenedForASearch()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        QVERIFY(Add(catalog, 5, "Games", "five"));
        catalog.Close();
        QVERIFY(catalog.FindServerSerialNumber(5));
        QCOMPARE(catalog.Name(), "five");
        QVERIFY(!catalog.IsOpen());
        QVERIFY(!catalog.FindServerSerialNumber(6));
        QVERIFY(!catalog.GetRecord(1));
        QVERIFY(!catalog.SaveRecord());
        QVERIFY(!catalog.FindFirstForCategory(nullptr));
        QVERIFY(!catalog.FindNextForCategory(nullptr));
    }

    void categoriesAreWalkedByName()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        int serial = 1;
        for (const char* category : { "Office", "games", "Graphics" })
            for (const char* name : { "b", "C", "a" })
                QVERIFY(Add(catalog, serial++, category, (name + QByteArray(category)).data()));
        QCOMPARE(Walk(catalog, "GAMES"), (QByteArrayList{ "agames", "bgames", "Cgames" }));
        QCOMPARE(Walk(catalog, "Office"), (QByteArrayList{ "aOffice", "bOffice", "COffice" }));
        QCOMPARE(Walk(catalog, nullptr),
                 (QByteArrayList{ "agames", "bgames", "Cgames", "aGraphics", "bGraphics",
                                  "CGraphics", "aOffice", "bOffice", "COffice" }));
    }

    void categoryLongerThanItsKeyIsFound()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        const QByteArray sixty(60, 'c');
        const QByteArray umlaut = QByteArray(59, 'd') + "\xc3\xa4";
        int serial = 1;
        for (const QByteArray& category : { sixty + " and more", umlaut + " etc.", sixty + "x" })
            for (const char* name : { "b", "a" }) {
                QVERIFY(Add(catalog, serial, category, name + QByteArray::number(serial)));
                ++serial;
            }
        QCOMPARE(Walk(catalog, sixty + " and more"), (QByteArrayList{ "a2", "a6", "b1", "b5" }));
        QCOMPARE(Walk(catalog, sixty), Walk(catalog, sixty + QByteArray(99, 'y')));
        QCOMPARE(Walk(catalog, umlaut + " etc."), (QByteArrayList{ "a4", "b3" }));
        QCOMPARE(Walk(catalog, umlaut.left(59)), (QByteArrayList{ "a4", "b3" }));
        QCOMPARE(Walk(catalog, sixty.left(59)), QByteArrayList());
    }

    void nullTextsAreEmptyOnes()
    {
        CCatalogFile catalog;
        const char* const null = nullptr;
        QVERIFY(catalog.Create());
        QVERIFY(!catalog.FindServerSerialNumber(null));
        QVERIFY(!catalog.FindFirstForCategory(null));
        QVERIFY(!catalog.FindNextForCategory(null));
        QVERIFY(Add(catalog, 0, null, null));
        QVERIFY(catalog.FindServerSerialNumber(null));
        QVERIFY(catalog.FindFirstForCategory(null));
        catalog.AddDependency(null);
        catalog.setDescription(QString());
        QVERIFY(catalog.SaveRecord());
        QVERIFY(catalog.FindFirstForCategory(""));
        QCOMPARE(catalog.OwnDependencies(), (QByteArrayList{ "" }));
    }

    void emptyCategoryBeforeAnotherIsNotFound()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        QVERIFY(Add(catalog, 1, "Games", "game"));
        QVERIFY(!catalog.FindFirstForCategory("Accessories"));
        QCOMPARE(catalog.Name(), "game");
        QVERIFY(!catalog.FindFirstForCategory("Zoo"));
        // The empty text is a category, null means none.
        QVERIFY(!catalog.FindFirstForCategory(""));
        QVERIFY(catalog.FindFirstForCategory(nullptr));
        QVERIFY(Add(catalog, 2, "", "nowhere"));
        QCOMPARE(Walk(catalog, ""), (QByteArrayList{ "nowhere" }));
        QCOMPARE(Walk(catalog, nullptr), (QByteArrayList{ "nowhere", "game" }));
    }

    void walkGoesOnFromTheLoadedProduct()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        // Three with one name, then one that sorts after them.
        for (int serial = 1; serial <= 3; ++serial) {
            Fill(catalog, serial, "Games", "same");
            catalog.setPackageName(QByteArray::number(serial));
            QVERIFY(catalog.SaveRecord());
        }
        QVERIFY(Add(catalog, 4, "Games", "unlike"));
        QVERIFY(catalog.FindServerSerialNumber(2));
        QVERIFY(catalog.FindNextForCategory("Games"));
        QCOMPARE(catalog.ServerSerialNumber(), 3);
        QVERIFY(catalog.FindNextForCategory("Games"));
        QCOMPARE(catalog.ServerSerialNumber(), 4);
        QVERIFY(!catalog.FindNextForCategory("Games"));
        // A saved change of the index does not make the walk go back.
        QByteArrayList serials;
        bool more = catalog.FindFirstForCategory("Games");
        for (; more && serials.size() < 10; more = catalog.FindNextForCategory("Games")) {
            serials << catalog.ServerSerialNumberStr() + 19;
            catalog.setPackageName("new" + serials.last());
            if (serials.last() == "2")
                catalog.setName("such");
            QVERIFY(catalog.SaveRecord());
        }
        // Number 2 now sorts after number 3.
        QCOMPARE(serials, (QByteArrayList{ "1", "2", "4" }));
        QCOMPARE(Walk(catalog, nullptr), (QByteArrayList{ "same", "same", "such", "unlike" }));
    }

    void walkGoesOnFromWhateverIsLoaded()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        for (const char* name : { "a", "b", "c", "d" })
            QVERIFY(Add(catalog, *name - 'a' + 1, "Games", name));
        QVERIFY(catalog.FindFirstForCategory("Games"));
        QVERIFY(catalog.FindServerSerialNumber(3));
        QVERIFY(catalog.FindNextForCategory("Games"));
        QCOMPARE(catalog.Name(), "d");
        QVERIFY(catalog.GetRecord(1));
        QVERIFY(catalog.FindNextForCategory("Games"));
        QCOMPARE(catalog.Name(), "b");
        // The walk continues from the stored key, not from the key after the change.
        catalog.setName("z");
        QVERIFY(catalog.GetRecord(2));
        catalog.setName("z");
        QVERIFY(catalog.FindNextForCategory("Games"));
        QCOMPARE(catalog.Name(), "c");
        // A new product has no key yet.
        catalog.AddNew();
        QVERIFY(catalog.FindNextForCategory("Games"));
        QCOMPARE(catalog.Name(), "a");
    }

    void savingCutsALongCategoryInTheObject()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        QVERIFY(Add(catalog, 1, "Games", "one"));
        catalog.setCategory(QByteArray(75, 'c'));
        QVERIFY(catalog.SaveRecord());
        QCOMPARE(QByteArray(catalog.Category()), QByteArray(60, 'c'));
    }

    void walksOverPageCopiesEnd()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        for (int serial = 1; serial <= 150; ++serial)
            QVERIFY(Add(catalog, serial, "Games", "game" + QByteArray::number(serial)));
        catalog.Close();
        const Damage files(Files());
        const QByteArray sound = ReadWhole(CCatalogFile::CATALOGIDXNAME1);
        const int size = PackedLength(110);
        const int pages = int(sound.size()) / size;
        QVERIFY(pages > 5);
        for (int from = 1; from < pages; ++from) {
            for (int to = 1; to < pages; ++to) {
                WriteWhole(
                    CCatalogFile::CATALOGIDXNAME1,
                    QByteArray(sound).replace(to * size, size, sound.mid(from * size, size)));
                QVERIFY(catalog.Open());
                int steps = 0;
                for (bool more = catalog.FindFirstForCategory("Games"); more;
                     more = catalog.FindNextForCategory("Games"))
                    QVERIFY(++steps < 2000);
            }
        }
    }

    void letterCaseOfANameLeavesItsKey()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        QVERIFY(Add(catalog, 1, "Games", "Chess"));
        catalog.setName("CHESS");
        QVERIFY(catalog.SaveRecord());
        catalog.Close();
        QCOMPARE(Index(2), (Items{ { "Chess", 1 } }));
        QCOMPARE(Index(3), (Items{ { "Chess", 1 } }));
        QCOMPARE(Index(1), (Items{ { CategoryKey("Games", "CHESS"), 1 } }));
    }

    void letterCaseOfACategoryRewritesItsKey()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        QVERIFY(Add(catalog, 1, "Games", "Chess"));
        catalog.setCategory("GAMES");
        QVERIFY(catalog.SaveRecord());
        catalog.Close();
        QCOMPARE(Index(1), (Items{ { CategoryKey("GAMES", "Chess"), 1 } }));
    }

    void changedKeysMove()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        QVERIFY(Add(catalog, 1, "Games", "Chess"));
        QVERIFY(Add(catalog, 2, "Games", "Go"));
        QVERIFY(catalog.GetRecord(1));
        catalog.setCategory("Office");
        catalog.setName("Sheet");
        catalog.setPackageName("sheet");
        catalog.setServerSerialNumber(9);
        QVERIFY(catalog.SaveRecord());
        catalog.Close();
        QCOMPARE(
            Index(1),
            (Items{ { CategoryKey("Games", "Go"), 2 }, { CategoryKey("Office", "Sheet"), 1 } }));
        QCOMPARE(Index(2), (Items{ { "Go", 2 }, { "Sheet", 1 } }));
        QCOMPARE(Index(3), (Items{ { "Go", 2 }, { "sheet", 1 } }));
        QCOMPARE(Index(4), (Items{ { "00000000000000000002", 2 }, { "00000000000000000009", 1 } }));
    }

    void secondProductOfAPackageStaysHalfStored()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        QVERIFY(Add(catalog, 1, "Games", "chess"));
        Fill(catalog, 2, "Games", "other chess");
        catalog.setPackageName("CHESS");
        catalog.AddDependency("libc6");
        QVERIFY(!catalog.SaveRecord());
        QCOMPARE(catalog.RecordNumber(), 2);
        QVERIFY(!catalog.FindServerSerialNumber(2));
        QCOMPARE(Walk(catalog, "Games"), (QByteArrayList{ "chess", "other chess" }));
        QVERIFY(catalog.GetRecord(2));
        QCOMPARE(catalog.Dependencies(), QByteArrayList());
        catalog.Close();
        QCOMPARE(Index(1).size(), std::size_t(2));
        QCOMPARE(Index(2).size(), std::size_t(2));
        QCOMPARE(Index(3), (Items{ { "chess", 1 } }));
        QCOMPARE(Index(4), (Items{ { "00000000000000000001", 1 } }));
    }

    void packageNamesAreToldApartByFiftyBytes()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        const QByteArray fifty(50, 'p');
        Fill(catalog, 1, "Games", "one");
        catalog.setPackageName(fifty + "1");
        QVERIFY(catalog.SaveRecord());
        Fill(catalog, 2, "Games", "two");
        catalog.setPackageName(fifty + "2");
        QVERIFY(!catalog.SaveRecord());
        QVERIFY(catalog.GetRecord(1));
        QCOMPARE(QByteArray(catalog.PackageName()), fifty + "1");
        catalog.Close();
        QCOMPARE(Index(3), (Items{ { fifty.toStdString(), 1 } }));
    }

    void longCategoryStandsUncutUntilTheNextSave()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        const QByteArray sixty(60, 'c');
        QVERIFY(Add(catalog, 1, sixty + "0123456789", "name"));
        QCOMPARE(QByteArray(catalog.Category()), sixty);
        const auto stored = [] {
            return QByteArray(
                ReadWhole(CCatalogFile::CATALOGDFNAME).mid(recordLength + 4, 76).data());
        };
        QCOMPARE(stored(), sixty + "0123456789");
        QVERIFY(catalog.GetRecord(1));
        QCOMPARE(QByteArray(catalog.Category()), sixty);
        QVERIFY(catalog.SaveRecord());
        QCOMPARE(stored(), sixty);
        QCOMPARE(Walk(catalog, sixty), (QByteArrayList{ "name" }));
        catalog.Close();
        QCOMPARE(Index(1), (Items{ { sixty.toStdString() + "name", 1 } }));
    }

    void categoryIsNotCutInACharacter()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        const QByteArray head(59, 'c');
        QVERIFY(Add(catalog, 1, head + "\xc3\xa4rger", "name"));
        QCOMPARE(QByteArray(catalog.Category()), head);
        QCOMPARE(Walk(catalog, head), (QByteArrayList{ "name" }));
        catalog.Close();
        QCOMPARE(Index(1), (Items{ { CategoryKey(head.toStdString(), "name"), 1 } }));
    }

    void descriptionsOfAnyLengthAreKept()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        const QString text = QString::fromUtf8("Zwölf 中文 😀 & <x>\n");
        for (int serial = 1; serial <= 4; ++serial) {
            Fill(catalog, serial, "Games", QByteArray::number(serial));
            catalog.setDescription(text.repeated(serial == 4 ? 15000 : serial));
            QVERIFY(catalog.SaveRecord());
        }
        for (int serial = 1; serial <= 4; ++serial) {
            QVERIFY(catalog.FindServerSerialNumber(serial));
            QCOMPARE(catalog.Description(), text.repeated(serial == 4 ? 15000 : serial));
        }
        // A description that is too long is not stored, but its product is.
        Fill(catalog, 5, "Games", "5");
        catalog.setDescription(QString(499993, QLatin1Char('x')));
        QVERIFY(catalog.SaveRecord());
        QCOMPARE(catalog.NoteOffset(), -1);
        QVERIFY(catalog.GetRecord(5));
        QCOMPARE(catalog.Description(), QString());
    }

    void changedDescriptionIsANewNote()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        Fill(catalog, 1, "Games", "one");
        catalog.setDescription(QStringLiteral("first"));
        QVERIFY(catalog.SaveRecord());
        QCOMPARE(catalog.NoteOffset(), 0);
        QVERIFY(catalog.GetRecord(1));
        catalog.setDescription(QStringLiteral("a longer one"));
        QVERIFY(catalog.SaveRecord());
        QCOMPARE(catalog.NoteOffset(), 13); // after "first" and its header
        QVERIFY(catalog.GetRecord(1));
        QCOMPARE(catalog.Description(), QStringLiteral("a longer one"));
        catalog.Close();
        CNote notes;
        QVERIFY(notes.Open(CCatalogFile::CATALOGNOTES.c_str()));
        QVERIFY(!notes.ReadNote(0));
    }

    void clearedDescriptionKeepsItsOffset()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        Fill(catalog, 1, "Games", "one");
        catalog.setDescription(QStringLiteral("some text"));
        QVERIFY(catalog.SaveRecord());
        catalog.setDescription(QString());
        QVERIFY(catalog.SaveRecord());
        QCOMPARE(catalog.NoteOffset(), 0);
        QVERIFY(catalog.GetRecord(1));
        QCOMPARE(catalog.NoteOffset(), 0);
        QCOMPARE(catalog.Description(), QString());
        // Another product's text may be put there, and is then shown for both.
        Fill(catalog, 2, "Games", "two");
        catalog.setDescription(QStringLiteral("other"));
        QVERIFY(catalog.SaveRecord());
        QVERIFY(catalog.GetRecord(1));
        QCOMPARE(catalog.Description(), QStringLiteral("other"));
    }

    void noDescriptionDeletesAnothers_data()
    {
        QTest::addColumn<bool>("reopened");
        QTest::addColumn<QString>("text"); // what 1 is saved with at last
        for (const bool reopened : { false, true }) {
            QTest::addRow("none, %s", reopened ? "from the file" : "at once")
                << reopened << QString();
            QTest::addRow("another, %s", reopened ? "from the file" : "at once")
                << reopened << QStringLiteral("another one");
        }
    }
    void noDescriptionDeletesAnothers()
    {
        QFETCH(bool, reopened);
        QFETCH(QString, text);
        CCatalogFile catalog;
        QVERIFY(CreateWithOneText(catalog));
        saveWith(catalog, 1, QString());
        Fill(catalog, 2, "Games", "two");
        catalog.setDescription(QStringLiteral("two"));
        QVERIFY(catalog.SaveRecord());
        QCOMPARE(catalog.NoteOffset(), 0); // the former place of the text of 1
        for (int i = 0; i < 3; ++i) {
            if (reopened)
                QVERIFY(catalog.Open());
            saveWith(catalog, 1, text);
            QVERIFY(catalog.GetRecord(2));
            QCOMPARE(catalog.Description(), QStringLiteral("two"));
            QVERIFY(catalog.GetRecord(1));
            QCOMPARE(catalog.Description(), text.isEmpty() ? QStringLiteral("two") : text);
        }
        // Its own text is deleted.
        QVERIFY(catalog.Open());
        saveWith(catalog, 1, QStringLiteral("long enough for a place of its own"));
        const int place = catalog.NoteOffset();
        saveWith(catalog, 1, QString());
        catalog.Close();
        CNote notes;
        QVERIFY(notes.Open(CCatalogFile::CATALOGNOTES.c_str()));
        QVERIFY(!notes.ReadNote(place));
    }

    void whoseTextItIsIsAskedAgainAfterClosing()
    {
        CCatalogFile catalog;
        QVERIFY(CreateWithOneText(catalog));
        saveWith(catalog, 1, QString());
        catalog.Close();
        {
            CCatalogFile other;
            QVERIFY(other.Open());
            Fill(other, 2, "Games", "two");
            other.setDescription(QStringLiteral("two"));
            QVERIFY(other.SaveRecord());
            QCOMPARE(other.NoteOffset(), 0);
        }
        QVERIFY(catalog.Open());
        saveWith(catalog, 1, QString());
        QVERIFY(catalog.GetRecord(2));
        QCOMPARE(catalog.Description(), QStringLiteral("two"));
    }

    void textOverTwoOldPlacesStays()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        for (const int serial : { 1, 2, 3 }) {
            Fill(catalog, serial, "Games", QByteArray::number(serial));
            catalog.setDescription(QStringLiteral("short"));
            QVERIFY(catalog.SaveRecord());
        }
        saveWith(catalog, 2, QString());
        const int inside = catalog.NoteOffset();
        saveWith(catalog, 1, QString()); // together with that of 2
        // A text that contains a block header at the place of the old header of 2.
        QString text(inside - 8, QLatin1Char('x'));
        for (const int byte : { 0, 0, 0, 0, 8, 0, 0, 0 })
            text += QChar(byte);
        Fill(catalog, 4, "Games", "4");
        catalog.setDescription(text);
        QVERIFY(catalog.SaveRecord());
        QCOMPARE(catalog.NoteOffset(), 0);
        for (const bool reopened : { false, true }) {
            if (reopened)
                QVERIFY(catalog.Open());
            saveWith(catalog, 2, QString());
            CNote notes;
            QVERIFY(notes.Open(CCatalogFile::CATALOGNOTES.c_str()));
            QCOMPARE(notes.NoteLength(inside), 0); // looks like a note that could be deleted
            const std::unique_ptr<char, decltype(&std::free)> kept(notes.ReadNote(0), std::free);
            QCOMPARE(QByteArray(kept.get(), notes.NoteLength(0)), text.toUtf8());
        }
    }

    // If the header of free space overlaps that of a deleted text, the place still looks
    // like a text.
    void aPlaceInsideFreeSpaceIsNotFreed_data()
    {
        QTest::addColumn<bool>("reopened");
        QTest::newRow("at once") << false;
        QTest::newRow("from the file") << true;
    }
    void aPlaceInsideFreeSpaceIsNotFreed()
    {
        QFETCH(bool, reopened);
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        const auto add = [&](int serial, int length) {
            Fill(catalog, serial, "Games", QByteArray::number(serial));
            catalog.setDescription(QString(length, QLatin1Char(char('0' + serial))));
            QVERIFY(catalog.SaveRecord());
        };
        add(1, 92);
        add(2, 20);
        add(3, 1);
        saveWith(catalog, 2, QString());
        const int place = catalog.NoteOffset();
        saveWith(catalog, 1, QString()); // together with that of 2
        add(4, 92 - 5); // the remainder begins five bytes before the place of 2
        {
            CNote notes;
            QVERIFY(notes.Open(CCatalogFile::CATALOGNOTES.c_str()));
            QCOMPARE(notes.NoteLength(place), 20);
        }
        if (reopened)
            QVERIFY(catalog.Open());
        saveWith(catalog, 2, QString());
        add(5, 20);
        add(6, 25);
        QVERIFY(catalog.FindServerSerialNumber(5));
        QCOMPARE(catalog.Description(), QString(20, QLatin1Char('5')));
        catalog.Close();
        QCOMPARE(CheckNotes(CCatalogFile::CATALOGNOTES), Findings());
    }

    // The owner of a text is unknown then.
    void noTextGoesWhileProductsCannotBeRead()
    {
        SwitchedFiles switched;
        CCatalogFile catalog(OnFiles(switched));
        QVERIFY(CreateWithOneText(catalog));
        for (int serial = 2; serial < 70; ++serial)
            QVERIFY(Add(catalog, serial, "Games", QByteArray::number(serial)));
        saveWith(catalog, 1, QString());
        Fill(catalog, 70, "Games", "70");
        catalog.setDescription(QStringLiteral("last"));
        QVERIFY(catalog.SaveRecord());
        QCOMPARE(catalog.NoteOffset(), 0);
        int k = 0;
        for (bool failed = true; failed; ++k) {
            catalog.Close();
            QVERIFY(catalog.Open());
            QVERIFY(catalog.GetRecord(1));
            catalog.setDescription(QString());
            FailingFiles files(Fault::Read, k, false);
            {
                const SwitchedTo failing(switched, files);
                catalog.SaveRecord();
                failed = files.hasFailed();
            }
            QVERIFY(catalog.FindServerSerialNumber(70));
            QCOMPARE(catalog.Description(), QStringLiteral("last"));
        }
        QVERIFY(k > 2);
    }

    // Its bytes, whatever they are, do not belong to a product.
    void aRemovedRecordOwnsNoText()
    {
        CCatalogFile catalog;
        QVERIFY(CreateWithOneText(catalog));
        QVERIFY(Add(catalog, 2, "Games", "two"));
        catalog.Close();
        DataFile* const data = OpenDataFile(0, CCatalogFile::CATALOGDFNAME.c_str(), 2012);
        QVERIFY(data);
        QCOMPARE(DeleteRec(data, 2), 0);
        QCOMPARE(CloseDataFile(data), 0);
        QVERIFY(catalog.Open());
        saveWith(catalog, 1, QStringLiteral("new"));
        QCOMPARE(catalog.NoteOffset(), 0);
    }

    void newProductThatCouldNotBeAddedKeepsItsNote()
    {
        SwitchedFiles switched;
        CCatalogFile catalog(OnFiles(switched));
        QVERIFY(CreateWithOneText(catalog));
        Fill(catalog, 2, "Games", "two");
        catalog.setDescription(QStringLiteral("two"));
        {
            FailingFiles files(Fault::Write, 1, false); // the first write is the note's
            const SwitchedTo failing(switched, files);
            QVERIFY(!catalog.SaveRecord());
        }
        QCOMPARE(catalog.RecordNumber(), -1);
        const int offset = catalog.NoteOffset();
        QVERIFY(offset > 0);
        catalog.setDescription(QString());
        QVERIFY(catalog.SaveRecord());
        QVERIFY(catalog.GetRecord(2));
        QCOMPARE(catalog.NoteOffset(), offset);
        QCOMPARE(catalog.Description(), QStringLiteral("two"));
    }

    void newProductThatIsAddedAtLastHasOneNote()
    {
        SwitchedFiles switched;
        CCatalogFile catalog(OnFiles(switched));
        QVERIFY(CreateWithOneText(catalog));
        Fill(catalog, 2, "Games", "two");
        catalog.setDescription(QStringLiteral("two"));
        {
            FailingFiles files(Fault::Write, 1, false);
            const SwitchedTo failing(switched, files);
            QVERIFY(!catalog.SaveRecord());
        }
        const int offset = catalog.NoteOffset();
        QVERIFY(!catalog.IsWhole());
        catalog.setDescription(QStringLiteral("new"));
        QVERIFY(catalog.SaveRecord());
        QCOMPARE(catalog.NoteOffset(), offset); // the place of the first one
        QVERIFY(catalog.GetRecord(2));
        QCOMPARE(catalog.Description(), QStringLiteral("new"));
    }

    void newProductWithoutADescriptionDeletesNoNote()
    {
        CCatalogFile catalog;
        QVERIFY(CreateWithOneText(catalog));
        QVERIFY(Add(catalog, 2, "Games", "two"));
        QCOMPARE(catalog.NoteOffset(), -1);
        QVERIFY(catalog.GetRecord(1));
        QCOMPARE(catalog.Description(), QStringLiteral("text"));
    }

    void dependenciesGoWithTheirProduct()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        for (int serial = 1; serial <= 3; ++serial) {
            Fill(catalog, serial, "Games", QByteArray::number(serial));
            catalog.AddDependency("z" + QByteArray::number(serial));
            catalog.AddDependency("a" + QByteArray::number(serial));
            QVERIFY(catalog.SaveRecord());
        }
        QVERIFY(catalog.GetRecord(3));
        QCOMPARE(catalog.Dependencies(), (QByteArrayList{ "a3", "z3" }));
        QVERIFY(catalog.GetRecord(2));
        QCOMPARE(catalog.Dependencies(), (QByteArrayList{ "a2", "z2", "a3", "z3" }));
        QCOMPARE(catalog.OwnDependencies(), (QByteArrayList{ "a2", "z2" }));
        // The names in the list become the product's own.
        QVERIFY(catalog.SaveRecord());
        QVERIFY(catalog.GetRecord(2));
        QCOMPARE(catalog.OwnDependencies(), (QByteArrayList{ "a2", "a3", "z2", "z3" }));
        QVERIFY(catalog.GetRecord(1));
        catalog.setDependencies(catalog.OwnDependencies());
        catalog.AddDependency("m");
        QVERIFY(catalog.SaveRecord());
        QVERIFY(catalog.GetRecord(1));
        QCOMPARE(catalog.OwnDependencies(), (QByteArrayList{ "a1", "m", "z1" }));
        // A new product has no dependencies.
        catalog.AddNew();
        QCOMPARE(catalog.Dependencies(), QByteArrayList());
        QCOMPARE(catalog.OwnDependencies(), QByteArrayList());
    }

    void dependencyListOfALoadedProductGrowsByAddedNames()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        Fill(catalog, 1, "Games", "one");
        catalog.AddDependency("a");
        QVERIFY(catalog.SaveRecord());
        QVERIFY(catalog.GetRecord(1));
        catalog.AddDependency("b");
        QCOMPARE(catalog.Dependencies(), (QByteArrayList{ "a", "b" }));
        catalog.Close();
        QCOMPARE(catalog.Dependencies(), QByteArrayList());
    }

    void openMakesWhatIsNotThere()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        QVERIFY(Add(catalog, 1, "Games", "one"));
        catalog.Close();
        QVERIFY(QFile::remove(QString::fromStdString(CCatalogFile::CATALOGDFNAME)));
        QVERIFY(catalog.Open());
        QVERIFY(!catalog.FindServerSerialNumber(-1));
        QVERIFY(Add(catalog, 1, "Games", "one"));
        QVERIFY(catalog.Open()); // a second time
        QVERIFY(catalog.FindServerSerialNumber(1));
        QVERIFY(catalog.Create());
        QVERIFY(!catalog.FindServerSerialNumber(1));
    }

    void recordsThatAreNoneAreNotLoaded()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        QVERIFY(Add(catalog, 1, "Games", "one"));
        for (const int record : { -1, 0, 2, 1000000 })
            QVERIFY(!catalog.GetRecord(record));
        QCOMPARE(catalog.Name(), "one");
    }

    void unusableFilesDoNotOpen()
    {
        CCatalogFile catalog;
        QVERIFY(CreateWithOneText(catalog));
        catalog.Close();
        const int descriptors = OpenDescriptors();
        std::vector<std::string> files = Files();
        // The heap of notes has no header, so an empty file means no notes. The list of
        // free notes is rebuilt if it has no header.
        files.erase(files.begin() + 5, files.begin() + 7);
        Damage(files).forEachUnusable([&] {
            QVERIFY(!catalog.Open());
            QVERIFY(!catalog.IsOpen());
            QVERIFY(!catalog.FindServerSerialNumber(1));
            QVERIFY(!catalog.SaveRecord());
            catalog.Close();
        });
        QCOMPARE(OpenDescriptors(), descriptors);
        QVERIFY(catalog.Open());
        QVERIFY(catalog.FindServerSerialNumber(1));
        QCOMPARE(catalog.Description(), QStringLiteral("text"));
    }

    void notesThatCannotBeOpenedKeepTheCatalogClosed()
    {
        CCatalogFile catalog;
        QVERIFY(CreateWithOneText(catalog));
        catalog.Close();
        for (const char* suffix : { ".fil", ".k1" }) {
            const QString file = QString::fromStdString(CCatalogFile::CATALOGNOTES + suffix);
            QVERIFY(QFile::rename(file, file + QStringLiteral(".away")));
            QVERIFY(QDir().mkdir(file));
            QVERIFY(!catalog.Open());
            QVERIFY(QDir().rmdir(file));
            QVERIFY(QFile::rename(file + QStringLiteral(".away"), file));
        }
        WriteWhole(CCatalogFile::CATALOGNOTES + ".k1", "");
        QVERIFY(catalog.Open());
        QVERIFY(catalog.GetRecord(1));
        QCOMPARE(catalog.Description(), QStringLiteral("text"));
    }

    void damagedFilesNeitherCrashNorHang()
    {
        Random random = Random::announced();
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        for (int serial = 1; serial <= 150; ++serial) {
            Fill(catalog, serial, "Games", "game" + QByteArray::number(serial));
            catalog.setDescription(QString(serial, QLatin1Char('d')));
            catalog.AddDependency("lib" + QByteArray::number(serial));
            QVERIFY(catalog.SaveRecord());
        }
        catalog.Close();
        Damage(Files()).forEachDamaged(random, [&] {
            if (!catalog.Open())
                return;
            Walk(catalog, "Games");
            Walk(catalog, nullptr);
            for (int serial = 1; serial < 150; serial += 30)
                if (catalog.FindServerSerialNumber(serial)) {
                    catalog.setName("renamed");
                    catalog.setDescription(QStringLiteral("changed"));
                    catalog.SaveRecord();
                }
            Add(catalog, 999, "New", "new");
            catalog.Close();
        });
    }

private:
    // Loads a product and saves it with another description.
    static void saveWith(CCatalogFile& catalog, int record, const QString& text)
    {
        QVERIFY(catalog.GetRecord(record));
        catalog.setDescription(text);
        QVERIFY(catalog.SaveRecord());
    }
};

QTEST_GUILESS_MAIN(CatalogFileTest)
#include "tst_ccatalogfile.moc"
