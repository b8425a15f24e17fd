// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The dependency database: its record and keys byte by byte, refused records, the content
// of lists, and damaged files.

#include "db/cdependency.h"
#include "store/indexpage.h"
#include "tests/db/dbtest.h"

#include <QtTest>

using namespace Agent;

namespace
{

constexpr int recordLength = 60;

bool Save(CDependency& database, std::int32_t parent, const char* name)
{
    database.AddNew();
    database.setName(name);
    database.setParent(parent);
    return database.SaveRecord();
}

QByteArrayList Names(CDependency& database, std::int32_t parent)
{
    QByteArrayList names{ "stale" };
    database.LoadDepends(parent, names);
    return names;
}

QByteArrayList OwnNames(CDependency& database, std::int32_t parent)
{
    QByteArrayList names{ "stale" };
    database.LoadOwnDepends(parent, names);
    return names;
}

Items FirstIndex()
{
    return ItemsOf(CDependency::DEPENDENCYIDXNAME1, 58, false);
}

Items SecondIndex()
{
    return ItemsOf(CDependency::DEPENDENCYIDXNAME2, 58, false);
}

const std::string fiftyBlanks(50, ' ');

std::string NameKey(const std::string& name, const std::string& parent)
{
    return (name + fiftyBlanks).substr(0, 50) + parent;
}

} // namespace

class DependencyTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QCOMPARE(InitIndex(), 0); }
    void cleanupTestCase() { UnInitIndex(); }

    void filesStandInTheDataFolder()
    {
        const CDependency database;
        const std::string folder
            = qgetenv("PAKMART_SYSROOT").toStdString() + "/usr/share/apps/vantrelagent/";
        QCOMPARE(CDependency::DEPENDENCYDFNAME, folder + ".VADepends.fil");
        QCOMPARE(CDependency::DEPENDENCYIDXNAME1, folder + ".VADepends.k1");
        QCOMPARE(CDependency::DEPENDENCYIDXNAME2, folder + ".VADepends.k2");
    }

    void recordByteByByte()
    {
        CDependency database;
        QVERIFY(database.Create());
        QCOMPARE(database.RecordNumber(), -1);
        QVERIFY(Save(database, 0x01020304, "libc6"));
        QCOMPARE(database.RecordNumber(), 1);
        const QByteArray golden = Golden(recordLength)
                                      .at(4, "6c69626336") // libc6
                                      .at(56, "04030201")
                                      .bytes();
        QCOMPARE(RecordInFile(CDependency::DEPENDENCYDFNAME, 1, recordLength), golden.toHex());
    }

    void keysOfAParentAreInNameOrder()
    {
        CDependency database;
        QVERIFY(database.Create());
        QVERIFY(Save(database, 12, "zlib"));
        char key[59];
        database.MakeKey1(key);
        QCOMPARE(key, "      12zlib");
        database.MakeKey2(key);
        QCOMPARE(std::string(key), "zlib" + std::string(46, ' ') + "      12");
        QVERIFY(Save(database, 12, "libc"));
        database.Close();
        QCOMPARE(FirstIndex(), (Items{ { "      12libc", 2 }, { "      12zlib", 1 } }));
        QCOMPARE(SecondIndex(),
                 (Items{ { NameKey("libc", "      12"), 2 }, { NameKey("zlib", "      12"), 1 } }));
        QVERIFY(database.Open());
        QCOMPARE(Names(database, 12), (QByteArrayList{ "libc", "zlib" }));
    }

    void secondRecordOfTheSameIsRefusedAndItsBytesStay()
    {
        CDependency database;
        QVERIFY(database.Create());
        QVERIFY(Save(database, 12, "libc"));
        QVERIFY(!Save(database, 12, "libc"));
        QVERIFY(!Save(database, 12, "LIBC"));
        QVERIFY(Save(database, 13, "libc"));
        database.Close();
        QCOMPARE(RecordInFile(CDependency::DEPENDENCYDFNAME, 2, recordLength),
                 RecordInFile(CDependency::DEPENDENCYDFNAME, 1, recordLength));
        QCOMPARE(FirstIndex(), (Items{ { "      12libc", 1 }, { "      13libc", 4 } }));
    }

    void aSecondKeyThatIsRefusedIsAFailure()
    {
        CDependency database;
        QVERIFY(database.Create());
        // After a name of 51 bytes the second index keeps seven of the parent's eight.
        const QByteArray longest(51, 'x');
        QVERIFY(Save(database, 12, longest));
        QVERIFY(!Save(database, 13, longest));
        QVERIFY(Save(database, 20, longest));
        QCOMPARE(OwnNames(database, 13), (QByteArrayList{ longest }));
    }

    void walksOverPageCopiesEnd()
    {
        CDependency database;
        QVERIFY(database.Create());
        for (int i = 0; i < 300; ++i)
            QVERIFY(Save(database, i / 3 + 1, "name" + QByteArray::number(i)));
        database.Close();
        const Damage damage(files());
        const QByteArray sound = ReadWhole(CDependency::DEPENDENCYIDXNAME1);
        const int size = PackedLength(58);
        const int pages = int(sound.size()) / size;
        QVERIFY(pages > 5);
        for (int from = 1; from < pages; ++from) {
            for (int to = 1; to < pages; ++to) {
                WriteWhole(
                    CDependency::DEPENDENCYIDXNAME1,
                    QByteArray(sound).replace(to * size, size, sound.mid(from * size, size)));
                QVERIFY(database.Open());
                QVERIFY(Names(database, 1).size() <= 300);
                for (const int parent : { 1, 50, 100 }) {
                    database.RemoveAllDependencies(parent);
                    QVERIFY(OwnNames(database, parent).size() <= 3);
                }
                database.Close();
            }
        }
    }

    void listGoesOnThroughAllLaterParents()
    {
        CDependency database;
        QVERIFY(database.Create());
        for (const int parent : { 20, 7, 100 })
            for (const char* name : { "b", "a" })
                QVERIFY(Save(database, parent, name + QByteArray::number(parent)));
        QCOMPARE(Names(database, 100), (QByteArrayList{ "a100", "b100" }));
        QCOMPARE(Names(database, 20), (QByteArrayList{ "a20", "b20", "a100", "b100" }));
        QCOMPARE(Names(database, 7), (QByteArrayList{ "a7", "b7", "a20", "b20", "a100", "b100" }));
        QCOMPARE(OwnNames(database, 20), (QByteArrayList{ "a20", "b20" }));
        for (const int parent : { 0, 1, 8, 99, 101 }) {
            QCOMPARE(Names(database, parent), QByteArrayList());
            QCOMPARE(OwnNames(database, parent), QByteArrayList());
        }
    }

    void listEndsAtAParentThatIsNoNumber()
    {
        // Blanks sort before digits, and the minus sign between them.
        CDependency database;
        QVERIFY(database.Create());
        QVERIFY(Save(database, 5, "five"));
        QVERIFY(Save(database, 0, "zero"));
        QVERIFY(Save(database, -3, "minus"));
        QCOMPARE(Names(database, -3), (QByteArrayList{ "minus" }));
        QCOMPARE(Names(database, 0), (QByteArrayList{ "zero", "five", "minus" }));
        QCOMPARE(Names(database, 5), (QByteArrayList{ "five", "minus" }));
        // Only the first eight of nine digits count.
        QVERIFY(Save(database, 100000000, "many"));
        QCOMPARE(Names(database, 100000000), QByteArrayList());
        QCOMPARE(Names(database, 10000000), (QByteArrayList{ "many" }));
        QCOMPARE(Names(database, -3), (QByteArrayList{ "minus", "many" }));
    }

    void listIsTheSameHoweverItIsRead()
    {
        Random random = Random::announced();
        CDependency database;
        QVERIFY(database.Create());
        QMap<int, QMap<QByteArray, bool>> model;
        for (int i = 0; i < 5000; ++i) {
            const int parent = int(random.below(300)) + 1;
            const QByteArray name = "n" + QByteArray::number(random.below(1000));
            QCOMPARE(Save(database, parent, name), !model[parent].contains(name));
            model[parent][name] = true;
        }
        for (int parent = 0; parent < 303; ++parent) {
            QByteArrayList all;
            for (auto it = model.lowerBound(parent); it != model.end(); ++it)
                all += it->keys();
            const QByteArrayList own = model.value(parent).keys();
            QCOMPARE(OwnNames(database, parent), own);
            QCOMPARE(Names(database, parent), own.isEmpty() ? own : all);
        }
    }

    void namesStoredTogetherAreAsIfStoredOneByOne_data()
    {
        QTest::addColumn<bool>("deletedBefore");
        QTest::newRow("at the end of the file") << false;
        QTest::newRow("in the place of deleted ones") << true;
    }
    void namesStoredTogetherAreAsIfStoredOneByOne()
    {
        QFETCH(bool, deletedBefore);
        const QByteArrayList names{ "zlib", "libc", QByteArray(60, 'x'), "LIBC", "", "apt" };
        QByteArrayList bytes[2];
        for (const bool together : { false, true }) {
            CDependency database;
            QVERIFY(database.Create());
            QVERIFY(Save(database, 1, "a") && Save(database, 1, "b") && Save(database, 2, "c"));
            if (deletedBefore)
                database.RemoveAllDependencies(1);
            if (together)
                database.SaveDepends(7, names);
            for (const QByteArray& name : together ? QByteArrayList() : names)
                Save(database, 7, name);
            QCOMPARE(OwnNames(database, 7),
                     (QByteArrayList{ "", "apt", "libc", QByteArray(51, 'x'), "zlib" }));
            database.SaveDepends(8, {});
            database.SaveDepends(9, { "one" });
            QCOMPARE(OwnNames(database, 9), (QByteArrayList{ "one" }));
            database.Close();
            for (const std::string& file : files())
                bytes[together] << ReadWhole(file);
        }
        QVERIFY(bytes[0] == bytes[1]);
    }

    void removingTakesAllOfAParent()
    {
        CDependency database;
        QVERIFY(database.Create());
        for (const int parent : { 1, 2, 3 })
            for (const char* name : { "a", "b", "c" })
                QVERIFY(Save(database, parent, name));
        database.RemoveAllDependencies(2);
        QCOMPARE(Names(database, 2), QByteArrayList());
        QCOMPARE(Names(database, 1), (QByteArrayList{ "a", "b", "c", "a", "b", "c" }));
        database.Close();
        QCOMPARE(SecondIndex().size(), std::size_t(6));
        QCOMPARE(CheckDataFile(CDependency::DEPENDENCYDFNAME, recordLength), Findings());
        QVERIFY(database.Open());
        QVERIFY(Save(database, 4, "next"));
        QCOMPARE(database.RecordNumber(), 6); // the number removed last
    }

    void savingAfterRemovingStoresItAnew()
    {
        CDependency database;
        QVERIFY(database.Create());
        QVERIFY(Save(database, 1, "a"));
        database.RemoveAllDependencies(1);
        QVERIFY(database.SaveRecord());
        QCOMPARE(Names(database, 1), (QByteArrayList{ "a" }));
        database.Close();
        QCOMPARE(CheckDataFile(CDependency::DEPENDENCYDFNAME, recordLength), Findings());
    }

    void removingWithoutRecordsChangesNothing()
    {
        CDependency database;
        QVERIFY(database.Create());
        QVERIFY(Save(database, 1, "a"));
        QVERIFY(Save(database, 3, "b"));
        database.Close();
        const QByteArray before = ReadWhole(CDependency::DEPENDENCYDFNAME);
        const Items items = FirstIndex();
        QVERIFY(database.Open());
        database.RemoveAllDependencies(2);
        database.RemoveAllDependencies(4);
        database.RemoveAllDependencies(-1);
        database.Close();
        QCOMPARE(ReadWhole(CDependency::DEPENDENCYDFNAME), before);
        QCOMPARE(FirstIndex(), items);
    }

    void renamingMovesTheKeys()
    {
        CDependency database;
        QVERIFY(database.Create());
        QVERIFY(Save(database, 1, "libc"));
        database.setName("zlib");
        QVERIFY(database.SaveRecord());
        database.setParent(2);
        QVERIFY(database.SaveRecord());
        QCOMPARE(database.RecordNumber(), 1);
        database.Close();
        QCOMPARE(FirstIndex(), (Items{ { "       2zlib", 1 } }));
        QCOMPARE(SecondIndex(), (Items{ { NameKey("zlib", "       2"), 1 } }));
    }

    void letterCaseAloneMovesTheFirstKeyOnly()
    {
        CDependency database;
        QVERIFY(database.Create());
        QVERIFY(Save(database, 1, "libc"));
        database.setName("LibC");
        QVERIFY(database.SaveRecord());
        database.Close();
        QCOMPARE(FirstIndex(), (Items{ { "       1LibC", 1 } }));
        QCOMPARE(SecondIndex(), (Items{ { NameKey("libc", "       1"), 1 } }));
    }

    void longNamesAreCut()
    {
        CDependency database;
        QVERIFY(database.Create());
        const QByteArray fifty(50, 'x');
        QVERIFY(Save(database, 1, fifty + "12345"));
        QCOMPARE(QByteArray(database.Name()), fifty + "1");
        // The keys distinguish names by 50 characters.
        QVERIFY(!Save(database, 1, fifty + "2"));
        QVERIFY(Save(database, 2, fifty + "2"));
        // An "ä" has two bytes: the second would be the 52nd.
        database.AddNew();
        QCOMPARE(QByteArray(database.setName(fifty + "\xc3\xa4")), fifty);
        QCOMPARE(QByteArray(database.setName(nullptr)), QByteArray());
        QCOMPARE(QByteArray(database.setName(QByteArray(60, '\x80'))), QByteArray(51, '\x80'));
    }

    void closedDatabaseDoesNothing()
    {
        CDependency database;
        QVERIFY(!Save(database, 1, "a"));
        QCOMPARE(Names(database, 1), QByteArrayList());
        database.RemoveAllDependencies(1);
        database.Close();
    }

    void missingDataFileMakesANewDatabase()
    {
        CDependency database;
        QVERIFY(database.Create());
        QVERIFY(Save(database, 1, "a"));
        database.Close();
        QVERIFY(QFile::remove(QString::fromStdString(CDependency::DEPENDENCYDFNAME)));
        QVERIFY(database.Open());
        QCOMPARE(Names(database, 1), QByteArrayList());
        QVERIFY(Save(database, 1, "a"));
    }

    void unusableFilesDoNotOpen()
    {
        CDependency database;
        QVERIFY(database.Create());
        QVERIFY(Save(database, 1, "a"));
        database.Close();
        const int descriptors = OpenDescriptors();
        Damage(files()).forEachUnusable([&] {
            QVERIFY(!database.Open());
            database.Close();
        });
        QCOMPARE(OpenDescriptors(), descriptors);
        QVERIFY(database.Open());
        QCOMPARE(Names(database, 1), (QByteArrayList{ "a" }));
    }

    void damagedFilesNeitherCrashNorHang()
    {
        Random random = Random::announced();
        CDependency database;
        QVERIFY(database.Create());
        for (int i = 0; i < 300; ++i)
            QVERIFY(Save(database, i / 3 + 1, "name" + QByteArray::number(i)));
        database.Close();
        Damage(files()).forEachDamaged(random, [&] {
            if (!database.Open())
                return;
            for (int parent = 1; parent < 100; parent += 7) {
                Names(database, parent);
                OwnNames(database, parent);
                database.RemoveAllDependencies(parent);
                Save(database, parent, "new");
            }
            database.Close();
        });
    }

    void keyThatLeadsToAnotherRecordGoesAlone()
    {
        CDependency database;
        QVERIFY(database.Create());
        QVERIFY(Save(database, 1, "a"));
        QVERIFY(Save(database, 2, "b"));
        database.Close();
        IndexFile* index = OpenIndex(0, CDependency::DEPENDENCYIDXNAME1.c_str(), 58, 0);
        QVERIFY(index);
        for (const char* text : { "       1wrong", "       1zbehind" }) {
            char key[59];
            qstrcpy(key, text);
            const std::uint32_t record = text[9] == 'w' ? 2 : 999;
            QCOMPARE(AddKey(index, &record, key), 0);
        }
        QCOMPARE(CloseIndex(index), 0);
        QVERIFY(database.Open());
        database.RemoveAllDependencies(1);
        QCOMPARE(Names(database, 1), QByteArrayList());
        QCOMPARE(Names(database, 2), (QByteArrayList{ "b" }));
        database.Close();
        QCOMPARE(CheckDataFile(CDependency::DEPENDENCYDFNAME, recordLength), Findings());
    }

private:
    static std::vector<std::string> files()
    {
        return { CDependency::DEPENDENCYDFNAME, CDependency::DEPENDENCYIDXNAME1,
                 CDependency::DEPENDENCYIDXNAME2 };
    }
};

QTEST_GUILESS_MAIN(DependencyTest)
#include "tst_cdependency.moc"
