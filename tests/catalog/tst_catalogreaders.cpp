// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Catalogs that are open while the database is replaced, by this process or another one:
// each keeps showing the complete database it opened, until it opens again.

#include "db/catalogscan.h"
#include "db/cdependency.h"
#include "db/dboptions.h"
#include "db/generations.h"
#include "tests/catalog/wholecatalogs.h"
#include "tests/common/limits.h"
#include "tests/common/processes.h"
#include "tests/request/requests.h"

#include <QElapsedTimer>
#include <QtTest>
#include <dlfcn.h>
#include <set>
#include <unistd.h>
#include <utility>

using namespace Agent;

namespace
{

// What happens once, when the pointer to the current generation has just been read.
std::function<void()> g_afterPointer;

} // namespace

// Takes the place of the C library's for the code that is linked into this test.
extern "C" ssize_t readlink(const char* path, char* target, size_t size) noexcept
{
    using Function = ssize_t (*)(const char*, char*, size_t);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "readlink"));
    const ssize_t length = real(path, target, size);
    if (g_afterPointer && QByteArray(path).endsWith("/.VACatalog.current"))
        std::exchange(g_afterPointer, nullptr)();
    return length;
}

namespace
{

// Products with only the fields needed to find them.
QByteArray Plain(int count)
{
    QByteArray products;
    for (int i = 1; i <= count; ++i)
        products += Product(i);
    return Category(products);
}

// The number of products that an open catalog finds, by category and by number.
int CountByWalk(CCatalogFile& file)
{
    int found = 0;
    for (bool more = file.FindFirstForCategory(nullptr); more;
         more = file.FindNextForCategory(nullptr))
        ++found;
    return found;
}

int CountByNumber(CCatalogFile& file, int upTo)
{
    int found = 0;
    for (int serial = 1; serial <= upTo; ++serial)
        found += file.FindServerSerialNumber(serial) ? 1 : 0;
    return found;
}

void InAnotherProcess(const std::function<bool()>& work)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(work() ? 0 : 1);
    int status = -1;
    if (child < 0 || waitpid(child, &status, 0) != child || status != 0)
        qFatal("the other process failed: %d", status);
}

// Which process makes an update.
enum class By { ThisProcess, AnotherProcess };

void Update(By by, const QByteArray& content)
{
    if (by == By::AnotherProcess)
        InAnotherProcess([&content] { return Process(content); });
    else if (!Process(content))
        qFatal("an update failed");
}

// Runs an action when the store writes, resizes or reads for the k-th time.
class InterruptedFiles : public UnsyncedFiles
{
public:
    InterruptedFiles(int k, std::function<void()> interruption)
        : m_left(k), m_interruption(std::move(interruption))
    {
    }
    bool hasCome() const { return m_left < 0; }

    int Open(const char* path, int flags, mode_t mode) override
    {
        count();
        return StoreFiles::Open(path, flags, mode);
    }
    ssize_t Read(int descriptor, void* bytes, size_t size) override
    {
        count();
        return StoreFiles::Read(descriptor, bytes, size);
    }
    ssize_t Write(int descriptor, const void* bytes, size_t size) override
    {
        count();
        return StoreFiles::Write(descriptor, bytes, size);
    }
    int Symlink(const char* target, const char* path) override
    {
        count();
        return StoreFiles::Symlink(target, path);
    }

private:
    void count()
    {
        if (m_left-- != 0)
            return;
        m_interruption();
    }

    int m_left;
    const std::function<void()> m_interruption;
};

// Pins the current generation each time a file has been renamed.
class PinningFiles : public UnsyncedFiles
{
public:
    explicit PinningFiles(const std::string& folder) : m_folder(folder), m_pinned(folder) { }
    PinnedGeneration pinned() { return std::move(m_pinned); }

    int Rename(const char* from, const char* to) override
    {
        const int result = UnsyncedFiles::Rename(from, to);
        m_pinned = PinnedGeneration(m_folder);
        return result;
    }

private:
    const std::string m_folder;
    PinnedGeneration m_pinned;
};

// One host's session, step by step; everything it finds must be from one catalog.
class Session
{
public:
    static constexpr int steps = 7;

    void run(int step)
    {
        switch (step) {
        case 0:
            QVERIFY(m_file.Open());
            QVERIFY(m_file.FindServerSerialNumber(1));
            m_version = m_file.Version();
            break;
        case 1:
            m_more = m_file.FindFirstForCategory("Games");
            walk(20);
            break;
        case 2:
            walk(20);
            QVERIFY(!m_more);
            break;
        case 3:
            for (int serial = 40; serial > 0; --serial) {
                QVERIFY(m_file.FindServerSerialNumber(serial));
                check();
            }
            break;
        case 4:
            m_file.setVendor("changed");
            m_file.setDependencies(m_file.OwnDependencies());
            m_saved = m_file.SaveRecord();
            break;
        case 5:
            QVERIFY(m_file.FindServerSerialNumber(2));
            check();
            break;
        default:
            m_file.Close();
        }
    }
    QByteArray version() const { return m_version; }
    bool saved() const { return m_saved; }

private:
    void walk(int count)
    {
        for (; count > 0 && m_more; --count) {
            check();
            m_more = m_file.FindNextForCategory("Games");
        }
        QCOMPARE(count, 0);
    }
    void check()
    {
        QCOMPARE(QByteArray(m_file.Version()), m_version);
        const QByteArray number = QByteArray::number(m_file.ServerSerialNumber());
        QCOMPARE(m_file.Name(), 'n' + number);
        QVERIFY(m_file.Description().startsWith(QLatin1String("about " + number)));
        QCOMPARE(m_file.OwnDependencies(), (QByteArrayList{ "libc6", 'q' + number }));
    }

    CCatalogFile m_file{ OnFiles(unsyncedFiles) };
    QByteArray m_version;
    bool m_more = false;
    bool m_saved = false;
};

} // namespace

Q_DECLARE_METATYPE(By)

class CatalogReadersTest : public QObject
{
    Q_OBJECT

private:
    ScriptedServer m_server;

    void addWriters()
    {
        QTest::addColumn<By>("by");
        QTest::newRow("this process") << By::ThisProcess;
        QTest::newRow("another process") << By::AnotherProcess;
    }

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
        RemoveOldGenerations(CatalogFolder());
        QVERIFY(Generations().size() <= 1);
    }

    // -- what a reader leaves

    void anEmptyCatalogOfTheFirstStartDoesNotHideAnUpdate_data() { addWriters(); }
    void anEmptyCatalogOfTheFirstStartDoesNotHideAnUpdate()
    {
        QFETCH(By, by);
        CCatalogFile file(OnFiles(unsyncedFiles));
        QVERIFY(file.Open());
        QCOMPARE(CountByWalk(file), 0);
        Update(by, Plain(10));
        QVERIFY(file.Open());
        QCOMPARE(CountByWalk(file), 10);
        QCOMPARE(CountByNumber(file, 11), 10);
        QCOMPARE(CheckCatalog(CatalogFolder()).faults, Findings());
    }

    void aWindowThatHoldsTheCatalogFindsTheSmallerOneThatReplacedIt_data() { addWriters(); }
    void aWindowThatHoldsTheCatalogFindsTheSmallerOneThatReplacedIt()
    {
        QFETCH(By, by);
        QVERIFY(Process(Plain(2000)));
        CCatalogFile window(OnFiles(unsyncedFiles));
        QVERIFY(window.Open());
        QCOMPARE(CountByWalk(window), 2000);
        Update(by, Plain(500));
        QCOMPARE(CountByNumber(window, 2000), 2000); // the old one is still complete
        QVERIFY(window.Open());
        QCOMPARE(CountByWalk(window), 500);
        QCOMPARE(CountByNumber(window, 2000), 500);
        window.Close();
        QCOMPARE(CheckCatalog(CatalogFolder()).faults, Findings());
    }

    void aReaderInAnotherProcessThatClosesAfterAnUpdateLeavesItWhole()
    {
        QVERIFY(Process(Plain(30)));
        InAnotherProcess([] {
            CCatalogFile file(OnFiles(unsyncedFiles));
            const bool found = file.Open() && CountByWalk(file) == 30;
            InAnotherProcess([] { return Process(Plain(10)); });
            file.Close();
            return found;
        });
        CCatalogFile file(OnFiles(unsyncedFiles));
        QVERIFY(file.Open());
        QCOMPARE(CountByWalk(file), 10);
        QCOMPARE(CheckCatalog(CatalogFolder()).faults, Findings());
    }

    void readersWriteNothing()
    {
        QVERIFY(Process(Whole("1")));
        const QList<QByteArray> before = Contents();
        {
            CCatalogFile file(OnFiles(unsyncedFiles));
            QVERIFY(file.Open());
            QCOMPARE(CountByNumber(file, 40), 40);
        }
        QCOMPARE(Contents(), before);
    }

    // -- one database, whole

    void anUpdateAtAnyStepOfAReaderLeavesItTheOldDatabase_data() { addWriters(); }
    void anUpdateAtAnyStepOfAReaderLeavesItTheOldDatabase()
    {
        QFETCH(By, by);
        for (int at = 0; at <= Session::steps; ++at) {
            QVERIFY(Process(Whole("old")));
            Session session;
            for (int step = 0; step < Session::steps; ++step) {
                if (step == at)
                    Update(by, Whole("new"));
                session.run(step);
                if (QTest::currentTestFailed())
                    qFatal("an update before step %d: step %d fails", at, step);
            }
            QCOMPARE(session.version(), at == 0 ? QByteArray("new") : QByteArray("old"));
            // A change that came too late was refused, and is in no database.
            QCOMPARE(session.saved(), at == 0 || at > 4);
            QCOMPARE(VersionOfWhole(), at < Session::steps ? QByteArray("new") : QByteArray("old"));
        }
    }

    // A host that reads the described files as plain files finds complete ones.
    void theDescribedNamesAreRelativeLinksToTheCurrentFiles()
    {
        QVERIFY(Process(Whole("1")));
        const QString current
            = QFile::symLinkTarget(DataPath(QStringLiteral(".VACatalog.current")));
        QCOMPARE(QFileInfo(current).fileName(), Generations().value(0));
        for (const QString& name : databaseFiles) {
            char target[200] = {};
            QVERIFY(readlink(DataPath(name).toLocal8Bit().constData(), target, 199) > 0);
            QCOMPARE(QString::fromLocal8Bit(target), QStringLiteral(".VACatalog.current/") + name);
        }
        QCOMPARE(CurrentCatalogFolder(CatalogFolder()), current.toStdString() + '/');
        // The plain store on the described path, as any program may use it.
        DataFile* file = OpenDataFile(0, CCatalogFile::CATALOGDFNAME.c_str(), 2012);
        QVERIFY(file);
        QCOMPARE(UsedRecs(file), 40u);
        QCOMPARE(CloseDataFile(file), 0);
    }

    void plainFilesOfAnOlderVersionAreReadAndReplaced()
    {
        QVERIFY(Process(Whole("old")));
        MakePlain();
        const QList<QByteArray> before = Contents();
        CCatalogFile file(OnFiles(unsyncedFiles));
        QVERIFY(file.Open());
        QVERIFY(file.FindServerSerialNumber(40));
        QCOMPARE(VersionOfWhole(), QByteArray("old"));
        QVERIFY(Process(Whole("new")));
        QVERIFY(file.FindServerSerialNumber(1));
        QCOMPARE(file.Version(), "old");
        QVERIFY(!file.SaveRecord());
        QCOMPARE(VersionOfWhole(), QByteArray("new"));
        QVERIFY(QFileInfo(DataPath(databaseFiles[0])).isSymLink());
        QVERIFY(Contents() != before);
    }

    // Another program, or an older version, has put its own files there.
    void plainFilesInPlaceOfTheLinksAreTheDatabase()
    {
        QVERIFY(Process(Whole("mine")));
        QList<QByteArray> mine = Contents();
        QVERIFY(Process(Whole("current")));
        for (int i = 0; i < databaseFiles.size(); ++i) {
            QVERIFY(QFile::remove(DataPath(databaseFiles[i])));
            WriteDataFile(databaseFiles[i], mine[i]);
        }
        QCOMPARE(VersionOfWhole(), QByteArray("mine"));
        QVERIFY(Process(Whole("next")));
        QCOMPARE(VersionOfWhole(), QByteArray("next"));
    }

    void opensDuringUpdatesGetOneOfThemWhole()
    {
        QVERIFY(Process(Whole("0", 12)));
        const pid_t child = fork();
        if (child == 0) {
            EndWithParent();
            for (int i = 1;; ++i)
                if (!Process(Whole(QByteArray::number(i % 10), 12)))
                    _exit(1);
        }
        QVERIFY(child > 0);
        std::set<QByteArray> versions;
        QElapsedTimer time;
        time.start();
        while (time.elapsed() < 20000 && (versions.size() < 4 || time.elapsed() < 1500)) {
            const QByteArray version = VersionOfWhole(12);
            QVERIFY2(version.size() == 1, version.constData());
            versions.insert(version);
            CatalogScan scan;
            for (int i = 0; i < 12; ++i)
                QVERIFY(scan.Next() && scan.Dependencies().size() == 2
                        && scan.Description().compare(0, 6, "about ") == 0);
        }
        QCOMPARE(kill(child, SIGKILL), 0);
        QCOMPARE(waitpid(child, nullptr, 0), child);
        QVERIFY(versions.size() >= 4);
        QVERIFY(Process(Whole("e", 12)));
    }

    // An update between any two calls of opening a catalog.
    void anUpdateWhileACatalogIsOpenedGivesOneOfBothWhole_data()
    {
        QTest::addColumn<bool>("plain");
        QTest::newRow("links") << false;
        QTest::newRow("plain files") << true;
    }
    void anUpdateWhileACatalogIsOpenedGivesOneOfBothWhole()
    {
        QFETCH(bool, plain);
        int calls = 0;
        for (bool came = true; came; ++calls) {
            QVERIFY(Process(Whole("old", 3)));
            if (plain)
                MakePlain();
            SwitchedFiles switched(unsyncedFiles);
            CCatalogFile file(OnFiles(switched));
            InterruptedFiles files(calls, [] { Update(By::AnotherProcess, Whole("new", 3)); });
            {
                const SwitchedTo used(switched, files);
                QVERIFY(file.Open());
            }
            came = files.hasCome();
            const QByteArray version = came ? "new" : "old";
            for (int serial = 1; serial <= 3; ++serial) {
                QVERIFY(file.FindServerSerialNumber(serial));
                QCOMPARE(QByteArray(file.Version()), version);
                QVERIFY(!file.Description().isEmpty());
                QCOMPARE(file.OwnDependencies().size(), 2);
            }
        }
        QVERIFY(calls > 20);
    }

    // It is not taken for missing, which would mean plain files.
    void aGenerationThatGoesWhileItIsLookedForIsLookedForAgain()
    {
        QVERIFY(Process(Whole("old", 3)));
        g_afterPointer = [] { Update(By::AnotherProcess, Whole("new", 3)); };
        const PinnedGeneration pinned(CatalogFolder());
        QVERIFY(!g_afterPointer);
        QVERIFY(pinned.Folder() != CatalogFolder());
        QCOMPARE(pinned.Folder(), CurrentCatalogFolder(CatalogFolder()));
    }

    // A generation that a reader holds stays when another one is published, and is
    // removed later.
    void aPinnedGenerationStaysUntilItIsLetGo()
    {
        QVERIFY(Process(Whole("old", 3)));
        {
            const PinnedGeneration pinned(CatalogFolder());
            QVERIFY(pinned.Folder() != CatalogFolder());
            QVERIFY(Process(Whole("new", 3)));
            QCOMPARE(Generations().size(), 2);
            QCOMPARE(access((pinned.Folder() + ".VADepends.k2").c_str(), F_OK), 0);
        }
        RemoveOldGenerations(CatalogFolder());
        QCOMPARE(Generations().size(), 1);
        QCOMPARE(VersionOfWhole(3), QByteArray("new"));
    }

    // The maker of a generation does not prevent readers from holding it, either: not even
    // between its last rename and its next instruction.
    void aGenerationCanBePinnedFromTheMomentItIsPublished()
    {
        const std::string folder = CatalogFolder();
        PinningFiles files(folder);
        auto first = std::make_unique<NewGeneration>(folder, files);
        for (const std::string& name : CatalogFileNames()) {
            QFile file(QString::fromStdString(first->Folder() + name));
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        QVERIFY(first->Publish());
        const std::string held = first->Folder();
        const PinnedGeneration pinned = files.pinned();
        QCOMPARE(pinned.Folder(), held);
        first.reset();
        QVERIFY(Process(Document(Whole("new", 3)).documentElement(), files));
        QCOMPARE(access(held.c_str(), F_OK), 0);
    }

    // -- changes

    // An update at each write of a change: either the change is refused, or all of it was
    // before the update.
    void aChangeDuringWhichTheFilesAreReplacedIsRefused()
    {
        int calls = 0;
        for (bool came = true; came; ++calls) {
            QVERIFY(Process(Whole("old", 3)));
            SwitchedFiles switched(unsyncedFiles);
            CCatalogFile file(OnFiles(switched));
            QVERIFY(file.Open());
            QVERIFY(file.FindServerSerialNumber(2));
            file.setVersion("changed");
            file.setDescription(QStringLiteral("another text"));
            file.setDependencies({ "a", "b" });
            InterruptedFiles files(calls, [] { Update(By::AnotherProcess, Whole("new", 3)); });
            bool saved = false;
            {
                const SwitchedTo used(switched, files);
                const LoggedLines log;
                saved = file.SaveRecord();
                QCOMPARE(log.text().contains("the change is refused"), !saved);
            }
            came = files.hasCome();
            QCOMPARE(saved, !came);
            file.Close();
            if (came)
                QCOMPARE(VersionOfWhole(3), QByteArray("new"));
        }
        QVERIFY(calls > 10);
    }

    void aDependencyOfReplacedFilesIsRefused()
    {
        QVERIFY(Process(Whole("old", 3)));
        CDependency dependency(OnFiles(unsyncedFiles));
        QVERIFY(dependency.Open());
        dependency.setName("one");
        dependency.setParent(1);
        QVERIFY(dependency.SaveRecord());
        QVERIFY(Process(Whole("new", 3)));
        dependency.AddNew();
        dependency.setName("two");
        dependency.setParent(1);
        QVERIFY(!dependency.SaveRecord());
        dependency.SaveDepends(1, { "three", "four" });
        dependency.RemoveAllDependencies(1);
        QByteArrayList names;
        dependency.LoadOwnDepends(1, names);
        QCOMPARE(names, (QByteArrayList{ "libc6", "one", "q1" }));
        dependency.Close();
        QCOMPARE(VersionOfWhole(3), QByteArray("new"));
    }

    // -- databases made by a host

    void aCatalogMadeByAHostLeavesReadersTheOldOne()
    {
        QVERIFY(Process(Whole("old")));
        CCatalogFile reader(OnFiles(unsyncedFiles)), maker(OnFiles(unsyncedFiles));
        QVERIFY(reader.Open());
        QVERIFY(maker.Create());
        QVERIFY(!maker.FindServerSerialNumber(1));
        maker.AddNew();
        maker.setServerSerialNumber(7);
        QVERIFY(maker.SaveRecord());
        maker.Close();
        QCOMPARE(CountByNumber(reader, 40), 40);
        QVERIFY(!reader.SaveRecord());
        QVERIFY(reader.Open());
        QCOMPARE(CountByNumber(reader, 40), 1);
    }

    void anEmptyCatalogOfAFirstStartDoesNotReplaceOneThatCameMeanwhile()
    {
        int calls = 0;
        for (bool came = true; came; ++calls) {
            RemoveDatabase();
            SwitchedFiles switched(unsyncedFiles);
            CCatalogFile file(OnFiles(switched));
            InterruptedFiles files(calls, [] { Update(By::AnotherProcess, Whole("new", 3)); });
            {
                const SwitchedTo used(switched, files);
                QVERIFY(file.Open());
            }
            came = files.hasCome();
            QCOMPARE(CountByWalk(file), came ? 3 : 0);
            file.Close();
            if (came)
                QCOMPARE(VersionOfWhole(3), QByteArray("new"));
        }
        QVERIFY(calls > 20);
    }

    void aCatalogOfAnotherFolderIsLeftAlone()
    {
        QVERIFY(Process(Whole("old", 3)));
        QTemporaryDir other;
        const std::string folder = other.path().toStdString() + '/';
        {
            CCatalogFile file(DbOptions{ folder, &unsyncedFiles });
            QVERIFY(file.Open());
            file.setServerSerialNumber(7);
            QVERIFY(file.SaveRecord());
        }
        CCatalogFile file(DbOptions{ folder, &unsyncedFiles });
        QVERIFY(file.Open());
        QCOMPARE(CountByWalk(file), 1);
        QCOMPARE(VersionOfWhole(3), QByteArray("old"));
    }

    // -- descriptors

    void aLookupOpensNoFile()
    {
        QVERIFY(Process(Whole("1")));
        SwitchedFiles switched(unsyncedFiles);
        CCatalogFile file(OnFiles(switched));
        QVERIFY(file.Open());
        CountingFiles counting;
        {
            const SwitchedTo used(switched, counting);
            QCOMPARE(CountByNumber(file, 40), 40);
            QCOMPARE(CountByWalk(file), 40);
        }
        QVERIFY(counting.reads > 40);
        QCOMPARE(counting.opens, 0);
        QCOMPARE(counting.closes, 0);
    }

    // With few descriptors, files are opened for each transfer. After an update they are
    // gone, and the new files are not taken for them.
    void withFewDescriptorsAnOldCatalogFailsRatherThanMix()
    {
        QVERIFY(Process(Whole("old")));
        const int next = dup(0);
        close(next);
        CCatalogFile file(OnFiles(unsyncedFiles));
        const LowLimit few(RLIMIT_NOFILE, rlim_t(next + 6));
        QVERIFY(file.Open());
        QCOMPARE(CountByNumber(file, 40), 40);
        QCOMPARE(dup(0), next); // no descriptor is kept
        close(next);
        InAnotherProcess([] {
            rlimit limit;
            getrlimit(RLIMIT_NOFILE, &limit);
            limit.rlim_cur = limit.rlim_max;
            return setrlimit(RLIMIT_NOFILE, &limit) == 0 && Process(Whole("new"));
        });
        for (int serial = 1; serial <= 40; ++serial)
            QVERIFY(!file.FindServerSerialNumber(serial) || QByteArray(file.Version()) == "old");
        QVERIFY(!file.SaveRecord());
        QVERIFY(file.Open());
        QVERIFY(file.FindServerSerialNumber(3));
        QCOMPARE(file.Version(), "new");
    }
};

QTEST_MAIN(CatalogReadersTest)
#include "tst_catalogreaders.moc"
