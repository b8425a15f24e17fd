// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The check of a database finds nothing in a sound one, a remark for a refused save, and
// a fault for each kind of disagreement. Also the listing of databases.

#include "db/ccatalogfile.h"
#include "db/crufile.h"
#include "db/dbcheck.h"
#include "db/dbdump.h"
#include "db/dbshared.h"
#include "tests/db/dbtest.h"

#include <QtTest>
#include <sstream>

using namespace Agent;

namespace
{

void AddProduct(CCatalogFile& catalog, int serial, const char* name)
{
    catalog.AddNew();
    catalog.setServerSerialNumber(serial);
    catalog.setCategory("Games");
    catalog.setName(name);
    catalog.setPackageName(name);
    catalog.setDescription(QStringLiteral("about %1").arg(QLatin1String(name)));
    catalog.AddDependency("libc6");
    QVERIFY(catalog.SaveRecord());
}

// Two products, closed.
void MakeCatalog()
{
    CCatalogFile catalog;
    QVERIFY(catalog.Create());
    AddProduct(catalog, 1, "chess");
    AddProduct(catalog, 2, "go");
}

DbFindings Check()
{
    return CheckCatalog(CatalogFolder());
}

// Changes one index without the database.
void Change(const std::string& path, int keyLength, bool duplicates,
            const std::function<void(IndexFile*)>& change)
{
    IndexFile* index = OpenIndex(0, path.c_str(), std::int16_t(keyLength), duplicates);
    QVERIFY(index);
    change(index);
    QCOMPARE(CloseIndex(index), 0);
}

void Poke(const std::string& path, int offset, const char* hex)
{
    const QByteArray bytes = QByteArray::fromHex(hex);
    WriteWhole(path, ReadWhole(path).replace(offset, bytes.size(), bytes));
}

} // namespace

class DbCheckTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QCOMPARE(InitIndex(), 0); }
    void cleanupTestCase() { UnInitIndex(); }
    void init() { MakeCatalog(); }

    void soundCatalogHasNoFindings()
    {
        QCOMPARE(Check().faults, Findings());
        QCOMPARE(Check().remarks, Findings());
    }

    void refusedProductIsARemark()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Open());
        catalog.AddNew();
        catalog.setName("other");
        catalog.setPackageName("CHESS");
        QVERIFY(!catalog.SaveRecord());
        catalog.Close();
        QCOMPARE(Check().faults, Findings());
        QCOMPARE(Check().remarks,
                 (Findings{ ".VACatalog.fil: record 3 (other) was refused by .VACatalog.k3, where "
                            "record 1 has its key" }));
    }

    void dependencyNamedTwiceIsARemark()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Open());
        QVERIFY(catalog.GetRecord(2));
        catalog.setDependencies({ "libc6", "libm", "libc6" });
        QVERIFY(catalog.SaveRecord());
        catalog.Close();
        QCOMPARE(Check().faults, Findings());
        QCOMPARE(Check().remarks.size(), std::size_t(1));
    }

    void missingKeyIsAFault()
    {
        Change(CCatalogFile::CATALOGIDXNAME4, 20, false, [](IndexFile* index) {
            char key[] = "00000000000000000002";
            std::uint32_t record = 0;
            QCOMPARE(DeleteKey(index, &record, key), 0);
        });
        QCOMPARE(Check().faults,
                 (Findings{ ".VACatalog.fil: record 2 (go) is not in .VACatalog.k4" }));
    }

    void keyThatIsNoRecordsIsAFault()
    {
        Change(CCatalogFile::CATALOGIDXNAME2, 50, true, [](IndexFile* index) {
            char stranger[51] = "stranger";
            char chess[51] = "chess";
            const std::uint32_t first = 1;
            const std::uint32_t nowhere = 77;
            QCOMPARE(AddKey(index, &first, stranger), 0);
            QCOMPARE(AddKey(index, &nowhere, chess), 0);
        });
        QCOMPARE(Check().faults,
                 (Findings{ ".VACatalog.k2: the key 'stranger' leads to record 1, which does not "
                            "have it",
                            ".VACatalog.k2: the key 'chess' leads to record 77, which does not "
                            "have it" }));
    }

    void deletedProductIsMissedByItsKeysAndDependencies()
    {
        DataFile* file = OpenDataFile(0, CCatalogFile::CATALOGDFNAME.c_str(), 2012);
        QVERIFY(file);
        QCOMPARE(DeleteRec(file, 2), 0);
        CloseDataFile(file);
        const Findings faults = Check().faults;
        QCOMPARE(faults.size(), std::size_t(6)); // four keys, its note, its dependency
        QCOMPARE(faults[4],
                 std::string(".VACatalogNotes: the note at offset 19 belongs to no product"));
        QCOMPARE(faults[5],
                 std::string(".VADepends.fil: record 2 (libc6) belongs to product record 2, which "
                             "is not there"));
    }

    void sharedNoteIsAFault()
    {
        Poke(CCatalogFile::CATALOGDFNAME, 2 * 2012 + 388, "00000000");
        QCOMPARE(Check().faults,
                 (Findings{ ".VACatalogNotes: the note at offset 0 belongs to more than one "
                            "product: .VACatalog.fil: record 1 (chess), .VACatalog.fil: record 2 "
                            "(go)",
                            ".VACatalogNotes: the note at offset 19 belongs to no product" }));
    }

    void clearedDescriptionIsSound()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Open());
        QVERIFY(catalog.GetRecord(1));
        catalog.setDescription(QString());
        catalog.setDependencies(catalog.OwnDependencies());
        QVERIFY(catalog.SaveRecord());
        catalog.Close();
        QCOMPARE(Check().faults, Findings());
    }

    void changedBytesOfARecordAreFaults()
    {
        Poke(CCatalogFile::CATALOGDFNAME, 2012 + 80, "58"); // chess becomes Xhess
        QCOMPARE(Check().faults.size(), std::size_t(4)); // two keys each way
    }

    void filesThatAreNoneAreFaults()
    {
        const std::vector<std::string> files{
            CCatalogFile::CATALOGDFNAME,     CCatalogFile::CATALOGIDXNAME1,
            CCatalogFile::CATALOGIDXNAME4,   CDependency::DEPENDENCYDFNAME,
            CDependency::DEPENDENCYIDXNAME2, CCatalogFile::CATALOGNOTES + ".k1"
        };
        Damage(files).forEachUnusable([] { QVERIFY(!Check().faults.empty()); });
        Random random = Random::announced();
        Damage(files).forEachDamaged(random, [] {
            Check();
            std::ostringstream out;
            DumpCatalog(CatalogFolder(), out);
        });
        QVERIFY(!CheckCatalog("/nonexistent/").faults.empty());
        QVERIFY(!CheckRecent("/nonexistent/").faults.empty());
    }

    void recentlyUsedListIsCheckedToo()
    {
        CRUFile list;
        QVERIFY(list.Create());
        for (const char* name : { "Editor", "Player", "editor" }) {
            list.AddNew();
            list.SetDescription(name);
            list.SetServerSerialNumber(name[0]);
            list.SetLastAccessed(name[0]);
            list.Update();
        }
        list.Close();
        QCOMPARE(CheckRecent(RecentFolder()).faults, Findings());
        QCOMPARE(CheckRecent(RecentFolder()).remarks,
                 (Findings{ ".rulist.fil: record 3 (editor) was refused by .rulist.k2, where "
                            "record 1 has its key" }));
        Change(CRUFile::RUDATAIDX2, 60, false, [](IndexFile* index) {
            char key[61] = "Player";
            std::uint32_t record = 0;
            QCOMPARE(DeleteKey(index, &record, key), 0);
        });
        QCOMPARE(CheckRecent(RecentFolder()).faults,
                 (Findings{ ".rulist.fil: record 2 (Player) is not in .rulist.k2" }));
    }

    void catalogIsListedForAPerson()
    {
        CCatalogFile catalog;
        QVERIFY(catalog.Create());
        AddProduct(catalog, 1001, "chess");
        QVERIFY(catalog.GetRecord(1));
        catalog.setVersion("1.0\x1b[31m");
        catalog.setDescription(QStringLiteral("Plays.\nWell.\n"));
        catalog.setHidden(true);
        catalog.AddDependency("libm");
        QVERIFY(catalog.SaveRecord());
        catalog.Close();
        std::ostringstream out;
        QVERIFY(DumpCatalog(CatalogFolder(), out));
        QCOMPARE(QByteArray::fromStdString(out.str()),
                 QByteArray("product 1: chess\n"
                            "  serial        1001\n"
                            "  package       chess\n"
                            "  version       1.0?[31m\n"
                            "  category      Games\n"
                            "  file size     0\n"
                            "  downloads     0\n"
                            "  installed     no\n"
                            "  hidden        yes\n"
                            "  needs         libc6, libm\n"
                            "  | Plays.\n"
                            "  | Well.\n"));
        QVERIFY(!DumpCatalog("/nonexistent/", out));
    }

    void recentlyUsedListIsListedNewestFirst()
    {
        CRUFile list;
        QVERIFY(list.Create());
        for (const int serial : { 1, 2 }) {
            list.AddNew();
            list.SetDescription("Item " + QByteArray::number(serial));
            list.SetServerSerialNumber(serial);
            list.SetExecutablePath("/usr/bin/item");
            list.SetLastAccessed(1700000000 + serial);
            QVERIFY(list.Update());
        }
        list.Close();
        std::ostringstream out;
        QVERIFY(DumpRecent(RecentFolder(), out));
        QCOMPARE(QByteArray::fromStdString(out.str()),
                 QByteArray("item 2: Item 2\n"
                            "  used          2023-11-14 22:13:22\n"
                            "  serial        2\n"
                            "  program       /usr/bin/item\n"
                            "item 1: Item 1\n"
                            "  used          2023-11-14 22:13:21\n"
                            "  serial        1\n"
                            "  program       /usr/bin/item\n"));
        QVERIFY(!DumpRecent("/nonexistent/", out));
    }
};

QTEST_GUILESS_MAIN(DbCheckTest)
#include "tst_dbcheck.moc"
