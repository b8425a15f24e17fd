// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The recently-used list: its record and keys byte by byte, its orders, the state after a
// failed update, and damaged files.

#include "db/crufile.h"
#include "db/dbcheck.h"
#include "db/dbshared.h"
#include "db/listlock.h"
#include "store/indexpage.h"
#include "tests/db/dbtest.h"
#include "tests/db/onfiles.h"
#include "tests/store/storeshims.h"

#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QtTest>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>

using namespace Agent;

namespace
{

constexpr int recordLength = 792;

// Writes the order in which files are synced and renamed.
class OrderedFiles : public StoreFiles
{
public:
    QByteArray order;

    int Sync(int descriptor) override
    {
        struct stat info = {};
        order += fstat(descriptor, &info) == 0 && S_ISDIR(info.st_mode) ? " folder" : " file";
        return StoreFiles::Sync(descriptor);
    }
    int Rename(const char* from, const char* to) override
    {
        order += " rename";
        return StoreFiles::Rename(from, to);
    }
};

// Counts the checks, which alone open files only for reading.
class CheckedFiles : public CountingFiles
{
public:
    int checks = 0;

    int Open(const char* path, int flags, mode_t mode) override
    {
        checks += (flags & O_ACCMODE) == O_RDONLY ? 1 : 0;
        return CountingFiles::Open(path, flags, mode);
    }
};

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

// Makes a new list of the items "1", "2", ..., each used later than the one before.
void MakeList(CRUFile& list, int count)
{
    QVERIFY(list.Create());
    for (int serial = 1; serial <= count; ++serial)
        QVERIFY(Add(list, serial, QByteArray::number(serial), serial));
}

// Makes a list with several pages in each index, a different order in each, and equal
// times.
void MakeMixedList(CRUFile& list)
{
    QVERIFY(list.Create());
    for (int serial = 1; serial <= 200; ++serial)
        QVERIFY(Add(list, serial, "item" + QByteArray::number(serial), serial * 7 % 101));
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

// Allows only some writes to the files "*.new".
class NoRoomForNewFiles : public UnsyncedFiles
{
public:
    explicit NoRoomForNewFiles(int writes) : m_left(writes) { }
    bool hasFailed() const { return m_left < 0; }

    ssize_t Write(int descriptor, const void* bytes, size_t size) override
    {
        const QString link = QStringLiteral("/proc/self/fd/") + QString::number(descriptor);
        if (!QFile::symLinkTarget(link).endsWith(QLatin1String(".new")) || m_left-- > 0)
            return UnsyncedFiles::Write(descriptor, bytes, size);
        m_left = -1;
        errno = ENOSPC;
        return -1;
    }

private:
    int m_left;
};

} // namespace

class RecentlyUsedTest : public QObject
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

    // All its files, also those of a repair, are opened in its own file system.
    void aListOfAnotherFolderLeavesThatOfTheUserAlone()
    {
        CRUFile users;
        QVERIFY(users.Create());
        const QByteArray before = ReadWhole(CRUFile::RUDATAFILE);
        const QTemporaryDir dir;
        const std::string folder = dir.path().toStdString() + '/';
        CountingFiles files;
        CRUFile list(DbOptions{ folder, &files });
        QCOMPARE(list.DataFilePath(), folder + ".rulist.fil");
        QVERIFY(list.Open());
        QCOMPARE(files.lookups, 2); // before and after it is locked
        QVERIFY(Add(list, 1, "one", 1));
        list.Close();
        QVERIFY(files.opens > 4 && files.opens == files.closes);
        QCOMPARE(unlink((folder + ".rulist.k2").c_str()), 0);
        const int opens = files.opens, reads = files.reads;
        QVERIFY(list.OpenOrRepair());
        QVERIFY(files.opens > opens && files.reads > reads);
        QVERIFY(list.FindItem("one"));
        list.Close();
        QCOMPARE(CheckRecent(folder).faults, Findings());
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(), 5); // and a lock
        QCOMPARE(ReadWhole(CRUFile::RUDATAFILE), before);
    }

    void eachListHasALockOfItsOwn()
    {
        const QTemporaryDir dir;
        const std::string one = dir.path().toStdString() + "/one", two = one + ".two";
        const auto isLocked = [](const std::string& path) {
            const int file = open((path + ".lock").c_str(), O_RDONLY | O_CREAT, 0600);
            const bool locked = flock(file, LOCK_EX | LOCK_NB) != 0;
            close(file);
            return locked;
        };
        const ListLock first(one);
        {
            const ListLock second(two), again(two);
            QVERIFY(first && second && again);
            QVERIFY(isLocked(one) && isLocked(two));
        }
        QVERIFY(isLocked(one) && !isLocked(two));
    }

    void eachNewFileIsOnTheDiskBeforeItIsInItsPlace()
    {
        OrderedFiles files;
        CRUFile list(OnFiles(files));
        QVERIFY(list.Create());
        QCOMPARE(files.order, QByteArray(" file rename folder").repeated(4));
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
                                      .at(8, "e9030000") // 1001
                                      .at(12, "53746172204c616e646572") // Star Lander
                                      .at(73, "2f7573722f67616d65732f736c") // /usr/games/sl
                                      .at(201, "626967") // big
                                      .at(457, "736d616c6c") // small
                                      .at(588, "d2029649") // 1234567890
                                      .bytes();
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
        MakeList(list, 3);
        QVERIFY(!list.DeleteRecord(4));
        QVERIFY(list.DeleteRecord(2));
        QVERIFY(!list.DeleteRecord(2));
        QCOMPARE(list.UsedRecs(), 2);
        QCOMPARE(list.GetFileSize(), 4);
        QVERIFY(list.GetRecord(2)); // the remains of the removed item
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
        MakeList(list, 3);
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
        Damage(Files()).forEachUnusable([&] {
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
        Random random = Random::announced();
        CRUFile list;
        MakeMixedList(list);
        list.Close();
        Damage(Files()).forEachDamaged(random, [&] {
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
        MakeList(list, 3);
        list.Close();
        // The oldest record claims to be the newest.
        QByteArray bytes = ReadWhole(CRUFile::RUDATAFILE);
        bytes[recordLength + 588] = 99;
        WriteWhole(CRUFile::RUDATAFILE, bytes);
        QVERIFY(list.Open());
        QCOMPARE(NewestFirst(list), (QByteArrayList{ "3", "2" }));
    }

    void walksOverPageCopiesGoOneWayOnly()
    {
        CRUFile list;
        MakeMixedList(list);
        list.Close();
        const Damage files(Files());
        const int pageSizes[] = { 0, pageSize(72), pageSize(60) };
        for (const int which : { 1, 2 }) {
            const std::string path = Files()[std::size_t(which)];
            const QByteArray sound = ReadWhole(path);
            const int size = pageSizes[which];
            const int pages = int(sound.size()) / size;
            for (int from = 1; from < pages; ++from) {
                for (int to = 1; to < pages; ++to) {
                    WriteWhole(
                        path,
                        QByteArray(sound).replace(to * size, size, sound.mid(from * size, size)));
                    QVERIFY(list.Open());
                    compareOrders(list);
                }
            }
            WriteWhole(path, sound);
        }
    }

    void aKeyWithoutItsItemIsPassedOver()
    {
        CRUFile list;
        MakeList(list, 3);
        list.Close();
        // The newest record is removed, but not its key yet: a process died in between.
        DataFile* const file = OpenDataFile(0, CRUFile::RUDATAFILE.c_str(), recordLength);
        QVERIFY(file);
        QCOMPARE(DeleteRec(file, 3), 0);
        QCOMPARE(CloseDataFile(file), 0);
        QVERIFY(list.Open());
        QCOMPARE(NewestFirst(list), (QByteArrayList{ "2", "1" }));
    }

    void aSerialNumberBelowOneRemovesNothing()
    {
        CRUFile list;
        QVERIFY(list.Create());
        for (const int serial : { 0, 5, 7 })
            QVERIFY(Add(list, serial, QByteArray::number(serial), serial));
        for (const int serial : { -1, 0, INT32_MIN })
            QVERIFY(!list.DeleteRecord(serial));
        QCOMPARE(NewestFirst(list), (QByteArrayList{ "7", "5", "0" }));
    }

    void nullIsTheEmptyText()
    {
        CRUFile list;
        QVERIFY(!list.FindItem(nullptr));
        QVERIFY(list.Create());
        QVERIFY(!list.FindItem(nullptr));
        QVERIFY(Add(list, 1, nullptr, 1));
        QVERIFY(list.FindItem(nullptr));
        QCOMPARE(list.ServerSerialNumber(), 1);
        QVERIFY(!list.SetUniqueDescription(nullptr) || *list.Description() == 0);
    }

    // A walk continues from the key with which the object was loaded.
    void theWalkBackGoesOnFromTheStoredKey()
    {
        CRUFile list;
        MakeList(list, 4);
        QVERIFY(list.FindServerSerialNumber(4));
        list.AddNew();
        QVERIFY(!list.FindPrevAccessedItem());
        QVERIFY(list.FindServerSerialNumber(3));
        list.SetLastAccessed(1);
        list.SetDescription("0");
        QVERIFY(list.FindPrevAccessedItem());
        QCOMPARE(list.Description(), "2");
        // Of a removed item the remains are loaded, but not its keys.
        QVERIFY(list.DeleteRecord(1));
        QVERIFY(list.FindServerSerialNumber(3));
        QVERIFY(list.GetRecord(1));
        QVERIFY(list.FindPrevAccessedItem());
        QCOMPARE(list.Description(), "2");
    }

    void theWalkByDescriptionGoesOnFromTheLastLookup()
    {
        CRUFile list;
        MakeList(list, 4);
        QVERIFY(list.FindItem("2"));
        QVERIFY(list.FindServerSerialNumber(4));
        QVERIFY(list.FindNextByDescription());
        QCOMPARE(list.Description(), "3");
        QVERIFY(!list.FindItem("35"));
        list.SetLastAccessed(9); // does not change the order by description
        QVERIFY(list.Update());
        QVERIFY(list.FindNextByDescription());
        QCOMPARE(list.Description(), "4");
        QVERIFY(!list.FindNextByDescription());
        QVERIFY(list.FindNextByDescription());
        QCOMPARE(list.Description(), "1");
        QVERIFY(list.FindNextByDescription());
        list.SetDescription("29");
        QVERIFY(list.Update());
        QVERIFY(list.FindNextByDescription());
        QCOMPARE(list.Description(), "1");
    }

    // ---- several objects with the list open ----

    void whatOneObjectStoresTheOthersFind()
    {
        CRUFile host;
        QVERIFY(host.Create());
        CRUFile install;
        QVERIFY(install.Open());
        QVERIFY(!host.FindLastAccessedItem());
        for (int serial = 1; serial <= 60; ++serial) {
            CRUFile& writer = serial % 2 ? install : host;
            CRUFile& reader = serial % 2 ? host : install;
            QVERIFY(Add(writer, serial, QByteArray::number(serial), serial));
            QVERIFY(reader.FindLastAccessedItem());
            QCOMPARE(reader.ServerSerialNumber(), serial);
            QVERIFY(reader.FindItem(QByteArray::number(serial)));
            QVERIFY(reader.FindServerSerialNumber(serial));
            QCOMPARE(reader.UsedRecs(), serial);
        }
        host.Close();
        QCOMPARE(NewestFirst(install).size(), 60);
        install.Close();
        for (const int which : { 1, 2, 3 })
            QCOMPARE(Index(which).size(), std::size_t(60));
    }

    void anEmptyListThatIsHeldOpenTakesNothingFromAnother()
    {
        CRUFile host;
        QVERIFY(host.Create());
        inAnotherProcess([] {
            CRUFile install;
            return install.Open() && Add(install, 7, "seven", 70);
        });
        host.Close();
        for (const int which : { 1, 2, 3 })
            QCOMPARE(Index(which).size(), std::size_t(1));
    }

    void aListThatAnotherMadeAgainIsTheOneThatIsUsed()
    {
        CRUFile host;
        QVERIFY(host.Create());
        QVERIFY(Add(host, 1, "one", 1));
        inAnotherProcess([] {
            CRUFile other;
            return other.Create() && Add(other, 2, "two", 2);
        });
        QCOMPARE(NewestFirst(host), (QByteArrayList{ "two" }));
        QVERIFY(Add(host, 3, "three", 3));
        host.Close();
        QVERIFY(host.Open());
        QCOMPARE(NewestFirst(host), (QByteArrayList{ "three", "two" }));
    }

    void anItemThatAnotherChangedOrRemoved()
    {
        CRUFile host;
        QVERIFY(host.Create());
        QVERIFY(Add(host, 1, "one", 1));
        QVERIFY(Add(host, 2, "two", 2));
        QVERIFY(host.FindServerSerialNumber(1));
        inAnotherProcess([] {
            CRUFile other;
            if (!other.Open() || !other.FindServerSerialNumber(1))
                return false;
            other.SetLastAccessed(50);
            return other.Update();
        });
        host.SetLastAccessed(60);
        QVERIFY(host.Update());
        QCOMPARE(NewestFirst(host), (QByteArrayList{ "one", "two" }));
        QVERIFY(host.FindServerSerialNumber(1));
        inAnotherProcess([] {
            CRUFile other;
            return other.Open() && other.DeleteRecord(1);
        });
        QVERIFY(!host.Update());
        // Its record number is given to another product.
        inAnotherProcess([] {
            CRUFile other;
            return other.Open() && Add(other, 3, "three", 3) && other.RecordNumber() == 1;
        });
        QVERIFY(!host.Update());
        QCOMPARE(NewestFirst(host), (QByteArrayList{ "three", "two" }));
        host.Close();
        QCOMPARE(Index(3), (Items{ { "00000000000000000002", 2 }, { "00000000000000000003", 1 } }));
    }

    void twoProcessesThatWriteAtOnceLoseNothing()
    {
        constexpr int each = 150;
        CRUFile list;
        QVERIFY(list.Create());
        const auto add = [](int first) {
            CRUFile writer;
            bool added = writer.Open();
            for (int serial = first; added && serial < first + each; ++serial)
                added = Add(writer, serial, QByteArray::number(serial), serial);
            return added;
        };
        const pid_t child = start([&add] { return add(1001); });
        QVERIFY(add(1));
        QVERIFY(endedWell(child));
        QCOMPARE(list.UsedRecs(), 2 * each);
        list.Close();
        for (const int which : { 1, 2, 3 })
            QCOMPARE(Index(which).size(), std::size_t(2 * each));
        QCOMPARE(CheckDataFile(CRUFile::RUDATAFILE, recordLength), Findings());
    }

    void firstOpenersMakeOneList()
    {
        for (int round = 0; round < 20; ++round) {
            for (const std::string& file : Files())
                unlink(file.c_str());
            const auto open = [](int serial) {
                CRUFile list;
                return list.Open() && Add(list, serial, QByteArray::number(serial), serial);
            };
            const pid_t child = start([&open] { return open(1); });
            QVERIFY(open(2));
            QVERIFY(endedWell(child));
            QCOMPARE(Index(3).size(), std::size_t(2));
        }
    }

    // Such an index refuses a second equal key, but damage can make one.
    void aWalkOverEqualDescriptionsEnds()
    {
        CRUFile list;
        QVERIFY(list.Create());
        for (const char* name : { "a", "b", "c" })
            QVERIFY(Add(list, *name, name, *name));
        list.Close();
        IndexFile* const index = MakeIndex(0, CRUFile::RUDATAIDX2.c_str(), 60, 1);
        std::uint32_t record = 1;
        for (const char* name : { "a", "b", "b", "c" }) {
            char key[64];
            std::strcpy(key, name);
            QCOMPARE(AddKey(index, &record, key), 0);
            record = std::min(record + 1, 3u);
        }
        QCOMPARE(CloseIndex(index), 0);
        QVERIFY(list.Open());
        QCOMPARE(ByDescription(list).first(), QByteArray("a"));
        QVERIFY(ByDescription(list).size() <= 4);
        QVERIFY(list.Repair());
        QCOMPARE(ByDescription(list), (QByteArrayList{ "a", "b", "c" }));
    }

    // If locking is impossible, a single process can use the list; a planted link does
    // not create a file elsewhere.
    void whatIsNoLockFileIsNotLocked()
    {
        CRUFile list;
        QVERIFY(list.Create());
        const std::string lock = CRUFile::RUDATAFILE + ".lock", elsewhere = lock + ".elsewhere";
        unlink(lock.c_str());
        QVERIFY(symlink(elsewhere.c_str(), lock.c_str()) == 0);
        QVERIFY(Add(list, 1, "one", 1));
        QVERIFY(access(elsewhere.c_str(), F_OK) != 0);
        QVERIFY(unlink(lock.c_str()) == 0 && mkdir(lock.c_str(), 0) == 0);
        QVERIFY(Add(list, 2, "two", 2));
        QVERIFY(rmdir(lock.c_str()) == 0);
        QVERIFY(symlink("/proc/nowhere/x", lock.c_str()) == 0);
        QVERIFY(Add(list, 3, "three", 3) && list.DeleteRecord(2));
        QVERIFY(unlink(lock.c_str()) == 0);
        QCOMPARE(NewestFirst(list), (QByteArrayList{ "three", "one" }));
    }

    // ---- repairing ----

    void repairOfASoundListWritesNothing()
    {
        SwitchedFiles switched;
        CRUFile list(OnFiles(switched));
        QVERIFY(list.Create());
        QVERIFY(list.Repair());
        for (const int serial : { 1, 2, 3 })
            QVERIFY(Add(list, serial, QByteArray::number(serial), serial));
        QVERIFY(list.DeleteRecord(2));
        CheckedFiles files;
        {
            const SwitchedTo used(switched, files);
            QVERIFY(list.Repair());
        }
        QCOMPARE(files.checks, 4); // of each file
        QCOMPARE(files.writes, 0);
        QCOMPARE(list.RecordNumber(), 0);
        list.Close();
        QVERIFY(!list.Repair());
    }

    void repairGivesEachItemItsKeys()
    {
        CRUFile list;
        MakeList(list, 60);
        list.Close();
        const Items sound[] = { Index(1), Index(2), Index(3) };
        const QByteArray records = ReadWhole(CRUFile::RUDATAFILE);
        for (const int which : { 1, 2, 3 }) {
            const std::string path = Files()[std::size_t(which)];
            const QByteArray bytes = ReadWhole(path);
            const int size = pageSize(which == 1 ? 72 : which == 2 ? 60 : 20);
            const QByteArrayList damaged{
                bytes.left(size), // empty, but not according to its header
                QByteArray(bytes).replace(size, size, QByteArray(size, '\0')),
                QByteArray(bytes).replace(size, size, bytes.mid(2 * size, size)),
                QByteArray(bytes).replace(2 * size + 20, 1, "\x7f"),
            };
            for (const QByteArray& text : damaged) {
                WriteWhole(path, text);
                QVERIFY(list.Open());
                QVERIFY(list.Repair());
                QCOMPARE(NewestFirst(list).size(), 60);
                list.Close();
                for (const int index : { 1, 2, 3 })
                    QCOMPARE(Index(index), sound[index - 1]);
            }
        }
        QCOMPARE(ReadWhole(CRUFile::RUDATAFILE), records);
    }

    void indexesThatDoNotOpenAreMadeAgain()
    {
        CRUFile list;
        MakeList(list, 60);
        list.Close();
        const Items sound[] = { Index(1), Index(2), Index(3) };
        const QByteArray records = ReadWhole(CRUFile::RUDATAFILE);
        const int descriptors = OpenDescriptors();
        // One, two adjacent ones, and all.
        for (const std::vector<std::size_t>& which :
             { std::vector<std::size_t>{ 1 }, { 2 }, { 3 }, { 1, 2 }, { 2, 3 }, { 1, 2, 3 } }) {
            for (const int size : { 0, 30, 100, -1 }) {
                for (const std::size_t index : which)
                    QVERIFY((size < 0 ? unlink(Files()[index].c_str())
                                      : truncate(Files()[index].c_str(), size))
                            == 0);
                QVERIFY(!list.Open());
                QVERIFY(list.IsOpen());
                list.Close();
                QVERIFY(list.OpenOrRepair());
                QCOMPARE(NewestFirst(list).size(), 60);
                QVERIFY(list.FindServerSerialNumber(7) && list.FindItem("8"));
                list.SetLastAccessed(8); // unchanged except for this write
                QVERIFY(list.Update());
                list.Close();
                for (const int index : { 1, 2, 3 })
                    QCOMPARE(Index(index), sound[index - 1]);
            }
        }
        QCOMPARE(ReadWhole(CRUFile::RUDATAFILE), records);
        QCOMPARE(OpenDescriptors(), descriptors);
    }

    void whatDidNotOpenOnceIsOpenAfterTheRepair()
    {
        SwitchedFiles switched;
        CRUFile list(OnFiles(switched));
        QVERIFY(list.Create());
        QVERIFY(Add(list, 1, "one", 1));
        list.Close();
        int opened = 0;
        for (bool failed = true; failed; ++opened) {
            QVERIFY(truncate(CRUFile::RUDATAIDX1.c_str(), 100) == 0);
            FailingFiles files(Fault::Open, opened, false);
            const SwitchedTo used(switched, files);
            const bool open = list.OpenOrRepair();
            failed = files.hasFailed();
            const SwitchedTo sound(switched, MachineFiles());
            if (open)
                QVERIFY(list.FindLastAccessedItem() && list.FindItem("one")
                        && list.FindServerSerialNumber(1) && list.Update());
            list.Close();
        }
        QVERIFY(opened > 8);
    }

    void anIndexOfZerosIsMadeAgain()
    {
        CRUFile list;
        MakeList(list, 60);
        list.Close();
        for (const std::size_t which : { 1, 2, 3 }) {
            const Items sound = Index(int(which));
            WriteWhole(Files()[which], QByteArray(ReadWhole(Files()[which]).size(), '\0'));
            QVERIFY(list.OpenOrRepair() && list.Repair());
            list.Close();
            QCOMPARE(Index(int(which)), sound);
        }
    }

    // Also while it is open.
    void anIndexThatIsCutOffUnderAnOpenListIsMadeAgain()
    {
        CRUFile list;
        QVERIFY(list.Create());
        QVERIFY(Add(list, 1, "one", 1));
        for (const std::size_t which : { 1, 2, 3 }) {
            QVERIFY(truncate(Files()[which].c_str(), 100) == 0);
            QVERIFY(!list.FindServerSerialNumber(1) || !list.Update());
            QVERIFY(list.Repair());
            QVERIFY(list.FindServerSerialNumber(1) && list.Update());
        }
        QVERIFY(truncate(CRUFile::RUDATAFILE.c_str(), 100) == 0);
        QVERIFY(!list.Repair());
        QCOMPARE(ReadWhole(CRUFile::RUDATAFILE).size(), 100);
    }

    void anIndexThatCannotBeReplacedIsNamed()
    {
        CRUFile list;
        QVERIFY(list.Create());
        QVERIFY(Add(list, 1, "one", 1));
        list.Close();
        QVERIFY(unlink(Files()[2].c_str()) == 0 && mkdir(Files()[2].c_str(), 0700) == 0);
        QLoggingCategory::setFilterRules(QStringLiteral("vantrel.agent.db.info=true"));
        QTest::ignoreMessage(QtInfoMsg, QRegularExpression(QStringLiteral("^cannot open .*")));
        QTest::ignoreMessage(QtInfoMsg, QRegularExpression(QStringLiteral("^making .*k2 again")));
        QTest::ignoreMessage(QtInfoMsg,
                             QRegularExpression(QStringLiteral("^cannot make .*k2 again, error")));
        QVERIFY(!list.OpenOrRepair());
        QLoggingCategory::setFilterRules(QString());
        list.Close();
        QVERIFY(rmdir(Files()[2].c_str()) == 0);
        QVERIFY(list.OpenOrRepair());
        QVERIFY(list.FindItem("one"));
    }

    // The disk is full at any write, including those at closing.
    void anIndexThatCannotBeWrittenDoesNotTakeItsPlace()
    {
        SwitchedFiles switched;
        CRUFile list(OnFiles(switched));
        MakeList(list, 60);
        int writes = 0;
        for (bool failed = true; failed; ++writes) {
            const QByteArray cut = ReadWhole(CRUFile::RUDATAIDX2).left(100);
            WriteWhole(CRUFile::RUDATAIDX2, cut);
            NoRoomForNewFiles files(writes);
            bool repaired = false;
            {
                const SwitchedTo used(switched, files);
                repaired = list.Repair();
            }
            failed = files.hasFailed();
            QCOMPARE(repaired, !failed);
            QCOMPARE(ReadWhole(CRUFile::RUDATAIDX2) == cut, failed);
            QVERIFY(access((CRUFile::RUDATAIDX2 + ".new").c_str(), F_OK) != 0);
        }
        QVERIFY2(writes > 3, qPrintable(QString::number(writes)));
        QCOMPARE(NewestFirst(list).size(), 60);
    }

    void aDataFileThatEndsBeforeItsFirstItemIsMadeAgain()
    {
        CRUFile list;
        for (const int size : { 0, 100, recordLength - 1 }) {
            QVERIFY(list.Create());
            QVERIFY(Add(list, 1, "one", 1));
            list.Close();
            QVERIFY(truncate(CRUFile::RUDATAFILE.c_str(), size) == 0);
            QVERIFY(!list.Open());
            QVERIFY(list.OpenOrRepair());
            QCOMPARE(list.UsedRecs(), 0);
            QVERIFY(Add(list, 1, "one", 1));
            list.Close();
        }
        // A file that may contain items is left unchanged.
        QVERIFY(unlink(CRUFile::RUDATAFILE.c_str()) == 0);
        QVERIFY(mkdir(CRUFile::RUDATAFILE.c_str(), 0700) == 0);
        QVERIFY(!list.OpenOrRepair());
        QVERIFY(rmdir(CRUFile::RUDATAFILE.c_str()) == 0);
    }

    // Records and pages copied over others, circular chains and links, in the data file
    // and any of the indexes: the repaired list has every remaining record.
    void recordsThatAreWholeSurviveTheDamageOfSeveralFiles()
    {
        Random random = Random::announced();
        CRUFile list;
        MakeMixedList(list);
        list.Close();
        const QByteArray sound = ReadWhole(CRUFile::RUDATAFILE);
        int repaired = 0;
        Damage files(Files());
        for (int i = 0; i < 4; ++i)
            files.forEachMixed(random, [&] {
                const QByteArray left = ReadWhole(CRUFile::RUDATAFILE);
                const bool done = list.OpenOrRepair() && list.Repair();
                repaired += done;
                for (int serial = 1; done && serial <= 200; ++serial)
                    if (left.mid(serial * recordLength, recordLength)
                        == sound.mid(serial * recordLength, recordLength))
                        QVERIFY(list.FindServerSerialNumber(serial));
                list.Close();
                if (done)
                    QCOMPARE(CheckRecent(RecentFolder()).faults, Findings());
            });
        qInfo("%d lists repaired", repaired);
        QVERIFY(repaired > 20);
    }

    void repairMakesItemsOfRefusedUpdates()
    {
        CRUFile list;
        QVERIFY(list.Create());
        QVERIFY(Add(list, 5, "Editor", 10));
        for (const int time : { 20, 40, 30 })
            QVERIFY(!Add(list, 2, "EDITOR", time)); // one more entry each time
        const QByteArray longName = QByteArray(58, 'x') + "\xc3\xa4";
        QVERIFY(Add(list, 8, longName, 11));
        QVERIFY(!Add(list, 99, longName, 12));
        QVERIFY(list.Repair());
        const QByteArrayList repaired{ "EDITOR (2)", QByteArray(55, 'x') + " (99)", longName,
                                       "Editor" };
        QCOMPARE(NewestFirst(list), repaired);
        QVERIFY(list.FindServerSerialNumber(2));
        QCOMPARE(list.LastAccessed(), 40);
        QVERIFY(list.FindServerSerialNumber(99));
        QVERIFY(list.DeleteRecord(2));
        QVERIFY(list.Repair());
        QCOMPARE(NewestFirst(list), repaired.mid(1));
        list.Close();
        QCOMPARE(CheckDataFile(CRUFile::RUDATAFILE, recordLength), Findings());
    }

    void repairKeepsTheLaterOfTwoCopiesOfOneTime()
    {
        CRUFile list;
        QVERIFY(list.Create());
        QVERIFY(Add(list, 2, "a", 20));
        QVERIFY(!Add(list, 2, "b", 20));
        QVERIFY(list.Repair());
        QCOMPARE(NewestFirst(list), (QByteArrayList{ "b" }));
        QVERIFY(list.FindServerSerialNumber(2));
        QCOMPARE(list.Description(), "b");
    }

    // The number 0 belongs to no product: such items are not copies of each other, and
    // cannot get a unique name.
    void repairLeavesItemsWithoutASerialNumber()
    {
        CRUFile list;
        QVERIFY(list.Create());
        QVERIFY(Add(list, 0, "none", 10));
        QVERIFY(!Add(list, 0, "another", 20));
        QVERIFY(!Add(list, 0, "none", 30));
        QVERIFY(list.Repair());
        QCOMPARE(NewestFirst(list), (QByteArrayList{ "none", "another", "none" }));
        QCOMPARE(ByDescription(list), (QByteArrayList{ "another", "none" }));
    }

    void repairTakesNoNameThatAnotherHas()
    {
        CRUFile list;
        QVERIFY(list.Create());
        QVERIFY(Add(list, 2, "Editor", 10));
        QVERIFY(Add(list, 8, "Editor (7)", 11));
        QVERIFY(!Add(list, 7, "Editor", 12));
        QVERIFY(list.Repair());
        QCOMPARE(NewestFirst(list), (QByteArrayList{ "Editor", "Editor (7)", "Editor" }));
    }

    // The item that the index has under the name keeps it, if it is one of them.
    void repairLeavesANameToTheItemThatHadItFirst()
    {
        CRUFile list;
        QVERIFY(list.Create());
        QVERIFY(Add(list, 1, "x", 1));
        QVERIFY(Add(list, 2, "Editor", 2));
        QVERIFY(Add(list, 3, "y", 3));
        QVERIFY(list.FindServerSerialNumber(1));
        list.SetDescription("Editor");
        QVERIFY(!list.Update());
        QVERIFY(list.Repair());
        QCOMPARE(NewestFirst(list), (QByteArrayList{ "y", "Editor", "Editor (1)" }));
        QVERIFY(list.FindServerSerialNumber(1));
        list.SetDescription("editor");
        QVERIFY(!list.Update());
        list.Close();
        pointTo(2, "Editor", 2, 3);
        QVERIFY(list.Open() && list.Repair());
        QCOMPARE(NewestFirst(list), (QByteArrayList{ "y", "Editor (2)", "editor" }));
    }

    void repairOfAKeyThatLeadsToAnotherItem()
    {
        CRUFile list;
        MakeList(list, 2);
        list.Close();
        pointTo(3, "00000000000000000001", 1, 2);
        QVERIFY(list.Open());
        QVERIFY(!list.FindServerSerialNumber(1));
        QVERIFY(list.Repair());
        QVERIFY(list.FindServerSerialNumber(1) && list.FindServerSerialNumber(2));
    }

    // Otherwise the index would give the page to the next item that needs one.
    void repairOfAnIndexWhoseFreePageIsInUse()
    {
        CRUFile list;
        QVERIFY(list.Create());
        QVERIFY(Add(list, 1, "one", 1));
        list.Close();
        for (const int which : { 1, 2, 3 }) {
            const std::string path = Files()[std::size_t(which)];
            const QByteArray sound = ReadWhole(path);
            const QByteArray root = sound.mid(8, 4);
            WriteWhole(path, root + QByteArray("\1\0\0\0", 4) + sound.mid(8));
            QVERIFY(list.Open() && list.Repair());
            list.Close();
            QCOMPARE(ReadWhole(path).left(4), QByteArray(4, '\xff'));
            QCOMPARE(Index(which).size(), std::size_t(1));
        }
    }

    // All items are in place, but the next changes would not find what they need.
    void repairOfAnIndexWithAllItemsThatIsUnsound()
    {
        CRUFile list;
        MakeList(list, 60);
        list.Close();
        const int keyLengths[] = { 0, 72, 60, 20 };
        for (const int which : { 1, 2, 3 }) {
            const std::string path = Files()[std::size_t(which)];
            const Items items = Index(which);
            const QByteArray sound = ReadWhole(path);
            for (const QByteArray& unsound :
                 { sound + QByteArray(pageSize(keyLengths[which]), '\1'), // a page too many
                   QByteArray(sound).replace(4, 1, "\5") }) { // pages that are said to be free
                WriteWhole(path, unsound);
                QVERIFY(!CheckIndex(path, keyLengths[which], false).empty());
                QVERIFY(list.Open() && list.Repair());
                list.Close();
                QCOMPARE(Index(which), items);
            }
        }
    }

private:
    // Makes a key of an index lead to another record.
    static void pointTo(int which, const char* key, std::uint32_t from, std::uint32_t to)
    {
        const std::int16_t lengths[] = { 72, 60, 20 };
        const std::string path = Files()[std::size_t(which)];
        IndexFile* const index = OpenIndex(0, path.c_str(), lengths[which - 1], 0);
        QVERIFY(index);
        char text[80];
        std::strcpy(text, key);
        QCOMPARE(DeleteKey(index, &from, text), 0);
        QCOMPARE(AddKey(index, &to, text), 0);
        QCOMPARE(CloseIndex(index), 0);
    }
    static int pageSize(int keyLength) { return PackedLength(std::int16_t(keyLength)); }

    // Checks that each walk is in order, whatever items it has.
    static void compareOrders(CRUFile& list)
    {
        QByteArray before;
        char key[73];
        for (bool more = list.FindLastAccessedItem(); more; more = list.FindPrevAccessedItem()) {
            list.MakeKey(key, 0);
            QVERIFY(before.isNull() || qstricmp(key, before) < 0);
            before = key;
        }
        before = QByteArray();
        for (bool more = list.FindFirstByDescription(); more; more = list.FindNextByDescription()) {
            QVERIFY(before.isNull() || qstricmp(list.Description(), before) > 0);
            before = list.Description();
        }
    }

    using Work = std::function<bool()>;

    static pid_t start(const Work& work)
    {
        const pid_t child = fork();
        if (child == 0)
            _exit(work() ? 0 : 1);
        return child;
    }
    static bool endedWell(pid_t child)
    {
        int status = -1;
        return child > 0 && waitpid(child, &status, 0) == child && status == 0;
    }
    static void inAnotherProcess(const Work& work) { QVERIFY(endedWell(start(work))); }
};

QTEST_GUILESS_MAIN(RecentlyUsedTest)
#include "tst_crufile.moc"
