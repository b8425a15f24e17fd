// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The recently-used list: its record and keys byte by byte, its orders, what an
// update that fails leaves, and damaged files.

#include "db/crufile.h"
#include "tests/db/dbtest.h"

#include <QtTest>

namespace
{

constexpr int recordLength = 792;

std::vector<std::string> Files()
{
    return { CRUFile::RUDATAFILE, CRUFile::RUDATAIDX1, CRUFile::RUDATAIDX2, CRUFile::RUDATAIDX3 };
}

Items Index(int which)
{
    const int keyLengths[] = { 72, 60, 20 };
    return ItemsOf(Files()[std::size_t(which)], keyLengths[which - 1], false);
}

bool Add(CRUFile& list, int serial, const char* description, int time)
{
    list.AddNew();
    list.SetServerSerialNumber(serial);
    list.SetDescription(description);
    list.SetLastAccessed(time);
    return list.Update();
}

QByteArrayList NewestFirst(CRUFile& list)
{
    QByteArrayList descriptions;
    for (bool more = list.FindLastAccessedItem(); more && descriptions.size() < 100;
         more = list.FindPrevAccessedItem())
        descriptions << list.Description();
    return descriptions;
}

QByteArrayList ByDescription(CRUFile& list)
{
    QByteArrayList descriptions;
    for (bool more = list.FindFirstByDescription(); more && descriptions.size() < 100;
         more = list.FindNextByDescription())
        descriptions << list.Description();
    return descriptions;
}

} // namespace

class TestRecentlyUsed : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QCOMPARE(InitIndex(), 0);
        QVERIFY(!QDir(QDir::homePath() + QLatin1String("/.kde")).exists());
    }
    void cleanupTestCase() { UnInitIndex(); }

    void filesStandInTheHomeInAFolderOfTheirOwn()
    {
        const CRUFile list;
        const QString folder = QDir::homePath() + QLatin1String("/.kde/share/apps/vantrelagent/");
        QVERIFY(QDir(folder).exists());
        QCOMPARE(CRUFile::RUDATAFILE, folder.toStdString() + ".rulist.fil");
        QCOMPARE(CRUFile::RUDATAIDX1, folder.toStdString() + ".rulist.k1");
        QCOMPARE(CRUFile::RUDATAIDX2, folder.toStdString() + ".rulist.k2");
        QCOMPARE(CRUFile::RUDATAIDX3, folder.toStdString() + ".rulist.k3");
    }

    void recordByteByByte()
    {
        CRUFile list;
        QVERIFY(list.Create());
        list.SetServerSerialNumber(1001);
        QCOMPARE(list.SetDescription("Star Lander"), "Star Lander");
        QCOMPARE(list.SetExecutablePath("/usr/games/sl"), "/usr/games/sl");
        QCOMPARE(list.SetIconPath("big"), "big");
        QCOMPARE(list.SetSmallIconPath("small"), "small");
        list.SetLastAccessed(1234567890);
        QVERIFY(list.Update());
        QCOMPARE(list.RecordNumber(), 1);
        const QByteArray golden = Golden(recordLength)
                                      .At(8, "e9030000") // 1001
                                      .At(12, "53746172204c616e646572") // Star Lander
                                      .At(73, "2f7573722f67616d65732f736c") // /usr/games/sl
                                      .At(201, "626967") // big
                                      .At(457, "736d616c6c") // small
                                      .At(588, "d2029649") // 1234567890
                                      .Bytes();
        QCOMPARE(RecordInFile(CRUFile::RUDATAFILE, 1, recordLength), golden.toHex());
        list.Close();
        QCOMPARE(Index(1), (Items{ { "  1234567890Star Lander", 1 } }));
        QCOMPARE(Index(2), (Items{ { "Star Lander", 1 } }));
        QCOMPARE(Index(3), (Items{ { "00000000000000001001", 1 } }));
    }

    void fieldsAreReadBackCutToTheirWidth()
    {
        CRUFile list;
        QVERIFY(list.Create());
        using Setter = const char* (CRUFile::*)(const char*);
        using Getter = const char* (CRUFile::*)() const;
        struct Field {
            Setter set;
            Getter get;
            int longest;
        };
        const Field fields[] = {
            { &CRUFile::SetDescription, &CRUFile::Description, 60 },
            { &CRUFile::SetExecutablePath, &CRUFile::ExecutablePath, 127 },
            { &CRUFile::SetIconPath, &CRUFile::IconPath, 255 },
            { &CRUFile::SetSmallIconPath, &CRUFile::SmallIconPath, 130 },
        };
        for (const Field& field : fields) {
            const QByteArray text(field.longest - 1, 'x');
            QCOMPARE(QByteArray((list.*field.set)(text + "\xc3\xa4")), text);
            QCOMPARE(QByteArray((list.*field.set)(text + "yz")), text + "y");
        }
        list.SetServerSerialNumber(-5);
        list.SetLastAccessed(INT32_MAX);
        QVERIFY(list.Update());
        QVERIFY(list.GetRecord(1));
        for (const Field& field : fields)
            QCOMPARE(QByteArray((list.*field.get)()), QByteArray(field.longest - 1, 'x') + "y");
        QCOMPARE(list.ServerSerialNumber(), -5);
        QCOMPARE(list.LastAccessed(), INT32_MAX);
        QCOMPARE(list.ServerSerialNumberStr(), "-0000000000000000005");
        QCOMPARE(list.ServerSerialNumberStr(7), "00000000000000000007");
    }

    void keyOfATenDigitTime()
    {
        CRUFile list;
        list.SetLastAccessed(1700000000);
        list.SetDescription("Editor");
        list.SetServerSerialNumber(12);
        char key[73];
        list.MakeKey(key, 0);
        QCOMPARE(key, "  1700000000Editor");
        list.MakeKey(key, 1);
        QCOMPARE(key, "Editor");
        list.MakeKey(key, 2);
        QCOMPARE(key, "00000000000000000012");
    }

    void longDescriptionIsFoundAsItWasGiven()
    {
        CRUFile list;
        QVERIFY(list.Create());
        const QByteArray text = QByteArray(59, 'x') + "\xc3\xa4 and more";
        QVERIFY(Add(list, 1, text, 10));
        QVERIFY(list.FindItem(text));
        QCOMPARE(QByteArray(list.Description()), QByteArray(59, 'x'));
        list.Close();
        QCOMPARE(Index(1), (Items{ { "          10" + std::string(59, 'x'), 1 } }));
        QCOMPARE(Index(2), (Items{ { std::string(59, 'x'), 1 } }));
    }

    void itemsAreFoundByDescriptionInAnyCase()
    {
        CRUFile list;
        QVERIFY(!list.FindItem("Editor")); // not open
        QVERIFY(list.Create());
        QVERIFY(Add(list, 1, "Editor", 10));
        QVERIFY(Add(list, 2, "Player", 20));
        QVERIFY(list.FindItem("EDITOR"));
        QCOMPARE(list.ServerSerialNumber(), 1);
        QVERIFY(!list.FindItem("Edit"));
        QVERIFY(!list.FindItem(""));
        QCOMPARE(list.ServerSerialNumber(), 1);
    }

    void newestComesFirst()
    {
        CRUFile list;
        QVERIFY(list.Create());
        QCOMPARE(NewestFirst(list), QByteArrayList());
        QVERIFY(Add(list, 1, "one", 999999999));
        QVERIFY(Add(list, 2, "two", 2000000000));
        QVERIFY(Add(list, 3, "three", 1000000000));
        QVERIFY(Add(list, 4, "four", 2000000000));
        QCOMPARE(NewestFirst(list), (QByteArrayList{ "two", "four", "three", "one" }));
        QCOMPARE(ByDescription(list), (QByteArrayList{ "four", "one", "three", "two" }));
    }

    void usingAnItemAgainMovesItToTheFront()
    {
        CRUFile list;
        QVERIFY(list.Create());
        QVERIFY(Add(list, 1, "one", 1000000001));
        QVERIFY(Add(list, 2, "two", 1000000002));
        QVERIFY(list.FindServerSerialNumber(1));
        list.SetLastAccessed(1000000003);
        QVERIFY(list.Update());
        QVERIFY(list.FindLastAccessedItem());
        QCOMPARE(list.ServerSerialNumber(), 1);
        list.Close();
        QCOMPARE(Index(1), (Items{ { "  1000000002two", 2 }, { "  1000000003one", 1 } }));
    }

    void letterCaseOfADescriptionLeavesItsKeys()
    {
        CRUFile list;
        QVERIFY(list.Create());
        QVERIFY(Add(list, 1, "Editor", 10));
        list.SetDescription("EDITOR");
        QVERIFY(list.Update());
        list.Close();
        QCOMPARE(Index(1), (Items{ { "          10Editor", 1 } }));
        QCOMPARE(Index(2), (Items{ { "Editor", 1 } }));
    }

    void secondItemOfADescriptionLeavesItsRecordAndFirstKey()
    {
        CRUFile list;
        QVERIFY(list.Create());
        QVERIFY(Add(list, 1, "Editor", 10));
        QVERIFY(!Add(list, 2, "editor", 20));
        QCOMPARE(list.GetFileSize(), 3);
        QCOMPARE(list.UsedRecs(), 2);
        QVERIFY(!list.FindServerSerialNumber(2));
        QCOMPARE(NewestFirst(list), (QByteArrayList{ "editor", "Editor" }));
        list.Close();
        QCOMPARE(Index(1), (Items{ { "          10Editor", 1 }, { "          20editor", 2 } }));
        QCOMPARE(Index(2), (Items{ { "Editor", 1 } }));
        QCOMPARE(Index(3), (Items{ { "00000000000000000001", 1 } }));
    }

    void renamingToATakenDescriptionEndsTheUpdate()
    {
        CRUFile list;
        QVERIFY(list.Create());
        QVERIFY(Add(list, 1, "Editor", 10));
        QVERIFY(Add(list, 2, "Player", 20));
        list.SetDescription("Editor");
        list.SetServerSerialNumber(9);
        QVERIFY(!list.Update());
        list.Close();
        QCOMPARE(Index(1), (Items{ { "          10Editor", 1 }, { "          20Editor", 2 } }));
        QCOMPARE(Index(2), (Items{ { "Editor", 1 } }));
        QCOMPARE(Index(3), (Items{ { "00000000000000000001", 1 }, { "00000000000000000002", 2 } }));
    }

    void recordsOutsideTheFileAreNotRead()
    {
        CRUFile list;
        QVERIFY(!list.GetRecord(1)); // not open
        QVERIFY(list.Create());
        QVERIFY(!list.GetRecord(0));
        QVERIFY(!list.GetRecord(1));
        QVERIFY(Add(list, 1, "one", 1));
        QVERIFY(Add(list, 2, "two", 2));
        QVERIFY(list.GetRecord(1));
        QVERIFY(list.GetRecord(2));
        QVERIFY(!list.GetRecord(3));
        QVERIFY(!list.GetRecord(0));
        QVERIFY(!list.GetRecord(-1));
        QCOMPARE(list.Description(), "two");
    }

    void sizeOfAClosedListIsMinusOne()
    {
        CRUFile list;
        QVERIFY(!list.IsOpen());
        QCOMPARE(list.GetFileSize(), -1);
        QCOMPARE(list.UsedRecs(), -1);
        QVERIFY(list.Create());
        QVERIFY(list.IsOpen());
        QCOMPARE(list.GetFileSize(), 1);
        QCOMPARE(list.UsedRecs(), 0);
        list.Close();
        QCOMPARE(list.GetFileSize(), -1);
        QVERIFY(!list.Update());
        QVERIFY(!list.DeleteRecord(1));
        QVERIFY(!list.FindLastAccessedItem());
        QVERIFY(!list.FindPrevAccessedItem());
        QVERIFY(!list.FindFirstByDescription());
        QVERIFY(!list.FindNextByDescription());
    }

    void itemsAreFoundBySerial()
    {
        CRUFile list;
        QVERIFY(list.Create());
        QVERIFY(!list.FindServerSerialNumber(-1));
        for (const int serial : { 50, 5, 500 })
            QVERIFY(Add(list, serial, QByteArray::number(serial), serial));
        QVERIFY(list.FindServerSerialNumber(50));
        QCOMPARE(list.Description(), "50");
        QVERIFY(!list.FindServerSerialNumber(51));
        QCOMPARE(list.Description(), "500");
        QVERIFY(!list.FindServerSerialNumber(501));
        QVERIFY(list.FindServerSerialNumber(-9));
        QCOMPARE(list.Description(), "5");
    }

    void removedItemIsGoneFromAllIndexes()
    {
        CRUFile list;
        QVERIFY(list.Create());
        for (const int serial : { 1, 2, 3 })
            QVERIFY(Add(list, serial, QByteArray::number(serial), serial));
        QVERIFY(!list.DeleteRecord(4));
        QVERIFY(list.DeleteRecord(2));
        QVERIFY(!list.DeleteRecord(2));
        QCOMPARE(list.UsedRecs(), 2);
        QCOMPARE(list.GetFileSize(), 4);
        QVERIFY(list.GetRecord(2)); // what is left of it
        QVERIFY(!list.Update());
        list.Close();
        for (const int which : { 1, 2, 3 })
            QCOMPARE(Index(which).size(), std::size_t(2));
        QCOMPARE(CheckDataFile(CRUFile::RUDATAFILE, recordLength), Findings());
        QVERIFY(list.Open());
        QVERIFY(Add(list, 9, "9", 9));
        QCOMPARE(list.RecordNumber(), 2);
    }

    void removedItemCanBeStoredAgainAndWalkedFrom()
    {
        CRUFile list;
        QVERIFY(list.Create());
        for (const int serial : { 1, 2, 3 })
            QVERIFY(Add(list, serial, QByteArray::number(serial), serial));
        QVERIFY(list.DeleteRecord(3));
        QVERIFY(list.FindPrevAccessedItem());
        QCOMPARE(list.Description(), "2");
        QVERIFY(list.DeleteRecord(1));
        list.SetLastAccessed(8);
        QVERIFY(list.Update());
        QCOMPARE(NewestFirst(list), (QByteArrayList{ "1", "2" }));
    }

    void openMakesWhatIsNotThere()
    {
        CRUFile list;
        QVERIFY(list.Create());
        QVERIFY(Add(list, 1, "one", 1));
        list.Close();
        QVERIFY(list.Open());
        QVERIFY(list.FindItem("one"));
        list.Close();
        QVERIFY(QFile::remove(QString::fromStdString(CRUFile::RUDATAFILE)));
        QVERIFY(list.Open());
        QVERIFY(!list.FindItem("one"));
        QVERIFY(Add(list, 1, "one", 1));
    }

    void unusableFilesDoNotOpen()
    {
        CRUFile list;
        QVERIFY(list.Create());
        QVERIFY(Add(list, 1, "one", 1));
        list.Close();
        const int descriptors = OpenDescriptors();
        Damage(Files()).ForEachUnusable([&] {
            QVERIFY(!list.Open());
            QVERIFY(!list.FindServerSerialNumber(1) || list.ServerSerialNumber() == 1);
            list.Close();
            QVERIFY(!list.IsOpen());
        });
        QCOMPARE(OpenDescriptors(), descriptors);
        QVERIFY(list.Open());
        QCOMPARE(NewestFirst(list), (QByteArrayList{ "one" }));
    }

    void damagedFilesNeitherCrashNorHang()
    {
        Random random = Random::Announced();
        CRUFile list;
        QVERIFY(list.Create());
        for (int serial = 1; serial <= 200; ++serial)
            QVERIFY(Add(list, serial, "item" + QByteArray::number(serial), serial * 7 % 101));
        list.Close();
        Damage(Files()).ForEachDamaged(random, [&] {
            if (!list.Open())
                return;
            int steps = 0;
            for (bool more = list.FindLastAccessedItem(); more; more = list.FindPrevAccessedItem())
                QVERIFY(++steps < 10000);
            for (bool more = list.FindFirstByDescription(); more;
                 more = list.FindNextByDescription())
                QVERIFY(++steps < 20000);
            list.DeleteRecord(7);
            if (list.FindServerSerialNumber(30)) {
                list.SetLastAccessed(5);
                list.Update();
            }
            Add(list, 999, "new", 50);
            list.Close();
        });
    }

    void walkBackNeverGoesInACircle()
    {
        CRUFile list;
        QVERIFY(list.Create());
        for (const int serial : { 1, 2, 3 })
            QVERIFY(Add(list, serial, QByteArray::number(serial), serial));
        list.Close();
        // The oldest record says of itself that it is the newest.
        QByteArray bytes = ReadWhole(CRUFile::RUDATAFILE);
        bytes[recordLength + 588] = 99;
        WriteWhole(CRUFile::RUDATAFILE, bytes);
        QVERIFY(list.Open());
        QCOMPARE(NewestFirst(list), (QByteArrayList{ "3", "2" }));
    }
};

QTEST_GUILESS_MAIN(TestRecentlyUsed)
#include "tst_crufile.moc"
