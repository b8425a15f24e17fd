// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Concurrent updates: one within another, in two processes, after a killed one, and with
// planted files.

#include "db/updatelock.h"
#include "tests/catalog/wholecatalogs.h"
#include "tests/common/plainuser.h"
#include "tests/request/requests.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QTimer>
#include <QtTest>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace
{

// Makes the next sync fail, once, as the system reports an error.
bool nextSyncFails = false;
// Makes the next lock fail, as on a file system without locks.
bool nextLockFails = false;

} // namespace

extern "C" Q_DECL_EXPORT int fsync(int fd)
{
    if (!std::exchange(nextSyncFails, false))
        return int(syscall(SYS_fsync, fd));
    errno = EIO;
    return -1;
}

extern "C" Q_DECL_EXPORT int flock(int fd, int operation) noexcept
{
    if (!std::exchange(nextLockFails, false))
        return int(syscall(SYS_flock, fd, operation));
    errno = ENOLCK;
    return -1;
}

namespace
{

using Agent::UpdateLock;

const QString lockFile = QStringLiteral(".VACatalog.lock");
const QString pointerFile = QStringLiteral(".VACatalog.current");

// An update that runs an action of the test while it fills the database, and while it
// waits.
class WatchedUpdate : public CAPIUpdateCatalog
{
public:
    WatchedUpdate() : CAPIUpdateCatalog(true, true) { }

    bool run(const QByteArray& content)
    {
        QDomDocument document = Document(content);
        QDomElement catalog = document.documentElement();
        return ProcessVantrelCatalogRequest(catalog);
    }
    void ProcessRecordsInCategory(QDomElement& category, CCatalogFile* file) override
    {
        CAPIUpdateCatalog::ProcessRecordsInCategory(category, file);
        if (whileFilling)
            whileFilling();
    }
    bool WaitForOtherUpdate() override
    {
        if (waits++ > 0)
            longestGap = std::max(longestGap, m_time.elapsed());
        const bool goOn = whileWaiting ? whileWaiting() : true;
        const bool result = CAPIUpdateCatalog::WaitForOtherUpdate() && goOn;
        m_time.start();
        return result;
    }

    std::function<void()> whileFilling;
    std::function<bool()> whileWaiting;
    int waits = 0;
    qint64 longestGap = 0; // ms, between two passes of the events

private:
    QElapsedTimer m_time;
};

// Another process in the middle of an update, until it may continue.
class OtherUpdate
{
public:
    explicit OtherUpdate(const QByteArray& content)
    {
        int ready[2];
        if (pipe(ready) != 0 || pipe(m_goOn) != 0)
            qFatal("no pipe");
        m_child = fork();
        if (m_child == 0) {
            const std::unique_ptr<WatchedUpdate> update(new WatchedUpdate);
            update->whileFilling = [this, &ready] {
                char byte = 0;
                close(m_goOn[1]);
                if (write(ready[1], &byte, 1) != 1 || read(m_goOn[0], &byte, 1) < 0)
                    _exit(2);
            };
            _exit(update->run(content) ? 0 : 1);
        }
        char byte;
        if (m_child < 0 || read(ready[0], &byte, 1) != 1)
            qFatal("the other process does not start its update");
        close(ready[0]);
        close(ready[1]);
        close(m_goOn[0]);
    }
    ~OtherUpdate() { end(); }
    OtherUpdate(const OtherUpdate&) = delete;
    OtherUpdate& operator=(const OtherUpdate&) = delete;

    void letGoOn()
    {
        if (m_goOn[1] >= 0)
            close(m_goOn[1]);
        m_goOn[1] = -1;
    }
    // Lets it continue to its end. Returns whether it has succeeded.
    bool end()
    {
        letGoOn();
        if (m_child > 0 && waitpid(m_child, &m_status, 0) != m_child)
            qFatal("the other process is lost");
        m_child = -1;
        return m_status == 0;
    }
    void killed()
    {
        kill(m_child, SIGKILL);
        end();
    }

private:
    pid_t m_child = -1;
    int m_goOn[2];
    int m_status = -1;
};

} // namespace

class CatalogUpdatesTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;

    static bool isRoot() { return geteuid() == 0; }

private slots:
    void initTestCase()
    {
        Setting("agent api url", m_server.url("/api").toStdString());
        m_server.answer("/api", Directory({}));
        CAPI::GetURLList();
    }
    void init()
    {
        RemoveDatabase();
        QCOMPARE(InitIndex(), 0);
    }
    void cleanup()
    {
        UnInitIndex();
        QVERIFY(QFile::setPermissions(DataFolder(), QFile::Permissions(0x7755)));
    }

    // -- within one another

    void anUpdateWithinAnUpdateIsRefusedAtOnce()
    {
        const LoggedLines log;
        const std::unique_ptr<WatchedUpdate> outer(new WatchedUpdate);
        int tried = 0;
        // A first refused one does not allow a second one.
        outer->whileFilling = [&tried] {
            for (int i = 0; i < 2; ++i, ++tried) {
                const std::unique_ptr<WatchedUpdate> inner(new WatchedUpdate);
                inner->whileWaiting = [] { return false; };
                QVERIFY(!inner->run(Whole("inner")));
                QCOMPARE(inner->waits, 0);
            }
        };
        QVERIFY(outer->run(Whole("outer")));
        QCOMPARE(tried, 2);
        QVERIFY(log.text().contains("another one is refused"));
        QCOMPARE(VersionOfWhole(), QByteArray("outer"));
        QVERIFY(Process(Whole("later")));
    }

    // Started by a timer of the host, while events are processed.
    void anUpdateWithinTheEventsOfAWaitingOneIsRefusedAtOnce()
    {
        OtherUpdate other(Whole("other"));
        const std::unique_ptr<WatchedUpdate> waiting(new WatchedUpdate);
        bool inner = true, tried = false;
        QTimer::singleShot(0, this, [&] {
            tried = true;
            inner = Process(Whole("inner"));
            other.letGoOn();
        });
        QVERIFY(waiting->run(Whole("waiting")));
        QVERIFY(tried && !inner);
        QVERIFY(other.end());
        QCOMPARE(VersionOfWhole(), QByteArray("waiting"));
    }

    void aCatalogThatIsOpenedDuringAnUpdateIsTheOldOne()
    {
        QVERIFY(Process(Whole("old")));
        const std::unique_ptr<WatchedUpdate> update(new WatchedUpdate);
        QByteArray seen;
        update->whileFilling = [&seen] {
            seen = VersionOfWhole();
            CCatalogFile file;
            QVERIFY(file.Open() && file.FindServerSerialNumber(3));
            file.setVendor("changed");
            file.setDependencies(file.OwnDependencies());
            QVERIFY(file.SaveRecord()); // in the old database, which is still the current one
        };
        QVERIFY(update->run(Whole("new")));
        QCOMPARE(seen, QByteArray("old"));
        QCOMPARE(VersionOfWhole(), QByteArray("new"));
    }

    // -- the disk

    void anErrorThatIsReportedOnceLeavesTheOldCatalog()
    {
        QVERIFY(Process(Whole("old")));
        const LoggedLines log;
        const std::unique_ptr<WatchedUpdate> update(new WatchedUpdate);
        update->whileFilling = [] { nextSyncFails = true; };
        QVERIFY(!update->run(Whole("new", 6000)));
        QVERIFY(!nextSyncFails);
        QVERIFY(log.text().contains("cannot be written out"));
        QCOMPARE(VersionOfWhole(), QByteArray("old"));
        QVERIFY(Process(Whole("later")));
    }

    // -- two processes

    void aSecondProcessSaysThatItWaitsAndThenUpdates()
    {
        OtherUpdate other(Whole("first"));
        const LoggedLines log;
        const std::unique_ptr<WatchedUpdate> second(new WatchedUpdate);
        second->whileWaiting = [&second, &other] {
            if (second->waits == 20)
                other.letGoOn();
            return true;
        };
        QVERIFY(second->run(Whole("second")));
        QVERIFY(second->waits >= 20);
        QCOMPARE(log.text().count("waiting for the update of another process"), 1);
        QVERIFY2(second->longestGap < 500, qPrintable(QString::number(second->longestGap)));
        QVERIFY(!log.text().contains("no longer"));
        QVERIFY(other.end());
        QCOMPARE(VersionOfWhole(), QByteArray("second"));
    }

    void aHostThatGivesUpWaitingHasFailed()
    {
        QVERIFY(Process(Whole("old")));
        OtherUpdate other(Whole("first"));
        const std::unique_ptr<WatchedUpdate> second(new WatchedUpdate);
        second->whileWaiting = [&second] { return second->waits < 3; };
        const LoggedLines log;
        QVERIFY(!second->run(Whole("second")));
        QCOMPARE(second->waits, 3);
        QVERIFY(log.text().contains("no longer waiting for"));
        QCOMPARE(VersionOfWhole(), QByteArray("old"));
        QVERIFY(other.end());
        QCOMPARE(VersionOfWhole(), QByteArray("first"));
    }

    void abortingTheTransfersEndsAWait()
    {
        OtherUpdate other(Whole("first"));
        QTimer::singleShot(50, this, [] { CAPI::AbortTransfers(); });
        QVERIFY(!Process(Whole("second")));
        QVERIFY(other.end());
        QCOMPARE(VersionOfWhole(), QByteArray("first"));
        QVERIFY(Process(Whole("third")));
    }

    void aKilledUpdateHoldsNothingUp()
    {
        QVERIFY(Process(Whole("old")));
        OtherUpdate other(Whole("killed"));
        other.killed();
        QCOMPARE(Generations().size(), 2);
        QCOMPARE(VersionOfWhole(), QByteArray("old"));
        const std::unique_ptr<WatchedUpdate> update(new WatchedUpdate);
        // Leftovers are removed before space is needed: only the old one and this one are
        // there.
        update->whileFilling = [] { QCOMPARE(Generations().size(), 2); };
        QVERIFY(update->run(Whole("new")));
        QCOMPARE(Generations().size(), 1);
        QCOMPARE(VersionOfWhole(), QByteArray("new"));
    }

    void theDatabaseThatAnotherProcessMakesIsNotTakenForALeftover()
    {
        OtherUpdate other(Whole("first"));
        CCatalogFile maker;
        QVERIFY(maker.Create());
        QCOMPARE(Generations().size(), 2);
        QVERIFY(other.end());
        QCOMPARE(VersionOfWhole(), QByteArray("first"));
    }

    // -- what is there already

    void leftoversOfAnotherUserDoNotKeepAnUpdateFromBeingOneStep()
    {
        if (!isRoot()) {
            QTest::qSkip("only root can give files to another user", __FILE__, __LINE__);
            return;
        }
        QVERIFY(Process(Whole("old", 8)));
        // Everyone may update here; folders that only root may enter are left over.
        QVERIFY(QFile::setPermissions(DataFolder(), QFile::Permissions(0x7777)));
        for (const QString& name : databaseFiles)
            QVERIFY(QFile::setPermissions(DataPath(name), QFile::Permissions(0x6666)));
        QVERIFY(QFile::setPermissions(DataPath(lockFile), QFile::Permissions(0x6666)));
        for (const char* name : { ".VACatalog.new", ".VACatalog.gen-900", ".VACatalog.old-901" })
            QCOMPARE(mkdir(DataPath(QLatin1String(name)).toLocal8Bit().constData(), 0700), 0);
        QDomDocument document = Document(Whole("new", 8));
        int kills = 0;
        {
            const PlainUser nobody;
            bool killed = true;
            for (; killed; ++kills) {
                killed = KilledAt(kills, [&document](StoreFiles& files) {
                    Process(document.documentElement(), files);
                });
                const QByteArray version = VersionOfWhole(8);
                QVERIFY2(version == "old" || version == "new", version.constData());
                if (kills < 45)
                    QCOMPARE(version, QByteArray("old"));
            }
            QCOMPARE(VersionOfWhole(8), QByteArray("new"));
        }
        QVERIFY(kills > 45);
        QVERIFY(QDir().rmdir(DataPath(QStringLiteral(".VACatalog.new"))));
    }

    // Links that somebody with write access to the folder has planted for root to follow.
    void plantedLinksAreNotFollowed()
    {
        QVERIFY(Process(Whole("old")));
        const QString victim = DataFolder() + QStringLiteral("/victim");
        const auto link = [](const QString& target, const QString& path) {
            QVERIFY(QFile::link(target, path));
        };
        for (int number = 1; number <= 5; ++number) {
            const QString folder = DataPath(QStringLiteral(".VACatalog.gen-%1").arg(number));
            if (QDir(folder).exists())
                continue;
            if (number % 2 == 0) {
                link(DataFolder(), folder);
                continue;
            }
            QVERIFY(QDir().mkdir(folder));
            for (const QString& name : databaseFiles)
                link(victim, folder + QLatin1Char('/') + name);
            link(victim, folder + QStringLiteral("/.link"));
        }
        QVERIFY(Process(Whole("new")));
        QVERIFY(!QFile::exists(victim));
        QCOMPARE(VersionOfWhole(), QByteArray("new"));
        for (int number = 1; number <= 5; ++number)
            QFile::remove(DataPath(QStringLiteral(".VACatalog.gen-%1").arg(number)));
    }

    void numbersBeginAgainAfterTheHighest()
    {
        const QString highest = DataPath(QStringLiteral(".VACatalog.gen-999999999"));
        QVERIFY(QDir().mkdir(highest));
        WriteDataFile(QStringLiteral(".VACatalog.gen-999999999/x"), "keeps it there");
        QVERIFY(Process(Whole("1")));
        QVERIFY(Process(Whole("2")));
        const QString current = QFile::symLinkTarget(DataPath(pointerFile));
        QVERIFY2(current.endsWith(QStringLiteral(".VACatalog.gen-1")), qPrintable(current));
        QCOMPARE(VersionOfWhole(), QByteArray("2"));
        QVERIFY(QDir(DataPath(QStringLiteral(".VACatalog.old-999999999"))).removeRecursively());
    }

    void aPlantedPointerIsNotFollowed()
    {
        QTemporaryDir elsewhere;
        QVERIFY(Process(Whole("old")));
        const QString pointer = DataPath(pointerFile);
        for (const QString& target : { elsewhere.path(), QStringLiteral("../vantrelagent"),
                                       QStringLiteral(".VACatalog.gen-77") }) {
            QVERIFY(QFile::remove(pointer) && QFile::link(target, pointer));
            QVERIFY(Process(Whole("new")));
            QCOMPARE(VersionOfWhole(), QByteArray("new"));
            QVERIFY(QDir(elsewhere.path()).isEmpty());
        }
    }

    void aLockThatIsNoFileOfItsOwnRefusesTheUpdate()
    {
        QVERIFY(Process(Whole("old")));
        const QString victim = DataFolder() + QStringLiteral("/victim");
        QVERIFY(QFile::remove(DataPath(lockFile)) && QFile::link(victim, DataPath(lockFile)));
        {
            const LoggedLines log;
            QVERIFY(!Process(Whole("new")));
            QVERIFY(log.text().contains("cannot lock"));
        }
        QVERIFY(!QFile::exists(victim));
        QVERIFY(QFile::remove(DataPath(lockFile)));
        QCOMPARE(mkfifo(DataPath(lockFile).toLocal8Bit().constData(), 0600), 0);
        QVERIFY(!Process(Whole("new")));
        QVERIFY(QFile::remove(DataPath(lockFile)));
        QCOMPARE(VersionOfWhole(), QByteArray("old"));
        QVERIFY(Process(Whole("new")));
    }

    void theLockIsForThoseWhoMayWriteTheFiles()
    {
        const auto modeOf = [](const QString& name) {
            struct stat status = {};
            return stat(DataPath(name).toLocal8Bit().constData(), &status) == 0
                ? int(status.st_mode & 0777)
                : -1;
        };
        QVERIFY(Process(Whole("1")));
        QCOMPARE(modeOf(lockFile), 0600); // there was no file yet
        QCOMPARE(chmod(DataPath(databaseFiles[0]).toLocal8Bit().constData(), 0664), 0);
        QVERIFY(Process(Whole("2")));
        QCOMPARE(modeOf(lockFile), 0660);
        QCOMPARE(chmod(DataPath(databaseFiles[0]).toLocal8Bit().constData(), 0644), 0);
        QVERIFY(Process(Whole("3")));
        QCOMPARE(modeOf(lockFile), 0600);
        QCOMPARE(chmod(DataPath(databaseFiles[0]).toLocal8Bit().constData(), 0646), 0);
        QVERIFY(Process(Whole("4")));
        QCOMPARE(modeOf(lockFile), 0606);
    }

    // -- the lock by itself

    void updatesOfTwoFoldersDoNotHinderEachOther()
    {
        const QTemporaryDir one, two;
        const UpdateLock first(folderOf(one), waitNever), second(folderOf(two), waitNever);
        QVERIFY(first && second);
        const UpdateLock again(folderOf(one), waitNever);
        QVERIFY(!again);
    }

    void aFolderIsFreeOnceItsLockHasGone()
    {
        const QTemporaryDir dir;
        for (int i = 0; i < 2; ++i) {
            const UpdateLock lock(folderOf(dir), waitNever);
            QVERIFY(lock);
            { // a refused lock releases nothing
                const UpdateLock refused(folderOf(dir), waitNever);
                QVERIFY(!refused);
            }
            QVERIFY(!isFree(dir));
        }
        QVERIFY(isFree(dir));
    }

    // The lock file is removed during the wait; the next update locks a new one.
    void aLockOnAFileThatHasGoneIsNone()
    {
        const QTemporaryDir dir;
        const QByteArray path = lockOf(dir);
        int held = open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        QCOMPARE(flock(held, LOCK_EX), 0);
        int calls = 0, before = -1;
        const UpdateLock lock(folderOf(dir), [&] {
            if (++calls == 1) {
                before = std::exchange(held, -1);
                unlink(path.constData());
                held = open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
                flock(held, LOCK_EX);
                close(before);
            } else {
                close(held);
            }
            return calls < 3;
        });
        QCOMPARE(calls, 2);
        QVERIFY(lock && !isFree(dir));
    }

    // A program that a host starts during an update may run for long.
    void aProgramThatIsStartedMeanwhileDoesNotKeepTheLock()
    {
        const QTemporaryDir dir;
        QProcess program;
        {
            const UpdateLock lock(folderOf(dir), waitNever);
            QVERIFY(lock);
            program.start(QStringLiteral("sleep"), { QStringLiteral("60") });
            QVERIFY(program.waitForStarted());
        }
        QVERIFY(isFree(dir));
        program.kill();
        QVERIFY(program.waitForFinished());
    }

    void aFolderWhereNothingCanBeLockedIsNotUpdated()
    {
        QVERIFY(Process(Whole("old")));
        const LoggedLines log;
        nextLockFails = true;
        QVERIFY(!Process(Whole("new")));
        QVERIFY(!nextLockFails);
        QVERIFY(log.text().contains("cannot lock"));
        QCOMPARE(VersionOfWhole(), QByteArray("old"));
        QVERIFY(Process(Whole("later")));
    }

private:
    static bool waitNever() { return false; }
    static std::string folderOf(const QTemporaryDir& dir) { return dir.path().toStdString() + '/'; }
    static QByteArray lockOf(const QTemporaryDir& dir)
    {
        return dir.filePath(lockFile).toLocal8Bit();
    }
    static bool isFree(const QTemporaryDir& dir)
    {
        const int file = open(lockOf(dir).constData(), O_RDWR | O_CLOEXEC);
        const bool isFree = file >= 0 && flock(file, LOCK_EX | LOCK_NB) == 0;
        close(file);
        return isFree;
    }
};

QTEST_MAIN(CatalogUpdatesTest)
#include "tst_catalogupdates.moc"
